#include <CommonTarn.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

unsigned long DefaultBlocks()
{
    return NH_Heap::Default().GetBlocksInUse();
}

std::vector<unsigned char> Written(const TMemoryStream& s)
{
    const unsigned char* p = reinterpret_cast<const unsigned char*>(s.GetStart());
    return std::vector<unsigned char>(p, p + s.GetPosition());
}

// One value of every typed put, then a text, a line, a quantized text and an end byte, as
// little-endian bytes: what every target writes and reads.
const std::vector<unsigned char> kEveryPut = {
    0xFE,                                            // signed char -2
    0x41,                                            // char 'A'
    0xC8,                                            // unsigned char 200
    0xFE, 0xFF,                                      // short -2
    0xEF, 0xBE,                                      // unsigned short 0xBEEF
    0xEB, 0x32, 0xA4, 0xF8,                          // int -123456789
    0xEF, 0xBE, 0xAD, 0xDE,                          // unsigned int 0xDEADBEEF
    0xFE, 0xFF, 0xFF, 0xFF,                          // long -2
    0xEF, 0xCD, 0xAB, 0x89,                          // unsigned long 0x89ABCDEF
    0x00, 0x00, 0xC0, 0x3F,                          // float 1.5
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0xC0,  // double -2.5
    'h',  'i',  0x00,                                // PutString("hi", 1)
    'x',  13,   10,                                  // PutLine("x")
    'a',  'b',  'c',  'd',  0x00, 0x00, 0x00, 0x00,  // PutQuantizedString("abcd")
    0x00,                                            // PutEndl
};

void PutEveryType(TMemoryStream& s)
{
    s.Put(static_cast<signed char>(-2));
    s.Put('A');
    s.Put(static_cast<unsigned char>(200));
    s.Put(static_cast<short>(-2));
    s.Put(static_cast<unsigned short>(0xBEEF));
    s.Put(-123456789);
    s.Put(0xDEADBEEFu);
    s.Put(-2L);
    s.Put(0x89ABCDEFul);
    s.Put(1.5f);
    s.Put(-2.5);
    s.PutString("hi", 1);
    s.PutLine("x");
    s.PutQuantizedString("abcd");
    s.PutEndl();
}

void ExpectEveryType(TMemoryStream& s)
{
    signed char sc;
    char c;
    unsigned char uc;
    short sh;
    unsigned short ush;
    int i;
    unsigned int ui;
    long l;
    unsigned long ul;
    float f;
    double d;
    s.Get(sc), s.Get(c), s.Get(uc), s.Get(sh), s.Get(ush), s.Get(i);
    s.Get(ui), s.Get(l), s.Get(ul), s.Get(f), s.Get(d);
    EXPECT_TRUE(sc == -2 && c == 'A' && uc == 200 && sh == -2 && ush == 0xBEEF && i == -123456789);
    EXPECT_TRUE(ui == 0xDEADBEEFu && l == -2L && ul == 0x89ABCDEFul && f == 1.5f && d == -2.5);
    EXPECT_STREQ("hi", s.GetString().c_str());
    EXPECT_STREQ("x", s.GetLine().c_str());
    EXPECT_STREQ("abcd", s.GetQuantizedString().c_str());
    EXPECT_EQ(0, s.GetStringLen());
    EXPECT_STREQ("", s.GetString().c_str());  // consumes the end byte
}

}

TEST(MemoryStream, OwnedBufferGrowsByTheStepOrToWhatIsNeeded)
{
    const unsigned long blocks = DefaultBlocks();
    {
        TMemoryStream s(32, 1);
        s.Put("", 0);
        s.Put('x', -3);
        EXPECT_EQ(nullptr, s.GetStart());
        char bytes[40];
        std::memset(bytes, 'a', sizeof bytes);
        s.Put(bytes, 40);
        EXPECT_EQ(40u, s.GetSize());  // not 64: a big write takes what it needs
        s.Put('a');
        EXPECT_EQ(72u, s.GetSize());  // then the step
        EXPECT_EQ(0, s.End());
        s.Put('b', 31);
        EXPECT_NE(0, s.End());
        s.Put('c');
        EXPECT_EQ(104u, s.GetSize());
        EXPECT_EQ(std::string(41, 'a') + std::string(31, 'b') + "c", std::string(s.GetStart(), 73));
        EXPECT_EQ(blocks + 1, DefaultBlocks());
    }
    EXPECT_EQ(blocks, DefaultBlocks());
    TMemoryStream small(1, 1);  // a step below the least one
    small.Put('x');
    EXPECT_EQ(32u, small.GetSize());

    // Overwriting after a Seek, then bytes of the stream's own buffer put while it grows.
    TMemoryStream s(32, 1);
    s.PutString("abcdef", 0);
    s.Seek(2);
    s.Put("XY", 2);
    s.SetPosition(6);
    s.Put(s.GetStart(), 6);
    s.Put('z', 20);
    s.Put(s.GetPointer(0), 32);
    EXPECT_EQ(64u, s.GetPosition());
    const std::string half = "abXYefabXYef" + std::string(20, 'z');
    EXPECT_EQ(half + half, std::string(s.GetStart(), 64));
}

TEST(MemoryStream, TypedValuesHaveTheSameBytesOnEveryTarget)
{
    TMemoryStream s(32, 1);
    PutEveryType(s);
    EXPECT_EQ(kEveryPut, Written(s));
    s.Seek(0);
    ExpectEveryType(s);
    EXPECT_EQ(kEveryPut.size(), s.GetPosition());

    // Bytes written elsewhere, read through a borrowed, read-only stream.
    TMemoryStream in(static_cast<const void*>(kEveryPut.data()), static_cast<unsigned>(kEveryPut.size()));
    ExpectEveryType(in);
    EXPECT_NE(0, in.End());

    // A long keeps 4 bytes whatever the target's long: the low 32 bits, sign-extended back.
    TMemoryStream w(32, 1);
    w.Put(static_cast<long>(-1));
    w.Put(static_cast<unsigned long>(0xFFFFFFFFul));
    EXPECT_EQ(8u, w.GetPosition());
    w.Seek(0);
    long l;
    unsigned long ul;
    w.Get(l), w.Get(ul);
    EXPECT_EQ(-1L, l);
    EXPECT_EQ(0xFFFFFFFFul, ul);
}

TEST(MemoryStream, QuantizedStringsPadToFourFromTheirOwnStart)
{
    TMemoryStream s(32, 1);
    s.PutQuantizedString("");
    s.PutQuantizedString("abc");
    s.PutQuantizedString("abcd");
    s.Put('-');
    s.PutQuantizedString("abcdefgh");  // 12 bytes from an odd position
    EXPECT_EQ(29u, s.GetPosition());
    s.PutQuantizedString("z");
    EXPECT_EQ(std::vector<unsigned char>({0, 0, 0, 0, 'a', 'b', 'c', 0, 'a', 'b', 'c', 'd', 0, 0, 0, 0, '-', 'a', 'b',
                                          'c', 'd', 'e', 'f', 'g', 'h', 0, 0, 0, 0, 'z', 0, 0, 0}),
              Written(s));

    s.Seek(4);
    EXPECT_STREQ("abc", s.GetQuantizedString().c_str());
    EXPECT_EQ(8u, s.GetPosition());
    char destination[16];
    std::memset(destination, 'x', sizeof destination);
    s.GetQuantizedString(destination);
    EXPECT_STREQ("abcd", destination);
    EXPECT_EQ('x', destination[5]);  // the padding is not copied
    EXPECT_EQ(16u, s.GetPosition());
    s.Seek(17);
    EXPECT_STREQ("abcdefgh", s.GetQuantizedString().c_str());
    EXPECT_EQ(29u, s.GetPosition());
}

TEST(MemoryStream, LinesAndTexts)
{
    TMemoryStream s(32, 1);
    s.PutLine("a");
    EXPECT_EQ(std::vector<unsigned char>({'a', 13, 10}), Written(s));
    s.PutEndl();
    EXPECT_EQ(4u, s.GetPosition());
    s.PutLine(String("bc"));
    s.PutString(String("de"), 0);
    s.PutEndl();
    s.Seek(0);
    EXPECT_STREQ("a", s.GetLine().c_str());
    EXPECT_STREQ("", s.GetLine().c_str());  // the zero byte is a line of its own
    EXPECT_STREQ("bc", s.GetLine().c_str());
    EXPECT_STREQ("de", s.GetString().c_str());
    EXPECT_EQ(11u, s.GetPosition());

    // CR LF, CR and LF each end one line; a zero byte ends one; the buffer's end ends the last.
    const char text[] = {'a', 13, 10, 'b', 13, 'c', 10, 'd', 0, 'e', 13, 13, 10, 'f'};
    TMemoryStream in(static_cast<const void*>(text), sizeof text);
    const char* expected[] = {"a", "b", "c", "d", "e", "", "f"};
    for (const char* line : expected) {
        EXPECT_EQ(0, in.End());
        EXPECT_STREQ(line, in.GetLine().c_str());
    }
    EXPECT_NE(0, in.End());
    EXPECT_STREQ("", in.GetLine().c_str());
    EXPECT_EQ(sizeof text, in.GetPosition());

    // A text put without its terminator runs into what follows until a zero byte is put.
    TMemoryStream t(32, 1);
    t.PutString("ab", 0);
    t.PutString("cd", 0);
    t.PutEndl();
    t.Seek(0);
    EXPECT_EQ(4, t.GetStringLen());
    EXPECT_EQ(0u, t.GetPosition());
    EXPECT_STREQ("abcd", t.GetString().c_str());
    EXPECT_EQ(5u, t.GetPosition());
}

// Reads stop at the buffer's end: the rest of a value reads as zero bytes, a text without a
// terminator ends there, and the position does not pass it. The buffers are heap blocks of
// their exact size, so that AddressSanitizer sees any byte read beyond.
TEST(MemoryStream, ReadsNeverLeaveTheBuffer)
{
    std::unique_ptr<char[]> bytes(new char[3]{'\x01', '\x02', '\x03'});
    TMemoryStream s(static_cast<const void*>(bytes.get()), 3);
    int value = -1;
    s.Get(value);
    EXPECT_EQ(0x030201, value);
    EXPECT_EQ(3u, s.GetPosition());
    double d = 1;
    s.Get(d);
    EXPECT_EQ(0.0, d);
    s.Seek(10);  // beyond: reads give zeros and leave the position alone
    s.Get(value);
    EXPECT_EQ(0, value);
    EXPECT_EQ(10u, s.GetPosition());
    EXPECT_EQ(0, s.GetStringLen());
    EXPECT_STREQ("", s.GetString().c_str());
    EXPECT_STREQ("", s.GetLine().c_str());

    std::unique_ptr<char[]> text(new char[5]{'a', 'b', 'c', 'd', 'e'});
    TMemoryStream t(static_cast<const void*>(text.get()), 5);
    t.Seek(1);
    EXPECT_STREQ("bcde", t.GetString().c_str());
    EXPECT_EQ(5u, t.GetPosition());
    t.Seek(2);
    EXPECT_STREQ("cde", t.GetQuantizedString().c_str());
    EXPECT_EQ(5u, t.GetPosition());
    t.Seek(0);
    char destination[8];
    t.GetQuantizedString(destination);
    EXPECT_STREQ("abcde", destination);
    EXPECT_EQ(5u, t.GetPosition());
    t.Seek(3);
    EXPECT_STREQ("de", t.GetLine().c_str());
    EXPECT_EQ(5u, t.GetPosition());

    // A CR as the very last byte ends the line without a look beyond for LF.
    std::unique_ptr<char[]> cr(new char[2]{'q', 13});
    TMemoryStream c(static_cast<const void*>(cr.get()), 2);
    EXPECT_STREQ("q", c.GetLine().c_str());
    EXPECT_NE(0, c.End());

    // A new owned stream has no buffer at all.
    TMemoryStream empty(32, 1);
    empty.Get(value);
    EXPECT_EQ(0, value);
    EXPECT_STREQ("", empty.GetLine().c_str());
    EXPECT_EQ(nullptr, empty.GetStart());
}

// A read-only stream refuses every write; a borrowed writable one overwrites within its size
// and refuses a write that would not fit whole. Neither moves the position when refusing.
TEST(MemoryStream, BorrowedBuffersKeepTheirLength)
{
    const unsigned long blocks = DefaultBlocks();
    char fixed[8] = {'0', '1', '2', '3', '4', '5', '6', '7'};
    TMemoryStream ro(static_cast<const void*>(fixed), sizeof fixed);
    EXPECT_NE(0, ro.IsReadOnly());
    ro.Put('x');
    ro.Put(7);
    ro.Put("ab", 2);
    ro.Put('y', 3);
    ro.PutLine("z");
    ro.PutQuantizedString("q");
    ro.PutString(String("s"), 1);
    EXPECT_EQ(0u, ro.GetPosition());
    EXPECT_EQ(0, std::memcmp(fixed, "01234567", 8));

    TMemoryStream rw(static_cast<void*>(fixed), sizeof fixed);
    EXPECT_EQ(0, rw.IsReadOnly());
    rw.Put('a');
    rw.Put(static_cast<short>(0x6362));
    EXPECT_EQ(3u, rw.GetPosition());
    rw.Put(0x64646464);  // 4 bytes fit: 3 to 7
    EXPECT_EQ(7u, rw.GetPosition());
    rw.Put(static_cast<short>(0));  // 2 bytes do not: nothing is written
    rw.PutQuantizedString("");
    rw.PutLine("");
    EXPECT_EQ(7u, rw.GetPosition());
    rw.Put('h');
    EXPECT_EQ(8u, rw.GetPosition());
    rw.Put('!');
    EXPECT_EQ(0, std::memcmp(fixed, "abcddddh", 8));
    EXPECT_EQ(8u, rw.GetSize());
    EXPECT_EQ(blocks, DefaultBlocks());
}

TEST(MemoryStream, ResetAndHandOverOfTheBuffer)
{
    const unsigned long blocks = DefaultBlocks();
    char* handed;
    {
        TMemoryStream s(32, 0);
        s.Put(42);
        handed = s.GetStart();
    }
    EXPECT_EQ(blocks + 1, DefaultBlocks());  // the destructor left it to the caller
    int value;
    std::memcpy(&value, handed, 4);
    EXPECT_EQ(42, value);
    NH_Heap::FreeMem(handed);
    EXPECT_EQ(blocks, DefaultBlocks());

    TMemoryStream s(32, 0);
    s.Put(1);
    EXPECT_EQ(blocks + 1, DefaultBlocks());
    s.Reset(64, 0);  // frees all the same
    EXPECT_EQ(blocks, DefaultBlocks());
    EXPECT_EQ(nullptr, s.GetStart());
    EXPECT_EQ(0u, s.GetSize());
    s.Put('x');
    EXPECT_EQ(64u, s.GetSize());

    const char data[] = "abc";
    s.Reset(static_cast<const void*>(data), 3);  // from owned to borrowed
    EXPECT_EQ(blocks, DefaultBlocks());
    EXPECT_STREQ("abc", s.GetString().c_str());
    s.Reset(2, 1);  // a borrowed buffer is not freed
    s.Put('y');
    EXPECT_EQ(32u, s.GetSize());
}

TEST(MemoryStream, FailedGrowthLeavesTheStreamAsItWas)
{
    const unsigned long blocks = DefaultBlocks();
    {
        TMemoryStream s(32, 1);
        NH_Heap::Default().FailAllocation(1);
        EXPECT_THROW(s.Put('a'), TException);
        EXPECT_EQ(nullptr, s.GetStart());
        EXPECT_EQ(0u, s.GetSize());
        EXPECT_EQ(0u, s.GetPosition());
        s.Put('a', 40);
        NH_Heap::Default().FailAllocation(1);
        try {
            s.Put('b', 4096);  // more than the block has room for
        } catch (const TException&) {
        }
        EXPECT_EQ(40u, s.GetSize());
        EXPECT_EQ(40u, s.GetPosition());
        NH_Heap::Default().FailAllocation(0);
        EXPECT_EQ(std::string(40, 'a'), std::string(s.GetStart(), 40));
    }
    EXPECT_EQ(blocks, DefaultBlocks());
}
