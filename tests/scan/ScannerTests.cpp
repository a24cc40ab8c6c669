#include <CommonTarn.h>
#include <TarnNames.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#ifndef _WIN32
#  include <sys/wait.h>
#  include <unistd.h>
#endif

namespace fs = std::filesystem;
typedef std::vector<std::string> Names;

namespace {

// Records what the scanner does, with names relative to the tree.
class Recorder : public TFileScanner {
public:
    Recorder(const std::string& base, const TFileName& path, const char* type, int storeFirst = 0)
        : TFileScanner(path, nullptr, storeFirst, 1), base(base)
    {
        if (type)
            AddFileType(type);
    }
    std::string Relative(const std::string& s) const
    {
        return s.compare(0, base.size(), base) ? s : s.substr(std::min(s.size(), base.size() + 1));
    }
    int UserBreak() override { return --breakAfter == 0; }
    int OnFile(const TFileName& name, const WIN32_FIND_DATAA*, unsigned long index) override
    {
        files.push_back(Relative(name.c_str()));
        indices.push_back(index);
        return onFile ? onFile(files.back()) : 1;
    }
    int Filter(const TFileName& name, const WIN32_FIND_DATAA*) override { return Relative(name.c_str()) != rejected; }
    void OnDirectory(const TFileName& directory) override { events.push_back("dir " + Relative(directory.c_str())); }
    void OnEndRealScan() override { events.push_back("end " + std::to_string(GetNumFile()) + " " + std::to_string(files.size())); }
    Names Sorted() const
    {
        Names s(files);
        std::sort(s.begin(), s.end());
        return s;
    }
    using TFileScanner::fileTypes;
    using TFileScanner::numFiles;
    using TFileScanner::totalSize;

    std::string base, rejected;
    int breakAfter = -1;
    std::function<int(const std::string&)> onFile;
    Names files, events;
    std::vector<unsigned long> indices;
};

class ScanTree : public ::testing::Test {
protected:
    void SetUp() override
    {
        host = fs::temp_directory_path() / ("tarn-scan-" + std::to_string(GetCurrentProcessId()));
        fs::remove_all(host);
        for (const char* name : {"a.txt", "b.doc", "c.txt.bak", "readme.txt", "sub/d.txt", "sub/readme.txt",
                                 ".hidden/e.txt", "sub2/f.TXT", "sub2/deep/g.txt"})
            Put(name, 3);
        char buffer[MAX_PATH];
        windows.assign(buffer, ConvertPosixToWindowsName(host.string().c_str(), buffer, MAX_PATH));
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::remove_all(host, ignored);
    }
    void Put(const fs::path& name, size_t size)
    {
        fs::create_directories((host / name).parent_path());
        std::ofstream(host / name, std::ios::binary) << std::string(size, 'x');
    }
    TFileName Name(const std::string& relative) const { return TFileName((windows + "\\" + relative).c_str()); }

    fs::path host;
    std::string windows;
};

}  // namespace

TEST(MatchFileMask, StarsNeverCrossADot)
{
    const struct {
        const char* mask;
        const char* name;
        int fits;
    } cases[] = {
        {"a?c", "abc", 1}, {"a?c", "ac", 0}, {"a?c", "abcd", 0}, {"ab?", "abc", 1}, {"ab?", "ab", 1},
        {"*", "abc", 1}, {"*", "abc.txt", 0}, {"a*", "a.txt", 0}, {"*.txt", "a.TXT", 1}, {"abc.", "abc", 1},
        {"<*.txt", "x.txt", 1}, {"*.*", "abc", 1}, {"*.*", "a.b", 1}, {"*.*", "a.b.c", 0}, {"*x.t*", "abc.txt", 1},
        {"<abc.txt", "xABcx.txt", 1}, {"<abc.txt", "xabx.txt", 0}, {"<abc.txt", "abc.doc", 0},
        {"<abc.txt", "x.abc.txt", 0}, {"<.txt", "x.txt", 1}, {"<abc", "xabcx", 1}, {"<abc", "abc.txt", 0},
        {"<", "a", 0}, {"", "", 1}, {"", "a", 0}, {"a", "", 0}, {"?", "", 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.fits, MatchFileMask(c.mask, c.name)) << c.mask << " " << c.name;
}

TEST_F(ScanTree, WhatIsScannedAndWhereItGoes)
{
    // Masks behind the directory: each directory's files before its subdirectories, never
    // those with a leading dot; the masks are gone afterwards.
    Recorder both(windows, Name("*.txt|*.doc"), nullptr);
    both.Run();
    EXPECT_EQ((Names{"a.txt", "b.doc", "readme.txt", "sub2\\deep\\g.txt", "sub2\\f.TXT", "sub\\d.txt", "sub\\readme.txt"}),
              both.Sorted());
    EXPECT_TRUE(both.fileTypes.IsEmpty());
    const auto top = [](const std::string& f) { return f.find('\\') == f.npos; };
    EXPECT_TRUE(std::none_of(std::find_if_not(both.files.begin(), both.files.end(), top), both.files.end(), top));
    EXPECT_LT(std::find(both.files.begin(), both.files.end(), "sub2\\f.TXT"),
              std::find(both.files.begin(), both.files.end(), "sub2\\deep\\g.txt"));
    EXPECT_EQ((std::vector<unsigned long>{0, 1, 2, 3, 4, 5, 6}), both.indices);

    // A name without wildcards is searched as it stands, also for the subdirectories; an
    // empty name scans nothing.
    const struct {
        std::string path;
        Names files, events;
    } cases[] = {
        {"readme.txt", {"readme.txt"}, {"dir ", "end 0 1"}},
        {"sub", {}, {"dir ", "dir sub", "end 0 0"}},
        {"", {}, {"end 0 0"}},
    };
    for (const auto& c : cases) {
        Recorder one(windows, Name(c.path), nullptr);
        one.Run();
        EXPECT_EQ(c.files, one.files) << c.path;
        EXPECT_EQ(c.events, one.events) << c.path;
    }

    // With masks each path is a directory, with or without its backslash. A file that fits
    // two masks comes twice, and Filter is asked for each; stored files reach OnFile after
    // the walk, and OnEndRealScan sees them all.
    TList<TFileName> paths;
    paths.Append(new TFileName(Name("sub")));
    paths.Append(new TFileName(Name("sub2\\")));
    Recorder stored(windows, TFileName(), nullptr);
    stored.Reset(paths, nullptr, 1, 0);
    stored.AddFileType("*.txt");
    stored.AddFileType("d.*");
    stored.rejected = "sub\\readme.txt";
    stored.Run();
    EXPECT_EQ((Names{"dir sub", "dir sub2\\", "end 3 0"}), stored.events);
    EXPECT_EQ((Names{"sub2\\f.TXT", "sub\\d.txt", "sub\\d.txt"}), stored.Sorted());
    EXPECT_EQ(3u + 9u, stored.numFiles + stored.totalSize);
    Names walked;
    for (String name = stored.GetFirst(); !name.IsEmpty(); name = stored.GetNext())
        walked.push_back(stored.Relative(name.c_str()));
    EXPECT_EQ(stored.files, walked);
    EXPECT_TRUE(stored.GetNext().IsEmpty());

    // A copy has the stored files; Run adds to what is there, Reset empties it.
    TFileScanner copy(stored);
    stored.Run();
    EXPECT_EQ(6u + 6u, stored.GetNumFile() + stored.numFiles);
    EXPECT_EQ(3u, copy.GetNumFile());
    EXPECT_EQ(String(Name("sub\\d.txt")), copy.GetFirst());
    stored.Reset(Name("sub"), nullptr, 1, 0);
    EXPECT_EQ(0u, stored.GetNumFile() + stored.numFiles + stored.totalSize);

    // The outside list comes before the store and OnFile.
    TList<TFileName> outside;
    Recorder listed(windows, Name(""), "*.txt", 1);
    listed.SetFileNameList(outside);
    listed.Run();
    EXPECT_EQ(6, outside.GetCount());
    EXPECT_EQ(0u, listed.GetNumFile() + listed.files.size());

    // OnFile's 0 and UserBreak end the scan of one path only.
    const String txt("*.txt");
    Recorder stopped(windows, TFileName(), nullptr), broken(windows, TFileName(), nullptr);
    stopped.Reset(paths, &txt, 0, 1);
    stopped.onFile = [](const std::string&) { return 0; };
    stopped.Run();
    EXPECT_EQ(2u, stopped.files.size());
    broken.Reset(paths, &txt, 0, 1);
    broken.breakAfter = 1;
    broken.Run();
    EXPECT_EQ((Names{"sub2\\deep\\g.txt", "sub2\\f.TXT"}), broken.Sorted());
}

TEST_F(ScanTree, RandomTreeEqualsAnIndependentListing)
{
    TRandomizer random(7);
    const char* parts[] = {"a", "b", "ab", "ba", "x"};
    const char* extensions[] = {"", ".t", ".txt", ".TXT", ".tx", ".a.b"};
    std::vector<fs::path> directories{"r"};
    fs::create_directory(host / "r");
    for (int i = 0; i < 300; ++i) {
        const fs::path name = directories[random.Get(directories.size())] /
                              (std::string(random.TrueEvery(10) ? "." : "") + parts[random.Get(5)] + std::to_string(i) +
                               extensions[random.Get(6)]);
        if (random.TrueEvery(5))
            directories.push_back(name), fs::create_directory(host / name);
        else
            Put(name, random.Get(100));
    }
    const char* masks[] = {"*.t?t", "a*.*", "<b.t*"};
    std::map<std::string, int> expected, found;
    uint32_t size = 0;
    for (auto it = fs::recursive_directory_iterator(host / "r"); it != fs::recursive_directory_iterator(); ++it) {
        const std::string name = it->path().filename().string();
        if (it->is_directory() && name[0] == '.')
            it.disable_recursion_pending();
        for (const char* mask : masks)
            if (!it->is_directory() && MatchFileMask(mask, name.c_str())) {
                std::string relative = it->path().lexically_relative(host / "r").string();
                std::replace(relative.begin(), relative.end(), '/', '\\');
                ++expected[relative];
                size += uint32_t(it->file_size());
            }
    }
    Recorder scanner(windows + "\\r", Name("r"), nullptr);
    for (const char* mask : masks)
        scanner.AddFileType(mask);
    scanner.Run();
    for (const std::string& name : scanner.files)
        ++found[name];
    EXPECT_GT(expected.size(), 30u);
    EXPECT_EQ(expected, found);
    EXPECT_EQ(size, scanner.totalSize);
}

TEST_F(ScanTree, ExceptionsLongNamesCyclesAndVanishingFolders)
{
    // An exception from a virtual operation reaches the caller with the searches closed and
    // the path's own masks gone.
    const auto descriptors = [] {
        std::error_code error;
        auto it = fs::directory_iterator("/proc/self/fd", error);
        return error ? 0 : std::distance(it, fs::directory_iterator());
    };
    const auto before = descriptors();
    Recorder thrower(windows, Name("*.txt"), nullptr);
    thrower.onFile = [](const std::string&) -> int { throw std::runtime_error("host"); };
    EXPECT_THROW(thrower.Run(), std::runtime_error);
    EXPECT_TRUE(thrower.fileTypes.IsEmpty());
    EXPECT_EQ(before, descriptors());

    // Folders nested past MAX_PATH: the files whose names fit come, the others are passed over.
    std::vector<fs::path> levels{"long"};
    size_t fitting = 0;
    while (windows.size() + levels.back().string().size() < MAX_PATH + 40) {
        levels.push_back(levels.back() / std::string(30, 'n'));
        Put(levels.back() / "f.txt", 1);
        fitting += windows.size() + levels.back().string().size() + 7 < MAX_PATH;
    }
    Recorder deep(windows, Name("long"), "*.txt");
    deep.Run();
    EXPECT_EQ(fitting, deep.files.size());
    // Deepest first: a removal of the whole tree does not reach so far on Windows.
    for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
        std::error_code ignored;
        fs::remove(host / *level / "f.txt", ignored);
        fs::remove(host / *level, ignored);
    }

    // A link back to its own folder: each level again, until the names no longer fit or the
    // system stops resolving the links.
    std::error_code linkError;
    fs::create_directory_symlink(host / "sub", host / "sub" / "loop", linkError);
    if (!linkError) {
        Recorder cycle(windows, Name("sub"), "d.txt");
        cycle.Run();
        EXPECT_GT(cycle.files.size(), 1u);
        EXPECT_LE(cycle.files.size(), (MAX_PATH - 1 - windows.size() - 10) / 5 + 1);
    }

    // A folder removed while it is scanned (on Windows all but the folder itself, which its
    // open search keeps): the scan goes on without what is gone.
    Recorder vanishing(windows, Name("sub2"), "*.txt");
    vanishing.onFile = [&](const std::string&) {
        std::error_code ignored;
        fs::remove_all(host / "sub2", ignored);
        return 1;
    };
    vanishing.Run();
    EXPECT_EQ((Names{"sub2\\f.TXT"}), vanishing.files);
}

#ifndef _WIN32

TEST_F(ScanTree, UnreadableFoldersDeliverNothing)
{
    fs::permissions(host / "sub", fs::perms::none);
    const pid_t pid = fork();
    if (pid == 0) {
        // The owner's rights do not stop root: the child scans as nobody.
        Recorder scanner(windows, Name("*.txt"), nullptr);
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(1);
        scanner.Run();
        _exit(scanner.Sorted() == Names{"a.txt", "readme.txt", "sub2\\deep\\g.txt", "sub2\\f.TXT"} ? 0 : 2);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

#endif
