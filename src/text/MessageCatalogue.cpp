#include "text/MessageCatalogue.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "TarnPlatform.h"
#include "frame/FrameObject.h"
#include "text/MessageTexts.h"
#include "threads/CriticalSection.h"

static_assert(std::is_same<HINSTANCE, HINSTANCE__*>::value, "the catalogue's module handle is the system's");

namespace {

// Room for a text and its terminator; LoadStringA is given one byte less, as it always was.
constexpr int kTextBufferSize = 2048;
// The cache is made for 500 texts, which gives a table of 509 buckets, the next prime. Knowing
// the count at compile time turns the bucket's division into a multiplication.
constexpr int kCacheSize = 500;
constexpr uint32_t kCacheBuckets = 509;
constexpr int kLoadStringMax = 2047;

HINSTANCE localizedStringDll = nullptr;

FrameObject<TCriticalSection> messageCacheLock;
FrameObject<THashListImp> messageCache;
FrameObject<CachedString> messageProbe;

// The one lookup behind every form: while a module is notified, module is the only source,
// even for the ids of the built-in table.
void FindMessageText(HINSTANCE module, unsigned int id, char* out)
{
    out[0] = 0;
    if (localizedStringDll) {
        LoadStringA(module, id, out, kLoadStringMax);
        return;
    }
    for (const MessageTableRow* row = _messageTable; row->text; ++row)
        if (row->id == id) {
            std::strcpy(out, row->text);
            return;
        }
}

}  // namespace

void BuildMessageCacheLock()
{
    messageCacheLock.Build();
}

void DestroyMessageCacheLock()
{
    messageCacheLock.Destroy();
}

void BuildMessageCache()
{
    messageCache.Build(kCacheSize, 1);
}

void DestroyMessageCache()
{
    messageCache.Destroy();
}

void BuildMessageProbe()
{
    messageProbe.Build();
}

void DestroyMessageProbe()
{
    messageProbe.Destroy();
}

CachedString::~CachedString() = default;

int CachedString::Compare(const CollectionElement& other, int) const
{
    return static_cast<int>(id - static_cast<const CachedString&>(other).id);
}

void NotifyLocalizedStringDll(HINSTANCE module)
{
    localizedStringDll = module;
}

SubString FindString(unsigned int id)
{
    return FindString(localizedStringDll, id);
}

SubString FindString(HINSTANCE module, unsigned int id)
{
    char text[kTextBufferSize];
    FindMessageText(module, id, text);
    return SubString::Create(text, std::strlen(text));
}

char* FindString(char* buffer, unsigned int id)
{
    FindMessageText(localizedStringDll, id, buffer);
    return buffer;
}

const String& FindCachedString(unsigned int id)
{
    TAutoCriticalSection hold(messageCacheLock.Get());
    // FindEqual with the probe as the key, its bucket walk written out without the two virtual
    // calls per step: every element of the cache is a CachedString, whose hash is its id and
    // which compares equal exactly when the ids are equal.
    messageProbe.Get().id = id;
    THashListImp& cache = messageCache.Get();
    const uint32_t numBuckets = cache.GetNumBuckets();
    const uint32_t bucket = numBuckets == kCacheBuckets ? id % kCacheBuckets : id % numBuckets;
    CachedString* cached = nullptr;
    for (THashListElement* e = cache.GetBucketFirst(bucket); e && e->GetBucket() == bucket;
         e = static_cast<THashListElement*>(e->GetNext()))
        if (static_cast<CachedString*>(e)->id == id) {
            cached = static_cast<CachedString*>(e);
            break;
        }
    if (!cached) {
        char text[kTextBufferSize];
        FindMessageText(localizedStringDll, id, text);
        cached = new CachedString(text, id);
        messageCache.Get().Add(cached);
    }
    return cached->string;
}

String* LoadAndAdoptString(int id)
{
    // String's operator new answers null instead of throwing; the text is then not looked up.
    return new String(FindString(static_cast<unsigned int>(id)));
}

void AdoptString(String*& slot, int id)
{
    if (!slot)
        slot = LoadAndAdoptString(id);
}

SubString BuildString(int id, ...)
{
    char format[kTextBufferSize];
    FindMessageText(localizedStringDll, static_cast<unsigned int>(id), format);
    if (!format[0])
        return SubString::Create(format, 0);
    char text[kTextBufferSize];
    va_list arguments;
    va_start(arguments, id);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return SubString::Create(text, std::strlen(text));
}

char* BuildString(char* buffer, int id, ...)
{
    char format[kTextBufferSize];
    FindMessageText(localizedStringDll, static_cast<unsigned int>(id), format);
    if (!format[0]) {
        buffer[0] = 0;
        return buffer;
    }
    va_list arguments;
    va_start(arguments, id);
    std::vsprintf(buffer, format, arguments);
    va_end(arguments);
    return buffer;
}
