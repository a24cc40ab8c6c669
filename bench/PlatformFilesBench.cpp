// The platform's file calls against the POSIX calls under them, in the same run: the cost of
// a handle with its share-mode bookkeeping, of a large read through it, and of the mmio
// buffer against stdio's.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "BenchRatio.h"
#include "TarnPlatform.h"

namespace {

const long kSmallSize = 4096;
const long kLargeSize = 64L << 20;
const long kPiece = 64 << 10;
const long kMmioSize = 4L << 20;

// A file of the given size in a directory of the run; its POSIX and Windows names.
struct TBenchFile {
    std::string posix;
    std::string windows;
};

TBenchFile MakeFile(const char* leaf, long size)
{
    static std::string directory;
    if (directory.empty()) {
        char pattern[] = "/tmp/tarnbenchXXXXXX";
        directory = mkdtemp(pattern);
    }
    TBenchFile file;
    file.posix = directory + "/" + leaf;
    char windows[MAX_PATH];
    ConvertPosixToWindowsName(file.posix.c_str(), windows, sizeof windows);
    file.windows = windows;
    std::vector<char> bytes(size_t(1) << 20, 'b');
    const int descriptor = open(file.posix.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (long written = 0; written < size;) {
        const ssize_t n = write(descriptor, bytes.data(), size_t(std::min<long>(size - written, long(bytes.size()))));
        if (n <= 0)
            break;
        written += n;
    }
    close(descriptor);
    return file;
}

const TBenchFile& SmallFile()
{
    static const TBenchFile file = MakeFile("small.bin", kSmallSize);
    return file;
}

const TBenchFile& LargeFile()
{
    static const TBenchFile file = MakeFile("large.bin", kLargeSize);
    return file;
}

const TBenchFile& MmioFile()
{
    static const TBenchFile file = MakeFile("mmio.bin", kMmioSize);
    return file;
}

void BM_CreateFileReadClose(benchmark::State& state)
{
    const std::string& name = SmallFile().windows;
    char buffer[kSmallSize];
    for (auto _ : state) {
        HANDLE file = CreateFileA(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
            FILE_ATTRIBUTE_NORMAL, nullptr);
        DWORD done = 0;
        if (!ReadFile(file, buffer, sizeof buffer, &done, nullptr) || done != sizeof buffer)
            state.SkipWithError("read failed");
        CloseHandle(file);
    }
}
BENCHMARK(BM_CreateFileReadClose);

void BM_PosixOpenReadClose(benchmark::State& state)
{
    const std::string& name = SmallFile().posix;
    char buffer[kSmallSize];
    for (auto _ : state) {
        const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        if (read(descriptor, buffer, sizeof buffer) != ssize_t(sizeof buffer))
            state.SkipWithError("read failed");
        close(descriptor);
    }
}
BENCHMARK(BM_PosixOpenReadClose);

void BM_ReadFilePieces(benchmark::State& state)
{
    const std::string& name = LargeFile().windows;
    std::vector<char> buffer(kPiece);
    HANDLE file = CreateFileA(name.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
        FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    for (auto _ : state) {
        SetFilePointer(file, 0, nullptr, FILE_BEGIN);
        DWORD done = 0;
        while (ReadFile(file, buffer.data(), DWORD(kPiece), &done, nullptr) && done) {
        }
    }
    CloseHandle(file);
    state.SetBytesProcessed(int64_t(state.iterations()) * kLargeSize);
}
BENCHMARK(BM_ReadFilePieces)->Unit(benchmark::kMillisecond);

void BM_PosixReadPieces(benchmark::State& state)
{
    const std::string& name = LargeFile().posix;
    std::vector<char> buffer(kPiece);
    const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    for (auto _ : state) {
        lseek(descriptor, 0, SEEK_SET);
        while (read(descriptor, buffer.data(), size_t(kPiece)) > 0) {
        }
    }
    close(descriptor);
    state.SetBytesProcessed(int64_t(state.iterations()) * kLargeSize);
}
BENCHMARK(BM_PosixReadPieces)->Unit(benchmark::kMillisecond);

void BM_MmioRead16(benchmark::State& state)
{
    std::string name = MmioFile().windows;
    char piece[16];
    for (auto _ : state) {
        HMMIO io = mmioOpenA(&name[0], nullptr, MMIO_READ | MMIO_ALLOCBUF | MMIO_DENYWRITE);
        while (mmioRead(io, piece, sizeof piece) == LONG(sizeof piece)) {
        }
        mmioClose(io, 0);
    }
}
BENCHMARK(BM_MmioRead16)->Unit(benchmark::kMillisecond);

void BM_Fread16(benchmark::State& state)
{
    const std::string& name = MmioFile().posix;
    char piece[16];
    for (auto _ : state) {
        FILE* stream = fopen(name.c_str(), "rb");
        while (fread(piece, 1, sizeof piece, stream) == sizeof piece) {
        }
        fclose(stream);
    }
}
BENCHMARK(BM_Fread16)->Unit(benchmark::kMillisecond);

}

int main(int argc, char** argv)
{
    const int result = RunWithRatios(argc, argv,
        {{"Open, read 4 KiB, close", "BM_CreateFileReadClose", "BM_PosixOpenReadClose", "at least 0.5"},
         {"Read 64 MiB in 64 KiB pieces", "BM_ReadFilePieces", "BM_PosixReadPieces", "at least 0.95"},
         {"mmio reads of 16 bytes against fread", "BM_MmioRead16", "BM_Fread16", "at least 0.8"}});
    for (const TBenchFile* file : {&SmallFile(), &LargeFile(), &MmioFile()})
        unlink(file->posix.c_str());
    rmdir(SmallFile().posix.substr(0, SmallFile().posix.rfind('/')).c_str());
    return result;
}
