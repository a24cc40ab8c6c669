#include <gtest/gtest.h>
#include <zlib.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "numeric/NumericHelpers.h"

namespace {

// CRC-16/ARC bit by bit, independent of any table.
unsigned short Crc16BitByBit(const unsigned char* p, size_t n)
{
    unsigned crc = 0;
    while (n--) {
        crc ^= *p++;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? (crc >> 1) ^ 0xA001 : crc >> 1;
    }
    return static_cast<unsigned short>(crc);
}

}  // namespace

TEST(Crc, CheckValuesAndReferences)
{
    EXPECT_EQ(ComputeCrc16("123456789", 9), 0xBB3D);
    EXPECT_EQ(ComputeCrc16("abc", 3), 0x9738);
    EXPECT_EQ(ComputeCrc32("123456789", 9), 0xCBF43926ul);
    EXPECT_EQ(ComputeCrc32("abc", 3), 0x352441C2ul);
    EXPECT_EQ(ComputeCrc16(nullptr, 0), 0);
    EXPECT_EQ(ComputeCrc32(nullptr, 0), 0ul);

    std::mt19937 random(7);
    std::vector<unsigned char> buffer((1 << 22) + 64);
    for (unsigned char& c : buffer)
        c = static_cast<unsigned char>(random());
    const unsigned char* b = buffer.data();
    for (size_t offset = 0; offset < 16; ++offset)
        for (size_t n = 0; n <= 300; n += (n < 100 ? 1 : 7)) {
            ASSERT_EQ(ComputeCrc32(b + offset, n), crc32(0, b + offset, static_cast<uInt>(n))) << offset << " " << n;
            ASSERT_EQ(ComputeCrc16(b + offset, n), Crc16BitByBit(b + offset, n)) << offset << " " << n;
        }
    for (size_t n : {4095ul, 65536ul, 1000003ul, 1ul << 22}) {
        const size_t offset = n % 61;
        EXPECT_EQ(ComputeCrc32(b + offset, n), crc32(0, b + offset, static_cast<uInt>(n))) << n;
        EXPECT_EQ(ComputeCrc16(b + offset, n), Crc16BitByBit(b + offset, n)) << n;
    }
}

TEST(PowerOf2, AllPowersAndNeighbours)
{
    for (int k = 0; k < 32; ++k) {
        const unsigned int power = 1u << k;
        EXPECT_EQ(GetPowerOf2(power), k);
        EXPECT_EQ(GetPowerOf2(power + 1), k == 0 ? 1 : -1) << k;
        EXPECT_EQ(GetPowerOf2(power - 1), k == 1 ? 0 : -1) << k;
        EXPECT_EQ(GetPowerOf2(power | 0x80000000u), k == 31 ? 31 : -1) << k;
    }
    EXPECT_EQ(GetPowerOf2(0), -1);
    EXPECT_EQ(GetPowerOf2(0xFFFFFFFFu), -1);
}

TEST(LinearMapping, TableShapeAndLimits)
{
    const int table[][3] = {{0, 0, 0}, {1, 15, 0}, {9, 50, 2}, {50, 85, 15}, {99, 100, 85}, {100, 100, 100}};
    for (const auto& row : table) {
        EXPECT_EQ(MapLinearToLog(row[0], 100), row[1]) << row[0];
        EXPECT_EQ(MapLinearToExp(row[0], 100), row[2]) << row[0];
    }

    for (int m : {1, 2, 3, 7, 100, 1000, 65535}) {
        int lastLog = 0, lastExp = 0;
        for (int v = 0; v <= m; ++v) {
            const int log = MapLinearToLog(v, m), exp = MapLinearToExp(v, m);
            ASSERT_GE(log, lastLog) << m << " " << v;
            ASSERT_GE(exp, lastExp) << m << " " << v;
            ASSERT_LE(log, m);
            ASSERT_EQ(exp, m - MapLinearToLog(m - v, m)) << m << " " << v;
            // Near the closed form; exact ties may fall either way in floating point.
            ASSERT_NEAR(log, m * std::log(v + 1.0) / std::log(m + 1.0), 0.5 + 1e-9) << m << " " << v;
            lastLog = log;
            lastExp = exp;
        }
    }

    for (int m = 1; m <= 5000; ++m) {
        ASSERT_EQ(MapLinearToLog(0, m), 0) << m;
        ASSERT_EQ(MapLinearToLog(m, m), m) << m;
        ASSERT_EQ(MapLinearToExp(0, m), 0) << m;
        ASSERT_EQ(MapLinearToExp(m, m), m) << m;
    }

    for (int m : {1, 100, INT_MAX}) {
        EXPECT_EQ(MapLinearToLog(m, m), m);
        for (int v : {-1, -2, INT_MIN}) {
            EXPECT_EQ(MapLinearToLog(v, m), 0) << v;
            EXPECT_EQ(MapLinearToExp(v, m), 0) << v;
        }
        for (int v : {m == INT_MAX ? m : m + 1, INT_MAX}) {
            EXPECT_EQ(MapLinearToLog(v, m), m) << v;
            EXPECT_EQ(MapLinearToExp(v, m), m) << v;
        }
    }
    EXPECT_EQ(MapLinearToLog(50, 0), 0);
    EXPECT_EQ(MapLinearToExp(50, 0), 0);
    EXPECT_EQ(MapLinearToLog(0, 0), 0);
    EXPECT_EQ(MapLinearToExp(-3, 0), 0);
}
