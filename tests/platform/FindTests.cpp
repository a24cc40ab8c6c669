#include "RunningUnderWine.h"
#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#ifndef _WIN32
#  include <sys/wait.h>
#  include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

// A fresh directory of files and folders, with its Windows name.
class FindTree : public ::testing::Test {
protected:
    void SetUp() override
    {
        base = fs::temp_directory_path() / ("tarn-find-" + std::to_string(GetCurrentProcessId()));
        fs::remove_all(base);
        fs::create_directories(base / "sub");
        fs::create_directories(base / "sub.d");
        for (const char* name : {"abc", "ac", "abcd", "abc.txt", "a.b.txt", "NOTE.TXT", "x.txt.bak", "c.text"})
            Put(name);
        char buffer[MAX_PATH];
        const DWORD n = ConvertPosixToWindowsName(base.string().c_str(), buffer, MAX_PATH);
        ASSERT_TRUE(n > 0 && n < MAX_PATH);
        windows.assign(buffer, n);
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::permissions(base / "sub", fs::perms::owner_all, ignored);
        fs::remove_all(base, ignored);
    }
    void Put(const std::string& name)
    {
        if (FILE* f = fopen((base / name).string().c_str(), "w"))
            fclose(f);
    }
    // The names a search gives, in its order, or the error of FindFirstFileA.
    static std::vector<std::string> Names(const std::string& search, DWORD* error = nullptr)
    {
        std::vector<std::string> names;
        WIN32_FIND_DATAA data;
        SetLastError(0);
        HANDLE h = FindFirstFileA(search.c_str(), &data);
        if (error)
            *error = h == INVALID_HANDLE_VALUE ? GetLastError() : 0;
        if (h == INVALID_HANDLE_VALUE)
            return names;
        do
            names.push_back(data.cFileName);
        while (FindNextFileA(h, &data));
        EXPECT_EQ(DWORD(ERROR_NO_MORE_FILES), GetLastError()) << search;
        EXPECT_FALSE(FindNextFileA(h, &data));
        EXPECT_TRUE(FindClose(h));
        return names;
    }
    static std::vector<std::string> Sorted(std::vector<std::string> names)
    {
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path base;
    std::string windows;
};

}  // namespace

TEST_F(FindTree, PatternsMatchAsWindowsMatches)
{
    struct Case {
        const char* pattern;
        std::vector<std::string> expected;
    };
    const std::vector<std::string> all = {".", "..", "NOTE.TXT", "a.b.txt", "abc", "abc.txt", "abcd", "ac",
                                          "c.text", "sub", "sub.d", "x.txt.bak"};
    const Case cases[] = {
        {"*.*", all},
        {"*", all},
        {"*.", {".", "..", "abc", "abcd", "ac", "sub"}},
        {"a?c", {"abc"}},
        {"*.txt", {"NOTE.TXT", "a.b.txt", "abc.txt"}},
        {"*.t?t", {"NOTE.TXT", "a.b.txt", "abc.txt"}},
        {"a?c.*", {"abc", "abc.txt"}},
        {"?b*", {"abc", "abc.txt", "abcd"}},
        {"a*", {"a.b.txt", "abc", "abc.txt", "abcd", "ac"}},
        {"*.txt.", {"NOTE.TXT", "a.b.txt", "abc.txt"}},
        {"ABC", {"abc"}},
        {"note.txt", {"NOTE.TXT"}},
        {"sub\\.", {"sub"}},
    };
    for (const Case& c : cases) {
        const std::vector<std::string> names = Names(windows + "\\" + c.pattern);
        // Wine drops the trailing dot of *. and so matches every name.
        const bool wineAnswer = RunningUnderWine() && std::string(c.pattern) == "*.";
        EXPECT_EQ(wineAnswer ? all : c.expected, Sorted(names)) << c.pattern;
        if (c.expected.front() == "." && names.size() >= 2) {
            EXPECT_EQ(".", names[0]) << c.pattern;
            EXPECT_EQ("..", names[1]) << c.pattern;
        }
    }
    // A drive's root has no "." and "..".
    const std::vector<std::string> root = Names("C:\\*");
    EXPECT_FALSE(root.empty());
    EXPECT_EQ(root.end(), std::find(root.begin(), root.end(), "."));
    EXPECT_EQ(root.end(), std::find(root.begin(), root.end(), ".."));
}

TEST_F(FindTree, EntriesCarryTheirAttributesTimesAndSize)
{
    // More than 32 bits of size, without the disk space.
    fs::resize_file(base / "abcd", (uint64_t(5) << 32) + 7);
    const std::string hidden = windows + "\\.hid", readOnly = windows + "\\ac";
    CloseHandle(CreateFileA(hidden.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_HIDDEN, nullptr));
    ASSERT_TRUE(SetFileAttributesA(readOnly.c_str(), FILE_ATTRIBUTE_READONLY));

    const DWORD kinds = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY;
    const struct {
        const char* name;
        DWORD attributes;
    } entries[] = {{"abcd", 0}, {".hid", FILE_ATTRIBUTE_HIDDEN}, {"ac", FILE_ATTRIBUTE_READONLY},
                   {"sub", FILE_ATTRIBUTE_DIRECTORY}};
    for (const auto& entry : entries) {
        const std::string name = windows + "\\" + entry.name;
        WIN32_FIND_DATAA data;
        memset(&data, 0x5A, sizeof data);
        HANDLE search = FindFirstFileA(name.c_str(), &data);
        ASSERT_NE(INVALID_HANDLE_VALUE, search) << name;
        FindClose(search);
        EXPECT_STREQ(entry.name, data.cFileName);
        EXPECT_EQ(entry.attributes, data.dwFileAttributes & kinds) << name;

        // The same as the handle's information.
        if (entry.attributes == FILE_ATTRIBUTE_DIRECTORY)
            continue;
        HANDLE file = CreateFileA(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(INVALID_HANDLE_VALUE, file) << name;
        BY_HANDLE_FILE_INFORMATION info;
        ASSERT_TRUE(GetFileInformationByHandle(file, &info));
        CloseHandle(file);
        EXPECT_EQ(info.dwFileAttributes, data.dwFileAttributes);
        EXPECT_EQ(info.nFileSizeHigh, data.nFileSizeHigh);
        EXPECT_EQ(info.nFileSizeLow, data.nFileSizeLow);
        for (auto times : {std::make_pair(info.ftCreationTime, data.ftCreationTime),
                           std::make_pair(info.ftLastAccessTime, data.ftLastAccessTime),
                           std::make_pair(info.ftLastWriteTime, data.ftLastWriteTime)}) {
            EXPECT_EQ(times.first.dwHighDateTime, times.second.dwHighDateTime) << name;
            EXPECT_EQ(times.first.dwLowDateTime, times.second.dwLowDateTime) << name;
        }
    }
    SYSTEMTIME written;
    WIN32_FIND_DATAA data;
    FindClose(FindFirstFileA((windows + "\\abcd").c_str(), &data));
    EXPECT_EQ(5u, data.nFileSizeHigh);
    EXPECT_EQ(7u, data.nFileSizeLow);
    ASSERT_TRUE(FileTimeToSystemTime(&data.ftLastWriteTime, &written));
    EXPECT_GE(written.wYear, 2024);
    SetFileAttributesA(readOnly.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(FindTree, FailuresAndEndsAreClean)
{
    const struct {
        std::string name;
        DWORD error;
    } failures[] = {
        {windows + "\\missing\\*", ERROR_PATH_NOT_FOUND},
        {windows + "\\missing.txt", ERROR_FILE_NOT_FOUND},
        {windows + "\\*.zzz", ERROR_FILE_NOT_FOUND},
        {windows + "\\", ERROR_FILE_NOT_FOUND},
        {windows + "\\s*b\\*", ERROR_INVALID_NAME},
        // Wine answers ERROR_INVALID_NAME where the directory is a file.
        {windows + "\\abc\\*", RunningUnderWine() ? DWORD(ERROR_INVALID_NAME) : DWORD(ERROR_DIRECTORY)},
        {"", ERROR_PATH_NOT_FOUND},
        {windows + "\\" + std::string(300, 'x'), ERROR_FILENAME_EXCED_RANGE},
        {windows + "\\" + std::string(MAX_PATH - 2 - windows.size(), 'x'), ERROR_FILE_NOT_FOUND},
        {windows + "\\" + std::string(MAX_PATH + 1 - windows.size(), 'x') + "\\*", ERROR_FILENAME_EXCED_RANGE},
    };
    for (const auto& failure : failures) {
        DWORD error = 0;
        EXPECT_TRUE(Names(failure.name, &error).empty()) << failure.name;
        EXPECT_EQ(failure.error, error) << failure.name;
    }
    EXPECT_TRUE(Names(windows + "\\a|b*").empty());

    WIN32_FIND_DATAA data;
    SetLastError(0);
    EXPECT_FALSE(FindNextFileA(INVALID_HANDLE_VALUE, &data));
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
    SetLastError(0);
    EXPECT_FALSE(FindClose(INVALID_HANDLE_VALUE));
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());

    // A directory removed while it is searched: the search ends.
    for (int i = 0; i < 50; ++i)
        Put("sub/f" + std::to_string(i));
    HANDLE search = FindFirstFileA((windows + "\\sub\\*").c_str(), &data);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    std::error_code ignored;
    fs::remove_all(base / "sub", ignored);
    int more = 0;
    while (FindNextFileA(search, &data) && more < 100)
        ++more;
    EXPECT_LT(more, 100);
    EXPECT_TRUE(FindClose(search));
}

#ifndef _WIN32

TEST_F(FindTree, UnreadableDirectoryAndMappedRoot)
{
    // A drive mapped to the tree: its root has no "." and "..", its folders have them.
    ASSERT_TRUE(MapDriveToDirectory('Q', base.string().c_str()));
    EXPECT_EQ(Sorted({"abc", "abc.txt", "abcd"}), Sorted(Names("Q:\\ab*")));
    EXPECT_EQ((std::vector<std::string>{".", ".."}), Names("Q:\\sub\\*"));
    MapDriveToDirectory('Q', nullptr);

    fs::permissions(base / "sub", fs::perms::none);
    const pid_t pid = fork();
    if (pid == 0) {
        // The owner's rights do not stop root: the child looks as nobody.
        DWORD error = 0;
        const bool denied = (geteuid() != 0 || setuid(65534) == 0) && Names(windows + "\\sub\\*", &error).empty();
        _exit(denied && error == ERROR_ACCESS_DENIED ? 0 : 1);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

#endif
