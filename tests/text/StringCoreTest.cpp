#include <cstring>
#include <string>
#include <thread>
#include <utility>

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
    EXPECT_EQ("shared text", Text(a));
    EXPECT_EQ("shared text!", Text(b));
    EXPECT_TRUE(RefOf(a)->refCount == 1 && RefOf(b)->refCount == 1);
    EXPECT_EQ(blocks + 1, StringBlocks());
    String c;
    c = a;
    c = c;  // self-assignment keeps the count
    EXPECT_EQ(2u, RefOf(a)->refCount);
    c = b;
    EXPECT_EQ(1u, RefOf(a)->refCount);
    EXPECT_EQ(2u, RefOf(b)->refCount);

    // Clear and the empty assignment give the buffer up; the other holder keeps its text.
    String d("other text"), e(d);
    e = "";
    EXPECT_EQ("other text", Text(d));
    d.Clear();
    EXPECT_TRUE(d.length() == 0 && e.length() == 0);
    EXPECT_EQ(blocks + 1, StringBlocks());
}

TEST(StringCore, BufferSizesRoundToEightAtCreationOnly)
{
    NoLeak noLeak;
    EXPECT_EQ(8u, RefOf(String("1234567"))->bufferSize);
    EXPECT_EQ(16u, RefOf(String("12345678"))->bufferSize);
    EXPECT_EQ(8u, RefOf(String(""))->bufferSize);

    String s("abcdefghij");
    s.EnsureBufferSize(20);
    EXPECT_EQ(24u, RefOf(s)->bufferSize);
    EXPECT_EQ(10u, s.length());
    s.EnsureBufferSize(3);  // large enough: untouched
    s.SetSize(30);
    s.SetSize(-1);
    EXPECT_EQ(24u, RefOf(s)->bufferSize);
    EXPECT_EQ("abcdefghij", Text(s));
    s.SetSize(5);
    EXPECT_EQ("abcde", Text(s));
    s.FreeExtraBufferSize();
    EXPECT_EQ(8u, RefOf(s)->bufferSize);
    EXPECT_EQ("abcde", Text(s));

    // A raw fill through the buffer, starting from the shared empty one.
    String fill;
    fill.CopyBeforeWrite();
    fill.EnsureBufferSize(3);
    std::memcpy(fill.GetBuffer(), "xyz", 3);
    fill.SetSize(3);
    EXPECT_EQ("xyz", Text(fill));
    EXPECT_STREQ("", String().c_str()) << "the shared empty buffer was written";
}

TEST(StringCore, EmptyBuffersAreSeparateSharedAndNeverFreed)
{
    NoLeak noLeak;
    String a, b, cleared("x"), null(SubString::CreateNull());
    cleared.Clear();
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_TRUE(a.c_str() != cleared.c_str() && a.c_str() != null.c_str() && cleared.c_str() != null.c_str());
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
    EXPECT_STREQ("", String(SubString::CreateNull()).c_str());
    String again("y");
    again.Clear();
    EXPECT_STREQ("", again.c_str());

    // Many threads taking and dropping the shared empty buffers at once.
    std::thread threads[4];
    for (std::thread& t : threads)
        t = std::thread([] {
            for (int i = 0; i < 20000; ++i) {
                String s, t(s), u(SubString::CreateNull());
                t.Clear();
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_STREQ("", String().c_str());
}

// Every constructor, slice and join: the text, and a buffer of its own with exactly one count.
TEST(StringCore, ConstructorsSlicesAndJoins)
{
    NoLeak noLeak;
    const String s("abcd"), a("ab"), b("cd"), ten("0123456789"), zero("a\0b", 0, 0, 3);
    const std::pair<String, std::string> cases[] = {
        {String("abcdef", 1, 2, 3), "cde"}, {String("abcdef", 1, 4, 100), "ef"}, {String("abcdef", 1, 6, 2), ""},
        {String("abcdef", 1, kEnd, 2), ""}, {String("ab\0cd", 0, 0, 5), std::string("ab\0cd", 5)},
        {String(ten, 3, 3), "345"}, {String(ten, 8, kEnd), "89"}, {String(ten, 10, 1), ""},
        {String('z', 4), "zzzz"}, {String('z', 0), ""},
        {String(5), "5"}, {String(-5, "%04d"), "-005"}, {String(2.5), "2.50"}, {String(0.25f), "0.25"},
        {String(static_cast<unsigned short>(65535)), "65535"}, {String(static_cast<short>(-1)), "-1"},
        {String(4294967295u), "4294967295"}, {String(-2147483647 - 1), "-2147483648"},
        {String(255, "%x"), "ff"}, {String(42L, "[%3ld]"), "[ 42]"}, {String(100, "%d%%"), "100%"},
        {String(1.5, "%.3f"), "1.500"}, {String(7ul), "7"},
        // Formats that would read arguments that are not there give the default text.
        {String(7, "%s"), "7"}, {String(7, "%d %d"), "7"}, {String(7, "%*d"), "7"}, {String(7, "none"), "7"},
        {String(3.0, "%d"), "3.00"},
        {s.Mid(10, 5), ""}, {s.Mid(2, kEnd), "cd"}, {s.Mid(1, 2), "bc"}, {s.Left(2), "ab"}, {s.Right(2), "cd"},
        {s.Left(100), "abcd"}, {s.Right(100), "abcd"},
        {a + b, "abcd"}, {a + "xy", "abxy"}, {"xy" + a, "xyab"}, {"<" + a + "|" + b + ">", "<ab|cd>"},
        {zero + zero, std::string("a\0ba\0b", 6)}, {SubString::Create("xyz", 2), "xy"},
    };
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(expected, Text(value));
        EXPECT_EQ(1u, RefOf(value)->refCount) << expected;
    }
    for (const String* source : {&s, &a, &b, &ten, &zero})
        EXPECT_EQ(1u, RefOf(*source)->refCount) << "no slice shares its source";
    EXPECT_EQ(79u, String(1e300).length()) << "cut at the formatting buffer rather than overrun";

    // IsEmpty looks at the first byte, not at the length.
    const String zeroFirst("\0bcd", 0, 0, 4);
    EXPECT_TRUE(zeroFirst.IsEmpty() && !zeroFirst && zeroFirst.length() == 4);
    EXPECT_FALSE(String("ab\0cd", 0, 0, 5).IsEmpty());

    // TransformToSubString hands the buffer over, and the emptied String dies without fault.
    String target;
    {
        String local("moved");
        const char* before = local.c_str();
        target = SubString::TransformToSubString(local);
        EXPECT_EQ(before, target.c_str());
        EXPECT_EQ(nullptr, local.c_str());
    }
    target = SubString::TransformToSubString(target);
    EXPECT_EQ(1u, RefOf(target)->refCount);
    EXPECT_EQ("moved", Text(target));
}

TEST(StringCore, ConversionsAndComparison)
{
    const std::pair<long, long> numbers[] = {
        {String("42").to_int(), 42}, {String("  -17xyz").to_long(), -17}, {String("0x1F").to_int(16), 31},
        {String("ff").to_uint(16), 255}, {String("010").to_int(0), 8}, {String("300").to_uchar(), 44},
        {String("65535").to_short(), -1}, {String("not a number").to_int(), 0}, {String("70000").to_ushort(), 4464},
    };
    for (const auto& [got, expected] : numbers)
        EXPECT_EQ(expected, got);
    EXPECT_DOUBLE_EQ(2.5, String("2.5").to_double());
    EXPECT_FLOAT_EQ(0.125f, String("0.125").to_float());

    const String upper("HELLO");
    EXPECT_TRUE(upper != "hello" && String("a") < String("b") && String("ab") < "abc");
    EXPECT_TRUE(String("\xe9") > "z") << "bytes compare unsigned";
    {
        CaseSensitive insensitive(0);
        EXPECT_TRUE(upper == "hello" && "hello" == upper);
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

TEST(StringCore, BuffersStayWithTheirHeap)
{
    NoLeak noLeak;
    NH_Heap other(1, "OtherStrings");
    NH_Heap* saved = _stringHeap;
    _stringHeap = &other;
    String made("made on the other heap");
    NH_Heap* temporary = new NH_Heap(1, "Temporary");
    _stringHeap = temporary;
    String* survivor = new String("outlives its heap");
    String* object = new String("object and text");
    _stringHeap = saved;

    String copy(made);
    copy += '!';  // unshares: the new block comes from the old buffer's heap
    EXPECT_TRUE(other.Owns(RefOf(copy)));
    copy.Append(String('x', 100));  // grows on its own heap
    EXPECT_TRUE(other.Owns(RefOf(copy)));
    EXPECT_EQ(2u, other.GetBlocksInUse());

    // A heap destroyed under its strings: they are still released without fault.
    EXPECT_EQ(4u, temporary->GetBlocksInUse());
    delete temporary;
    EXPECT_EQ("outlives its heap", Text(*survivor));
    delete survivor;
    delete object;
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
    _stringHeap->FailAllocation(1);
    EXPECT_THROW(original = "replacement", TException);
    EXPECT_EQ("original", Text(original)) << "a failed assignment keeps the old text";
    _stringHeap->FailAllocation(1);
    EXPECT_EQ(nullptr, new String("no room")) << "operator new gives null and builds nothing";
    // A text whose length does not fit 32 bits is a failed allocation too.
    EXPECT_THROW(String('x', 0xFFFFFFFFul), TException);
    EXPECT_THROW(original.EnsureBufferSize(0xFFFFFFFFul), TException);
    EXPECT_EQ("original", Text(original));
}

TEST(StringCore, StringAndValue)
{
    NoLeak noLeak;
    StringAndValue empty;
    EXPECT_TRUE(empty.value == 0 && empty.text.IsEmpty());
    String name("width");
    StringAndValue pair(name, 640), copy(pair);
    copy = copy;
    EXPECT_EQ(name.c_str(), pair.text.c_str());
    EXPECT_EQ(3u, RefOf(name)->refCount);
    empty = pair;
    EXPECT_EQ(640, empty.value);
    EXPECT_EQ(4u, RefOf(name)->refCount);
}
