// The directory scanner against the standard library and POSIX: a recursive scan of a tree of
// files, 25 to a folder, made once per process in the temporary directory, collecting the
// name, size and time of each file, against std::filesystem::recursive_directory_iterator with
// one stat per entry and against nftw; and MatchFileMask over 1,000,000 names, with fnmatch
// for comparison. The tree has 5,000 files unless --tree_files=N says otherwise: making the
// full 50,000 files in 2,000 folders takes longer than all the measurements together.
#include <fcntl.h>
#include <fnmatch.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "BenchRatio.h"
#include "TarnNames.h"
#include "TarnPlatform.h"
#include "scan/FileScanner.h"

// Every allocation of the program and the library through operator new, so that the mask
// benchmark can show that it makes none. Kept out of line, where GCC would otherwise see a
// malloc'd block go to free through operator delete and warn.
static unsigned long _allocations = 0;

__attribute__((noinline)) void* operator new(size_t size)
{
    ++_allocations;
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

__attribute__((noinline)) void operator delete(void* p) noexcept
{
    std::free(p);
}

__attribute__((noinline)) void operator delete(void* p, size_t) noexcept
{
    std::free(p);
}

namespace {

namespace fs = std::filesystem;

const int kFilesPerFolder = 25;
int _treeFiles = 5000;

struct Entry {
    std::string name;
    uint64_t size;
    int64_t time;
};

// The tree: 40 folders below the root, and the rest of the folders spread below those, with
// the files spread evenly over all of them. Removed at the end of the program.
class Tree {
public:
    Tree()
    {
        root = fs::temp_directory_path() / ("tarn-scan-bench-" + std::to_string(getpid()));
        fs::remove_all(root);
        const int folders = std::max(1, _treeFiles / kFilesPerFolder);
        const int top = std::min(folders, 40);
        std::vector<fs::path> all;
        for (int i = 0; i < folders; ++i) {
            const fs::path parent = i < top ? root : all[size_t(i % top)];
            all.push_back(parent / ("folder" + std::to_string(i)));
            fs::create_directories(all.back());
        }
        for (int i = 0; i < _treeFiles; ++i) {
            const fs::path name = all[size_t(i % folders)] / ("file" + std::to_string(i) + ".dat");
            const int descriptor = open(name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            if (descriptor >= 0) {
                if (ftruncate(descriptor, i % 5000) != 0)
                    std::perror("ftruncate");
                close(descriptor);
            }
        }
        char buffer[MAX_PATH];
        const DWORD n = ConvertPosixToWindowsName(root.c_str(), buffer, MAX_PATH);
        windows.assign(buffer, n < MAX_PATH ? n : 0);
    }
    ~Tree()
    {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }

    fs::path root;
    std::string windows;
};

const Tree& TheTree()
{
    static Tree tree;
    return tree;
}

class Collector : public TFileScanner {
public:
    explicit Collector(const TFileName& path) : TFileScanner(path, nullptr, 0, 1) { AddFileType("*.*"); }
    std::vector<Entry> entries;

protected:
    int OnFile(const TFileName& name, const WIN32_FIND_DATAA* data, unsigned long) override
    {
        const uint64_t time = uint64_t(data->ftLastWriteTime.dwHighDateTime) << 32 | data->ftLastWriteTime.dwLowDateTime;
        entries.push_back({std::string(name.c_str(), name.length()),
                           uint64_t(data->nFileSizeHigh) << 32 | data->nFileSizeLow, int64_t(time)});
        return 1;
    }
};

void Check(benchmark::State& state, size_t found)
{
    if (found != size_t(_treeFiles))
        state.SkipWithError("the scan did not find every file");
    state.SetItemsProcessed(int64_t(state.iterations()) * _treeFiles);
}

void BM_ScannerRecursive(benchmark::State& state)
{
    const TFileName path(TheTree().windows.c_str());
    size_t found = 0;
    for (auto _ : state) {
        Collector scanner(path);
        scanner.entries.reserve(size_t(_treeFiles));
        scanner.Run();
        found = scanner.entries.size();
    }
    Check(state, found);
}
BENCHMARK(BM_ScannerRecursive)->Unit(benchmark::kMillisecond);

void BM_RecursiveDirectoryIterator(benchmark::State& state)
{
    const fs::path& root = TheTree().root;
    size_t found = 0;
    for (auto _ : state) {
        std::vector<Entry> entries;
        entries.reserve(size_t(_treeFiles));
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
            struct stat info;
            if (stat(entry.path().c_str(), &info) == 0 && S_ISREG(info.st_mode))
                entries.push_back({entry.path().string(), uint64_t(info.st_size), int64_t(info.st_mtim.tv_sec)});
        }
        found = entries.size();
    }
    Check(state, found);
}
BENCHMARK(BM_RecursiveDirectoryIterator)->Unit(benchmark::kMillisecond);

std::vector<Entry>* _nftwEntries = nullptr;

int CollectNftw(const char* name, const struct stat* info, int type, FTW*)
{
    if (type == FTW_F && S_ISREG(info->st_mode))
        _nftwEntries->push_back({name, uint64_t(info->st_size), int64_t(info->st_mtim.tv_sec)});
    return 0;
}

void BM_Nftw(benchmark::State& state)
{
    const fs::path& root = TheTree().root;
    size_t found = 0;
    for (auto _ : state) {
        std::vector<Entry> entries;
        entries.reserve(size_t(_treeFiles));
        _nftwEntries = &entries;
        nftw(root.c_str(), CollectNftw, 64, FTW_PHYS);
        found = entries.size();
    }
    Check(state, found);
}
BENCHMARK(BM_Nftw)->Unit(benchmark::kMillisecond);

// A million names of a few shapes, a third of which fit the mask.
std::vector<std::string> MaskNames()
{
    const char* shapes[] = {"file%d.dat", "File%d.Data", "report%d.txt", "f%d", "fig.%d.dat", "a%d.b.c"};
    std::vector<std::string> names;
    char buffer[64];
    for (int i = 0; i < 1000000; ++i) {
        std::snprintf(buffer, sizeof buffer, shapes[i % 6], i);
        names.push_back(buffer);
    }
    return names;
}

const char kMask[] = "f*.d*";

void BM_MatchFileMask(benchmark::State& state)
{
    const std::vector<std::string> names = MaskNames();
    unsigned long fits = 0, allocations = 0;
    for (auto _ : state) {
        fits = 0;
        const unsigned long before = _allocations;
        for (const std::string& name : names)
            fits += unsigned(MatchFileMask(kMask, name.c_str()));
        allocations = _allocations - before;
    }
    state.counters["fits"] = double(fits);
    state.counters["allocations"] = double(allocations);
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(names.size()));
}
BENCHMARK(BM_MatchFileMask)->Unit(benchmark::kMillisecond);

void BM_Fnmatch(benchmark::State& state)
{
    const std::vector<std::string> names = MaskNames();
    unsigned long fits = 0;
    for (auto _ : state) {
        fits = 0;
        for (const std::string& name : names)
            fits += fnmatch(kMask, name.c_str(), FNM_CASEFOLD) == 0;
    }
    state.counters["fits"] = double(fits);
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(names.size()));
}
BENCHMARK(BM_Fnmatch)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    // Takes --tree_files=N out of the arguments before the benchmark library sees them.
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--tree_files=", 13) == 0)
            _treeFiles = std::max(kFilesPerFolder, std::atoi(argv[i] + 13));
        else
            argv[kept++] = argv[i];
    }
    argc = kept;
    return RunWithRatios(argc, argv,
                         {
                             {"Recursive scan vs recursive_directory_iterator", "BM_ScannerRecursive",
                              "BM_RecursiveDirectoryIterator", "at least 0.9"},
                             {"Recursive scan vs nftw", "BM_ScannerRecursive", "BM_Nftw", "report"},
                             {"MatchFileMask vs fnmatch, 1,000,000 names", "BM_MatchFileMask", "BM_Fnmatch", "report the rate"},
                         });
}
