#include <cstring>
#include <string>
#include <thread>
#include <utility>

#include "StringTestSupport.h"

TEST(StringCore, SharingAndBufferSizes)
{
    NoLeak noLeak;
    String a("shared text"), c, d("other text"), e(d);
    const unsigned long blocks = StringBlocks();
    String b(a);
    EXPECT_TRUE(a.c_str() == b.c_str() && RefOf(a)->refCount == 2 && blocks == StringBlocks()) << "a copy is a count";
    b += '!';
    EXPECT_EQ("shared text|shared text!", Text(a + "|" + b));
    EXPECT_TRUE(RefOf(a)->refCount == 1 && RefOf(b)->refCount == 1 && blocks + 1 == StringBlocks());
    c = a;
    c = c;  // self-assignment keeps the count
    EXPECT_EQ(2u, RefOf(a)->refCount);
    c = b;
    EXPECT_TRUE(RefOf(a)->refCount == 1 && RefOf(b)->refCount == 2);
    // Clear and the empty assignment give the buffer up; the other holder keeps its text.
    e = "";
    EXPECT_EQ("other text", Text(d));
    d.Clear();
    EXPECT_TRUE(d.length() == 0 && e.length() == 0 && blocks == StringBlocks());

    // Buffers are rounded to 8 at creation, by EnsureBufferSize and by FreeExtraBufferSize.
    EXPECT_TRUE(RefOf(String("1234567"))->bufferSize == 8 && RefOf(String("12345678"))->bufferSize == 16);
    EXPECT_EQ(8u, RefOf(String(""))->bufferSize);
    String s("abcdefghij");
    s.EnsureBufferSize(20);
    s.EnsureBufferSize(3);  // large enough: untouched
    s.SetSize(30);
    s.SetSize(-1);
    EXPECT_TRUE(RefOf(s)->bufferSize == 24 && Text(s) == "abcdefghij");
    s.SetSize(5);
    s.FreeExtraBufferSize();
    EXPECT_TRUE(RefOf(s)->bufferSize == 8 && Text(s) == "abcde");
    // A raw fill through the buffer, starting from the shared empty one.
    String fill;
    fill.CopyBeforeWrite();
    fill.EnsureBufferSize(3);
    std::memcpy(fill.GetBuffer(), "xyz", 3);
    fill.SetSize(3);
    EXPECT_TRUE(Text(fill) == "xyz" && String().IsEmpty());
}

TEST(StringCore, EmptyBuffersAreSeparateSharedAndNeverFreed)
{
    NoLeak noLeak;
    String a, b, cleared("x"), null(SubString::CreateNull());
    cleared.Clear();
    EXPECT_TRUE(a.c_str() == b.c_str() && a.c_str() != cleared.c_str() && a.c_str() != null.c_str() &&
                cleared.c_str() != null.c_str());
    for (const String* s : {&a, &cleared, &null})
        EXPECT_TRUE(RefOf(*s)->bufferSize == 8 && s->length() == 0 && RefOf(*s)->refCount >= 2) << "shared for writers";
    {
        const unsigned long blocks = StringBlocks();
        String copies[100];
        EXPECT_EQ(blocks, StringBlocks()) << "the default constructor allocates nothing";
    }
    // Writers get private buffers; the empty ones stay empty.
    a += "written";
    cleared.Append('c', 2);
    null.Insert(0, "n", 1);
    String again("y");
    again.Clear();
    EXPECT_TRUE(b.IsEmpty() && String(SubString::CreateNull()).IsEmpty() && again.IsEmpty());
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
        {String(ten, 3, 3), "345"}, {String(ten, 8, kEnd), "89"}, {String(ten, 10, 1), ""}, {String('z', 4), "zzzz"},
        {String('z', 0), ""}, {String(5), "5"}, {String(-5, "%04d"), "-005"}, {String(2.5), "2.50"}, {String(0.25f), "0.25"},
        {String(static_cast<unsigned short>(65535)), "65535"}, {String(static_cast<short>(-1)), "-1"},
        {String(4294967295u), "4294967295"}, {String(-2147483647 - 1), "-2147483648"}, {String(255, "%x"), "ff"},
        {String(42L, "[%3ld]"), "[ 42]"}, {String(100, "%d%%"), "100%"}, {String(1.5, "%.3f"), "1.500"}, {String(7ul), "7"},
        // Formats that would read arguments that are not there give the default text.
        {String(7, "%s"), "7"}, {String(7, "%d %d"), "7"}, {String(7, "%*d"), "7"}, {String(7, "none"), "7"},
        {String(3.0, "%d"), "3.00"}, {s.Mid(10, 5), ""}, {s.Mid(2, kEnd), "cd"}, {s.Mid(1, 2), "bc"}, {s.Left(2), "ab"},
        {s.Right(2), "cd"}, {s.Left(100), "abcd"}, {s.Right(100), "abcd"}, {a + b, "abcd"}, {a + "xy", "abxy"},
        {"xy" + a, "xyab"}, {"<" + a + "|" + b + ">", "<ab|cd>"}, {zero + zero, std::string("a\0ba\0b", 6)},
        {SubString::Create("xyz", 2), "xy"},
    };
    for (const auto& [value, expected] : cases)
        EXPECT_TRUE(Text(value) == expected && RefOf(value)->refCount == 1) << expected;
    for (const String* source : {&s, &a, &b, &ten, &zero})
        EXPECT_EQ(1u, RefOf(*source)->refCount) << "no slice shares its source";
    EXPECT_EQ(79u, String(1e300).length()) << "cut at the formatting buffer rather than overrun";
    // IsEmpty looks at the first byte, not at the length.
    const String zeroFirst("\0bcd", 0, 0, 4);
    EXPECT_TRUE(zeroFirst.IsEmpty() && !zeroFirst && zeroFirst.length() == 4 && !String("ab\0cd", 0, 0, 5).IsEmpty());
    // TransformToSubString hands the buffer over, and the emptied String dies without fault.
    String target;
    {
        String local("moved");
        const char* before = local.c_str();
        target = SubString::TransformToSubString(local);
        EXPECT_TRUE(before == target.c_str() && local.c_str() == nullptr);
    }
    target = SubString::TransformToSubString(target);
    EXPECT_TRUE(RefOf(target)->refCount == 1 && Text(target) == "moved");
}

TEST(StringCore, ConversionsAndComparison)
{
    const std::pair<long, long> numbers[] = {
        {String("42").to_int(), 42}, {String("  -17xyz").to_long(), -17}, {String("0x1F").to_int(16), 31},
        {String("ff").to_uint(16), 255}, {String("010").to_int(0), 8}, {String("300").to_uchar(), 44},
        {String("65535").to_short(), -1}, {String("not a number").to_int(), 0}, {String("70000").to_ushort(), 4464}};
    for (const auto& [got, expected] : numbers)
        EXPECT_EQ(expected, got);
    EXPECT_TRUE(String("2.5").to_double() == 2.5 && String("0.125").to_float() == 0.125f);
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
        int otherThreadEqual = -1;
        std::thread([&] { otherThreadEqual = upper == "hello"; }).join();
        EXPECT_TRUE(upper == "hello" && otherThreadEqual == 0) << "a new thread starts case sensitive";
    }
    EXPECT_TRUE(upper != "hello");
}

TEST(StringCore, BuffersStayWithTheirHeapAndFailuresLeaveDestructibleObjects)
{
    NoLeak noLeak;
    NH_Heap other(1, "OtherStrings"), *temporary = new NH_Heap(1, "Temporary"), *saved = _stringHeap;
    _stringHeap = &other;
    String made("made on the other heap");
    _stringHeap = temporary;
    String *survivor = new String("outlives its heap"), *object = new String("object and text");
    _stringHeap = saved;
    String copy(made);
    copy += '!';  // unshares: the new block comes from the old buffer's heap
    copy.Append(String('x', 100));  // grows on its own heap
    EXPECT_TRUE(other.Owns(RefOf(copy)) && other.GetBlocksInUse() == 2);
    // A heap destroyed under its strings: they are still released without fault.
    EXPECT_EQ(4u, temporary->GetBlocksInUse());
    delete temporary;
    EXPECT_EQ("outlives its heap", Text(*survivor));
    delete survivor;
    delete object;

    _stringHeap->FailAllocation(1);
    EXPECT_THROW(String("abc"), TException);
    String original("original");
    {
        String shared(original);
        _stringHeap->FailAllocation(1);
        EXPECT_THROW(shared += "more", TException);
        EXPECT_EQ(1u, RefOf(original)->refCount) << "the failed clone gave up its count";
    }  // the copy holds nothing now and is destroyed without fault
    _stringHeap->FailAllocation(1);
    EXPECT_THROW(original = "replacement", TException);
    _stringHeap->FailAllocation(1);
    EXPECT_EQ(nullptr, new String("no room")) << "operator new gives null and builds nothing";
    // A text whose length does not fit 32 bits is a failed allocation too.
    EXPECT_THROW(String('x', 0xFFFFFFFFul), TException);
    EXPECT_THROW(original.EnsureBufferSize(0xFFFFFFFFul), TException);
    EXPECT_EQ("original", Text(original)) << "failed assignments keep the old text";

    StringAndValue empty, pair(original, 640), pairCopy(pair);
    EXPECT_TRUE(empty.value == 0 && empty.text.IsEmpty() && pair.text.c_str() == original.c_str());
    pairCopy = pairCopy;
    empty = pair;
    EXPECT_TRUE(empty.value == 640 && RefOf(original)->refCount == 4);
}
