// TConfig: construction, copies, the cursor, and the keys below it.
#include "config/Config.h"

#include "TarnPlatform.h"
#include "config/ConfigInternals.h"
#include "frame/Frame.h"
#include "numeric/Randomizer.h"
#include "text/TextHelpers.h"

TConfig::TConfig(const char* name, Mode mode)
    : keyCopyHook(nullptr),
      keyReleaseHook(nullptr),
      mode(mode),
      root(*this, String(name), nullptr, 1),
      current(&root),
      groupDepth(0),
      pendingLine{nullptr, 0},
      autoCreate(1),
      autoSave(0),
      wrongFileTime(1)
{
}

TConfig::TConfig(const TConfig& source)
    : keyCopyHook(nullptr),
      keyReleaseHook(nullptr),
      mode(source.mode),
      root(*this, source.root.name, nullptr, 1),
      current(&root),
      groupDepth(0),
      pendingLine{nullptr, 0},
      autoCreate(1),
      autoSave(0),
      wrongFileTime(1)
{
    *this = source;
}

TConfig& TConfig::operator=(const TConfig& source)
{
    if (&source == this)
        return *this;
    mode = source.mode;
    autoCreate = source.autoCreate;
    keyCopyHook = source.keyCopyHook;
    keyReleaseHook = source.keyReleaseHook;
    autoSave = source.autoSave;
    wrongFileTime = source.wrongFileTime;
    fileName = static_cast<const String&>(source.fileName);
    current = &root;
    groupDepth = 0;
    pendingLine = TLine{nullptr, 0};
    root.Assign(source.root, *this);
    return *this;
}

TConfig::~TConfig() = default;

int TConfig::operator==(const TConfig& other) const
{
    return root.Compare(other.root, 0) == 0;
}

// ---- navigation -------------------------------------------------------------------------

TConfigKey* TConfig::MoveUp()
{
    if (current->parent)
        current = current->parent;
    return current;
}

TConfigKey* TConfig::FindGroup(const char* keyName) const
{
    return current->children ? current->children->Find(keyName, TConfigKeyList::eGroupKind) : nullptr;
}

TConfigKey* TConfig::FindValue(const char* keyName) const
{
    return current->children ? current->children->Find(keyName, TConfigKeyList::eValueKind) : nullptr;
}

TConfigKey* TConfig::MoveDownTo(const char* keyName)
{
    if (!current->children)
        return current;
    if (!(mode & eDuplicateGroups))
        if (TConfigKey* group = FindGroup(keyName))
            return current = group;
    if (!autoCreate)
        return current;
    TConfigKey* group = new TConfigKey(*this, String(keyName), current, 1);
    current->children->Link(group, SortsKeys());
    return current = group;
}

TConfigKey* TConfig::MoveDown(const char* name, int index)
{
    const TKeyName key(name, index);
    return MoveDownTo(key.c_str());
}

TConfigKey* TConfig::MoveDownIfExist(const char* name, int index)
{
    const TKeyName key(name, index);
    TConfigKey* group = FindGroup(key.c_str());
    if (group)
        current = group;
    return group;
}

TConfigKey* TConfig::MoveDownUniqueKey(const char* prefix)
{
    const unsigned long number = GetUniqueKeyRandomizer().Get(0x7fffffff);
    return MoveDown(prefix ? prefix : "K_", static_cast<int>(number));
}

TConfigKey* TConfig::MoveAbsolute(const char* path)
{
    if (path[0] == '\\')
        current = &root;
    TList<StringItem<TListElement>> pieces;
    ExplodeString(pieces, path, "\\", 1);
    for (StringItem<TListElement>* piece = pieces.GetFirst(); piece; piece = pieces.GetNext(piece))
        MoveDownTo(piece->c_str());
    return current;
}

// ---- the keys below the cursor ----------------------------------------------------------

TConfigKey* TConfig::CreateKey(const String& name)
{
    if (!current->children)
        return nullptr;
    TConfigKey* key = new TConfigKey(*this, name, current, 0);
    current->children->Link(key, SortsKeys());
    return key;
}

TConfigKey* TConfig::GetFirstKey() const
{
    return TConfigKeyList::FirstOf(*current);
}

TConfigKey* TConfig::GetKey(int index) const
{
    return current->children ? static_cast<TConfigKey*>(current->children->Element(index)) : nullptr;
}

unsigned long TConfig::GetNumKeys() const
{
    return current->GetNumChildren();
}

unsigned long TConfig::GetNumValues() const
{
    unsigned long n = 0;
    for (const TConfigKey* k = TConfigKeyList::FirstOf(*current); k; k = k->GetNext())
        n += k->IsValue() ? 1 : 0;
    return n;
}

unsigned long TConfig::GetNumGroups() const
{
    return GetNumKeys() - GetNumValues();
}

int TConfig::ExistKey(const char* name, int index) const
{
    const TKeyName key(name, index);
    return current->children && current->children->Find(key.c_str(), TConfigKeyList::eAnyKind) != nullptr;
}

int TConfig::ExistValue(const char* name, int index) const
{
    const TKeyName key(name, index);
    return FindValue(key.c_str()) != nullptr;
}

int TConfig::ExistGroup(const char* name, int index) const
{
    const TKeyName key(name, index);
    return FindGroup(key.c_str()) != nullptr;
}

unsigned long TConfig::GetValueNames(TList<StringItem<TListElement>>& names, int sorted) const
{
    names.DeleteAll();
    for (const TConfigKey* k = TConfigKeyList::FirstOf(*current); k; k = k->GetNext()) {
        if (!k->IsValue())
            continue;
        StringItem<TListElement>* item = NewTextItem(k->name);
        if (sorted)
            names.InsertInSortedList(item);
        else
            names.Append(item);
    }
    return static_cast<unsigned long>(names.GetCount());
}

void TConfig::DeleteChild(TConfigKey* key)
{
    key->parent->children->Unlink(key);
    delete key;
}

void TConfig::DeleteKey(const char* name, int index)
{
    const TKeyName keyName(name, index);
    if (!current->children)
        return;
    if (TConfigKey* key = current->children->Find(keyName.c_str(), TConfigKeyList::eAnyKind))
        DeleteChild(key);
}

void TConfig::LeaveSubtree(TConfigKey* key)
{
    for (const TConfigKey* k = current; k; k = k->parent)
        if (k == key) {
            current = key;
            return;
        }
}

void TConfig::DeleteKey(TConfigKey* key)
{
    if (!key || !key->parent)
        return;
    LeaveSubtree(key);
    if (current == key)
        current = key->parent;
    DeleteChild(key);
}

void TConfig::DeleteKeys()
{
    if (current->children)
        TConfigKey::DestroyKeys(*current->children);
}

void TConfig::Clear()
{
    current = &root;
    DeleteKeys();
}

void TConfig::DeleteEmptyGroups()
{
    WalkBelow(current, [](TConfigKey& k) {
        if (k.IsGroup() && !TConfigKeyList::FirstOf(k))
            DeleteChild(&k);
        return false;
    });
}

void TConfig::GroupToValue(TConfigKey* key)
{
    if (!key->children)
        return;
    LeaveSubtree(key);
    key->DeleteChildren();
}

void TConfig::ValueToGroup(TConfigKey* key)
{
    if (!key->children)
        key->children = new TConfigKeyList(mode & 6);
}

// ---- walks ------------------------------------------------------------------------------

void TConfig::ForEachKey(void (*action)(TConfigKey&, void*), void* argument)
{
    ForEachKey(current, action, argument);
}

void TConfig::ForEachKey(const TConfigKey* start, void (*action)(TConfigKey&, void*), void* argument)
{
    WalkBelow(start, [&](TConfigKey& k) {
        action(k, argument);
        return false;
    });
}

TConfigKey* TConfig::FindFirstThat(int (*test)(const TConfigKey&, const void*), const void* argument) const
{
    return FindFirstThat(&root, test, argument);
}

TConfigKey* TConfig::FindFirstThat(const TConfigKey* start, int (*test)(const TConfigKey&, const void*),
                                   const void* argument) const
{
    return WalkBelow(start, [&](TConfigKey& k) { return test(k, argument) != 0; });
}

// ---- TKeyFinder -------------------------------------------------------------------------

TConfigKey* TConfig::TKeyFinder::GetFirst(const char* name)
{
    const TConfigKey* group = config.current;
    if (!name)
        position = TConfigKeyList::FirstOf(*group);
    else if (group->children)
        if (TConfigKey* key = group->children->Find(name, TConfigKeyList::eAnyKind))
            position = key;
    return GetNext();
}

TConfigKey* TConfig::TKeyFinder::GetNext()
{
    TConfigKey* key = position;
    if (key)
        position = key->GetNext();
    return key;
}
