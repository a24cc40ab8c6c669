#include <gtest/gtest.h>
#include <zlib.h>

#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "numeric/NumericHelpers.h"

// Check values, then both CRCs against independent references over many lengths and
// alignments: zlib for CRC-32, a bitwise loop for CRC-16/ARC.
TEST(Crc, CheckValuesAndReferences)
{
    EXPECT_TRUE(ComputeCrc16("123456789", 9) == 0xBB3D && ComputeCrc16("abc", 3) == 0x9738);
    EXPECT_TRUE(ComputeCrc32("123456789", 9) == 0xCBF43926ul && ComputeCrc32("abc", 3) == 0x352441C2ul);
    EXPECT_EQ(ComputeCrc16(nullptr, 0) + ComputeCrc32(nullptr, 0), 0ul);
    std::mt19937 random(7);
    std::vector<unsigned char> buffer((1 << 20) + 64);
    for (unsigned char& c : buffer)
        c = static_cast<unsigned char>(random());
    std::vector<std::pair<size_t, size_t>> spans = {{4095 % 61, 4095}, {65536 % 61, 65536}, {1000003 % 61, 1000003}};
    for (size_t offset = 0; offset < 16; ++offset)
        for (size_t n = 0; n <= 300; n += (n < 100 ? 1 : 7))
            spans.emplace_back(offset, n);
    for (auto [offset, n] : spans) {
        const unsigned char* b = buffer.data() + offset;
        unsigned crc16 = 0;
        for (size_t i = 0; i < n; ++i) {
            crc16 ^= b[i];
            for (int bit = 0; bit < 8; ++bit)
                crc16 = (crc16 & 1) ? (crc16 >> 1) ^ 0xA001 : crc16 >> 1;
        }
        ASSERT_EQ(ComputeCrc32(b, n), crc32(0, b, static_cast<uInt>(n))) << offset << " " << n;
        ASSERT_EQ(ComputeCrc16(b, n), crc16) << offset << " " << n;
    }
}

TEST(PowerOf2, AllPowersAndNeighbours)
{
    for (int k = 0; k < 32; ++k) {
        const unsigned int power = 1u << k;
        EXPECT_TRUE(GetPowerOf2(power) == k && GetPowerOf2(power + 1) == (k == 0 ? 1 : -1)) << k;
        EXPECT_TRUE(GetPowerOf2(power - 1) == (k == 1 ? 0 : -1) && GetPowerOf2(power | 0x80000000u) == (k == 31 ? 31 : -1)) << k;
    }
    EXPECT_EQ(GetPowerOf2(0), -1);
}

// The worked table, the mirror relation, monotony, the closed form, and the limits.
TEST(LinearMapping, TableShapeAndLimits)
{
    const int table[][3] = {{0, 0, 0}, {1, 15, 0}, {9, 50, 2}, {50, 85, 15}, {99, 100, 85}, {100, 100, 100}};
    for (const auto& row : table)
        EXPECT_TRUE(MapLinearToLog(row[0], 100) == row[1] && MapLinearToExp(row[0], 100) == row[2]) << row[0];
    for (int m : {1, 2, 3, 7, 100, 1000, 65535})
        for (int v = 0; v <= m; ++v) {
            const int log = MapLinearToLog(v, m), exp = MapLinearToExp(v, m);
            ASSERT_TRUE(log <= m && (v == 0 || (log >= MapLinearToLog(v - 1, m) && exp >= MapLinearToExp(v - 1, m))));
            ASSERT_EQ(exp, m - MapLinearToLog(m - v, m)) << m << " " << v;
            // Exact ties may fall either way in floating point.
            ASSERT_NEAR(log, m * std::log(v + 1.0) / std::log(m + 1.0), 0.5 + 1e-9) << m << " " << v;
        }
    for (int m = 1; m <= 5000; ++m)
        ASSERT_TRUE(!MapLinearToLog(0, m) && !MapLinearToExp(0, m) && MapLinearToLog(m, m) == m && MapLinearToExp(m, m) == m);
    for (int m : {0, 1, 100, INT_MAX}) {
        for (int v : {-1, INT_MIN})
            EXPECT_EQ(MapLinearToLog(v, m) + MapLinearToExp(v, m), 0) << m << " " << v;
        for (int v : {m + (m < INT_MAX), INT_MAX, m})
            EXPECT_TRUE(MapLinearToLog(v, m) == m && MapLinearToExp(v, m) == m) << m << " " << v;
    }
}
