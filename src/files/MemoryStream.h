// TMemoryStream: a byte stream in memory with one position, for writing and reading. The
// owned form builds a block of unknown length in a buffer from NH_Heap::Default() that grows
// by a fixed step; the borrowed form walks over someone else's buffer of fixed length.
//
// Typed values travel as raw little-endian bytes of a fixed width on every target: 1 byte for
// the char types, 2 for short, 4 for int, long and float, 8 for double. A long of 64 bits
// keeps its low 32 bits; reading gives it back sign-extended (unsigned long: zero-extended).
//
// Reads never leave the buffer: what lies beyond size reads as zero bytes, a text without a
// terminator ends at size, and reading does not move the position past size.
#pragma once

#include <cstdint>
#include <cstring>

#include "CommonTarnExport.h"
#include "text/TextString.h"

// The low N bytes of bits in little-endian order, and back: the byte order of every typed
// value that the library writes, to memory streams and to files alike.
template <unsigned N>
inline void StoreLittleEndian(unsigned char* bytes, uint64_t bits)
{
    for (unsigned i = 0; i < N; ++i)
        bytes[i] = static_cast<unsigned char>(bits >> (8 * i));
}
template <unsigned N>
inline uint64_t LoadLittleEndian(const unsigned char* bytes)
{
    uint64_t bits = 0;
    for (unsigned i = 0; i < N; ++i)
        bits |= static_cast<uint64_t>(bytes[i]) << (8 * i);
    return bits;
}

class COMMONTARN_API TMemoryStream {
public:
    // The least growth step of an owned stream, and the step of the default constructor.
    static constexpr unsigned int kMinGrowStep = 32;

    explicit TMemoryStream(unsigned int growStep = kMinGrowStep, int freeOnDestroy = 1);
    // Borrowed, for reading and overwriting within size bytes.
    TMemoryStream(void* buffer, unsigned int size);
    // Borrowed, for reading only.
    TMemoryStream(const void* buffer, unsigned int size);
    virtual ~TMemoryStream();
    TMemoryStream(const TMemoryStream&) = delete;
    TMemoryStream& operator=(const TMemoryStream&) = delete;

    // Each first frees an owned buffer, whatever freeOnDestroy says.
    void Reset(unsigned int growStep, int freeOnDestroy);
    void Reset(void* buffer, unsigned int size);
    void Reset(const void* buffer, unsigned int size);

    // Position. Seek and SetPosition do not check their argument.
    char* GetStart() const { return start; }
    char* GetHeadPointer() const { return current; }
    char* GetPointer(unsigned long offset) const { return At(offset); }
    unsigned int GetPosition() const { return static_cast<unsigned int>(Offset()); }
    void Seek(unsigned int position) { current = At(position); }
    void SetPosition(unsigned long position) { current = At(position); }
    int End() const { return Offset() >= size; }
    // The capacity of an owned stream, the given length of a borrowed one.
    unsigned int GetSize() const { return size; }
    int OwnsBuffer() const { return ownsBuffer; }
    int IsReadOnly() const { return readOnly; }

    // Writing at the position, overwriting and advancing. A read-only stream writes nothing,
    // and a borrowed stream writes nothing that would not fit whole within its size: it
    // cannot grow memory it does not own. Neither moves the position then.
    void Put(const void* data, unsigned int count);
    void Put(char value, int count);
    void Put(char value)
    {
        if (Fits(1))
            *current++ = value;
        else
            Put(static_cast<const void*>(&value), 1);
    }
    void Put(signed char value) { Put(static_cast<char>(value)); }
    void Put(unsigned char value) { Put(static_cast<char>(value)); }
    void Put(short value) { PutLE<2>(static_cast<uint16_t>(value)); }
    void Put(unsigned short value) { PutLE<2>(value); }
    void Put(int value) { PutLE<4>(static_cast<uint32_t>(value)); }
    void Put(unsigned int value) { PutLE<4>(value); }
    void Put(long value) { PutLE<4>(static_cast<uint32_t>(value)); }
    void Put(unsigned long value) { PutLE<4>(static_cast<uint32_t>(value)); }
    void Put(float value)
    {
        uint32_t bits;
        std::memcpy(&bits, &value, 4);
        PutLE<4>(bits);
    }
    void Put(const double& value)
    {
        uint64_t bits;
        std::memcpy(&bits, &value, 8);
        PutLE<8>(bits);
    }
    // One zero byte, not a line end.
    void PutEndl() { Put('\0'); }
    // The characters (of a String, all length bytes), and the terminator when asked; no prefix.
    void PutString(const char* text, int withTerminator);
    void PutString(const String& text, int withTerminator);
    // The characters, then CR and LF.
    void PutLine(const char* text);
    void PutLine(const String& text);
    // The text and its terminator, padded with zero bytes to a multiple of 4 counted from the
    // text's own start.
    void PutQuantizedString(const char* text);

    // Reading from the position and advancing.
    void Get(void* data, unsigned int count);
    void Get(char& value) { value = static_cast<char>(GetLE<1>()); }
    void Get(signed char& value) { value = static_cast<signed char>(GetLE<1>()); }
    void Get(unsigned char& value) { value = static_cast<unsigned char>(GetLE<1>()); }
    void Get(short& value) { value = static_cast<short>(static_cast<uint16_t>(GetLE<2>())); }
    void Get(unsigned short& value) { value = static_cast<unsigned short>(GetLE<2>()); }
    void Get(int& value) { value = static_cast<int32_t>(static_cast<uint32_t>(GetLE<4>())); }
    void Get(unsigned int& value) { value = static_cast<uint32_t>(GetLE<4>()); }
    void Get(long& value) { value = static_cast<int32_t>(static_cast<uint32_t>(GetLE<4>())); }
    void Get(unsigned long& value) { value = static_cast<uint32_t>(GetLE<4>()); }
    void Get(float& value)
    {
        const uint32_t bits = static_cast<uint32_t>(GetLE<4>());
        std::memcpy(&value, &bits, 4);
    }
    void Get(double& value)
    {
        const uint64_t bits = GetLE<8>();
        std::memcpy(&value, &bits, 8);
    }
    // Length of the text at the position, up to its terminator or the end of the buffer.
    int GetStringLen() const;
    // That text; the position moves behind its terminator.
    String GetString();
    // One line, ended by a zero byte, LF, CR, CR LF or the end of the buffer; the end is
    // consumed and not part of the text. An exhausted stream gives an empty text.
    String GetLine();
    // The quantized form: the text, and the position moved by the padded width.
    String GetQuantizedString();
    // The same, copied with its terminator (without padding) to destination.
    void GetQuantizedString(char* destination);

private:
    // Offsets go through integers: an owned stream may be positioned while start is null.
    uintptr_t Offset() const { return reinterpret_cast<uintptr_t>(current) - reinterpret_cast<uintptr_t>(start); }
    char* At(uintptr_t offset) const { return reinterpret_cast<char*>(reinterpret_cast<uintptr_t>(start) + offset); }
    bool Fits(unsigned int count) const { return static_cast<uint64_t>(Offset()) + count <= size && !readOnly; }
    unsigned int Available() const
    {
        const uintptr_t used = Offset();
        return used < size ? static_cast<unsigned int>(size - used) : 0;
    }
    // Makes room for count bytes at the position and moves the position behind them; answers
    // where they go, or null when the stream may not take them.
    char* Reserve(unsigned int count);
    void ReleaseOwned();

    template <unsigned N>
    void PutLE(uint64_t bits)
    {
        unsigned char bytes[N];
        StoreLittleEndian<N>(bytes, bits);
        if (Fits(N)) {
            std::memcpy(current, bytes, N);
            current += N;
        } else {
            Put(static_cast<const void*>(bytes), N);
        }
    }
    template <unsigned N>
    uint64_t GetLE()
    {
        unsigned char bytes[N];
        if (Available() >= N) {
            std::memcpy(bytes, current, N);
            current += N;
        } else {
            Get(bytes, N);
        }
        return LoadLittleEndian<N>(bytes);
    }

    unsigned int growStep;  // at least kMinGrowStep when owned, 0 when borrowed
    char* start;            // null on an owned stream until the first byte is put
    char* current;
    unsigned int size;      // capacity when owned; the amount written is the position
    int ownsBuffer;
    int readOnly;
    int freeOnDestroy;
};
