#include "undo/Undoable.h"

#include "text/MessageCatalogue.h"

namespace {

const char kNoExcludedName[] = "%%%%%%%%";

}  // namespace

AUndoable::AUndoable(int maximum) : disabled(0), maximum(maximum), excludedName(kNoExcludedName) {}

AUndoable::AUndoable(const AUndoable& source)
    : undoList(source.undoList),
      redoList(source.redoList),
      disabled(source.disabled),
      maximum(source.maximum),
      excludedName(source.excludedName)
{
}

AUndoable& AUndoable::operator=(const AUndoable& source)
{
    if (this != &source) {
        undoList = source.undoList;
        redoList = source.redoList;
        disabled = source.disabled;
        maximum = source.maximum;
        excludedName = source.excludedName;
    }
    return *this;
}

AUndoable::~AUndoable() = default;

int AUndoable::IsUndoEnabledFor(const String& actionName) const
{
    if (!IsUndoEnabled())
        return 0;
    if (actionName != GetPendingUndoName())
        return 1;
    return actionName == excludedName ? 0 : 1;
}

void AUndoable::DoNotSaveUndoMementosWithName(int id)
{
    excludedName = FindString(static_cast<unsigned int>(id));
}

void AUndoable::SaveUndoMementosWithAnyName()
{
    excludedName = kNoExcludedName;
}

int AUndoable::AdoptMementoIfDifference(AUndoMemento* memento, const AUndoMemento& reference)
{
    if (memento->IsEquivalentTo(reference) == 0) {
        AdoptMemento(memento);
        return 1;
    }
    DeleteMemento(memento);
    return 0;
}

void AUndoable::AddToUndoList(AUndoMemento* memento, int keepRedo)
{
    if (!memento)
        return;
    // With a maximum below 1 nothing can be stored; the memento was handed over for good,
    // so it is deleted rather than left to leak.
    if (maximum < 1) {
        DeleteMemento(memento);
        return;
    }
    if (!keepRedo)
        redoList.DeleteAll();

    AUndoMemento* head = undoList.GetFirst();
    if (head) {
        // A memento that the newest one already covers is dropped.
        if (head->CanBeMerged() && memento->CanBeMerged() &&
            (head->IsEquivalentTo(*memento) || head->CanGroup(*memento))) {
            DeleteMemento(memento);
            return;
        }
        const bool sameRun = memento->actionName == head->actionName && memento->actionInstance == head->actionInstance;
        // Another action begins: a finished packable run falls together to its oldest
        // memento, the state from before the run.
        if (!sameRun && head->CanBeMerged() && head->packable) {
            AUndoMemento* oldest = head;
            for (AUndoMemento* older = undoList.GetNext(head);
                 older && older->actionName == head->actionName && older->actionInstance == head->actionInstance;
                 older = undoList.GetNext(older))
                oldest = older;
            while (undoList.GetFirst() != oldest)
                undoList.Delete(undoList.GetFirst());
        }
    }
    undoList.Push(memento);
    // The list grows by one at a time, so one eviction is enough.
    if (undoList.GetCount() > maximum)
        undoList.DeleteLast();
}

void AUndoable::AddToRedoList(AUndoMemento* memento)
{
    if (!memento)
        return;
    if (maximum < 1) {
        DeleteMemento(memento);
        return;
    }
    redoList.Push(memento);
}

void AUndoable::UndoCurrentState()
{
    AUndoMemento* applied = undoList.GetFirst();
    if (!applied)
        return;
    AddToRedoList(ApplyMemento(applied, 0));
    undoList.Delete(applied);
}

void AUndoable::RedoLastUndoneState()
{
    AUndoMemento* applied = redoList.GetFirst();
    if (!applied)
        return;
    AddToUndoList(ApplyMemento(applied, 1), 1);
    redoList.Delete(applied);
}

void AUndoable::ClearUndoMementos()
{
    undoList.DeleteAll();
    redoList.DeleteAll();
}

void AUndoable::SetMaxNumOfUndoMementos(int newMaximum)
{
    if (newMaximum >= maximum)
        return;
    maximum = newMaximum;
    while (undoList.GetCount() > 0 && undoList.GetCount() > maximum)
        undoList.DeleteLast();
    while (redoList.GetCount() > 0 && redoList.GetCount() > maximum)
        redoList.DeleteLast();
}

String AUndoable::GetPendingActionName(const TList<AUndoMemento>& list)
{
    const AUndoMemento* first = list.GetFirst();
    return first ? first->actionName : String();
}

unsigned long AUndoable::GetNumInvolvedUndoFiles() const
{
    unsigned long sum = 0;
    for (const AUndoMemento* m = undoList.GetFirst(); m; m = undoList.GetNext(m))
        sum += m->GetNumInvolvedFiles();
    return sum;
}

unsigned long AUndoable::GetInvolvedUndoMemory() const
{
    unsigned long sum = 0;
    for (const AUndoMemento* m = undoList.GetFirst(); m; m = undoList.GetNext(m))
        sum += m->GetInvolvedMemory();
    for (const AUndoMemento* m = redoList.GetFirst(); m; m = redoList.GetNext(m))
        sum += m->GetInvolvedMemory();
    return sum;
}

unsigned long AUndoable::GetInvolvedUndoDiskSpace() const
{
    unsigned long sum = 0;
    for (const AUndoMemento* m = undoList.GetFirst(); m; m = undoList.GetNext(m))
        sum += m->GetInvolvedDiskSpace();
    return sum;
}

int AUndoable::HasMajorModification() const
{
    for (const AUndoMemento* m = undoList.GetFirst(); m; m = undoList.GetNext(m))
        if (m->majorModification)
            return 1;
    return 0;
}
