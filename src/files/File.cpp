// TFile's instance side: opening by either route, reading, writing, seeking, sizing and
// closing, and the failure reports that the file classes share.
#include "files/File.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "TarnPlatform.h"
#include "errors/Exception.h"
#include "files/FileInternals.h"
#include "files/MemoryStream.h"
#include "text/MessageCatalogue.h"
#include "threads/CriticalSection.h"

namespace {

// A count that no file of 32-bit offsets holds; a long of 64 bits can pass one.
bool BeyondFile(uint64_t count)
{
    return count > INT32_MAX;
}

// The one overlapped record of a file's ReadAsync, and whether a read may still use it.
struct AsyncRecord {
    OVERLAPPED overlapped;
    int underWay;
};

HMMIO AsMmio(void* handle)
{
    return static_cast<HMMIO>(handle);
}

// Windows answers to a closed file, or to a handle of the other route.
void SetInvalidHandle()
{
    SetLastError(ERROR_INVALID_HANDLE);
}

}  // namespace

void ThrowFileMessage(unsigned int id, unsigned long code, const String& name)
{
    const String format(FindString(id));
    char text[1024];
    std::snprintf(text, sizeof text, format.c_str(), name.c_str());
    TExceptionThrower(0).SetAndThrow(text, code);
    throw TException(text, code);  // a thrower in throw mode never returns
}

void ThrowIfDiskFull(unsigned long code, const String& name)
{
    if (code != ERROR_HANDLE_DISK_FULL && code != ERROR_DISK_FULL)
        return;
    const String drive(name.GetDrive());
    const String format(FindString(18019));
    char text[1024];
    std::snprintf(text, sizeof text, format.c_str(), drive.c_str());
    TException failure(text, code);
    failure.drive = name.GetDriveIndex();
    TExceptionThrower(0).SetAndThrow(failure);
    throw failure;
}

TFile::TFile() : TFileObject(nullptr), lock(nullptr), openFlags(0), handle(nullptr), asyncRecord(nullptr) {}

TFile::TFile(const TFileName& fileName, int flags)
    : TFileObject(nullptr), lock(nullptr), openFlags(0), handle(nullptr), asyncRecord(nullptr)
{
    Open(fileName, flags);
    MakeLockIfAsked();
}

TFile::TFile(const TFileName& fileName, int flags, TFileCacheManager& manager)
    : TFileObject(&manager), lock(nullptr), openFlags(0), handle(nullptr), asyncRecord(nullptr)
{
    // The cache's blocks are the only copy in memory, and it reads and writes in its own
    // order, so a cached file drops write-through and the access hints.
    if (cache)
        flags = (flags & ~(eWriteThrough | eRandomAccess | eSequentialScan)) | eNoBuffering;
    else
        flags &= ~eNoBuffering;
    Open(fileName, flags);
    MakeLockIfAsked();
}

TFile::~TFile()
{
    Close(1);
    delete static_cast<AsyncRecord*>(asyncRecord);
    delete lock;
}

void TFile::MakeLockIfAsked()
{
    if (!(openFlags & eThreadSafe))
        return;
    try {
        lock = new TCriticalSection;
    } catch (...) {
        Close(1);  // the constructor fails, and no destructor will close the file
        throw;
    }
}

unsigned long TFile::TranslateReadWriteFlags(int& flags)
{
    if (!(flags & (eQueryOnly | eRead | eWrite | eReadWrite)))
        flags |= eReadWrite;
    if (flags & eReadWrite)
        return GENERIC_READ | GENERIC_WRITE;
    unsigned long access = 0;
    if (flags & eRead)
        access |= GENERIC_READ;
    if (flags & eWrite)
        access |= GENERIC_WRITE;
    return access;
}

unsigned long TFile::TranslateShareFlags(int& flags)
{
    if (!(flags & (eShareRead | eShareWrite | eShareAll | eShareNone)))
        flags |= eShareRead;
    if (flags & eShareAll)
        return FILE_SHARE_READ | FILE_SHARE_WRITE;
    if (flags & eShareWrite)
        return flags & eShareRead ? FILE_SHARE_READ | FILE_SHARE_WRITE : FILE_SHARE_WRITE;
    if (flags & eShareRead)
        return FILE_SHARE_READ;
    return 0;
}

unsigned long TFile::TranslateOpenMode(int flags)
{
    return flags & eCreate ? CREATE_ALWAYS : OPEN_EXISTING;
}

unsigned long TFile::TranslateSpecialFlags(int flags)
{
    static const struct {
        int flag;
        DWORD windows;
    } kSpecial[] = {
        {eOsDeleteOnClose, FILE_FLAG_DELETE_ON_CLOSE}, {eTemporaryFile, FILE_ATTRIBUTE_TEMPORARY},
        {eHiddenFile, FILE_ATTRIBUTE_HIDDEN},          {eWriteThrough, FILE_FLAG_WRITE_THROUGH},
        {eRandomAccess, FILE_FLAG_RANDOM_ACCESS},      {eSequentialScan, FILE_FLAG_SEQUENTIAL_SCAN},
        {eNoBuffering, FILE_FLAG_NO_BUFFERING},        {eOverlapped, FILE_FLAG_OVERLAPPED},
    };
    unsigned long value = 0;
    for (const auto& entry : kSpecial)
        if (flags & entry.flag)
            value |= entry.windows;
    return value;
}

// Two share bits mean something else here than on the system route: the first one set
// decides, so read with write sharing denies writing.
unsigned long TFile::TranslateMMIOFlags(int& flags)
{
    TranslateReadWriteFlags(flags);
    TranslateShareFlags(flags);
    unsigned long value;
    if (flags & eShareRead)
        value = MMIO_DENYWRITE;
    else if (flags & eShareWrite)
        value = MMIO_DENYREAD;
    else if (flags & eShareAll)
        value = MMIO_DENYNONE;
    else
        value = MMIO_EXCLUSIVE;
    if (flags & eCreate)
        value |= MMIO_CREATE;
    if (flags & eWrite)
        value |= MMIO_WRITE;
    if (flags & eReadWrite)
        value |= MMIO_READWRITE;
    if (!(flags & eNoBuffering))
        value |= MMIO_ALLOCBUF;
    return value;
}

namespace {

// Library attribute flags and their Windows attributes.
const struct {
    unsigned long library;
    DWORD windows;
} kAttributes[] = {
    {TFile::eAttrNormal, FILE_ATTRIBUTE_NORMAL},       {TFile::eAttrReadOnly, FILE_ATTRIBUTE_READONLY},
    {TFile::eAttrHidden, FILE_ATTRIBUTE_HIDDEN},       {TFile::eAttrSystem, FILE_ATTRIBUTE_SYSTEM},
    {TFile::eAttrDirectory, FILE_ATTRIBUTE_DIRECTORY}, {TFile::eAttrArchive, FILE_ATTRIBUTE_ARCHIVE},
};

}  // namespace

unsigned long TFile::TranslateAttributeFlags(unsigned long attributes)
{
    unsigned long value = 0;
    for (const auto& entry : kAttributes)
        if (attributes & entry.library)
            value |= entry.windows;
    return value;
}

// Only the low eight bits have library flags; the other Windows bits are dropped.
unsigned long TFile::TranslateOSAttributeFlags(unsigned long attributes)
{
    unsigned long value = 0;
    for (const auto& entry : kAttributes)
        if (attributes & entry.windows & 0xFF)
            value |= entry.library;
    return value;
}

int TFile::TranslateSeekMode(int origin) const
{
    return origin == eFromStart ? 0 : origin == eFromCurrent ? 1 : 2;
}

int TFile::Open(const TFileName& fileName, int flags)
{
    if (handle)
        Close(1);  // no handle is left behind
    openFlags = flags;
    if (flags & eTempName) {
        openFlags |= eCreate;
        name = GetTempName(fileName);
    } else {
        name = fileName;
    }
    if ((openFlags & eForceWritable) && Exist(name, eFile)) {
        const unsigned long attributes = GetAttributes(name);
        if (attributes != kAttrFailure)
            SetAttributes(name, attributes & ~eAttrReadOnly, 1);
    }

    int effective = static_cast<int>(openFlags);
    if (effective & eUseMMIO) {
        const DWORD mmioFlags = TranslateMMIOFlags(effective);
        handle = mmioOpenA(const_cast<char*>(name.c_str()), nullptr, mmioFlags);
        // The mmio interface cannot delete at close by itself, so Close does it.
        if (handle && (effective & eOsDeleteOnClose))
            effective = (effective & ~eOsDeleteOnClose) | eDeleteOnClose;
    } else {
        const DWORD access = TranslateReadWriteFlags(effective);
        const DWORD share = TranslateShareFlags(effective);
        HANDLE opened = CreateFileA(name.c_str(), access, share, nullptr, TranslateOpenMode(effective),
                                    TranslateSpecialFlags(effective), nullptr);
        handle = opened == INVALID_HANDLE_VALUE ? nullptr : opened;
    }
    openFlags = effective;
    if (handle)
        return 1;
    if (openFlags & eNoThrow)
        return 0;
    const DWORD code = GetLastError();
    const unsigned int id = code == ERROR_SHARING_VIOLATION ? 18025 : (openFlags & eCreate) ? 18016 : 18000;
    ThrowFileMessage(id, code, name);
}

void TFile::Close(int releaseCacheBlocks)
{
    if (!handle)
        return;
    // Returning the blocks of a cached file to its manager belongs here, before the handle
    // goes; no object is cached yet.
    static_cast<void>(releaseCacheBlocks);
    if (ShouldBeDeletedOnClose() && !UsesMMIO() && Seek(0, eFromStart, 0) != -1)
        SetEndOfFile(handle);  // what is deleted is empty by the time the handle closes
    WaitForAsyncRead();
    if (UsesMMIO())
        mmioClose(AsMmio(handle), 0);
    else
        CloseHandle(handle);
    handle = nullptr;
    if (openFlags & eDeleteOnClose)
        Delete(name, 0, 1);
    if ((openFlags & eForceWritable) && Exist(name, eFile)) {
        const unsigned long attributes = GetAttributes(name);
        if (attributes != kAttrFailure)
            SetAttributes(name, attributes | eAttrReadOnly, 0);
    }
}

void TFile::ThrowReadFailure(unsigned long code) const
{
    ThrowFileMessage(18002, code, name);
}

int TFile::Read(void* buffer, long count, int throwOnError, long* bytesRead)
{
    if (count == 0) {
        if (bytesRead)
            *bytesRead = 0;
        return 1;
    }
    if (bytesRead)
        *bytesRead = -1;
    if (count < 0 || BeyondFile(static_cast<uint64_t>(count))) {
        SetLastError(ERROR_INVALID_PARAMETER);
        if (throwOnError)
            ThrowReadFailure(ERROR_INVALID_PARAMETER);
        return 0;
    }
    long got = -1;
    if (!handle) {
        SetInvalidHandle();
    } else if (UsesMMIO()) {
        got = mmioRead(AsMmio(handle), static_cast<char*>(buffer), static_cast<LONG>(count));
        if (got < 0)
            got = -1;
    } else {
        DWORD done = 0;
        if (ReadFile(handle, buffer, static_cast<DWORD>(count), &done, nullptr))
            got = static_cast<long>(done);
    }
    if (got == count) {
        if (bytesRead)
            *bytesRead = got;
        return 1;
    }
    if (got >= 0) {
        if (bytesRead)
            *bytesRead = got;
        SetLastError(ERROR_HANDLE_EOF);  // what the system reports for a read at the end
    }
    if (throwOnError)
        ThrowReadFailure(GetLastError());
    return 0;
}

void TFile::Write(const void* buffer, unsigned long count)
{
    if (count == 0)
        return;
    if (BeyondFile(count)) {
        TExceptionThrower(0).SetAndThrow(ResMess(18003), ERROR_INVALID_PARAMETER);
        return;
    }
    if (!handle) {
        TExceptionThrower(0).SetAndThrow(ResMess(18003), ERROR_INVALID_HANDLE);
        return;
    }
    if (UsesMMIO()) {
        const LONG written = mmioWrite(AsMmio(handle), static_cast<const char*>(buffer), static_cast<LONG>(count));
        if (written == static_cast<LONG>(count))
            return;
        if (written >= 0)
            ThrowIfDiskFull(ERROR_DISK_FULL, name);
        TExceptionThrower(0).SetAndThrow(ResMess(18003), 0);
        return;
    }
    DWORD written = 0;
    if (WriteFile(handle, buffer, static_cast<DWORD>(count), &written, nullptr))
        return;
    const DWORD code = GetLastError();
    ThrowIfDiskFull(code, name);
    TExceptionThrower(0).SetAndThrow(ResMess(18003), code);
}

namespace {

template <unsigned N>
uint64_t ReadBits(TFile& file)
{
    unsigned char bytes[N];
    file.Read(bytes, N, 1, nullptr);
    return LoadLittleEndian<N>(bytes);
}

template <unsigned N>
void WriteBits(TFile& file, uint64_t bits)
{
    unsigned char bytes[N];
    StoreLittleEndian<N>(bytes, bits);
    file.Write(bytes, N);
}

}  // namespace

int TFile::Read(signed char* value)
{
    *value = static_cast<signed char>(ReadBits<1>(*this));
    return 1;
}
int TFile::Read(char* value)
{
    *value = static_cast<char>(ReadBits<1>(*this));
    return 1;
}
int TFile::Read(unsigned char* value)
{
    *value = static_cast<unsigned char>(ReadBits<1>(*this));
    return 1;
}
int TFile::Read(short* value)
{
    *value = static_cast<short>(static_cast<uint16_t>(ReadBits<2>(*this)));
    return 1;
}
int TFile::Read(unsigned short* value)
{
    *value = static_cast<unsigned short>(ReadBits<2>(*this));
    return 1;
}
int TFile::Read(int* value)
{
    *value = static_cast<int32_t>(static_cast<uint32_t>(ReadBits<4>(*this)));
    return 1;
}
int TFile::Read(unsigned int* value)
{
    *value = static_cast<uint32_t>(ReadBits<4>(*this));
    return 1;
}
int TFile::Read(long* value)
{
    *value = static_cast<int32_t>(static_cast<uint32_t>(ReadBits<4>(*this)));
    return 1;
}
int TFile::Read(unsigned long* value)
{
    *value = static_cast<uint32_t>(ReadBits<4>(*this));
    return 1;
}
int TFile::Read(float* value)
{
    const uint32_t bits = static_cast<uint32_t>(ReadBits<4>(*this));
    std::memcpy(value, &bits, 4);
    return 1;
}
int TFile::Read(double* value)
{
    const uint64_t bits = ReadBits<8>(*this);
    std::memcpy(value, &bits, 8);
    return 1;
}

void TFile::Write(signed char value)
{
    WriteBits<1>(*this, static_cast<unsigned char>(value));
}
void TFile::Write(char value)
{
    WriteBits<1>(*this, static_cast<unsigned char>(value));
}
void TFile::Write(unsigned char value)
{
    WriteBits<1>(*this, value);
}
void TFile::Write(short value)
{
    WriteBits<2>(*this, static_cast<uint16_t>(value));
}
void TFile::Write(unsigned short value)
{
    WriteBits<2>(*this, value);
}
void TFile::Write(int value)
{
    WriteBits<4>(*this, static_cast<uint32_t>(value));
}
void TFile::Write(unsigned int value)
{
    WriteBits<4>(*this, value);
}
void TFile::Write(long value)
{
    WriteBits<4>(*this, static_cast<uint32_t>(value));
}
void TFile::Write(unsigned long value)
{
    WriteBits<4>(*this, static_cast<uint32_t>(value));
}
void TFile::Write(float value)
{
    uint32_t bits;
    std::memcpy(&bits, &value, 4);
    WriteBits<4>(*this, bits);
}
void TFile::Write(const double& value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, 8);
    WriteBits<8>(*this, bits);
}

void TFile::ReadAsync(void* buffer, long count, unsigned long offset, void* event)
{
    WaitForAsyncRead();
    if (!asyncRecord)
        asyncRecord = new AsyncRecord();
    AsyncRecord& record = *static_cast<AsyncRecord*>(asyncRecord);
    std::memset(&record.overlapped, 0, sizeof record.overlapped);
    record.overlapped.Offset = static_cast<DWORD>(offset);
    record.overlapped.hEvent = event;
    ResetEvent(event);
    record.underWay = 1;
    if (!ReadFile(SystemHandle(), buffer, static_cast<DWORD>(count), nullptr, &record.overlapped) &&
        GetLastError() != ERROR_IO_PENDING) {
        // A read that fails at once is over as well: a waiter on the event does not wait
        // for ever, and the record is free again.
        record.underWay = 0;
        SetEvent(event);
    }
}

// The system may still write to the record of a read under way, so it must outlive it.
void TFile::WaitForAsyncRead()
{
    AsyncRecord* record = static_cast<AsyncRecord*>(asyncRecord);
    if (!record || !record->underWay)
        return;
    DWORD transferred = 0;
    GetOverlappedResult(handle, &record->overlapped, &transferred, TRUE);
    record->underWay = 0;
}

long TFile::Seek(long offset, ESeekOrigin origin, int throwOnError)
{
    long position = -1;
    if (!handle) {
        SetInvalidHandle();
    } else if (UsesMMIO()) {
        position = mmioSeek(AsMmio(handle), static_cast<LONG>(offset), TranslateSeekMode(origin));
    } else {
        // One 32-bit signed offset; the high half is not used.
        const DWORD moved = SetFilePointer(handle, static_cast<LONG>(offset), nullptr,
                                           static_cast<DWORD>(TranslateSeekMode(origin)));
        position = static_cast<int32_t>(moved);
    }
    if (position == -1 && throwOnError)
        TExceptionThrower(0).SetAndThrow(ResMess(18004), GetLastError());
    return position;
}

long TFile::GetSize() const
{
    if (!handle) {
        SetInvalidHandle();
        return -1;
    }
    if (UsesMMIO()) {
        HMMIO mmio = AsMmio(handle);
        const LONG current = mmioSeek(mmio, 0, SEEK_CUR);
        const LONG end = mmioSeek(mmio, 0, SEEK_END);
        mmioSeek(mmio, current, SEEK_SET);
        return end;
    }
    return static_cast<int32_t>(::GetFileSize(handle, nullptr));
}

void TFile::SetSize(long size)
{
    DWORD code = ERROR_SUCCESS;
    if (Seek(size, eFromStart, 0) == -1)
        code = GetLastError();
    else if (!SetEndOfFile(SystemHandle()))
        code = GetLastError();
    if (GetSize() == size)
        return;
    if (code == ERROR_SUCCESS)
        code = GetLastError();
    ThrowIfDiskFull(code, name);
    TExceptionThrower(0).SetAndThrow(ResMess(18005), code);
}

String TFile::ReadLine()
{
    String line;
    long remaining = GetSize() - GetPosition();
    while (remaining-- > 0) {
        unsigned char byte;
        if (!Read(&byte, 1, 0, nullptr))
            continue;
        if (byte == 0 || byte == '\n')
            break;
        if (byte == '\r') {
            // CR LF is one line end; a lone CR ends the line and what follows stays.
            Read(&byte, 1, 1, nullptr);
            if (byte != '\n')
                Seek(-1, eFromCurrent, 1);
            break;
        }
        line += static_cast<char>(byte);
    }
    return line;
}

void TFile::WriteString(const char* text, int withTerminator)
{
    if (!text)
        text = "";
    Write(text, std::strlen(text) + (withTerminator ? 1 : 0));
}

void TFile::WriteString(const String& text, int withTerminator)
{
    Write(text.c_str(), text.length() + (withTerminator ? 1 : 0));
}

void TFile::WriteLine(const char* text, char firstEnd, char secondEnd)
{
    WriteString(text, 0);
    Write(firstEnd);
    if (static_cast<unsigned char>(secondEnd) != 0xFF)
        Write(secondEnd);
}

void TFile::WriteLine(const String& text, char firstEnd, char secondEnd)
{
    WriteString(text, 0);
    Write(firstEnd);
    if (static_cast<unsigned char>(secondEnd) != 0xFF)
        Write(secondEnd);
}

void TFile::FlushBuffers()
{
    if (!handle)
        return;
    if (UsesMMIO())
        mmioFlush(AsMmio(handle), MMIO_EMPTYBUF);
    else
        FlushFileBuffers(handle);
}

void TFile::Flush() const
{
    FlushFileBuffers(SystemHandle());
}

void TFile::Lock(long offset, unsigned long size)
{
    LockFile(SystemHandle(), static_cast<DWORD>(offset), 0, static_cast<DWORD>(size), 0);
}

void TFile::Unlock(long offset, unsigned long size)
{
    UnlockFile(SystemHandle(), static_cast<DWORD>(offset), 0, static_cast<DWORD>(size), 0);
}

unsigned long TFile::GetAttributes() const
{
    BY_HANDLE_FILE_INFORMATION information;
    if (!GetFileInformationByHandle(SystemHandle(), &information))
        return kAttrFailure;
    return TranslateOSAttributeFlags(information.dwFileAttributes);
}
