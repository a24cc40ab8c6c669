// What the configuration's sources share: the child list of a group with its name index,
// the key name with its index digits, and the trimmer of trailing zeros.
#pragma once

#include <cstddef>
#include <cstdint>

#include "NH_Heap.h"
#include "collections/DoubleList.h"
#include "collections/StringItem.h"
#include "config/ConfigKey.h"
#include "frame/Frame.h"
#include "text/TextString.h"

// The owning list of a group's keys. A group with many keys also keeps an index of their
// names, a hash table built at the first search once the group is large enough and kept up
// to date by Link, Unlink and Rename from then on. The index holds no order: a search that
// meets several keys of the name and kind asked for walks the list for the first, so the
// answer is always the first in list order. Without memory for the index, searches walk.
class TConfigKeyList : public TDoubleList {
public:
    enum Kind { eAnyKind, eGroupKind, eValueKind };

    explicit TConfigKeyList(int compareMode);
    ~TConfigKeyList() override;

    static void* operator new(size_t size);
    static void operator delete(void* p);

    TConfigKey* First() const { return static_cast<TConfigKey*>(first); }
    // TConfigKey::GetFirstChild, inline for the walks of the library's own loops.
    static TConfigKey* FirstOf(const TConfigKey& key) { return key.children ? key.children->First() : nullptr; }
    // At the sorted place by the list's compare mode, or at the end.
    void Link(TConfigKey* key, int sorted);
    void Unlink(TConfigKey* key);
    // Around a change of key's name.
    void BeforeRename(TConfigKey* key);
    void AfterRename(TConfigKey* key);
    // The first key of that name and kind, or null.
    TConfigKey* Find(const char* name, Kind kind) const;
    // Forgets the index, for changes that do not go through Link and Unlink.
    void DropIndex() const;

private:
    struct Slot {
        uint32_t hash;
        TConfigKey* key;  // null: free
    };

    TConfigKey* Walk(const char* name, Kind kind) const;
    bool BuildIndex() const;
    bool Grow() const;
    void Insert(TConfigKey* key, uint32_t hash) const;
    void Remove(TConfigKey* key) const;

    mutable Slot* slots;
    mutable uint32_t capacity;  // a power of 2, or 0 without an index
    mutable uint32_t used;
};

// A hash of a name that two names equal by _stricmp share: FNV-1a over the bytes with the
// ASCII letters in lower case.
uint32_t HashKeyName(const char* name);
// Whether a key is of a kind.
inline bool IsOfKind(const TConfigKey& key, TConfigKeyList::Kind kind)
{
    return kind == TConfigKeyList::eAnyKind || (kind == TConfigKeyList::eGroupKind) == (key.IsGroup() != 0);
}

// The key name of (name, index): name, followed by index in decimal unless it is 0; or the
// first length bytes of text. Short names stay on the stack.
class TKeyName {
public:
    TKeyName(const char* name, int index);
    TKeyName(const char* text, size_t length);
    const char* c_str() const { return text; }

private:
    char buffer[128];
    String longName;
    const char* text;
};

// Removes the zeros at the end of a text that has a point, and then the point if it is last;
// gives the new length. "1.50000000" becomes "1.5", "2.000" becomes "2", "1000" stays.
size_t TrimTrailingZeros(char* text, size_t length);

// Visits every key below start, the keys of a group before the group itself. visit may delete
// the key it is given; it answers true to stop the walk at that key, which is then given.
// Loops over the links instead of recursing, so any depth of nesting is safe.
template <class Visit>
TConfigKey* WalkBelow(const TConfigKey* start, Visit visit)
{
    TConfigKey* k = TConfigKeyList::FirstOf(*start);
    while (k) {
        while (TConfigKey* first = TConfigKeyList::FirstOf(*k))
            k = first;
        for (;;) {
            TConfigKey* next = k->GetNext();
            TConfigKey* parent = k->GetParent();
            if (visit(*k))
                return k;
            if (next) {
                k = next;
                break;
            }
            if (parent == start)
                return nullptr;
            k = parent;
        }
    }
    return nullptr;
}

// A list item of text, made as operator new makes objects: on exhaustion the new handler runs
// (and throws the library's out-of-memory exception) and the allocation is tried again.
inline StringItem<TListElement>* NewTextItem(const String& text)
{
    for (;;) {
        if (StringItem<TListElement>* item = new StringItem<TListElement>(text))
            return item;
        _stringHeap->ExecuteStandardNewHandler();
    }
}
