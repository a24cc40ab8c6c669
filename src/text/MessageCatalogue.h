// The message catalogue: the library's user-facing texts by numeric id. The English texts
// are built in; once a host notifies a module with a string table under the same ids, that
// module is the only source.
#pragma once

#include "CommonTarnExport.h"
#include "collections/HashList.h"
#include "text/TextString.h"

// The module handle as the system headers declare it, without bringing them in.
struct HINSTANCE__;
typedef struct HINSTANCE__* HINSTANCE;

// Null goes back to the built-in texts. Texts already cached stay as they were. For the
// host's start, before it starts threads.
COMMONTARN_API void NotifyLocalizedStringDll(HINSTANCE module);

// The text in a new buffer; an unknown id gives an empty text. The module form reads module
// only while a module is notified, and the built-in texts otherwise.
[[nodiscard]] COMMONTARN_API SubString FindString(unsigned int id);
[[nodiscard]] COMMONTARN_API SubString FindString(HINSTANCE module, unsigned int id);
// Writes the text to buffer, without a bound: 2048 bytes hold any text. Returns buffer.
COMMONTARN_API char* FindString(char* buffer, unsigned int id);

// The text from a cache that lives until unload: every call with one id returns the same
// String. Safe from any thread; callers on several threads read it and do not copy it,
// since a copy changes its count.
COMMONTARN_API const String& FindCachedString(unsigned int id);

// The text in a String of the string heap, for the caller to delete; null when the heap
// has no room for the String.
COMMONTARN_API String* LoadAndAdoptString(int id);
// Loads the text into slot at first use: a slot that is not null stays as it is.
COMMONTARN_API void AdoptString(String*& slot, int id);

// The text as a printf format with the arguments; an empty text, with the arguments not
// read, for an id without text. The result must fit 2047 characters.
[[nodiscard]] COMMONTARN_API SubString BuildString(int id, ...);
// The same into buffer, without a bound. Returns buffer.
COMMONTARN_API char* BuildString(char* buffer, int id, ...);

// An element of the catalogue's cache: a text and its id, which is also its hash.
class COMMONTARN_API CachedString : public THashListElement {
public:
    CachedString() : id(0) {}
    CachedString(const char* text, unsigned int id) : string(text), id(id) {}
    ~CachedString() override;

    // This id minus the other's.
    int Compare(const CollectionElement& other, int compareMode) const override;
    unsigned int GetHashedValue() const override { return id; }

    String string;
    unsigned int id;
};
