// The name conversions against a current directory that another thread changes meanwhile.
#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "ThreadsTestSupport.h"

namespace fs = std::filesystem;
using namespace ThreadsTest;

// A relative name is made full from the current directory. Here that is now a short one,
// now one whose full name leaves no room under MAX_PATH, where Windows fails: every answer
// for a size of 0 is still either the size needed, at least 2, or 0 with an error.
TEST(NamesConcurrency, AnswerIsASizeOrAFailureWhileTheCurrentDirectoryChanges)
{
    char original[MAX_PATH];
    ASSERT_NE(0u, GetCurrentDirectoryA(MAX_PATH, original));
    const fs::path base = fs::temp_directory_path() / ("tarn-cwd-" + std::to_string(GetCurrentProcessId()));
    char windowsBase[MAX_PATH];
    const DWORD baseLength = ConvertPosixToWindowsName(base.string().c_str(), windowsBase, MAX_PATH);
    ASSERT_LT(baseLength + 40, DWORD(MAX_PATH));
    const fs::path deep = base / std::string(MAX_PATH - 20 - baseLength, 'd');
    fs::create_directories(deep);
    const std::string shortName = base.string(), longName = deep.string();

    LONG volatile stop = 0;
    HANDLE changer = StartThread([&]() -> unsigned {
        while (!Read(stop)) {
            SetCurrentDirectoryA(shortName.c_str());
            SetCurrentDirectoryA(longName.c_str());
        }
        return 0;
    });
    const std::string relative(40, 'r');
    // Windows reads the current directory twice per conversion, the race hunted here; the
    // POSIX conversion reads it once, and a few rounds check it.
#ifdef _WIN32
    const int rounds = 60000;
#else
    const int rounds = 3000;
#endif
    int wrong = 0;
    for (int i = 0; i < rounds; ++i) {
        for (auto convert : {ConvertPosixToWindowsName, ConvertWindowsToPosixName}) {
            SetLastError(ERROR_SUCCESS);
            const DWORD n = convert(relative.c_str(), nullptr, 0);
            wrong += n == 1 || (n == 0 && GetLastError() == ERROR_SUCCESS);
        }
    }
    InterlockedExchange(&stop, 1);
    EXPECT_EQ(0u, JoinThread(changer));
    EXPECT_TRUE(SetCurrentDirectoryA(original));
    std::error_code ignored;
    fs::remove_all(base, ignored);
    EXPECT_EQ(0, wrong);
}
