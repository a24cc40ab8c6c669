// AUndoable: the undo and redo history of an object. The derived class adopts a memento
// before each change and applies mementos on request; the history decides what stays.
#pragma once

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"
#include "text/TextString.h"
#include "undo/UndoMemento.h"

// Derived objects are not deleted through an AUndoable pointer: there is no virtual
// destructor.
class COMMONTARN_API AUndoable {
public:
    // Both lists are copied through CreateClone; a memento whose clone is null is left out.
    AUndoable(const AUndoable& source);
    AUndoable& operator=(const AUndoable& source);
    ~AUndoable();

    // Whether derived classes should adopt mementos at all; AdoptMemento itself stores
    // whatever it is given.
    void EnableUndo(int enable) { disabled = enable == 0; }
    int IsUndoEnabled() const { return maximum >= 1 && !disabled; }
    // Also 0 for a repetition of the excluded action: a series of it keeps one memento.
    int IsUndoEnabledFor(const String& actionName) const;
    void DoNotSaveUndoMementosWithName(const String& actionName) { excludedName = actionName; }
    // The same with the catalogue's text of message id.
    void DoNotSaveUndoMementosWithName(int id);
    void SaveUndoMementosWithAnyName();

    // The history owns the memento from here on, even when it does not keep it.
    void AdoptMemento(AUndoMemento* memento) { AddToUndoList(memento, 0); }
    // Adopts memento and answers 1 if it differs from reference; deletes it and answers 0
    // otherwise.
    int AdoptMementoIfDifference(AUndoMemento* memento, const AUndoMemento& reference);

    // Each applies the newest memento of its list and keeps what the application returns;
    // an empty list makes either a no-op. An exception from ApplyMemento leaves both lists
    // as they were.
    void UndoCurrentState();
    void RedoLastUndoneState();
    void ClearUndoMementos();
    // Only lowers the maximum; both lists then lose their oldest mementos down to it.
    void SetMaxNumOfUndoMementos(int maximum);

    int GetNumUndoMementos() const { return undoList.GetCount(); }
    int GetNumRedoMementos() const { return redoList.GetCount(); }
    // Newest first; each list ends in null.
    const AUndoMemento* GetFirstUndoMemento() const { return undoList.GetFirst(); }
    const AUndoMemento* GetFirstRedoMemento() const { return redoList.GetFirst(); }
    const AUndoMemento* GetNextUndoMemento(const AUndoMemento* memento) const { return undoList.GetNext(memento); }
    const AUndoMemento* GetNextRedoMemento(const AUndoMemento* memento) const { return redoList.GetNext(memento); }
    // The action name of the newest memento, or the empty text.
    String GetPendingUndoName() const { return GetPendingActionName(undoList); }
    String GetPendingRedoName() const { return GetPendingActionName(redoList); }

    // The virtual operations, in this slot order. The sums walk the lists at each call:
    // files and disk space over the undo list, memory over both lists.
    virtual unsigned long GetNumInvolvedUndoFiles() const;
    virtual unsigned long GetInvolvedUndoMemory() const;
    virtual unsigned long GetInvolvedUndoDiskSpace() const;
    // 1 when a memento of the undo list has the major flag.
    virtual int HasMajorModification() const;
    // Puts the object into the state of memento (redo 0 for an undo, 1 for a redo) and
    // answers a new memento of the state just left, or null. The history deletes memento.
    virtual AUndoMemento* ApplyMemento(AUndoMemento* memento, int redo) = 0;

protected:
    explicit AUndoable(int maximum = 0x7fffffff);

private:
    void AddToUndoList(AUndoMemento* memento, int keepRedo);
    void AddToRedoList(AUndoMemento* memento);
    static String GetPendingActionName(const TList<AUndoMemento>& list);
    static void DeleteMemento(AUndoMemento* memento) { delete memento; }

    TList<AUndoMemento> undoList;  // newest first
    TList<AUndoMemento> redoList;  // most recently undone first
    int disabled;
    int maximum;
    String excludedName;
};
