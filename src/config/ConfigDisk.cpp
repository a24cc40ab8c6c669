// The configuration's file operations: Load reads a whole file in one call into one block and
// builds the tree from it; the time stamp under __System tells a file written by another
// program from one this library saved.
#include "NH_Heap.h"
#include "TarnPlatform.h"
#include "config/Config.h"
#include "config/ConfigInternals.h"
#include "files/File.h"

namespace {

// What a failed Load throws in eThrowOnLoadFailure mode: the address of an empty text.
char loadFailure[1];

const char kSystemGroup[] = "\\__System";
const char kStampKey[] = "config";

}  // namespace

TConfig::TConfig(const char* name, const TFileName& file, int autoSave, Mode mode)
    : keyCopyHook(nullptr),
      keyReleaseHook(nullptr),
      mode(mode),
      root(*this, String(name), nullptr, 1),
      current(&root),
      groupDepth(0),
      pendingLine{nullptr, 0},
      fileName(file),
      autoCreate(1),
      autoSave(autoSave),
      wrongFileTime(1)
{
    Load(file);
}

// Any failure on the way (a missing file, an open, read or heap failure) is caught and
// dropped: the tree stays as it was, since BuildFromBlock replaces it only once it has read
// the whole block.
void TConfig::Load(const TFileName& file)
{
    if (file.IsEmpty())
        return;
    int loaded = 0;
    char* block = nullptr;
    try {
        if (TFile::Exist(file, TFile::eFile)) {
            TFile input(file, TFile::eRead | TFile::eShareAll);
            const long size = input.GetSize();
            block = static_cast<char*>(NH_Heap::Default().Alloc(static_cast<unsigned long>(size > 0 ? size : 1)));
            input.Read(block, size, 1);
            BuildFromBlock(block, static_cast<unsigned int>(size));
            if (mode & eFileTimeStamp) {
                BY_HANDLE_FILE_INFORMATION information;
                const int known = GetFileInformationByHandle(input.GetHandle(), &information) != 0;
                MoveAbsolute(kSystemGroup);
                static const unsigned char none[8] = {};
                unsigned char stamp[8];
                GetBinary(stamp, none, 8, kStampKey);
                const uint32_t low = stamp[0] | stamp[1] << 8 | stamp[2] << 16 | static_cast<uint32_t>(stamp[3]) << 24;
                const uint32_t high = stamp[4] | stamp[5] << 8 | stamp[6] << 16 | static_cast<uint32_t>(stamp[7]) << 24;
                wrongFileTime = !(known && low == information.ftLastWriteTime.dwLowDateTime &&
                                  high == information.ftLastWriteTime.dwHighDateTime);
            }
            loaded = 1;
        }
    } catch (...) {
    }
    NH_Heap::FreeMem(block);
    if (!loaded && (mode & eThrowOnLoadFailure))
        throw static_cast<char*>(loadFailure);
}
