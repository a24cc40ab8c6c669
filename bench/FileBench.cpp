// TFile against the system's own calls, on files in the page cache: a 256 MiB file read in
// 64 KiB pieces against read(2); open, read 4 KiB and close against open/read/close; and the
// mmio route reading 16 bytes at a time against fread. The files are made once per run, in
// the temporary directory, and removed at its end.
#include <CommonTarn.h>
#include <TarnNames.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "BenchRatio.h"

namespace {

constexpr long kLargeSize = 256l << 20;
constexpr long kPiece = 64 << 10;
constexpr long kSmallSize = 4096;
constexpr long kStreamSize = 16l << 20;
constexpr long kItem = 16;

// One file of the run, by its host name and its Windows name.
struct BenchFile {
    BenchFile(const char* title, long size)
        : host((std::filesystem::temp_directory_path() / (std::string("tarnbench-") + std::to_string(getpid()) + title))
                   .string())
    {
        const int fd = open(host.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
        std::vector<char> block(1 << 20);
        for (size_t i = 0; i < block.size(); ++i)
            block[i] = static_cast<char>(i * 7);
        for (long done = 0; done < size;) {
            const long n = std::min<long>(size - done, static_cast<long>(block.size()));
            if (write(fd, block.data(), n) != n)
                break;
            done += n;
        }
        close(fd);
        char name[1024];
        ConvertPosixToWindowsName(host.c_str(), name, sizeof name);
        windows = name;
    }
    ~BenchFile() { unlink(host.c_str()); }

    std::string host;
    TFileName windows;
};

const BenchFile& Large()
{
    static const BenchFile file("-large", kLargeSize);
    return file;
}
const BenchFile& Small()
{
    static const BenchFile file("-small", kSmallSize);
    return file;
}
const BenchFile& Stream()
{
    static const BenchFile file("-stream", kStreamSize);
    return file;
}

void BM_FileReadPieces(benchmark::State& state)
{
    std::vector<char> buffer(kPiece);
    TFile file(Large().windows, TFile::eRead | TFile::eShareRead);
    for (auto _ : state) {
        file.SeekStart();
        for (long done = 0; done < kLargeSize; done += kPiece)
            file.Read(buffer.data(), kPiece, 1, nullptr);
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(state.iterations() * kLargeSize);
}
BENCHMARK(BM_FileReadPieces)->Unit(benchmark::kMillisecond);

void BM_PosixReadPieces(benchmark::State& state)
{
    std::vector<char> buffer(kPiece);
    const int fd = open(Large().host.c_str(), O_RDONLY);
    for (auto _ : state) {
        lseek(fd, 0, SEEK_SET);
        for (long done = 0; done < kLargeSize; done += kPiece)
            if (read(fd, buffer.data(), kPiece) != kPiece)
                state.SkipWithError("short read");
        benchmark::DoNotOptimize(buffer.data());
    }
    close(fd);
    state.SetBytesProcessed(state.iterations() * kLargeSize);
}
BENCHMARK(BM_PosixReadPieces)->Unit(benchmark::kMillisecond);

void BM_FileOpenReadClose(benchmark::State& state)
{
    char buffer[kSmallSize];
    const TFileName& name = Small().windows;
    for (auto _ : state) {
        TFile file(name, TFile::eRead | TFile::eShareRead);
        file.Read(buffer, kSmallSize, 1, nullptr);
        file.Close();
        benchmark::DoNotOptimize(buffer);
    }
}
BENCHMARK(BM_FileOpenReadClose);

void BM_PosixOpenReadClose(benchmark::State& state)
{
    char buffer[kSmallSize];
    const char* name = Small().host.c_str();
    for (auto _ : state) {
        const int fd = open(name, O_RDONLY);
        if (read(fd, buffer, kSmallSize) != kSmallSize)
            state.SkipWithError("short read");
        close(fd);
        benchmark::DoNotOptimize(buffer);
    }
}
BENCHMARK(BM_PosixOpenReadClose);

void BM_MmioReadItems(benchmark::State& state)
{
    char item[kItem];
    TFile file(Stream().windows, TFile::eUseMMIO | TFile::eRead | TFile::eShareRead);
    for (auto _ : state) {
        file.SeekStart();
        for (long done = 0; done < kStreamSize; done += kItem)
            file.Read(item, kItem, 1, nullptr);
        benchmark::DoNotOptimize(item);
    }
    state.SetBytesProcessed(state.iterations() * kStreamSize);
}
BENCHMARK(BM_MmioReadItems)->Unit(benchmark::kMillisecond);

void BM_FreadItems(benchmark::State& state)
{
    char item[kItem];
    std::FILE* file = std::fopen(Stream().host.c_str(), "rb");
    for (auto _ : state) {
        std::rewind(file);
        for (long done = 0; done < kStreamSize; done += kItem)
            if (std::fread(item, 1, kItem, file) != static_cast<size_t>(kItem))
                state.SkipWithError("short read");
        benchmark::DoNotOptimize(item);
    }
    std::fclose(file);
    state.SetBytesProcessed(state.iterations() * kStreamSize);
}
BENCHMARK(BM_FreadItems)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    // Made before the measurements and read through once, so that the page cache holds them.
    for (const BenchFile* file : {&Large(), &Small(), &Stream()}) {
        std::vector<char> sink(1 << 20);
        const int fd = open(file->host.c_str(), O_RDONLY);
        while (read(fd, sink.data(), sink.size()) > 0) {
        }
        close(fd);
    }
    return RunWithRatios(
        argc, argv,
        {{"Read of 256 MiB in 64 KiB pieces vs read(2)", "BM_FileReadPieces", "BM_PosixReadPieces", "at least 0.95"},
         {"open, read 4 KiB, close vs open/read/close", "BM_FileOpenReadClose", "BM_PosixOpenReadClose",
          "at least 0.5"},
         {"mmio route, 16 bytes at a time vs fread", "BM_MmioReadItems", "BM_FreadItems", "at least 0.8"}});
}
