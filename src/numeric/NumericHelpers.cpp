#include "numeric/NumericHelpers.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#  include <immintrin.h>
#  define COMMONTARN_CRC32_CLMUL 1
#endif

namespace {

// Tables of a reflected CRC of up to 32 bits for slicing by Slices bytes: table[k][b] is the
// register after byte b followed by k zero bytes. They are built by the compiler.
template <unsigned Slices>
struct CrcTables {
    uint32_t table[Slices][256];
};

template <unsigned Slices>
constexpr CrcTables<Slices> MakeCrcTables(uint32_t polynomial)
{
    CrcTables<Slices> t{};
    for (uint32_t b = 0; b < 256; ++b) {
        uint32_t crc = b;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? (crc >> 1) ^ polynomial : crc >> 1;
        t.table[0][b] = crc;
    }
    for (unsigned k = 1; k < Slices; ++k)
        for (uint32_t b = 0; b < 256; ++b)
            t.table[k][b] = (t.table[k - 1][b] >> 8) ^ t.table[0][t.table[k - 1][b] & 0xFF];
    return t;
}

constexpr CrcTables<16> crc32Tables = MakeCrcTables<16>(0xEDB88320u);
constexpr CrcTables<8> crc16Tables = MakeCrcTables<8>(0xA001u);

static_assert(crc32Tables.table[0][1] == 0x77073096u, "CRC-32 table");
static_assert(crc16Tables.table[0][1] == 0xC0C1u, "CRC-16 table");

inline uint32_t LoadLittleEndian32(const unsigned char* p)
{
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap32(v);
#endif
    return v;
}

// Slicing by Slices bytes (a multiple of 4): each step folds the register into the first
// four bytes of a block and looks every byte of the block up in its own table, so the
// lookups of one block do not wait for each other. Same results as one byte at a time.
template <unsigned Slices>
inline uint32_t UpdateCrc(const CrcTables<Slices>& tables, uint32_t crc, const unsigned char* p, unsigned long size)
{
    const auto& t = tables.table;
    // Bytes one by one up to an aligned address, so the block loads never straddle lines.
    while (size != 0 && (reinterpret_cast<uintptr_t>(p) & 7) != 0) {
        crc = t[0][(crc ^ *p++) & 0xFF] ^ (crc >> 8);
        --size;
    }
    while (size >= Slices) {
        uint32_t result = 0;
        for (unsigned w = 0; w < Slices / 4; ++w) {
            uint32_t word = LoadLittleEndian32(p + 4 * w);
            if (w == 0)
                word ^= crc;
            const unsigned k = Slices - 1 - 4 * w;
            result ^= t[k][word & 0xFF] ^ t[k - 1][(word >> 8) & 0xFF] ^ t[k - 2][(word >> 16) & 0xFF] ^
                      t[k - 3][word >> 24];
        }
        crc = result;
        p += Slices;
        size -= Slices;
    }
    while (size != 0) {
        crc = t[0][(crc ^ *p++) & 0xFF] ^ (crc >> 8);
        --size;
    }
    return crc;
}

#if COMMONTARN_CRC32_CLMUL
// Carry-less multiplication folds 64 bytes at a time, several times faster than any table.
// In the bit-reflected domain, x^e mod P times a block moves the block e bits forward while
// keeping its remainder; the constant for the first half of a block takes e = distance + 32,
// the one for the second half e = distance - 32, reflected and shifted left by one bit.
constexpr uint64_t ReflectedPowerConstant(unsigned e)
{
    uint64_t r = 1;  // x^e mod P, P = 0x104C11DB7
    for (unsigned i = 0; i < e; ++i) {
        r <<= 1;
        if (r & 0x100000000ull)
            r ^= 0x104C11DB7ull;
    }
    uint64_t reflected = 0;
    for (int bit = 0; bit < 32; ++bit)
        if (r & (1ull << bit))
            reflected |= 1ull << (31 - bit);
    return reflected << 1;
}

constexpr uint64_t foldBy64First = ReflectedPowerConstant(512 + 32);
constexpr uint64_t foldBy64Second = ReflectedPowerConstant(512 - 32);
constexpr uint64_t foldBy16First = ReflectedPowerConstant(128 + 32);
constexpr uint64_t foldBy16Second = ReflectedPowerConstant(128 - 32);
static_assert(foldBy16First == 0x1751997D0ull && foldBy16Second == 0x0CCAA009Eull, "folding constants");

__attribute__((target("pclmul,sse2"))) inline __m128i Fold(__m128i x, __m128i next, __m128i k)
{
    const __m128i first = _mm_clmulepi64_si128(x, k, 0x00);
    const __m128i second = _mm_clmulepi64_si128(x, k, 0x11);
    return _mm_xor_si128(_mm_xor_si128(first, second), next);
}

// The register of a CRC-32 (not inverted) after crc and the size bytes at p; size at least 64.
// Four 16-byte lanes are folded forward until one 16-byte value is left whose CRC from 0
// equals that of everything folded so far; the tables finish it and the tail.
__attribute__((target("pclmul,sse2"))) uint32_t UpdateCrc32Clmul(uint32_t crc, const unsigned char* p,
                                                                   unsigned long size)
{
    const __m128i* q = reinterpret_cast<const __m128i*>(p);
    __m128i x0 = _mm_xor_si128(_mm_loadu_si128(q), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x1 = _mm_loadu_si128(q + 1);
    __m128i x2 = _mm_loadu_si128(q + 2);
    __m128i x3 = _mm_loadu_si128(q + 3);
    p += 64;
    size -= 64;

    const __m128i k64 = _mm_set_epi64x(static_cast<long long>(foldBy64Second), static_cast<long long>(foldBy64First));
    while (size >= 64) {
        q = reinterpret_cast<const __m128i*>(p);
        x0 = Fold(x0, _mm_loadu_si128(q), k64);
        x1 = Fold(x1, _mm_loadu_si128(q + 1), k64);
        x2 = Fold(x2, _mm_loadu_si128(q + 2), k64);
        x3 = Fold(x3, _mm_loadu_si128(q + 3), k64);
        p += 64;
        size -= 64;
    }

    const __m128i k16 = _mm_set_epi64x(static_cast<long long>(foldBy16Second), static_cast<long long>(foldBy16First));
    x0 = Fold(x0, x1, k16);
    x0 = Fold(x0, x2, k16);
    x0 = Fold(x0, x3, k16);
    while (size >= 16) {
        x0 = Fold(x0, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), k16);
        p += 16;
        size -= 16;
    }

    unsigned char rest[16];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(rest), x0);
    return UpdateCrc(crc32Tables, UpdateCrc(crc32Tables, 0, rest, 16), p, size);
}

bool HasClmul()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse2");
}
#endif

// Step 3 of the logarithmic mapping for X = x and N = n (n at least 2), before the cut to an
// integer; it equals (n - 1) * ln x / ln n + 0.5.
double LogScaled(double x, double n)
{
    const double a = n * std::log(n);
    const double d = n - 1;
    const double e = std::exp(a / d);
    return std::log(e * x / n) * (n * d) / a - 1 + 0.5;
}

// Steps 4 and 5: cut toward zero and clamp to 0..maximum. A logarithm of 0 or of a negative
// number (X below 1) gives -inf or NaN, and both end at 0.
int CutAndClamp(double y, int maximum)
{
    if (!(y >= 0))
        return 0;
    if (y >= static_cast<double>(maximum) + 1)
        return maximum;
    return static_cast<int>(y);
}

}  // namespace

unsigned short ComputeCrc16(const void* data, unsigned long size)
{
    return static_cast<unsigned short>(UpdateCrc(crc16Tables, 0, static_cast<const unsigned char*>(data), size));
}

unsigned long ComputeCrc32(const void* data, unsigned long size)
{
    const unsigned char* p = static_cast<const unsigned char*>(data);
#if COMMONTARN_CRC32_CLMUL
    static const bool hasClmul = HasClmul();
    if (size >= 64 && hasClmul)
        return UpdateCrc32Clmul(0xFFFFFFFFu, p, size) ^ 0xFFFFFFFFu;
#endif
    return UpdateCrc(crc32Tables, 0xFFFFFFFFu, p, size) ^ 0xFFFFFFFFu;
}

int GetPowerOf2(unsigned int value)
{
    if (value == 0 || (value & (value - 1)) != 0)
        return -1;
    return __builtin_ctz(value);
}

int MapLinearToLog(int value, int maximum)
{
    if (maximum <= 0)
        return 0;
    if (value < 0)
        return 0;
    const double n = static_cast<double>(maximum) + 1;
    return CutAndClamp(LogScaled(static_cast<double>(value) + 1, n), maximum);
}

int MapLinearToExp(int value, int maximum)
{
    if (maximum <= 0)
        return 0;
    if (value > maximum)
        return maximum;
    const double n = static_cast<double>(maximum) + 1;
    // Computed in double: maximum - value may not fit an int for a large negative value.
    const double x = static_cast<double>(maximum) - static_cast<double>(value) + 1;
    return maximum - CutAndClamp(LogScaled(x, n), maximum);
}
