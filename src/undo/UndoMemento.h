// AUndoMemento: one stored step of an undo history, the state to go back to. A derived
// class holds the state; AUndoable keeps, merges, packs and evicts the steps.
#pragma once

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"
#include "text/TextString.h"

class AUndoable;

class COMMONTARN_API AUndoMemento : public TListElement {
public:
    const String& GetActionName() const { return actionName; }
    // Consecutive mementos with equal name and equal instance form one run of an action.
    int GetActionInstance() const { return actionInstance; }
    int IsMajorModification() const { return majorModification; }
    // Non-zero when a finished run of this action may fall together to its oldest memento.
    int IsPackable() const { return packable; }

    // The virtual operations after those of CollectionElement, in this slot order.
    // The resources the memento holds; the defaults are its own size, no disk, no file.
    virtual unsigned long GetInvolvedMemory() const;
    virtual unsigned long GetInvolvedDiskSpace() const;
    virtual unsigned long GetNumInvolvedFiles() const;
    // Non-zero when the two mementos hold no difference.
    virtual int IsEquivalentTo(const AUndoMemento& other) const = 0;
    // Non-zero when the memento may be dropped against, or packed with, its neighbours.
    virtual int CanBeMerged() const = 0;

protected:
    AUndoMemento(const String& actionName, int actionInstance, int packable, int majorModification);
    AUndoMemento(const char* actionName, int actionInstance, int packable, int majorModification);
    // Copies the four fields; the copy's links mean nothing until it enters a list.
    AUndoMemento(const AUndoMemento& source);
    // Assigns the four fields and leaves the links alone.
    AUndoMemento& operator=(const AUndoMemento& source);
    // Mementos end through their list, or through AUndoable.
    ~AUndoMemento() override;

    // Non-zero when newer is covered by this memento and need not be kept. The default: 0.
    virtual int CanGroup(const AUndoMemento& newer) const;

private:
    friend class AUndoable;

    String actionName;
    int actionInstance;
    int majorModification;
    int packable;
};
