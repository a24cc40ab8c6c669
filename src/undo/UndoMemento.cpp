#include "undo/UndoMemento.h"

AUndoMemento::AUndoMemento(const String& actionName, int actionInstance, int packable, int majorModification)
    : actionName(actionName), actionInstance(actionInstance), majorModification(majorModification), packable(packable)
{
}

AUndoMemento::AUndoMemento(const char* actionName, int actionInstance, int packable, int majorModification)
    : actionName(actionName), actionInstance(actionInstance), majorModification(majorModification), packable(packable)
{
}

AUndoMemento::AUndoMemento(const AUndoMemento& source)
    : TListElement(source),
      actionName(source.actionName),
      actionInstance(source.actionInstance),
      majorModification(source.majorModification),
      packable(source.packable)
{
}

AUndoMemento& AUndoMemento::operator=(const AUndoMemento& source)
{
    actionName = source.actionName;
    actionInstance = source.actionInstance;
    majorModification = source.majorModification;
    packable = source.packable;
    return *this;
}

AUndoMemento::~AUndoMemento() = default;

unsigned long AUndoMemento::GetInvolvedMemory() const
{
    return sizeof(AUndoMemento);
}

unsigned long AUndoMemento::GetInvolvedDiskSpace() const
{
    return 0;
}

unsigned long AUndoMemento::GetNumInvolvedFiles() const
{
    return 0;
}

int AUndoMemento::CanGroup(const AUndoMemento&) const
{
    return 0;
}
