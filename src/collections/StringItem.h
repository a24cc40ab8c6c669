// StringItem<Base>: a collection element that holds a text. StringItem<TListElement> is the
// library's list item of texts, as in TList<StringItem<TListElement>>.
#pragma once

#include <cstddef>

#include "CommonTarnExport.h"
#include "NH_Heap.h"
#include "collections/DoubleList.h"
#include "frame/Frame.h"
#include "text/TextString.h"

// Mode 0: byte by byte as unsigned bytes, over the whole length of both texts; any other
// mode: without regard to case, as _stricmp. Gives -1, 0 or 1 in mode 0.
COMMONTARN_API int CompareItemTexts(const String& a, const String& b, int compareMode);

template <class Base>
class StringItem : public Base, public String {
public:
    StringItem() {}
    StringItem(const char* text) : String(text) {}
    StringItem(const String& text) : String(text) {}
    StringItem(const SubString& text) : String(text) {}
    StringItem(const StringItem& other) = default;
    StringItem& operator=(const StringItem& other) = default;
    // Text only; the links stay.
    StringItem& operator=(const String& text)
    {
        String::operator=(text);
        return *this;
    }
    StringItem& operator=(const char* text)
    {
        String::operator=(text);
        return *this;
    }

    // Items live on the heap of the strings. When it has no memory, new gives null and no
    // item is built.
    static void* operator new(size_t size) noexcept { return _stringHeap->AllocMem(static_cast<unsigned long>(size)); }
    static void operator delete(void* p) { NH_Heap::FreeMem(p); }

    // other is another StringItem.
    int Compare(const CollectionElement& other, int compareMode) const override
    {
        return CompareItemTexts(*this, static_cast<const StringItem&>(other), compareMode);
    }
    // A new item sharing the text, or null when the string heap has no memory.
    CollectionElement* CreateClone(const void*) const override { return new StringItem(*this); }
};
