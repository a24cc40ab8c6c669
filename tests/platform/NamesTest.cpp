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

// A conversion of a name in either direction, or "<failed>".
std::string Convert(DWORD (*convert)(LPCSTR, LPSTR, DWORD), const std::string& name)
{
    char buffer[1024];
    const DWORD n = convert(name.c_str(), buffer, sizeof buffer);
    return n && n < sizeof buffer ? std::string(buffer, n) : std::string("<failed>");
}
std::string ToWindows(const std::string& name) { return Convert(ConvertPosixToWindowsName, name); }
std::string ToPosix(const std::string& name) { return Convert(ConvertWindowsToPosixName, name); }

// A fresh directory tree under the system's temporary directory, with base\sub\deeper,
// base\sub\other and base\afile; the current directory returns to where it was at the end.
class NamesTree : public ::testing::Test {
protected:
    void SetUp() override
    {
        original = CurrentDirectory();
        base = fs::temp_directory_path() / ("tarn-names-" + std::to_string(GetCurrentProcessId()));
        fs::create_directories(base / "sub" / "deeper");
        fs::create_directories(base / "sub" / "other");
        if (FILE* f = fopen((base / "afile").string().c_str(), "w"))
            fclose(f);
        windowsBase = ToWindows(base.string());
        ASSERT_EQ(':', windowsBase[1]) << windowsBase;
        drive = windowsBase.substr(0, 2);
    }
    void TearDown() override
    {
        EXPECT_TRUE(SetCurrentDirectoryA(original.c_str()));
        std::error_code ignored;
        fs::remove_all(base, ignored);
    }

    std::string original, windowsBase, drive;
    fs::path base;
};

}  // namespace

TEST_F(NamesTree, CurrentDirectoryFormsSizesAndFailures)
{
    const std::string sub = windowsBase + "\\sub";
    // Separators of both kinds, points, trailing points and spaces; a drive with a relative
    // name goes from that drive's current directory; a leading separator to its root.
    const struct {
        std::string name, result;
    } forms[] = {
        {windowsBase, windowsBase}, {"sub", sub}, {"..\\sub/deeper", sub + "\\deeper"}, {"..", sub},
        {"other\\", sub + "\\other"}, {"..\\.\\..", windowsBase}, {windowsBase + "//sub\\\\deeper\\..", sub},
        {windowsBase + "\\sub. .", sub}, {drive + "deeper", sub + "\\deeper"}, {"\\", drive + "\\"},
        {"..", drive + "\\"}, {windowsBase, windowsBase},
    };
    for (const auto& f : forms) {
        EXPECT_TRUE(SetCurrentDirectoryA(f.name.c_str())) << f.name << ": error " << GetLastError();
        EXPECT_EQ(0, _stricmp(f.result.c_str(), CurrentDirectory().c_str())) << f.name;
    }
    const struct {
        std::string name;
        DWORD error;
    } failures[] = {
        {"missing", ERROR_FILE_NOT_FOUND}, {"missing\\sub", ERROR_PATH_NOT_FOUND},
        {"afile\\sub", ERROR_PATH_NOT_FOUND}, {"afile", ERROR_DIRECTORY}, {"", ERROR_INVALID_NAME},
        {"su*", ERROR_INVALID_NAME}, {"a<b", ERROR_INVALID_NAME},
        {drive + "\\" + std::string(300, 'x'), ERROR_FILENAME_EXCED_RANGE},
    };
    for (const auto& f : failures) {
        SetLastError(0);
        EXPECT_FALSE(SetCurrentDirectoryA(f.name.c_str())) << f.name;
        EXPECT_EQ(f.error, GetLastError()) << f.name;
    }

    // Too small, even by one: the size needed with the terminator, the buffer untouched.
    const DWORD length = DWORD(windowsBase.size());
    char buffer[MAX_PATH];
    for (DWORD size : {DWORD(0), DWORD(1), length, length + 1}) {
        memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(size > length ? length : length + 1, GetCurrentDirectoryA(size, size ? buffer : nullptr)) << size;
        EXPECT_EQ(size > length ? 0 : '#', buffer[size > length ? length : 0]);
    }
    EXPECT_EQ(0, _stricmp(windowsBase.c_str(), buffer));
}

TEST(Names, ModuleFileName)
{
    char name[1024];
    const DWORD length = GetModuleFileNameA(nullptr, name, sizeof name);
    ASSERT_GT(length, 3u);
    ASSERT_LT(length, sizeof name);
    EXPECT_TRUE(name[length] == 0 && name[1] == ':' && name[2] == '\\');
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
        EXPECT_TRUE(RunningUnderWine() || cut[size - 1] == 0) << size;
    }
    SetLastError(0);
    EXPECT_EQ(0u, GetModuleFileNameA(nullptr, name, 0));
    EXPECT_EQ(DWORD(ERROR_INSUFFICIENT_BUFFER), GetLastError());
}

TEST(Names, CompareAsWordSort)
{
    const struct {
        const char *a, *b;
        int sign;
    } pairs[] = {
        {"abc", "ABC", 0}, {"", "", 0}, {"B", "a", 1}, {"", "a", -1}, {"ab", "a", 1}, {"a1", "a_", 1},
        {"a\\b", "a/b", 1}, {"a.txt", "a_txt", -1}, {"file10", "file9", -1}, {"a b", "ab", -1},
        // The hyphen and the apostrophe count only in a tie, and then more or earlier ones win.
        {"co-op", "coop", 1}, {"co-op", "cop", -1}, {"a-", "a", 1}, {"-a", "a-", 1}, {"'a", "-a", -1},
        {"a-b", "a'b", 1}, {"a--b", "a-b", 1}, {"a.txt", "a-txt", -1}, {"", "-", -1},
    };
    for (const auto& p : pairs) {
        const int r = lstrcmpiA(p.a, p.b), back = lstrcmpiA(p.b, p.a);
        EXPECT_EQ(p.sign, (r > 0) - (r < 0)) << "\"" << p.a << "\" \"" << p.b << "\"";
        EXPECT_EQ(-p.sign, (back > 0) - (back < 0)) << "\"" << p.b << "\" \"" << p.a << "\"";
    }

    // The printable characters in Windows' order: punctuation below digits below letters,
    // whatever the byte values say; letters of either case are equal.
    std::vector<std::string> single;
    for (char c = ' '; c < 127; ++c)
        if (!(c >= 'A' && c <= 'Z'))
            single.push_back(std::string(1, c));
    std::sort(single.begin(), single.end(),
              [](const std::string& x, const std::string& y) { return lstrcmpiA(x.c_str(), y.c_str()) < 0; });
    std::string sorted;
    for (const std::string& s : single)
        sorted += s;
    EXPECT_EQ("'- !\"#$%&()*,./:;?@[\\]^_`{|}~+<=>0123456789abcdefghijklmnopqrstuvwxyz", sorted);
    // Each text ends at its terminator, whatever follows it in memory.
    const char endsEarly[] = "co-\0b-", endsToo[] = "co-\0c";
    EXPECT_EQ(0, lstrcmpiA(endsEarly, endsToo));
}

TEST_F(NamesTree, ConversionRoundTrips)
{
    ASSERT_TRUE(SetCurrentDirectoryA(windowsBase.c_str()));
    for (const std::string& name : {windowsBase, windowsBase + "\\sub\\deeper", windowsBase + "\\new.txt", drive + "\\"})
        EXPECT_EQ(name, ToWindows(ToPosix(name))) << ToPosix(name);
    // Names are made full on the way: separators, points and relative names.
    EXPECT_EQ(windowsBase + "\\sub\\deeper", ToWindows(ToPosix(windowsBase + "/sub\\..\\.\\sub\\\\deeper")));
    EXPECT_EQ(windowsBase + "\\sub\\x.txt", ToWindows(ToPosix("sub\\x.txt")));
    EXPECT_EQ(windowsBase + "\\sub", ToWindows("sub"));
    EXPECT_EQ(windowsBase + "\\sub", ToWindows(ToPosix(drive + "sub")));

    // Buffer sizes as GetFullPathNameA: too small gives the size needed, the buffer untouched.
    const std::string posix = ToPosix(windowsBase);
    char buffer[1024] = "#";
    EXPECT_EQ(DWORD(posix.size() + 1), ConvertWindowsToPosixName(windowsBase.c_str(), buffer, DWORD(posix.size())));
    EXPECT_EQ(DWORD(posix.size() + 1), ConvertWindowsToPosixName(windowsBase.c_str(), nullptr, 0));
    EXPECT_EQ('#', buffer[0]);
    SetLastError(0);
    EXPECT_EQ(0u, ConvertPosixToWindowsName(nullptr, buffer, sizeof buffer));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
    for (auto convert : {ConvertWindowsToPosixName, ConvertPosixToWindowsName}) {
        SetLastError(0);
        EXPECT_EQ(0u, convert("", buffer, sizeof buffer));
        EXPECT_EQ(DWORD(ERROR_INVALID_NAME), GetLastError());
    }
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
    // Relative to the drive's current directory, its root, and another drive's root.
    const char* const moves[][2] = {{"Q:\\sub", "Q:\\sub"}, {"q:deeper", "Q:\\sub\\deeper"}, {"\\", "Q:\\"}, {"C:", "C:\\"}};
    for (const auto& move : moves) {
        EXPECT_TRUE(SetCurrentDirectoryA(move[0])) << move[0];
        EXPECT_EQ(move[1], CurrentDirectory());
    }

    const struct {
        char drive;
        std::string directory;
        DWORD error;
    } failures[] = {{'1', "/", ERROR_INVALID_PARAMETER}, {'R', real + "/missing", ERROR_PATH_NOT_FOUND},
                    {'R', real + "/afile", ERROR_DIRECTORY}};
    for (const auto& f : failures) {
        EXPECT_FALSE(MapDriveToDirectory(f.drive, f.directory.c_str()));
        EXPECT_EQ(f.error, GetLastError()) << f.directory;
    }

    // C: elsewhere: what lies outside every drive has no Windows name.
    ASSERT_TRUE(MapDriveToDirectory('C', (real + "/sub").c_str()));
    EXPECT_EQ("<failed>", ToWindows("/"));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_EQ("C:\\deeper", ToWindows(real + "/sub/deeper"));
    EXPECT_TRUE(MapDriveToDirectory('C', nullptr) && MapDriveToDirectory('Q', nullptr));
    EXPECT_EQ("C:\\", ToWindows("/"));
    EXPECT_EQ("<failed>", ToPosix("Q:\\x"));
    EXPECT_FALSE(SetCurrentDirectoryA("Q:\\"));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), GetLastError());
}

TEST_F(NamesTree, NamesWindowsCannotHold)
{
    for (const char* name : {"/tmp/a\\b", "/tmp/a:b"}) {
        SetLastError(0);
        EXPECT_EQ("<failed>", ToWindows(name));
        EXPECT_EQ(DWORD(ERROR_INVALID_NAME), GetLastError()) << name;
    }
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
