// TConfigKey, the child list of a group with its name index, and the helpers the
// configuration's sources share. Copying, comparing and deleting walk the tree with loops
// over the parent and sibling links instead of recursion, so that a tree nested as deep as a
// file can make it is safe on any stack.
#include "config/ConfigKey.h"

#include <cstdio>
#include <cstring>

#include "NH_Heap.h"
#include "TarnPlatform.h"
#include "collections/StringItem.h"
#include "config/Config.h"
#include "config/ConfigInternals.h"
#include "frame/Frame.h"

namespace {

// Groups with fewer keys are searched by walking their list.
const int kIndexFrom = 16;

// Copies the user word of a new key, or leaves that to the tree's hook.
void FinishCopy(TConfigKey& target, const TConfigKey& source, TConfig::KeyCopyHook hook)
{
    if (hook)
        hook(target, source);
    else
        target.SetUserData(source.GetUserData());
}

// Text comparison on unsigned bytes, -1, 0 or 1. With eCompareNumbers, two short texts made
// of digits, points and minus signs compare without their trailing zeros.
int CompareTexts(const String& a, const String& b, int compareMode)
{
    const size_t kShort = 100;
    auto numberLike = [](const String& s) {
        if (s.length() >= kShort)
            return false;
        for (const char* p = s.c_str(); *p; ++p)
            if (*p != '-' && *p != '.' && (*p < '0' || *p > '9'))
                return false;
        return true;
    };
    if ((compareMode & TConfigKey::eCompareNumbers) && numberLike(a) && numberLike(b)) {
        char x[kShort], y[kShort];
        std::memcpy(x, a.c_str(), a.length() + 1);
        std::memcpy(y, b.c_str(), b.length() + 1);
        TrimTrailingZeros(x, std::strlen(x));
        TrimTrailingZeros(y, std::strlen(y));
        const int c = std::strcmp(x, y);
        return (c > 0) - (c < 0);
    }
    return CompareItemTexts(a, b, 0);
}

}  // namespace

// ---- shared helpers ---------------------------------------------------------------------

uint32_t HashKeyName(const char* name)
{
    uint32_t h = 2166136261u;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(name); *p; ++p) {
        const unsigned char c = (*p >= 'A' && *p <= 'Z') ? static_cast<unsigned char>(*p + 32) : *p;
        h = (h ^ c) * 16777619u;
    }
    return h;
}

TKeyName::TKeyName(const char* name, int index) : text(name)
{
    if (index == 0)
        return;
    const size_t length = std::strlen(name);
    if (length + 12 <= sizeof buffer) {
        std::memcpy(buffer, name, length);
        std::snprintf(buffer + length, sizeof buffer - length, "%d", index);
        text = buffer;
    } else {
        longName = String(name);
        longName += String(index);
        text = longName.c_str();
    }
}

TKeyName::TKeyName(const char* name, size_t length) : text(buffer)
{
    if (length < sizeof buffer) {
        std::memcpy(buffer, name, length);
        buffer[length] = 0;
    } else {
        longName = String(name, 0, 0, length);
        text = longName.c_str();
    }
}

size_t TrimTrailingZeros(char* text, size_t length)
{
    if (!std::memchr(text, '.', length))
        return length;
    while (length > 0 && text[length - 1] == '0')
        --length;
    if (length > 0 && text[length - 1] == '.')
        --length;
    text[length] = 0;
    return length;
}

// ---- the child list and its index -------------------------------------------------------

TConfigKeyList::TConfigKeyList(int mode) : TDoubleList(1), slots(nullptr), capacity(0), used(0)
{
    compareMode = mode;
}

TConfigKeyList::~TConfigKeyList()
{
    DropIndex();
}

void* TConfigKeyList::operator new(size_t size)
{
    return _stringHeap->Alloc(static_cast<unsigned long>(size));
}

void TConfigKeyList::operator delete(void* p)
{
    NH_Heap::FreeMem(p);
}

void TConfigKeyList::Link(TConfigKey* key, int sorted)
{
    if (sorted)
        InsertInSortedList(key);
    else
        Append(key);
    if (capacity)
        Insert(key, HashKeyName(key->name.c_str()));
}

void TConfigKeyList::Unlink(TConfigKey* key)
{
    if (capacity)
        Remove(key);
    Detach(key);
}

void TConfigKeyList::BeforeRename(TConfigKey* key)
{
    if (capacity)
        Remove(key);
}

void TConfigKeyList::AfterRename(TConfigKey* key)
{
    if (capacity)
        Insert(key, HashKeyName(key->name.c_str()));
}

TConfigKey* TConfigKeyList::Walk(const char* name, Kind kind) const
{
    for (TConfigKey* k = First(); k; k = k->GetNext())
        if (IsOfKind(*k, kind) && _stricmp(k->name.c_str(), name) == 0)
            return k;
    return nullptr;
}

TConfigKey* TConfigKeyList::Find(const char* name, Kind kind) const
{
    if (!capacity && (count < kIndexFrom || !BuildIndex()))
        return Walk(name, kind);
    const uint32_t hash = HashKeyName(name);
    const uint32_t mask = capacity - 1;
    TConfigKey* found = nullptr;
    for (uint32_t i = hash & mask; slots[i].key; i = (i + 1) & mask) {
        TConfigKey* k = slots[i].key;
        if (slots[i].hash == hash && IsOfKind(*k, kind) && _stricmp(k->name.c_str(), name) == 0) {
            // Several of one name: only the list knows which comes first.
            if (found)
                return Walk(name, kind);
            found = k;
        }
    }
    return found;
}

void TConfigKeyList::DropIndex() const
{
    NH_Heap::FreeMem(slots);
    slots = nullptr;
    capacity = used = 0;
}

bool TConfigKeyList::BuildIndex() const
{
    uint32_t size = 32;
    while (size < static_cast<uint32_t>(count) * 2 + 2)
        size *= 2;
    slots = static_cast<Slot*>(NH_Heap::Default().AllocMem(size * sizeof(Slot)));
    if (!slots)
        return false;
    std::memset(slots, 0, size * sizeof(Slot));
    capacity = size;
    used = 0;
    for (TConfigKey* k = First(); k && capacity; k = k->GetNext())
        Insert(k, HashKeyName(k->name.c_str()));
    return capacity != 0;
}

bool TConfigKeyList::Grow() const
{
    const uint32_t size = capacity * 2;
    Slot* fresh = static_cast<Slot*>(NH_Heap::Default().AllocMem(size * sizeof(Slot)));
    if (!fresh)
        return false;
    std::memset(fresh, 0, size * sizeof(Slot));
    for (uint32_t i = 0; i < capacity; ++i) {
        if (!slots[i].key)
            continue;
        uint32_t j = slots[i].hash & (size - 1);
        while (fresh[j].key)
            j = (j + 1) & (size - 1);
        fresh[j] = slots[i];
    }
    NH_Heap::FreeMem(slots);
    slots = fresh;
    capacity = size;
    return true;
}

void TConfigKeyList::Insert(TConfigKey* key, uint32_t hash) const
{
    if ((used + 1) * 2 > capacity && !Grow()) {
        DropIndex();
        return;
    }
    const uint32_t mask = capacity - 1;
    uint32_t i = hash & mask;
    while (slots[i].key)
        i = (i + 1) & mask;
    slots[i].hash = hash;
    slots[i].key = key;
    ++used;
}

// Linear probing with backward shifts: every key after the freed slot in its run moves back
// when its home lies at or before the gap, so no search ever meets a hole inside a run.
void TConfigKeyList::Remove(TConfigKey* key) const
{
    const uint32_t mask = capacity - 1;
    uint32_t i = HashKeyName(key->name.c_str()) & mask;
    while (slots[i].key != key) {
        if (!slots[i].key)
            return;
        i = (i + 1) & mask;
    }
    for (uint32_t j = (i + 1) & mask; slots[j].key; j = (j + 1) & mask) {
        const uint32_t home = slots[j].hash & mask;
        const bool movesBack = i <= j ? (home <= i || home > j) : (home <= i && home > j);
        if (movesBack) {
            slots[i] = slots[j];
            i = j;
        }
    }
    slots[i].key = nullptr;
    --used;
}

// ---- TConfigKey -------------------------------------------------------------------------

TConfigKey::TConfigKey(const TConfig& owner, const String& name, TConfigKey* parent, int isGroup)
    : name(name), userData(0), parent(parent), children(nullptr), owner(const_cast<TConfig*>(&owner))
{
    if (isGroup)
        children = new TConfigKeyList(owner.mode & 6);
}

TConfigKey::TConfigKey(const TConfigKey& source, const TConfig& owner)
    : TListElement(), userData(0), parent(nullptr), children(nullptr), owner(const_cast<TConfig*>(&owner))
{
    Assign(source, owner);
}

TConfigKey::~TConfigKey()
{
    if (owner && owner->keyReleaseHook)
        owner->keyReleaseHook(*this);
    DeleteChildren();
}

void* TConfigKey::operator new(size_t size)
{
    return _stringHeap->Alloc(static_cast<unsigned long>(size));
}

void TConfigKey::operator delete(void* p)
{
    NH_Heap::FreeMem(p);
}

TConfigKey* TConfigKey::GetFirstChild() const
{
    return children ? children->First() : nullptr;
}

unsigned long TConfigKey::GetNumChildren() const
{
    return children ? static_cast<unsigned long>(children->GetCount()) : 0;
}

void TConfigKey::SetName(const String& newName)
{
    TConfigKeyList* siblings = parent ? parent->children : nullptr;
    if (siblings)
        siblings->BeforeRename(this);
    name = newName;
    if (siblings)
        siblings->AfterRename(this);
}

CollectionElement* TConfigKey::CreateClone(const void* context) const
{
    return new TConfigKey(*this, *static_cast<const TConfig*>(context));
}

void TConfigKey::DeleteChildren()
{
    TConfigKeyList* list = children;
    children = nullptr;
    DestroyList(list);
}

// A group's release hook runs before its keys go, as in a recursive delete; its keys then
// move to the front of the list, in order, and the group is deleted with no hook left to run.
void TConfigKey::DestroyKeys(TConfigKeyList& list)
{
    list.DropIndex();
    while (TConfigKey* k = list.First()) {
        list.Detach(k);
        if (TConfigKeyList::FirstOf(*k)) {
            if (k->owner && k->owner->keyReleaseHook)
                k->owner->keyReleaseHook(*k);
            k->owner = nullptr;
            k->children->DropIndex();
            list.Absorb(*k->children, list.First());
        }
        delete k;
    }
}

void TConfigKey::DestroyList(TConfigKeyList* list)
{
    if (!list)
        return;
    DestroyKeys(*list);
    delete list;
}

// Each key is finished (its user word copied or its hook run) after the keys below it, as a
// recursive copy finishes them. When memory runs out, the keys not finished yet are marked
// so that deleting them runs no release hook for a copy hook that never ran.
void TConfigKey::CloneKeys(TConfigKeyList& list, const TConfigKey& source, TConfigKey* target, TConfig& owner)
{
    const TConfigKey* s = TConfigKeyList::FirstOf(source);
    const TConfigKey* sourceGroup = &source;
    TConfigKey* group = target;
    TConfigKeyList* keys = &list;
    try {
        for (;;) {
            if (s) {
                TConfigKey* k = new TConfigKey(owner, s->name, group, s->IsGroup());
                k->value = s->value;
                keys->Append(k);
                if (TConfigKeyList::FirstOf(*s)) {
                    sourceGroup = s;
                    group = k;
                    keys = k->children;
                    s = TConfigKeyList::FirstOf(*s);
                    continue;
                }
                FinishCopy(*k, *s, owner.keyCopyHook);
                s = s->GetNext();
                continue;
            }
            if (sourceGroup == &source)
                return;
            FinishCopy(*group, *sourceGroup, owner.keyCopyHook);
            s = sourceGroup->GetNext();
            sourceGroup = sourceGroup->parent;
            group = group->parent;
            keys = group == target ? &list : group->children;
        }
    } catch (...) {
        for (TConfigKey* k = group; k != target; k = k->parent)
            k->owner = nullptr;
        throw;
    }
}

void TConfigKey::Assign(const TConfigKey& source, const TConfig& ownerRef)
{
    if (&source == this)
        return;
    TConfig& newOwner = const_cast<TConfig&>(ownerRef);
    TConfigKeyList* copy = nullptr;
    if (source.children) {
        copy = new TConfigKeyList(newOwner.mode & 6);
        try {
            CloneKeys(*copy, source, this, newOwner);
        } catch (...) {
            DestroyList(copy);
            throw;
        }
    }
    // The old keys go last: source may lie among them.
    owner = &newOwner;
    SetName(source.name);
    value = source.value;
    TConfigKeyList* old = children;
    children = copy;
    FinishCopy(*this, source, newOwner.keyCopyHook);
    DestroyList(old);
}

// Compares one pair of keys up to their children: gives the answer, or sets *descend when
// both are groups with equal counts of keys that must be compared in turn.
int TConfigKey::CompareOne(const TConfigKey& x, const TConfigKey& y, int compareMode, bool outermost, bool* descend)
{
    *descend = false;
    const int names = outermost && (compareMode & eIgnoreRootName) ? 0 : _stricmp(x.name.c_str(), y.name.c_str());
    const bool bothSameKind = (x.children != nullptr) == (y.children != nullptr);
    if (names != 0) {
        if ((compareMode & eSortedGroupsFirst) && !bothSameKind)
            return x.children ? -1 : 1;
        return names;
    }
    if (!bothSameKind)
        return x.children ? -1 : 1;
    if (const int texts = CompareTexts(x.value, y.value, compareMode))
        return texts;
    if (!x.children)
        return 0;
    if (x.children->GetCount() != y.children->GetCount())
        return 1;
    x.children->SetCompareMode(compareMode);
    // One list against itself is equal without a look inside.
    *descend = x.children != y.children && x.children->GetCount() > 0;
    return 0;
}

// Pairs of keys are compared in tree order, both trees walked in step; where two groups
// match, their children follow. A difference below the outermost pair makes the answer 1.
int TConfigKey::Compare(const CollectionElement& otherElement, int compareMode) const
{
    const TConfigKey& other = static_cast<const TConfigKey&>(otherElement);
    bool descend;
    const int outer = CompareOne(*this, other, compareMode, true, &descend);
    if (!descend)
        return outer;
    const TConfigKey* x = TConfigKeyList::FirstOf(*this);
    const TConfigKey* y = TConfigKeyList::FirstOf(other);
    const TConfigKey* xGroup = this;
    const TConfigKey* yGroup = &other;
    for (;;) {
        if (!x) {
            if (xGroup == this)
                return 0;
            x = xGroup->GetNext();
            y = yGroup->GetNext();
            xGroup = xGroup->parent;
            yGroup = yGroup->parent;
            continue;
        }
        if (CompareOne(*x, *y, compareMode, false, &descend) != 0)
            return 1;
        if (descend) {
            xGroup = x;
            yGroup = y;
            x = TConfigKeyList::FirstOf(*x);
            y = TConfigKeyList::FirstOf(*y);
        } else {
            x = x->GetNext();
            y = y->GetNext();
        }
    }
}
