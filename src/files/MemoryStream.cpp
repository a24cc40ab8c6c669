// TMemoryStream: growth of the owned buffer, bounded reads, texts, lines and quantized texts.
#include "files/MemoryStream.h"

#include <new>

#include "NH_Heap.h"

namespace {

// Stored width of a quantized text: the text and its terminator, rounded up to 4 bytes.
inline uint64_t QuantizedWidth(uint64_t length)
{
    return (length + 4) & ~uint64_t(3);
}

}

TMemoryStream::TMemoryStream(unsigned int growStep, int freeOnDestroy)
    : growStep(growStep < kMinGrowStep ? kMinGrowStep : growStep), start(nullptr), current(nullptr), size(0),
      ownsBuffer(1), readOnly(0), freeOnDestroy(freeOnDestroy)
{
}

TMemoryStream::TMemoryStream(void* buffer, unsigned int size)
    : growStep(0), start(static_cast<char*>(buffer)), current(start), size(size), ownsBuffer(0), readOnly(0),
      freeOnDestroy(0)
{
}

TMemoryStream::TMemoryStream(const void* buffer, unsigned int size)
    : growStep(0), start(static_cast<char*>(const_cast<void*>(buffer))), current(start), size(size), ownsBuffer(0),
      readOnly(1), freeOnDestroy(0)
{
}

TMemoryStream::~TMemoryStream()
{
    if (ownsBuffer && freeOnDestroy)
        NH_Heap::FreeMem(start);
}

void TMemoryStream::ReleaseOwned()
{
    if (ownsBuffer && start)
        NH_Heap::FreeMem(start);
}

void TMemoryStream::Reset(unsigned int growStep, int freeOnDestroy)
{
    ReleaseOwned();
    this->growStep = growStep < kMinGrowStep ? kMinGrowStep : growStep;
    start = current = nullptr;
    size = 0;
    ownsBuffer = 1;
    readOnly = 0;
    this->freeOnDestroy = freeOnDestroy;
}

void TMemoryStream::Reset(void* buffer, unsigned int size)
{
    ReleaseOwned();
    growStep = 0;
    start = current = static_cast<char*>(buffer);
    this->size = size;
    ownsBuffer = 0;
    readOnly = 0;
    freeOnDestroy = 0;
}

void TMemoryStream::Reset(const void* buffer, unsigned int size)
{
    Reset(const_cast<void*>(buffer), size);
    readOnly = 1;
}

// The buffer grows by the step, or to exactly what is needed when that is more: no doubling.
// A read-only stream refuses every write rather than change memory that was given as const.
char* TMemoryStream::Reserve(unsigned int count)
{
    if (readOnly)
        return nullptr;
    const uint64_t used = Offset();
    const uint64_t needed = used + count;
    if (needed > size) {
        if (!ownsBuffer)
            return nullptr;
        if (needed > 0xFFFFFFFFu)
            throw std::bad_alloc();
        uint64_t newSize = uint64_t(size) + growStep;
        if (newSize <= needed)
            newSize = needed;
        else if (newSize > 0xFFFFFFFFu)
            newSize = 0xFFFFFFFFu;
        NH_Heap& heap = NH_Heap::Default();
        start = static_cast<char*>(start ? heap.Realloc(start, static_cast<unsigned long>(newSize), 0)
                                         : heap.Alloc(static_cast<unsigned long>(newSize), 0));
        size = static_cast<unsigned int>(newSize);
    }
    char* at = At(static_cast<uintptr_t>(used));
    current = at + count;
    return at;
}

void TMemoryStream::Put(const void* data, unsigned int count)
{
    if (count == 0)
        return;
    // Bytes taken from this stream's own buffer must be found again after it moves.
    const uintptr_t from = reinterpret_cast<uintptr_t>(data);
    const uintptr_t base = reinterpret_cast<uintptr_t>(start);
    const bool inside = start && from >= base && from < base + size;
    char* at = Reserve(count);
    if (!at)
        return;
    std::memmove(at, inside ? start + (from - base) : data, count);
}

void TMemoryStream::Put(char value, int count)
{
    if (count <= 0)
        return;
    if (char* at = Reserve(static_cast<unsigned int>(count)))
        std::memset(at, value, static_cast<size_t>(count));
}

void TMemoryStream::PutString(const char* text, int withTerminator)
{
    Put(text, static_cast<unsigned int>(std::strlen(text) + (withTerminator ? 1 : 0)));
}

void TMemoryStream::PutString(const String& text, int withTerminator)
{
    Put(text.c_str(), static_cast<unsigned int>(text.length() + (withTerminator ? 1 : 0)));
}

void TMemoryStream::PutLine(const char* text)
{
    const size_t length = std::strlen(text);
    if (char* at = Reserve(static_cast<unsigned int>(length + 2))) {
        std::memcpy(at, text, length);
        at[length] = 13;
        at[length + 1] = 10;
    }
}

void TMemoryStream::PutLine(const String& text)
{
    const unsigned long length = text.length();
    if (char* at = Reserve(static_cast<unsigned int>(length + 2))) {
        std::memcpy(at, text.c_str(), length);
        at[length] = 13;
        at[length + 1] = 10;
    }
}

void TMemoryStream::PutQuantizedString(const char* text)
{
    const size_t length = std::strlen(text);
    const size_t width = static_cast<size_t>(QuantizedWidth(length));
    if (char* at = Reserve(static_cast<unsigned int>(width))) {
        std::memcpy(at, text, length);
        std::memset(at + length, 0, width - length);
    }
}

void TMemoryStream::Get(void* data, unsigned int count)
{
    if (count == 0)
        return;
    const unsigned int available = Available();
    const unsigned int n = count < available ? count : available;
    if (n) {
        std::memcpy(data, current, n);
        current += n;
    }
    std::memset(static_cast<char*>(data) + n, 0, count - n);
}

int TMemoryStream::GetStringLen() const
{
    const unsigned int available = Available();
    if (!available)
        return 0;
    const void* zero = std::memchr(current, 0, available);
    return static_cast<int>(zero ? static_cast<const char*>(zero) - current : available);
}

String TMemoryStream::GetString()
{
    const unsigned int length = static_cast<unsigned int>(GetStringLen());
    if (!length) {
        if (Available())
            ++current;
        return String();
    }
    String text(current, 0, 0, length);
    current += length < Available() ? length + 1 : length;
    return text;
}

String TMemoryStream::GetLine()
{
    const unsigned int available = Available();
    unsigned int length = 0;
    while (length < available) {
        const char c = current[length];
        if (c == 0 || c == 10 || c == 13)
            break;
        ++length;
    }
    String line;
    if (length)
        line = String(current, 0, 0, length);
    unsigned int consumed = length;
    if (length < available) {
        ++consumed;
        if (current[length] == 13 && consumed < available && current[consumed] == 10)
            ++consumed;
    }
    current += consumed;
    return line;
}

String TMemoryStream::GetQuantizedString()
{
    const unsigned int length = static_cast<unsigned int>(GetStringLen());
    String text;
    if (length)
        text = String(current, 0, 0, length);
    const uint64_t width = QuantizedWidth(length);
    const unsigned int available = Available();
    current += width < available ? static_cast<unsigned int>(width) : available;
    return text;
}

void TMemoryStream::GetQuantizedString(char* destination)
{
    const unsigned int length = static_cast<unsigned int>(GetStringLen());
    if (length)
        std::memcpy(destination, current, length);
    destination[length] = 0;
    const uint64_t width = QuantizedWidth(length);
    const unsigned int available = Available();
    current += width < available ? static_cast<unsigned int>(width) : available;
}
