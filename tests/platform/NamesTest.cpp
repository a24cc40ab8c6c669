#include "RunningUnderWine.h"
#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string CurrentDirectory()
{
    char buffer[MAX_PATH] = "";
    const DWORD n = GetCurrentDirectoryA(MAX_PATH, buffer);
    return std::string(buffer, n < MAX_PATH ? n : 0);
}

std::string ToWindows(const std::string& name)
{
    char buffer[1024];
    const DWORD n = ConvertPosixToWindowsName(name.c_str(), buffer, sizeof buffer);
    return n && n < sizeof buffer ? std::string(buffer, n) : std::string("<failed>");
}

std::string ToPosix(const std::string& name)
{
    char buffer[1024];
    const DWORD n = ConvertWindowsToPosixName(name.c_str(), buffer, sizeof buffer);
    return n && n < sizeof buffer ? std::string(buffer, n) : std::string("<failed>");
}

// A fresh directory tree under the system's temporary directory, with base\sub\deeper and
// base\afile; the current directory returns to where it was at the end.
class NamesTree : public ::testing::Test {
protected:
    void SetUp() override
    {
        original = CurrentDirectory();
        base = fs::temp_directory_path() / ("tarn-names-" + std::to_string(GetCurrentProcessId()));
        fs::create_directories(base / "sub" / "deeper");
        fs::create_directories(base / "sub" / "other");
        { FILE* f = fopen((base / "afile").string().c_str(), "w"); if (f) fclose(f); }
        windowsBase = ToWindows(base.string());
        ASSERT_EQ(':', windowsBase[1]) << windowsBase;
    }
    void TearDown() override
    {
        EXPECT_TRUE(SetCurrentDirectoryA(original.c_str()));
        std::error_code ignored;
        fs::remove_all(base, ignored);
    }
    bool SetAndExpect(const char* name, const std::string& expected)
    {
        SetLastError(0);
        const BOOL ok = SetCurrentDirectoryA(name);
        EXPECT_TRUE(ok) << name << ": error " << GetLastError();
        EXPECT_EQ(0, _stricmp(expected.c_str(), CurrentDirectory().c_str())) << name << " gave " << CurrentDirectory();
        return ok;
    }
    void ExpectFailure(const char* name, DWORD error)
    {
        SetLastError(0);
        EXPECT_FALSE(SetCurrentDirectoryA(name)) << name;
        EXPECT_EQ(error, GetLastError()) << name;
    }

    std::string original;
    fs::path base;
    std::string windowsBase;
};

}  // namespace

TEST_F(NamesTree, CurrentDirectoryBufferSizes)
{
    ASSERT_TRUE(SetCurrentDirectoryA(windowsBase.c_str()));
    const DWORD length = DWORD(windowsBase.size());
    char buffer[MAX_PATH];

    // Too small, even by one: the size needed with the terminator, the buffer untouched.
    for (DWORD size : {DWORD(0), DWORD(1), DWORD(3), length}) {
        memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(length + 1, GetCurrentDirectoryA(size, size ? buffer : nullptr)) << size;
        EXPECT_EQ('#', buffer[0]);
    }
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(length, GetCurrentDirectoryA(length + 1, buffer));
    EXPECT_EQ(0, buffer[length]);
    EXPECT_EQ(0, _stricmp(windowsBase.c_str(), buffer));
}

TEST_F(NamesTree, SetCurrentDirectoryForms)
{
    const std::string sub = windowsBase + "\\sub";
    ASSERT_TRUE(SetAndExpect(windowsBase.c_str(), windowsBase));
    SetAndExpect("sub", sub);
    SetAndExpect("..\\sub/deeper", sub + "\\deeper");
    SetAndExpect("..", sub);
    SetAndExpect("other\\", sub + "\\other");
    SetAndExpect("..\\.\\..", windowsBase);
    SetAndExpect((windowsBase + "//sub\\\\deeper\\..").c_str(), sub);
    // Trailing points and spaces leave the last part.
    SetAndExpect((windowsBase + "\\sub. .").c_str(), sub);
    // A drive and a relative name: relative to the current directory of the current drive.
    const std::string drive = windowsBase.substr(0, 2);
    SetAndExpect((drive + "deeper").c_str(), sub + "\\deeper");
    // A leading separator: the current drive's root, which keeps its backslash.
    SetAndExpect("\\", drive + "\\");
    SetAndExpect("..", drive + "\\");
    SetAndExpect(windowsBase.c_str(), windowsBase);

    ExpectFailure("missing", ERROR_FILE_NOT_FOUND);
    ExpectFailure("missing\\sub", ERROR_PATH_NOT_FOUND);
    ExpectFailure("afile\\sub", ERROR_PATH_NOT_FOUND);
    ExpectFailure("afile", ERROR_DIRECTORY);
    ExpectFailure("", ERROR_INVALID_NAME);
    ExpectFailure("su*", ERROR_INVALID_NAME);
    ExpectFailure("a<b", ERROR_INVALID_NAME);
    ExpectFailure((drive + "\\" + std::string(300, 'x')).c_str(), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(0, _stricmp(windowsBase.c_str(), CurrentDirectory().c_str()));
}

TEST(Names, ModuleFileName)
{
    char name[1024];
    const DWORD length = GetModuleFileNameA(nullptr, name, sizeof name);
    ASSERT_GT(length, 3u);
    ASSERT_LT(length, sizeof name);
    EXPECT_EQ(0, name[length]);
    EXPECT_EQ(':', name[1]);
    EXPECT_EQ('\\', name[2]);
    EXPECT_NE(nullptr, strstr(name, "platform_tests"));

    // Windows since Vista cuts to nSize - 1 characters and a terminator and answers nSize;
    // Wine 8 answers the same without the terminator, as Windows XP did.
    for (DWORD size : {DWORD(1), DWORD(5), length}) {
        char cut[1024];
        memset(cut, '#', sizeof cut);
        SetLastError(0);
        EXPECT_EQ(size, GetModuleFileNameA(nullptr, cut, size)) << size;
        EXPECT_EQ(DWORD(ERROR_INSUFFICIENT_BUFFER), GetLastError()) << size;
        EXPECT_EQ(0, memcmp(name, cut, size - 1));
        EXPECT_EQ('#', cut[size]);
        if (!RunningUnderWine()) {
            EXPECT_EQ(0, cut[size - 1]) << size;
        }
    }
    SetLastError(0);
    EXPECT_EQ(0u, GetModuleFileNameA(nullptr, name, 0));
    EXPECT_EQ(DWORD(ERROR_INSUFFICIENT_BUFFER), GetLastError());
    char exact[1024];
    EXPECT_EQ(length, GetModuleFileNameA(nullptr, exact, length + 1));
    EXPECT_STREQ(name, exact);
}

TEST(Names, CompareAsWordSort)
{
    struct Pair {
        const char* a;
        const char* b;
        int sign;
    };
    const Pair pairs[] = {
        {"abc", "ABC", 0}, {"", "", 0}, {"B", "a", 1}, {"", "a", -1}, {"ab", "a", 1}, {"a1", "a_", 1},
        {"a\\b", "a/b", 1}, {"a.txt", "a_txt", -1}, {"file10", "file9", -1}, {"a b", "ab", -1},
        // The hyphen and the apostrophe count only in a tie, and then more or earlier ones win.
        {"co-op", "coop", 1}, {"co-op", "cop", -1}, {"a-", "a", 1}, {"-a", "a-", 1}, {"'a", "-a", -1},
        {"a-b", "a'b", 1}, {"a--b", "a-b", 1}, {"a.txt", "a-txt", -1}, {"", "-", -1},
    };
    for (const Pair& p : pairs) {
        const int r = lstrcmpiA(p.a, p.b);
        EXPECT_EQ(p.sign, (r > 0) - (r < 0)) << "\"" << p.a << "\" \"" << p.b << "\"";
        const int back = lstrcmpiA(p.b, p.a);
        EXPECT_EQ(-p.sign, (back > 0) - (back < 0)) << "\"" << p.b << "\" \"" << p.a << "\"";
    }

    // The printable characters in Windows' order: punctuation below digits below letters,
    // whatever the byte values say; letters of either case are equal.
    std::string printable;
    for (char c = ' '; c < 127; ++c)
        if (!(c >= 'A' && c <= 'Z'))
            printable += c;
    std::vector<std::string> single;
    for (char c : printable)
        single.push_back(std::string(1, c));
    std::sort(single.begin(), single.end(),
              [](const std::string& x, const std::string& y) { return lstrcmpiA(x.c_str(), y.c_str()) < 0; });
    std::string sorted;
    for (const std::string& s : single)
        sorted += s;
    EXPECT_EQ("'- !\"#$%&()*,./:;?@[\\]^_`{|}~+<=>0123456789abcdefghijklmnopqrstuvwxyz", sorted);
}

TEST_F(NamesTree, ConversionRoundTrips)
{
    ASSERT_TRUE(SetCurrentDirectoryA(windowsBase.c_str()));
    const std::string drive = windowsBase.substr(0, 2);
    for (const std::string& name : {windowsBase, windowsBase + "\\sub\\deeper", windowsBase + "\\new.txt", drive + "\\"})
        EXPECT_EQ(name, ToWindows(ToPosix(name))) << ToPosix(name);
    // Names are made full on the way: separators, points and relative names.
    EXPECT_EQ(windowsBase + "\\sub\\deeper", ToWindows(ToPosix(windowsBase + "/sub\\..\\.\\sub\\\\deeper")));
    EXPECT_EQ(windowsBase + "\\sub\\x.txt", ToWindows(ToPosix("sub\\x.txt")));
    EXPECT_EQ(windowsBase + "\\sub", ToWindows("sub"));
    EXPECT_EQ(windowsBase + "\\sub", ToWindows(ToPosix(drive + "sub")));

    // Buffer sizes as GetFullPathNameA: too small gives the size needed, the buffer untouched.
    const std::string posix = ToPosix(windowsBase);
    char buffer[1024];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(DWORD(posix.size() + 1), ConvertWindowsToPosixName(windowsBase.c_str(), buffer, DWORD(posix.size())));
    EXPECT_EQ(DWORD(posix.size() + 1), ConvertWindowsToPosixName(windowsBase.c_str(), nullptr, 0));
    EXPECT_EQ('#', buffer[0]);
    EXPECT_EQ(DWORD(posix.size()), ConvertWindowsToPosixName(windowsBase.c_str(), buffer, DWORD(posix.size() + 1)));
    EXPECT_EQ(posix, buffer);

    SetLastError(0);
    EXPECT_EQ(0u, ConvertPosixToWindowsName(nullptr, buffer, sizeof buffer));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
    EXPECT_EQ(0u, ConvertWindowsToPosixName("", buffer, sizeof buffer));
    EXPECT_EQ(DWORD(ERROR_INVALID_NAME), GetLastError());
    SetLastError(0);
    EXPECT_EQ(0u, ConvertPosixToWindowsName("", buffer, sizeof buffer));
    EXPECT_EQ(DWORD(ERROR_INVALID_NAME), GetLastError());
}

#ifdef _WIN32

TEST(Names, DrivesBelongToWindows)
{
    SetLastError(0);
    EXPECT_FALSE(MapDriveToDirectory('Q', "C:\\"));
    EXPECT_EQ(DWORD(ERROR_NOT_SUPPORTED), GetLastError());
    EXPECT_FALSE(MapDriveToDirectory('1', "C:\\"));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
}

#else

TEST_F(NamesTree, DriveTable)
{
    const std::string real = fs::canonical(base).string();
    EXPECT_EQ("C:\\", ToWindows("/"));
    EXPECT_EQ("/", ToPosix("c:\\"));
    EXPECT_EQ("<failed>", ToPosix("Q:\\x"));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), GetLastError());

    ASSERT_TRUE(MapDriveToDirectory('q', base.string().c_str()));
    EXPECT_EQ("Q:\\sub\\deeper", ToWindows(real + "/sub/deeper"));
    EXPECT_EQ("Q:\\", ToWindows(real));
    EXPECT_EQ(real + "/x", ToPosix("Q:/x"));
    // ".." never leaves the drive's directory, as it never climbs above a Windows root.
    EXPECT_EQ(real + "/x", ToPosix("Q:\\..\\..\\x"));
    EXPECT_EQ(real, ToPosix("Q:"));
    ASSERT_TRUE(SetCurrentDirectoryA("Q:\\sub"));
    EXPECT_EQ("Q:\\sub", CurrentDirectory());
    EXPECT_TRUE(SetCurrentDirectoryA("q:deeper"));
    EXPECT_EQ("Q:\\sub\\deeper", CurrentDirectory());
    EXPECT_TRUE(SetCurrentDirectoryA("\\"));
    EXPECT_EQ("Q:\\", CurrentDirectory());
    EXPECT_TRUE(SetCurrentDirectoryA("C:"));  // another drive: its root
    EXPECT_EQ("C:\\", CurrentDirectory());

    SetLastError(0);
    EXPECT_FALSE(MapDriveToDirectory('1', "/"));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
    EXPECT_FALSE(MapDriveToDirectory('R', (real + "/missing").c_str()));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_FALSE(MapDriveToDirectory('R', (real + "/afile").c_str()));
    EXPECT_EQ(DWORD(ERROR_DIRECTORY), GetLastError());

    // C: elsewhere: what lies outside every drive has no Windows name.
    ASSERT_TRUE(MapDriveToDirectory('C', (real + "/sub").c_str()));
    EXPECT_EQ("<failed>", ToWindows("/"));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_EQ("C:\\deeper", ToWindows(real + "/sub/deeper"));
    EXPECT_TRUE(MapDriveToDirectory('C', nullptr));
    EXPECT_TRUE(MapDriveToDirectory('Q', nullptr));
    EXPECT_EQ("C:\\", ToWindows("/"));
    EXPECT_EQ("<failed>", ToPosix("Q:\\x"));
    EXPECT_FALSE(SetCurrentDirectoryA("Q:\\"));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), GetLastError());
}

TEST_F(NamesTree, NamesWindowsCannotHold)
{
    SetLastError(0);
    EXPECT_EQ("<failed>", ToWindows("/tmp/a\\b"));
    EXPECT_EQ(DWORD(ERROR_INVALID_NAME), GetLastError());
    EXPECT_EQ("<failed>", ToWindows("/tmp/a:b"));
    for (const char* name : {"C:\\a<b", "C:\\a:b", "C:\\a|b", "C:\\a\"b", "C:\\a\tb"}) {
        SetLastError(0);
        EXPECT_EQ("<failed>", ToPosix(name)) << name;
        EXPECT_EQ(DWORD(ERROR_INVALID_NAME), GetLastError()) << name;
    }
    EXPECT_EQ("<failed>", ToPosix("\\\\server\\share\\x"));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_EQ("/a/b/c", ToPosix("C:\\a\\b.\\c"));
    EXPECT_EQ("/a...", ToPosix("C:\\a...\\"));
    EXPECT_EQ("/a", ToPosix("C:\\a. ."));
    EXPECT_EQ("/x", ToPosix("C:\\..\\x"));
    EXPECT_EQ("/tmp/*.txt", ToPosix("C:\\tmp\\*.txt"));

    // A current directory too long for a Windows name has none.
    fs::path deep = base;
    for (int i = 0; i < 30; ++i)
        deep /= "dddddddddd";
    fs::create_directories(deep);
    fs::current_path(deep);
    SetLastError(0);
    char buffer[MAX_PATH];
    EXPECT_EQ(0u, GetCurrentDirectoryA(MAX_PATH, buffer));
    EXPECT_EQ(DWORD(ERROR_FILENAME_EXCED_RANGE), GetLastError());
}

#endif
