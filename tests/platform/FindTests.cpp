#include "RunningUnderWine.h"
#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

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
            std::ofstream{base / name};
        char buffer[MAX_PATH];
        windows.assign(buffer, ConvertPosixToWindowsName(base.string().c_str(), buffer, MAX_PATH));
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::remove_all(base, ignored);
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
    CloseHandle(CreateFileA((windows + "\\.hid").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                            FILE_ATTRIBUTE_HIDDEN, nullptr));
    ASSERT_TRUE(SetFileAttributesA((windows + "\\ac").c_str(), FILE_ATTRIBUTE_READONLY));
    const DWORD kinds = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY;
    const std::pair<const char*, DWORD> entries[] = {
        {"abcd", 0}, {".hid", FILE_ATTRIBUTE_HIDDEN}, {"ac", FILE_ATTRIBUTE_READONLY}, {"sub", FILE_ATTRIBUTE_DIRECTORY}};
    for (const auto& entry : entries) {
        const std::string name = windows + "\\" + entry.first;
        WIN32_FIND_DATAA data;
        memset(&data, 0x5A, sizeof data);
        FindClose(FindFirstFileA(name.c_str(), &data));
        EXPECT_STREQ(entry.first, data.cFileName);
        EXPECT_EQ(entry.second, data.dwFileAttributes & kinds) << name;
        if (entry.second == FILE_ATTRIBUTE_DIRECTORY)
            continue;
        // The rest as the handle's information has it: attributes, the three times, the size.
        HANDLE file = CreateFileA(name.c_str(), 0, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        BY_HANDLE_FILE_INFORMATION info;
        ASSERT_TRUE(GetFileInformationByHandle(file, &info)) << name;
        CloseHandle(file);
        EXPECT_EQ(info.dwFileAttributes, data.dwFileAttributes);
        EXPECT_EQ(0, memcmp(&info.ftCreationTime, &data.ftCreationTime, 3 * sizeof(FILETIME))) << name;
        EXPECT_EQ(info.nFileSizeHigh, data.nFileSizeHigh);
        EXPECT_EQ(info.nFileSizeLow, data.nFileSizeLow);
        SYSTEMTIME written;
        ASSERT_TRUE(FileTimeToSystemTime(&data.ftLastWriteTime, &written));
        EXPECT_GE(written.wYear, 2024);
        EXPECT_TRUE(entry.first != std::string("abcd") || (data.nFileSizeHigh == 5 && data.nFileSizeLow == 7));
    }
    SetFileAttributesA((windows + "\\ac").c_str(), FILE_ATTRIBUTE_NORMAL);
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
}
