#include <CommonTarn.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
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
    0xFF, 0xFF, 0xFF, 0xFF,                          // long -1: 4 bytes whatever the target's long
    0xEF, 0xCD, 0xAB, 0x89,                          // unsigned long 0x89ABCDEF
    0x00, 0x00, 0xC0, 0x3F,                          // float 1.5
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x04, 0xC0,  // double -2.5
    'h',  'i',  0x00,                                // PutString("hi", 1)
    'x',  13,   10,                                  // PutLine("x")
    'a',  'b',  'c',  'd',  0x00, 0x00, 0x00, 0x00,  // PutQuantizedString("abcd")
    0x00,                                            // PutEndl
};

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
    s.Get(sc), s.Get(c), s.Get(uc), s.Get(sh), s.Get(ush), s.Get(i), s.Get(ui), s.Get(l), s.Get(ul), s.Get(f), s.Get(d);
    EXPECT_TRUE(sc == -2 && c == 'A' && uc == 200 && sh == -2 && ush == 0xBEEF && i == -123456789);
    EXPECT_TRUE(ui == 0xDEADBEEFu && l == -1L && ul == 0x89ABCDEFul && f == 1.5f && d == -2.5);
    EXPECT_STREQ("hi", s.GetString().c_str());
    EXPECT_STREQ("x", s.GetLine().c_str());
    EXPECT_STREQ("abcd", s.GetQuantizedString().c_str());
    EXPECT_EQ(0, s.GetStringLen());
    EXPECT_STREQ("", s.GetString().c_str());  // consumes the end byte
}

}  // namespace

TEST(MemoryStream, TypedValuesHaveTheSameBytesOnEveryTarget)
{
    TMemoryStream s(32, 1);
    s.Put(static_cast<signed char>(-2)), s.Put('A'), s.Put(static_cast<unsigned char>(200));
    s.Put(static_cast<short>(-2)), s.Put(static_cast<unsigned short>(0xBEEF)), s.Put(-123456789), s.Put(0xDEADBEEFu);
    s.Put(-1L), s.Put(0x89ABCDEFul), s.Put(1.5f), s.Put(-2.5);
    s.PutString("hi", 1);
    s.PutLine("x");
    s.PutQuantizedString("abcd");
    s.PutEndl();
    EXPECT_EQ(kEveryPut, Written(s));
    s.Seek(0);
    ExpectEveryType(s);
    EXPECT_EQ(kEveryPut.size(), s.GetPosition());

    // Bytes written elsewhere, read through a borrowed, read-only stream.
    TMemoryStream in(static_cast<const void*>(kEveryPut.data()), static_cast<unsigned>(kEveryPut.size()));
    ExpectEveryType(in);
    EXPECT_NE(0, in.End());
}

// Growth by the step or to what is needed; a reset frees an owned buffer, a destructor only
// when asked; a failed allocation leaves the stream as it was.
TEST(MemoryStream, OwnedBuffers)
{
    const unsigned long blocks = DefaultBlocks();
    TMemoryStream s(32, 0), small(1, 1);
    s.Put("", 0);
    s.Put('x', -3);
    EXPECT_EQ(nullptr, s.GetStart());
    s.Put('a', 40);
    EXPECT_EQ(40u, s.GetSize());  // not 64: a big write takes what it needs
    s.Put('a');
    EXPECT_EQ(72u, s.GetSize());  // then the step
    EXPECT_EQ(0, s.End());
    s.Put('b', 31);
    EXPECT_NE(0, s.End());
    small.Put('x');
    EXPECT_EQ(32u, small.GetSize()) << "a step below the least one";
    s.Reset(64, 1);  // frees all the same
    EXPECT_EQ(blocks + 1, DefaultBlocks());
    EXPECT_TRUE(s.GetStart() == nullptr && s.GetSize() == 0);

    // Overwriting after a Seek, then bytes of the stream's own buffer put while it grows.
    s.PutString(String("abcdef"), 0);
    s.Seek(2);
    s.Put("XY", 2);
    s.SetPosition(6);
    s.Put(s.GetStart(), 6);
    s.Put('z', 20);
    s.Put(s.GetPointer(0), 32);
    const std::string half = "abXYefabXYef" + std::string(20, 'z');
    EXPECT_EQ(half + half, std::string(s.GetStart(), s.GetPosition()));
    const char data[] = "abc";
    s.Reset(static_cast<const void*>(data), 3);  // from owned to borrowed
    EXPECT_STREQ("abc", s.GetString().c_str());
    s.Reset(2, 1);  // a borrowed buffer is not freed
    char* handed;
    {
        TMemoryStream owner(32, 0);
        owner.Put(42);
        handed = owner.GetStart();
    }
    EXPECT_EQ(blocks + 2, DefaultBlocks()) << "the destructor left it to the caller";
    NH_Heap::FreeMem(handed);

    NH_Heap::Default().FailAllocation(1);
    EXPECT_THROW(s.Put('a'), TException);
    EXPECT_TRUE(s.GetStart() == nullptr && s.GetSize() == 0 && s.GetPosition() == 0);
    s.Put('a', 40);
    NH_Heap::Default().FailAllocation(1);
    EXPECT_THROW(s.Put('b', 4096), TException);
    NH_Heap::Default().FailAllocation(0);
    EXPECT_TRUE(s.GetSize() == 40 && s.GetPosition() == 40);
    EXPECT_EQ(std::string(40, 'a'), std::string(s.GetStart(), 40));
}

TEST(MemoryStream, QuantizedStringsAndLines)
{
    // Padded to 4 bytes from their own start, also at an odd position.
    TMemoryStream s(32, 1);
    for (const char* text : {"", "abc", "abcd", "-", "abcdefgh", "z"})
        text[0] == '-' ? s.Put('-') : s.PutQuantizedString(text);
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

    // CR LF, CR and LF each end one line; a zero byte ends one; the buffer's end ends the last.
    TMemoryStream t(32, 1);
    t.PutLine(String("a"));
    t.PutString("b\rc\nd", 1);
    t.PutString(String("e\r\r\nf"), 0);
    TMemoryStream in(static_cast<const void*>(t.GetStart()), t.GetPosition());
    for (const char* line : {"a", "b", "c", "d", "e", "", "f"}) {
        EXPECT_EQ(0, in.End());
        EXPECT_STREQ(line, in.GetLine().c_str());
    }
    EXPECT_NE(0, in.End());
    EXPECT_STREQ("", in.GetLine().c_str());
    EXPECT_EQ(t.GetPosition(), in.GetPosition());
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
    s.Seek(10);  // beyond: reads give zeros and leave the position alone
    s.Get(value);
    EXPECT_EQ(0, value);
    EXPECT_EQ(10u, s.GetPosition());
    EXPECT_STREQ("", s.GetString().c_str());
    EXPECT_STREQ("", s.GetLine().c_str());

    std::unique_ptr<char[]> text(new char[5]{'a', 'b', 'c', 'd', 13});
    TMemoryStream t(static_cast<const void*>(text.get()), 5);
    const struct {
        unsigned int from;
        String (TMemoryStream::*read)();
        const char* expected;
    } reads[] = {{1, &TMemoryStream::GetString, "bcd\r"}, {2, &TMemoryStream::GetQuantizedString, "cd\r"},
                 {3, &TMemoryStream::GetLine, "d"}};  // a CR as the last byte: no look beyond
    for (const auto& r : reads) {
        t.Seek(r.from);
        EXPECT_STREQ(r.expected, (t.*r.read)().c_str());
        EXPECT_EQ(5u, t.GetPosition());
    }
    t.Seek(0);
    char destination[8];
    t.GetQuantizedString(destination);
    EXPECT_STREQ("abcd\r", destination);
    EXPECT_EQ(5u, t.GetPosition());

    TMemoryStream empty(32, 1);  // a new owned stream has no buffer at all
    empty.Get(value);
    EXPECT_EQ(0, value);
    EXPECT_STREQ("", empty.GetLine().c_str());
}

// A read-only stream refuses every write; a borrowed writable one overwrites within its size
// and refuses a write that would not fit whole. Neither moves the position when refusing.
TEST(MemoryStream, BorrowedBuffersKeepTheirLength)
{
    const unsigned long blocks = DefaultBlocks();
    char fixed[8] = {'0', '1', '2', '3', '4', '5', '6', '7'};
    TMemoryStream ro(static_cast<const void*>(fixed), sizeof fixed);
    EXPECT_NE(0, ro.IsReadOnly());
    ro.Put('x'), ro.Put(7), ro.Put("ab", 2), ro.Put('y', 3), ro.PutLine("z"), ro.PutQuantizedString("q");
    EXPECT_EQ(0u, ro.GetPosition());
    EXPECT_EQ(0, std::memcmp(fixed, "01234567", 8));

    TMemoryStream rw(static_cast<void*>(fixed), sizeof fixed);
    EXPECT_EQ(0, rw.IsReadOnly());
    rw.Put('a');
    rw.Put(static_cast<short>(0x6362));
    rw.Put(0x64646464);  // 4 bytes fit: 3 to 7
    rw.Put(static_cast<short>(0));  // 2 bytes do not: nothing is written
    rw.PutQuantizedString("");
    rw.PutLine("");
    EXPECT_EQ(7u, rw.GetPosition());
    rw.Put('h');
    rw.Put('!');
    EXPECT_EQ(8u, rw.GetPosition());
    EXPECT_EQ(0, std::memcmp(fixed, "abcddddh", 8));
    EXPECT_EQ(blocks, DefaultBlocks());
}
