// TConfigKey: a node of a TConfig tree. A group owns a list of child keys; a value holds a
// text. Names keep the case they were made with and match without regard to case, as
// _stricmp compares them. A key may carry a 32-bit word of the host's, which the tree only
// copies (or hands to the tree's copy hook) and never reads.
//
// Names have no length limit of their own: a longer name is kept whole, so no two names are
// ever cut to one and a file round trip loses nothing.
#pragma once

#include <cstddef>
#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"
#include "text/TextString.h"

class TConfig;
class TConfigKeyList;

class COMMONTARN_API TConfigKey : public TListElement {
public:
    // Bits of the compare mode of Compare.
    enum CompareMode {
        eSortedGroupsFirst = 0x04,  // where names differ, a group orders before a value
        eCompareNumbers = 0x20,     // number-like texts compare without trailing zeros
        eIgnoreRootName = 0x40,     // the names of the two keys compared are not compared
    };

    // isGroup not 0 gives the key an empty child list ordered by the owner's mode.
    TConfigKey(const TConfig& owner, const String& name, TConfigKey* parent, int isGroup);
    // Runs the owner's release hook, then deletes every key below.
    ~TConfigKey() override;
    TConfigKey(const TConfigKey&) = delete;
    TConfigKey& operator=(const TConfigKey&) = delete;

    // Becomes a copy of source in the tree of owner: name, text, and a clone of every key
    // below; the user word goes through owner's copy hook, or is copied without one. The
    // clone is complete before the present keys go, so a failure leaves this key as it was.
    void Assign(const TConfigKey& source, const TConfig& owner);

    // other is a TConfigKey; see CompareMode. Names compare by _stricmp, texts byte by byte;
    // two groups compare equal (0) or not (1) by their children in order. The compare mode
    // of this side's child lists becomes compareMode on the way, and stays.
    int Compare(const CollectionElement& other, int compareMode) const override;
    int operator==(const TConfigKey& other) const { return Compare(other, 0) == 0; }
    int operator!=(const TConfigKey& other) const { return Compare(other, 0) != 0; }

    int IsGroup() const { return children != nullptr; }
    int IsValue() const { return children == nullptr; }
    TConfigKey* GetNext() const { return static_cast<TConfigKey*>(TListElement::GetNext()); }
    TConfigKey* GetPrev() const { return static_cast<TConfigKey*>(TListElement::GetPrev()); }

    // The host's access to the fields. A renamed key keeps its place among its siblings,
    // also in a sorted tree, as a key whose text changes does.
    const String& GetName() const { return name; }
    void SetName(const String& newName);
    const String& GetText() const { return value; }
    void SetText(const String& text) { value = text; }
    uint32_t GetUserData() const { return userData; }
    void SetUserData(uint32_t data) { userData = data; }
    TConfigKey* GetParent() const { return parent; }
    TConfig* GetOwner() const { return owner; }
    // The first key below a group; null for a value and for an empty group.
    TConfigKey* GetFirstChild() const;
    unsigned long GetNumChildren() const;

    // Keys live on the string heap; exhaustion throws the library's out-of-memory exception.
    static void* operator new(size_t size);
    static void operator delete(void* p);

private:
    friend class TConfig;
    friend class TConfigKeyList;

    // An empty key, then Assign; what CreateClone makes.
    TConfigKey(const TConfigKey& source, const TConfig& owner);
    // context is the TConfig of the new tree.
    CollectionElement* CreateClone(const void* context) const override;
    // Deletes the child list and every key below, without recursion, so that no depth of
    // nesting can exhaust the stack; the key becomes a value.
    void DeleteChildren();
    // Deletes every key of list and below, leaving list empty; DestroyList deletes it too.
    static void DestroyKeys(TConfigKeyList& list);
    static void DestroyList(TConfigKeyList* list);
    // Appends to list, the new child list of target, a clone of every key below source.
    static void CloneKeys(TConfigKeyList& list, const TConfigKey& source, TConfigKey* target, TConfig& owner);
    static int CompareOne(const TConfigKey& x, const TConfigKey& y, int compareMode, bool outermost, bool* descend);

    String name;
    String value;
    uint32_t userData;
    TConfigKey* parent;
    TConfigKeyList* children;
    TConfig* owner;
};
