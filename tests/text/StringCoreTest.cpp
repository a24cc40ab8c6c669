#include <cstring>
#include <new>
#include <string>
#include <thread>

#include "StringTestSupport.h"

TEST(StringCore, CopiesShareUntilOneIsWritten)
{
    NoLeak noLeak;
    String a("shared text");
    const unsigned long blocks = StringBlocks();
    String b(a);
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_EQ(2u, RefOf(a)->refCount);
    EXPECT_EQ(blocks, StringBlocks()) << "a copy allocates nothing";

    b += '!';
    EXPECT_STREQ("shared text", a.c_str());
    EXPECT_STREQ("shared text!", b.c_str());
    EXPECT_EQ(1u, RefOf(a)->refCount);
    EXPECT_EQ(1u, RefOf(b)->refCount);
    EXPECT_EQ(blocks + 1, StringBlocks());

    String c;
    c = a;
    c = c;  // self-assignment keeps the count
    EXPECT_EQ(2u, RefOf(a)->refCount);
    c = b;
    EXPECT_EQ(1u, RefOf(a)->refCount);
    EXPECT_EQ(2u, RefOf(b)->refCount);
}

TEST(StringCore, BufferSizesRoundToEightAtCreationOnly)
{
    NoLeak noLeak;
    EXPECT_EQ(8u, RefOf(String("1234567"))->bufferSize);
    EXPECT_EQ(16u, RefOf(String("12345678"))->bufferSize);
    EXPECT_EQ(8u, RefOf(String(""))->bufferSize);
    EXPECT_EQ(8u, RefOf(String())->bufferSize);

    String s("abcdefghij");
    EXPECT_EQ(16u, RefOf(s)->bufferSize);
    s.EnsureBufferSize(20);
    EXPECT_EQ(24u, RefOf(s)->bufferSize);
    EXPECT_EQ(10u, s.length());
    s.EnsureBufferSize(3);  // large enough: untouched
    EXPECT_EQ(24u, RefOf(s)->bufferSize);
    s.SetSize(30);
    EXPECT_STREQ("abcdefghij", s.c_str());
    s.SetSize(-1);
    EXPECT_EQ(10u, s.length());
    s.SetSize(5);
    EXPECT_STREQ("abcde", s.c_str());
    EXPECT_EQ(5u, s.length());
    s.FreeExtraBufferSize();
    EXPECT_EQ(8u, RefOf(s)->bufferSize);
    EXPECT_STREQ("abcde", s.c_str());

    // A raw fill through the buffer.
    String fill;
    fill.CopyBeforeWrite();
    fill.EnsureBufferSize(3);
    std::memcpy(fill.GetBuffer(), "xyz", 3);
    fill.SetSize(3);
    EXPECT_STREQ("xyz", fill.c_str());
    EXPECT_STREQ("", String().c_str()) << "the shared empty buffer was written";
}

TEST(StringCore, EmptyBuffersAreSeparateSharedAndNeverFreed)
{
    NoLeak noLeak;
    String a, b;
    String cleared("x");
    cleared.Clear();
    String null(SubString::CreateNull());
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_NE(a.c_str(), cleared.c_str());
    EXPECT_NE(a.c_str(), null.c_str());
    EXPECT_NE(cleared.c_str(), null.c_str());
    for (const String* s : {&a, &cleared, &null}) {
        EXPECT_EQ(8u, RefOf(*s)->bufferSize);
        EXPECT_EQ(0u, s->length());
        EXPECT_GE(RefOf(*s)->refCount, 2u) << "an empty buffer must look shared to every writer";
    }
    {
        const unsigned long blocks = StringBlocks();
        String copies[100];
        EXPECT_EQ(blocks, StringBlocks()) << "the default constructor allocates nothing";
    }
    // Writers get private buffers; the empty ones stay empty.
    a += "written";
    cleared.Append('c', 2);
    null.Insert(0, "n", 1);
    EXPECT_STREQ("", b.c_str());
    EXPECT_STREQ("", String().c_str());
    EXPECT_STREQ("", String(SubString::CreateNull()).c_str());
    String again("y");
    again.Clear();
    EXPECT_STREQ("", again.c_str());

    // Many threads taking and dropping the shared empty buffers at once.
    std::thread threads[4];
    for (std::thread& t : threads)
        t = std::thread([] {
            for (int i = 0; i < 20000; ++i) {
                String s;
                String t(s);
                t.Clear();
                String u(SubString::CreateNull());
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_STREQ("", String().c_str());
}

TEST(StringCore, ClearAndEmptyAssignmentGiveUpTheBuffer)
{
    NoLeak noLeak;
    const unsigned long blocks = StringBlocks();
    String s("some text");
    String t("other text");
    EXPECT_EQ(blocks + 2, StringBlocks());
    s.Clear();
    t = "";
    EXPECT_EQ(0u, s.length());
    EXPECT_EQ(0u, t.length());
    EXPECT_EQ(blocks, StringBlocks());

    String shared("kept");
    String holder(shared);
    holder.Clear();
    EXPECT_STREQ("kept", shared.c_str());
    EXPECT_EQ(1u, RefOf(shared)->refCount);
}

TEST(StringCore, ConstructorsFromText)
{
    NoLeak noLeak;
    EXPECT_STREQ("cde", String("abcdef", 1, 2, 3).c_str());
    EXPECT_STREQ("ef", String("abcdef", 1, 4, 100).c_str());
    EXPECT_STREQ("", String("abcdef", 1, 6, 2).c_str());
    EXPECT_STREQ("", String("abcdef", 1, static_cast<unsigned long>(-1), 2).c_str());

    String bytes("ab\0cd", 0, 0, 5);
    EXPECT_EQ(5u, bytes.length());
    EXPECT_EQ(0, std::memcmp("ab\0cd", bytes.c_str(), 6));
    EXPECT_FALSE(bytes.IsEmpty());
    String zeroFirst("\0bcd", 0, 0, 4);
    EXPECT_EQ(4u, zeroFirst.length());
    EXPECT_TRUE(zeroFirst.IsEmpty());
    EXPECT_TRUE(!zeroFirst);

    String source("0123456789");
    EXPECT_STREQ("345", String(source, 3, 3).c_str());
    EXPECT_STREQ("89", String(source, 8, static_cast<unsigned long>(-1)).c_str());
    EXPECT_STREQ("", String(source, 10, 1).c_str());
    EXPECT_EQ(1u, RefOf(source)->refCount);
    EXPECT_STREQ("zzzz", String('z', 4).c_str());
    EXPECT_EQ(0u, String('z', 0).length());
}

TEST(StringCore, NumbersAndTheirFormats)
{
    NoLeak noLeak;
    EXPECT_STREQ("5", String(5).c_str());
    EXPECT_STREQ("-005", String(-5, "%04d").c_str());
    EXPECT_STREQ("2.50", String(2.5).c_str());
    EXPECT_STREQ("0.25", String(0.25f).c_str());
    EXPECT_STREQ("65535", String(static_cast<unsigned short>(65535)).c_str());
    EXPECT_STREQ("-1", String(static_cast<short>(-1)).c_str());
    EXPECT_STREQ("4294967295", String(4294967295u).c_str());
    EXPECT_STREQ("-2147483648", String(-2147483647 - 1).c_str());
    EXPECT_STREQ("ff", String(255, "%x").c_str());
    EXPECT_STREQ("[ 42]", String(42L, "[%3ld]").c_str());
    EXPECT_STREQ("100%", String(100, "%d%%").c_str());
    EXPECT_STREQ("1.500", String(1.5, "%.3f").c_str());
    // Formats that would read arguments that are not there give the default text.
    EXPECT_STREQ("7", String(7, "%s").c_str());
    EXPECT_STREQ("7", String(7, "%d %d").c_str());
    EXPECT_STREQ("7", String(7, "%*d").c_str());
    EXPECT_STREQ("7", String(7, "no conversion").c_str());
    EXPECT_STREQ("3.00", String(3.0, "%d").c_str());
    // The text is cut at the formatting buffer rather than overrun.
    EXPECT_EQ(79u, String(1e300).length());
}

TEST(StringCore, SlicesAreNewBuffersAndLeaveTheSourceAlone)
{
    NoLeak noLeak;
    String s("abcd");
    EXPECT_STREQ("", String(s.Mid(10, 5)).c_str());
    EXPECT_STREQ("cd", String(s.Mid(2, static_cast<unsigned long>(-1))).c_str());
    EXPECT_STREQ("bc", String(s.Mid(1, 2)).c_str());
    EXPECT_STREQ("ab", String(s.Left(2)).c_str());
    EXPECT_STREQ("cd", String(s.Right(2)).c_str());
    String whole(s.Left(100));
    EXPECT_STREQ("abcd", whole.c_str());
    EXPECT_NE(s.c_str(), whole.c_str());
    EXPECT_EQ(1u, RefOf(s)->refCount);
    EXPECT_STREQ("abcd", String(s.Right(100)).c_str());
}

TEST(StringCore, JoinsOfEveryMix)
{
    NoLeak noLeak;
    String a("ab");
    String b("cd");
    EXPECT_STREQ("abcd", String(a + b).c_str());
    EXPECT_STREQ("abxy", String(a + "xy").c_str());
    EXPECT_STREQ("xyab", String("xy" + a).c_str());
    EXPECT_STREQ("<ab|cd>", String("<" + a + "|" + b + ">").c_str());
    String bytes("a\0b", 0, 0, 3);
    String joined(bytes + bytes);
    EXPECT_EQ(6u, joined.length()) << "String operands join by length";
    EXPECT_EQ(1u, RefOf(a)->refCount);

    String taken(SubString::Create("xyz", 2));
    EXPECT_STREQ("xy", taken.c_str());
    EXPECT_EQ(1u, RefOf(taken)->refCount) << "a received SubString brings exactly one count";
    String assigned;
    assigned = a + b;
    EXPECT_EQ(1u, RefOf(assigned)->refCount);
}

TEST(StringCore, TransformToSubStringHandsTheBufferOver)
{
    NoLeak noLeak;
    String target;
    {
        String local("moved");
        const char* before = local.c_str();
        target = SubString::TransformToSubString(local);
        EXPECT_EQ(before, target.c_str());
        EXPECT_EQ(nullptr, local.c_str());
    }  // the emptied String is destroyed without fault
    EXPECT_EQ(1u, RefOf(target)->refCount);
    target = SubString::TransformToSubString(target);
    EXPECT_STREQ("moved", target.c_str());
}

TEST(StringCore, Conversions)
{
    EXPECT_EQ(42, String("42").to_int());
    EXPECT_EQ(-17L, String("  -17xyz").to_long());
    EXPECT_EQ(31, String("0x1F").to_int(16));
    EXPECT_EQ(255u, String("ff").to_uint(16));
    EXPECT_EQ(8, String("010").to_int(0));
    EXPECT_EQ(44, String("300").to_uchar());
    EXPECT_EQ(static_cast<short>(-1), String("65535").to_short());
    EXPECT_EQ(0, String("not a number").to_int());
    EXPECT_DOUBLE_EQ(2.5, String("2.5").to_double());
    EXPECT_FLOAT_EQ(0.125f, String("0.125").to_float());
}

TEST(StringCore, ComparisonFollowsTheThreadsMode)
{
    const String upper("HELLO");
    EXPECT_TRUE(upper != "hello");
    EXPECT_TRUE(String("a") < String("b"));
    EXPECT_TRUE(String("\xe9") > "z") << "bytes compare unsigned";
    EXPECT_TRUE(String("ab") < "abc");
    {
        CaseSensitive insensitive(0);
        EXPECT_TRUE(upper == "hello");
        EXPECT_TRUE("hello" == upper);
        {
            CaseSensitive sensitive(1);
            EXPECT_TRUE(upper != "hello");
        }
        EXPECT_TRUE(upper == "hello");
        int otherThreadEqual = -1;
        std::thread([&] { otherThreadEqual = upper == "hello"; }).join();
        EXPECT_EQ(0, otherThreadEqual) << "a new thread starts case sensitive";
    }
    EXPECT_TRUE(upper != "hello");
}

TEST(StringCore, ClonesComeFromTheBuffersOwnHeap)
{
    NoLeak noLeak;
    NH_Heap other(1, "OtherStrings");
    NH_Heap* saved = _stringHeap;
    _stringHeap = &other;
    String made("made on the other heap");
    _stringHeap = saved;
    EXPECT_TRUE(other.Owns(RefOf(made)));

    String copy(made);
    copy += '!';  // unshares: the new block comes from the old buffer's heap
    EXPECT_TRUE(other.Owns(RefOf(copy)));
    EXPECT_EQ(2u, other.GetBlocksInUse());
    copy.Append(String('x', 100));  // grows on its own heap
    EXPECT_TRUE(other.Owns(RefOf(copy)));
    EXPECT_EQ(2u, other.GetBlocksInUse());
}

TEST(StringCore, ReleasedAfterItsHeapIsDestroyed)
{
    NH_Heap* temporary = new NH_Heap(1, "Temporary");
    NH_Heap* saved = _stringHeap;
    _stringHeap = temporary;
    String* survivor = new String("outlives its heap");
    String* object = new String("object and text");
    _stringHeap = saved;
    EXPECT_EQ(4u, temporary->GetBlocksInUse());
    delete temporary;
    EXPECT_STREQ("outlives its heap", survivor->c_str());
    delete survivor;
    delete object;  // ASan reports the heap state if this went wrong
}

TEST(StringCore, FailedAllocationsLeaveDestructibleObjects)
{
    NoLeak noLeak;
    _stringHeap->FailAllocation(1);
    EXPECT_THROW(String("abc"), TException);

    String original("original");
    {
        String copy(original);
        _stringHeap->FailAllocation(1);
        EXPECT_THROW(copy += "more", TException);
        EXPECT_EQ(1u, RefOf(original)->refCount) << "the failed clone gave up its count";
    }  // the copy holds nothing now and is destroyed without fault
    EXPECT_STREQ("original", original.c_str());

    _stringHeap->FailAllocation(1);
    EXPECT_THROW(original = "replacement", TException);
    EXPECT_STREQ("original", original.c_str()) << "a failed assignment keeps the old text";

    _stringHeap->FailAllocation(1);
    EXPECT_EQ(nullptr, new String("no room")) << "operator new gives null and builds nothing";

    // A text whose length does not fit 32 bits is a failed allocation too.
    EXPECT_THROW(String('x', 0xFFFFFFFFul), TException);
    String big("x");
    EXPECT_THROW(big.EnsureBufferSize(0xFFFFFFFFul), TException);
    EXPECT_STREQ("x", big.c_str());
}

TEST(StringCore, StringAndValue)
{
    NoLeak noLeak;
    StringAndValue empty;
    EXPECT_EQ(0, empty.value);
    EXPECT_STREQ("", empty.text.c_str());
    String name("width");
    StringAndValue pair(name, 640);
    EXPECT_EQ(name.c_str(), pair.text.c_str());
    StringAndValue copy(pair);
    copy = copy;
    EXPECT_EQ(3u, RefOf(name)->refCount);
    empty = pair;
    EXPECT_EQ(640, empty.value);
    EXPECT_EQ(4u, RefOf(name)->refCount);
}
