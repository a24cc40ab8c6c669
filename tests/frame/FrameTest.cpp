#include <gtest/gtest.h>

#include <CommonTarn.h>
#include <TarnPlatform.h>

#include <fstream>
#include <string>

// Everything below was set up by loading the library: the host made no call.
TEST(Frame, LoadBuiltEveryObjectInOrder)
{
#if defined(__linux__)
    // Read before any test of this suite starts a thread: loading started none.
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line) && line.rfind("Threads:", 0) != 0) {
    }
    EXPECT_EQ("Threads:\t1", line);
#endif
    EXPECT_EQ(13, GetFrameLoadedSteps());
    EXPECT_EQ(9, GetFramePendingUnloads())
        << "string heap, empty buffers, empty exception text, exception prototype, selector lock, "
           "mapped file lock, message cache lock, message cache, message probe";
    ASSERT_NE(nullptr, _stringHeap);
    EXPECT_STREQ("StringHeap", _stringHeap->GetName());
    EXPECT_NE(&NH_Heap::Default(), _stringHeap);
    // The empty buffers were made on the string heap before the first host call.
    const String empty;
    EXPECT_TRUE(_stringHeap->Owns(reinterpret_cast<const StringRef*>(empty.c_str()) - 1));
    EXPECT_GE(_stringHeap->GetBlocksInUse(), 3u) << "the three separate empty buffers";
    EXPECT_EQ(GetCurrentThreadId(), _loaderThreadId) << "the test's main thread loaded the library";
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    EXPECT_TRUE(info.dwPageSize == _systemPageSize && _allocationGranularity == 65536u);

    // The unique key randomizer is seeded, and its state is one plain word.
    TRandomizer copy = GetUniqueKeyRandomizer();
    const unsigned long first = GetUniqueKeyRandomizer().Get(1000000);
    EXPECT_EQ(first, copy.Get(1000000));
    EXPECT_LT(first, 1000000u);
}
