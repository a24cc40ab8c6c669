#include <gtest/gtest.h>

#include <CommonTarn.h>
#include <TarnPlatform.h>

#include <cstring>
#include <fstream>
#include <string>

// Everything below was set up by loading the library: the host made no call.
TEST(Frame, LoadBuiltEveryObjectInOrder)
{
    EXPECT_EQ(13, GetFrameLoadedSteps());
    EXPECT_EQ(9, GetFramePendingUnloads())
        << "string heap, empty buffers, empty exception text, exception prototype, selector lock, "
           "mapped file lock, "
           "message cache lock, message cache, message probe";

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
    EXPECT_EQ(info.dwPageSize, _systemPageSize);
    EXPECT_EQ(65536u, _allocationGranularity);
}

TEST(Frame, UniqueKeyRandomizerIsSeededAndUsable)
{
    TRandomizer& randomizer = GetUniqueKeyRandomizer();
    const TRandomizer twin = randomizer;
    TRandomizer copy = twin;
    const unsigned long first = randomizer.Get(1000000);
    EXPECT_EQ(first, copy.Get(1000000)) << "the state is one plain word";
    EXPECT_LT(first, 1000000u);
}

#if defined(__linux__)
TEST(Frame, LoadingStartedNoThread)
{
    // Read before any test of this suite starts a thread.
    std::ifstream status("/proc/self/status");
    std::string line;
    int threads = 0;
    while (std::getline(status, line))
        if (line.rfind("Threads:", 0) == 0)
            threads = std::stoi(line.substr(8));
    EXPECT_EQ(1, threads);
}
#endif
