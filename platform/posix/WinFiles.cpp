// Files over POSIX descriptors: one descriptor per handle with a file pointer of its own, and
// Windows' share modes, byte-range locks, attributes and error codes.
//
// Share modes are kept twice. Handles of this process meet in a table of open files keyed by
// device and inode, which also knows the locked ranges and the deletion at the last close.
// Other processes see open file description locks on reserved bytes at the top of the offset
// range: a handle read-locks one byte for each access it has and one for each it does not
// share, and an open looks for the bytes that conflict with it. Classic record locks would
// not do, since closing any descriptor of a file drops every lock the process holds on it;
// description locks belong to the descriptor and go only with its close.
#include "WinFiles.h"
#include "WinFileInfo.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "WinKernel.h"
#include "WinNames.h"
#include "WinObjects.h"
#include "WinSync.h"

namespace TarnPosix {
namespace {

// Access and sharing as the share checks count them, in the bits of FILE_SHARE_*; a handle
// made with FILE_FLAG_DELETE_ON_CLOSE has delete access.
enum : DWORD { eRead = FILE_SHARE_READ, eWrite = FILE_SHARE_WRITE, eDelete = FILE_SHARE_DELETE };

// The reserved bytes, one for each access a handle may have and one for each it may deny,
// at _reservedBase + position. The order makes the common opens cheap: reading and sharing
// only reading holds bytes 0-2 and looks for others at bytes 3-5. LockFile ranges stop below.
const off_t _reservedBase = off_t(0x7FFFFFFFFFFF0000LL);
const int _reservedCount = 6;
enum : int { eHasRead, eDeniesWrite, eDeniesDelete, eHasWrite, eHasDelete, eDeniesRead };

// The sector size of the alignment that unbuffered handles demand.
const uint64_t _sectorSize = 512;

// Status values of a finished overlapped call, kept in OVERLAPPED::Internal.
const ULONG_PTR _statusSuccess = 0;
const ULONG_PTR _statusEndOfFile = 0xC0000011;
const ULONG_PTR _statusErrorBit = 0xE0000000;

class TFileHandle;

struct TLockedRange {
    const TFileHandle* owner;
    uint64_t offset;
    uint64_t length;
};

// An open file of this process, with the handles that have it open.
struct TOpenFile {
    dev_t device = 0;
    ino_t inode = 0;
    // Linked by TFileHandle::nextInFile.
    TFileHandle* firstHandle = nullptr;
    std::vector<TLockedRange> ranges;
    // Read without the table's lock, so that reads and writes skip the range check while no
    // range is locked.
    std::atomic<size_t> rangeCount{0};
    // The host name to remove at the last close, set by a handle with
    // FILE_FLAG_DELETE_ON_CLOSE; pending once that handle has closed.
    std::string deleteName;
    bool deletePending = false;
};

// Taken inside a suspension region, as every lock of the layer. Never destroyed: handles may
// close while the process exits.
std::mutex& FilesLock()
{
    static std::mutex* lock = new std::mutex;
    return *lock;
}

typedef std::map<std::pair<dev_t, ino_t>, TOpenFile> TOpenFiles;

TOpenFiles& OpenFiles()
{
    static auto* files = new TOpenFiles;
    return *files;
}

class TFilesLock {
public:
    TFilesLock() { FilesLock().lock(); }
    ~TFilesLock() { FilesLock().unlock(); }
    TFilesLock(const TFilesLock&) = delete;
    TFilesLock& operator=(const TFilesLock&) = delete;

private:
    TSuspensionRegion region;
};

bool Overlap(uint64_t offset1, uint64_t length1, uint64_t offset2, uint64_t length2)
{
    return length1 && length2 && offset1 < offset2 + length2 && offset2 < offset1 + length1;
}

// A range for the description locks, cut off below the reserved bytes.
bool LockableRange(uint64_t offset, uint64_t length, flock& lock)
{
    const uint64_t limit = uint64_t(_reservedBase);
    if (offset >= limit || length == 0)
        return false;
    memset(&lock, 0, sizeof lock);
    lock.l_whence = SEEK_SET;
    lock.l_start = off_t(offset);
    lock.l_len = off_t(std::min(length, limit - offset));
    return true;
}

class TFileHandle : public AHandleObject {
public:
    TFileHandle() : AHandleObject(eFile) {}
    ~TFileHandle() override;

    // Reads or writes count bytes at the file pointer or the record's offset.
    BOOL Transfer(bool writing, void* buffer, DWORD count, LPDWORD done, LPOVERLAPPED overlapped);

    int descriptor = -1;
    bool writable = false;
    // A second descriptor of the file for LockFile's write locks when the first only reads;
    // under the table's lock.
    int lockDescriptor = -1;
    DWORD access = 0;  // eRead, eWrite, eDelete
    // The access that share modes count, none for a device: Windows keeps no share modes
    // for those, and two programs may each have the null device to themselves.
    DWORD shareAccess = 0;
    DWORD share = 0;
    DWORD flags = 0;   // FILE_FLAG_*
    bool hidden = false;
    std::atomic<bool> direct{false};  // O_DIRECT in effect
    std::atomic<bool> stream{false};  // a device without offsets
    TOpenFile* file = nullptr;
    TFileHandle* nextInFile = nullptr;
    std::atomic<uint64_t> position{0};

    // The descriptor that carries LockFile's locks, or -1 when there is none; called under
    // the table's lock.
    int LockingDescriptor();

private:
    bool LockedByOther(uint64_t offset, uint64_t length) const;
    // Falls back to buffered I/O where the system refuses a direct transfer that Windows'
    // alignment allows.
    bool DropDirect();
};

TFileHandle::~TFileHandle()
{
    std::string doomed;
    if (file) {
        TFilesLock lock;
        for (TFileHandle** link = &file->firstHandle; *link; link = &(*link)->nextInFile)
            if (*link == this) {
                *link = nextInFile;
                break;
            }
        auto& ranges = file->ranges;
        if (!ranges.empty()) {
            ranges.erase(std::remove_if(ranges.begin(), ranges.end(),
                             [this](const TLockedRange& range) { return range.owner == this; }),
                ranges.end());
            file->rangeCount.store(ranges.size());
        }
        if (flags & FILE_FLAG_DELETE_ON_CLOSE)
            file->deletePending = true;
        if (!file->firstHandle) {
            if (file->deletePending)
                doomed.swap(file->deleteName);
            OpenFiles().erase(std::make_pair(file->device, file->inode));
        }
    }
    // The name goes only if it still names this file.
    struct stat info;
    if (!doomed.empty() && stat(doomed.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
        struct stat own;
        if (fstat(descriptor, &own) == 0 && own.st_dev == info.st_dev && own.st_ino == info.st_ino)
            unlink(doomed.c_str());
    }
    if (lockDescriptor >= 0)
        close(lockDescriptor);
    if (descriptor >= 0)
        close(descriptor);
}

int TFileHandle::LockingDescriptor()
{
    if (writable)
        return descriptor;
    if (lockDescriptor < 0) {
        // The same file again, through the process's own view of the descriptor.
        char path[40];
        snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
        lockDescriptor = open(path, O_RDWR | O_CLOEXEC | O_NONBLOCK);
    }
    return lockDescriptor;
}

bool TFileHandle::LockedByOther(uint64_t offset, uint64_t length) const
{
    if (!file || file->rangeCount.load(std::memory_order_relaxed) == 0)
        return false;
    TFilesLock lock;
    for (const TLockedRange& range : file->ranges)
        if (range.owner != this && Overlap(range.offset, range.length, offset, length))
            return true;
    return false;
}

bool TFileHandle::DropDirect()
{
    if (!direct)
        return false;
    const int status = fcntl(descriptor, F_GETFL);
    if (status < 0 || fcntl(descriptor, F_SETFL, status & ~O_DIRECT) != 0)
        return false;
    direct = false;
    return true;
}

// Completes an overlapped record: its status and count, then its event.
void Complete(LPOVERLAPPED overlapped, ULONG_PTR status, DWORD count)
{
    overlapped->Internal = status;
    overlapped->InternalHigh = count;
    if (overlapped->hEvent)
        SetEvent(overlapped->hEvent);
}

BOOL Fail(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

BOOL TFileHandle::Transfer(bool writing, void* buffer, DWORD count, LPDWORD done, LPOVERLAPPED overlapped)
{
    if (done)
        *done = 0;
    const bool overlappedHandle = (flags & FILE_FLAG_OVERLAPPED) != 0;
    if (overlappedHandle && !overlapped)
        return Fail(ERROR_INVALID_PARAMETER);
    const uint64_t offset = overlapped
        ? uint64_t(overlapped->Offset) | uint64_t(overlapped->OffsetHigh) << 32
        : position.load(std::memory_order_relaxed);
    // A call with a record always ends through it, failures included, so that a caller
    // waiting for its event never waits in vain.
    auto finish = [&](DWORD error, size_t total) {
        if (done)
            *done = DWORD(total);
        if (!overlappedHandle)
            position.store(offset + total, std::memory_order_relaxed);
        const bool endOfFile = error == ERROR_SUCCESS && !writing && total == 0 && count != 0;
        if (overlapped) {
            Complete(overlapped,
                error != ERROR_SUCCESS ? _statusErrorBit | error : endOfFile ? _statusEndOfFile : _statusSuccess,
                DWORD(total));
            if (endOfFile)
                error = ERROR_HANDLE_EOF;
        }
        return error == ERROR_SUCCESS ? TRUE : Fail(error);
    };
    if (!(access & (writing ? eWrite : eRead)))
        return finish(ERROR_ACCESS_DENIED, 0);
    if ((flags & FILE_FLAG_NO_BUFFERING)
        && (offset % _sectorSize || count % _sectorSize || uintptr_t(buffer) % _sectorSize))
        return finish(ERROR_INVALID_PARAMETER, 0);
    if (LockedByOther(offset, count))
        return finish(ERROR_LOCK_VIOLATION, 0);

    char* bytes = static_cast<char*>(buffer);
    size_t total = 0;
    int err = 0;
    while (total < count) {
        const size_t rest = count - total;
        ssize_t n;
        if (stream)
            n = writing ? write(descriptor, bytes + total, rest) : read(descriptor, bytes + total, rest);
        else if (writing)
            n = pwrite(descriptor, bytes + total, rest, off_t(offset + total));
        else
            n = pread(descriptor, bytes + total, rest, off_t(offset + total));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            if (errno == ESPIPE && !stream) {
                stream = true;
                continue;
            }
            if (errno == EINVAL && total == 0 && DropDirect())
                continue;
            err = errno;
            break;
        }
        if (n == 0) {
            // A writer that makes no progress has nowhere to put the bytes.
            if (writing)
                err = ENOSPC;
            break;
        }
        total += size_t(n);
        // A short read is the end of the file; a device or terminal gives what it has.
        if (!writing && (size_t(n) < rest))
            break;
    }
    return finish(err ? WinErrorFromErrno(err) : ERROR_SUCCESS, total);
}

// A new reference to the file of a handle, or null with ERROR_INVALID_HANDLE.
TFileHandle* ReferenceFile(HANDLE handle)
{
    AHandleObject* object = ReferenceHandle(handle);
    if (object && object->Kind() != AHandleObject::eFile) {
        object->Release();
        object = nullptr;
        SetLastError(ERROR_INVALID_HANDLE);
    }
    return static_cast<TFileHandle*>(object);
}

// The reserved bytes of a handle's access and of what its share mode denies.
unsigned AccessBytes(DWORD access)
{
    return (access & eRead ? 1u << eHasRead : 0) | (access & eWrite ? 1u << eHasWrite : 0)
        | (access & eDelete ? 1u << eHasDelete : 0);
}

unsigned DenialBytes(DWORD share)
{
    return (share & eRead ? 0 : 1u << eDeniesRead) | (share & eWrite ? 0 : 1u << eDeniesWrite)
        | (share & eDelete ? 0 : 1u << eDeniesDelete);
}

// The bytes that a handle holds, and those that conflict with it: a handle without access
// takes part in no share check.
unsigned HeldBytes(DWORD access, DWORD share)
{
    return access ? AccessBytes(access) | DenialBytes(share) : 0;
}

unsigned ConflictingBytes(DWORD access, DWORD share)
{
    if (!access)
        return 0;
    // Another's access that this share mode denies, and another's denial of this access.
    const unsigned denied = DenialBytes(share);
    unsigned bytes = 0;
    if (denied & (1u << eDeniesRead))
        bytes |= 1u << eHasRead;
    if (denied & (1u << eDeniesWrite))
        bytes |= 1u << eHasWrite;
    if (denied & (1u << eDeniesDelete))
        bytes |= 1u << eHasDelete;
    if (access & eRead)
        bytes |= 1u << eDeniesRead;
    if (access & eWrite)
        bytes |= 1u << eDeniesWrite;
    if (access & eDelete)
        bytes |= 1u << eDeniesDelete;
    return bytes;
}

// Whether two handles conflict; the relation is symmetric.
bool ShareConflict(DWORD access1, DWORD share1, DWORD access2, DWORD share2)
{
    return (HeldBytes(access1, share1) & ConflictingBytes(access2, share2)) != 0;
}

// Read-locks the reserved bytes of a mask, a run of bytes at a time. A descriptor that cannot
// hold read locks (write-only or for queries) shows nothing to other processes.
void HoldReservedBytes(int descriptor, unsigned mask)
{
    for (int first = 0; first < _reservedCount;) {
        if (!(mask >> first & 1)) {
            ++first;
            continue;
        }
        int end = first;
        while (end < _reservedCount && (mask >> end & 1))
            ++end;
        flock lock;
        memset(&lock, 0, sizeof lock);
        lock.l_type = F_RDLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = _reservedBase + first;
        lock.l_len = end - first;
        fcntl(descriptor, F_OFD_SETLK, &lock);
        first = end;
    }
}

// Whether another open file description holds any of the bytes [first, end).
bool OtherHolds(int descriptor, int first, int end)
{
    flock lock;
    memset(&lock, 0, sizeof lock);
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = _reservedBase + first;
    lock.l_len = end - first;
    return fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// Whether a handle of another process holds a byte of the mask: one query over the span of
// the mask, then one per byte only when something is there.
bool OtherProcessConflicts(int descriptor, unsigned mask)
{
    if (!mask)
        return false;
    int first = 0, end = _reservedCount;
    while (!(mask >> first & 1))
        ++first;
    while (!(mask >> (end - 1) & 1))
        --end;
    if (!OtherHolds(descriptor, first, end))
        return false;
    if (mask >> first == (1u << (end - first)) - 1)
        return true;
    for (int b = first; b < end; ++b)
        if ((mask >> b & 1) && OtherHolds(descriptor, b, b + 1))
            return true;
    return false;
}

// What the names of the file calls must be: given, shorter than MAX_PATH, without wildcards.
DWORD HostName(LPCSTR name, std::string& posix, bool* trailingSeparator = nullptr)
{
    if (!name)
        return ERROR_INVALID_PARAMETER;
    const size_t length = strlen(name);
    if (length == 0)
        return ERROR_PATH_NOT_FOUND;
    if (length >= MAX_PATH)
        return ERROR_FILENAME_EXCED_RANGE;
    if (strpbrk(name, "*?"))
        return ERROR_INVALID_NAME;
    if (trailingSeparator)
        *trailingSeparator = name[length - 1] == '\\' || name[length - 1] == '/';
    return PosixNameOf(name, posix);
}

// The error of a failed call on a name.
DWORD NameError(int err, const std::string& posix)
{
    if (err == ENOENT)
        return MissingNameError(posix);
    if (err == ENOTDIR)
        return ERROR_PATH_NOT_FOUND;
    return WinErrorFromErrno(err);
}

// Opens the host file for CreateFileA: the descriptor, and whether it was made. Reading
// handles get a descriptor for reading only; a writer's descriptor also reads where the
// system allows, since the reserved locks need it.
DWORD OpenDescriptor(const std::string& posix, DWORD access, DWORD disposition, DWORD attributes,
    bool inherit, bool directIo, int& descriptor, bool& created, bool& writable)
{
    int common = O_NONBLOCK | (inherit ? 0 : O_CLOEXEC);
    if (attributes & FILE_FLAG_WRITE_THROUGH)
        common |= O_DSYNC;
    const mode_t mode = (attributes & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
    const bool creates = disposition == CREATE_NEW || disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;

    // Modes to try, best first; a file that is replaced is cut through its descriptor.
    int modes[2];
    int modeCount = 0;
    if ((access & eWrite) || disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING) {
        modes[modeCount++] = O_RDWR;
        if (!(access & eRead))
            modes[modeCount++] = O_WRONLY;
    } else if (access & eRead) {
        modes[modeCount++] = O_RDONLY;
    } else {
        modes[modeCount++] = O_RDONLY;
        modes[modeCount++] = O_PATH;
    }

    for (int attempt = 0; attempt < 16; ++attempt) {
        created = false;
        int err = 0;
        if (creates) {
            const int flags = common | O_RDWR | O_CREAT | O_EXCL | (directIo ? O_DIRECT : 0);
            descriptor = open(posix.c_str(), flags, mode);
            if (descriptor < 0 && errno == EINVAL && directIo)
                descriptor = open(posix.c_str(), flags & ~O_DIRECT, mode);
            if (descriptor >= 0) {
                created = writable = true;
                return ERROR_SUCCESS;
            }
            err = errno;
            if (err != EEXIST)
                return NameError(err, posix);
            if (disposition == CREATE_NEW)
                return ERROR_FILE_EXISTS;
        }
        for (int m = 0; m < modeCount; ++m) {
            const int flags = common | modes[m] | (directIo && modes[m] != O_PATH ? O_DIRECT : 0);
            descriptor = open(posix.c_str(), flags);
            if (descriptor < 0 && errno == EINVAL && directIo)
                descriptor = open(posix.c_str(), flags & ~O_DIRECT);
            if (descriptor >= 0) {
                writable = modes[m] == O_RDWR || modes[m] == O_WRONLY;
                return ERROR_SUCCESS;
            }
            err = errno;
            if (err != EACCES && err != EROFS && err != ETXTBSY && err != EPERM)
                break;
        }
        // Gone between the two opens: try again from the start.
        if (!(creates && err == ENOENT))
            return err == EISDIR ? ERROR_ACCESS_DENIED : NameError(err, posix);
    }
    return ERROR_ACCESS_DENIED;
}

// Whether the descriptor has O_DIRECT in effect.
bool DirectInEffect(int descriptor)
{
    const int status = fcntl(descriptor, F_GETFL);
    return status >= 0 && (status & O_DIRECT);
}

HANDLE CreateFileNoThrow(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
    LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes)
{
    std::string posix;
    bool trailingSeparator = false;
    DWORD error = HostName(lpFileName, posix, &trailingSeparator);
    if (error == ERROR_SUCCESS
        && ((dwDesiredAccess & ~DWORD(GENERIC_READ | GENERIC_WRITE)) || (dwShareMode & ~DWORD(7))
            || dwCreationDisposition < CREATE_NEW || dwCreationDisposition > TRUNCATE_EXISTING))
        error = ERROR_INVALID_PARAMETER;
    if (error == ERROR_SUCCESS && trailingSeparator) {
        // A name that ends in a separator can only be a directory, which opens as no file.
        struct stat info;
        error = stat(posix.c_str(), &info) == 0 && S_ISDIR(info.st_mode) ? ERROR_ACCESS_DENIED : ERROR_INVALID_NAME;
    }
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }

    DWORD access = 0;
    if (dwDesiredAccess & GENERIC_READ)
        access |= eRead;
    if (dwDesiredAccess & GENERIC_WRITE)
        access |= eWrite;
    if (dwFlagsAndAttributes & FILE_FLAG_DELETE_ON_CLOSE)
        access |= eDelete;
    const DWORD share = dwShareMode & 7;
    const bool directIo = (dwFlagsAndAttributes & FILE_FLAG_NO_BUFFERING) != 0;
    const bool inherit = lpSecurityAttributes && lpSecurityAttributes->bInheritHandle;

    TObjectRef<TFileHandle> handle(new (std::nothrow) TFileHandle);
    if (!handle) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
    int descriptor = -1;
    bool created = false, writable = false;
    error = OpenDescriptor(posix, access, dwCreationDisposition, dwFlagsAndAttributes, inherit,
        directIo, descriptor, created, writable);
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    handle->descriptor = descriptor;
    handle->writable = writable;
    handle->access = access;
    // Delete-on-close is the handle's only once it is made: a failed open deletes nothing.
    handle->flags = dwFlagsAndAttributes & 0xFFFF0000 & ~DWORD(FILE_FLAG_DELETE_ON_CLOSE);
    handle->hidden = HiddenName(posix);

    struct stat info;
    if (fstat(descriptor, &info) != 0) {
        SetLastError(WinErrorFromErrno(errno));
        return INVALID_HANDLE_VALUE;
    }
    const bool regular = S_ISREG(info.st_mode);
    const bool overwrites = !created
        && (dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == TRUNCATE_EXISTING);
    if (S_ISDIR(info.st_mode) || S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode))
        error = ERROR_ACCESS_DENIED;
    else if (!regular && (access & eDelete))
        error = ERROR_ACCESS_DENIED;  // never a device's name
    else if (!created && regular && ReadOnlyMode(info.st_mode) && ((access & (eWrite | eDelete)) || overwrites))
        error = ERROR_ACCESS_DENIED;
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    if (!regular) {
        // Devices block as they like; a terminal has no offsets.
        const int status = fcntl(descriptor, F_GETFL);
        if (status >= 0)
            fcntl(descriptor, F_SETFL, status & ~O_NONBLOCK);
    }
    handle->direct = directIo && DirectInEffect(descriptor);
    const DWORD shareAccess = regular ? access : 0;

    {
        TFilesLock lock;
        auto& files = OpenFiles();
        const auto key = std::make_pair(info.st_dev, info.st_ino);
        auto found = files.find(key);
        TOpenFile* file = found == files.end() ? nullptr : &found->second;
        if (file && file->deletePending)
            error = ERROR_ACCESS_DENIED;
        for (const TFileHandle* other = file ? file->firstHandle : nullptr; other && error == ERROR_SUCCESS;
             other = other->nextInFile)
            if (ShareConflict(other->shareAccess, other->share, shareAccess, share))
                error = ERROR_SHARING_VIOLATION;
        if (error == ERROR_SUCCESS) {
            HoldReservedBytes(descriptor, HeldBytes(shareAccess, share));
            if (OtherProcessConflicts(descriptor, ConflictingBytes(shareAccess, share)))
                error = ERROR_SHARING_VIOLATION;
        }
        try {
            if (error == ERROR_SUCCESS && !file) {
                file = &files.try_emplace(key).first->second;
                file->device = info.st_dev;
                file->inode = info.st_ino;
            }
            if (error == ERROR_SUCCESS && (access & eDelete))
                file->deleteName = posix;
        } catch (const std::bad_alloc&) {
            error = ERROR_NOT_ENOUGH_MEMORY;
        }
        if (error == ERROR_SUCCESS) {
            handle->nextInFile = file->firstHandle;
            file->firstHandle = handle.Get();
            handle->file = file;
            handle->shareAccess = shareAccess;
            handle->share = share;
        } else if (file && !file->firstHandle) {
            files.erase(key);
        }
    }
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }

    // Only now, with the sharing agreed, may an existing file lose its contents.
    if (overwrites && regular && ftruncate(descriptor, 0) != 0) {
        SetLastError(errno == EBADF || errno == EINVAL ? ERROR_ACCESS_DENIED : WinErrorFromErrno(errno));
        return INVALID_HANDLE_VALUE;
    }
    if (overwrites && regular && (dwFlagsAndAttributes & FILE_ATTRIBUTE_READONLY))
        fchmod(descriptor, info.st_mode & 07555);
    if (regular && (dwFlagsAndAttributes & FILE_FLAG_RANDOM_ACCESS))
        posix_fadvise(descriptor, 0, 0, POSIX_FADV_RANDOM);
    else if (regular && (dwFlagsAndAttributes & FILE_FLAG_SEQUENTIAL_SCAN))
        posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);

    handle->flags |= dwFlagsAndAttributes & FILE_FLAG_DELETE_ON_CLOSE;
    // The table's reference, which InsertHandle takes over, or releases when it fails.
    handle->AddReference();
    HANDLE result = InsertHandle(handle.Get());
    if (!result) {
        handle->flags &= ~DWORD(FILE_FLAG_DELETE_ON_CLOSE);
        return INVALID_HANDLE_VALUE;
    }
    SetLastError((dwCreationDisposition == CREATE_ALWAYS || dwCreationDisposition == OPEN_ALWAYS) && !created
            ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return result;
}

}
}

using namespace TarnPosix;

extern "C" {

HANDLE CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
    LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
    DWORD dwFlagsAndAttributes, HANDLE hTemplateFile)
{
    (void)hTemplateFile;
    try {
        return CreateFileNoThrow(lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes,
            dwCreationDisposition, dwFlagsAndAttributes);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
}

BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead, LPDWORD lpNumberOfBytesRead,
    LPOVERLAPPED lpOverlapped)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return FALSE;
    return file->Transfer(false, lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead, lpOverlapped);
}

BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
    LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return FALSE;
    return file->Transfer(true, const_cast<void*>(lpBuffer), nNumberOfBytesToWrite,
        lpNumberOfBytesWritten, lpOverlapped);
}

BOOL GetOverlappedResult(HANDLE hFile, LPOVERLAPPED lpOverlapped, LPDWORD lpNumberOfBytesTransferred,
    BOOL bWait)
{
    (void)bWait;  // every call is finished when it returns
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return FALSE;
    *lpNumberOfBytesTransferred = DWORD(lpOverlapped->InternalHigh);
    const ULONG_PTR status = lpOverlapped->Internal;
    if (status == _statusSuccess)
        return TRUE;
    if (status == _statusEndOfFile)
        return Fail(ERROR_HANDLE_EOF);
    return Fail((status & _statusErrorBit) == _statusErrorBit ? DWORD(status & ~_statusErrorBit) : ERROR_GEN_FAILURE);
}

DWORD SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh, DWORD dwMoveMethod)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return INVALID_SET_FILE_POINTER;
    const int64_t distance = lpDistanceToMoveHigh
        ? int64_t(uint64_t(uint32_t(*lpDistanceToMoveHigh)) << 32 | uint32_t(lDistanceToMove))
        : int64_t(lDistanceToMove);
    int64_t origin = 0;
    if (dwMoveMethod == FILE_CURRENT)
        origin = int64_t(file->position.load(std::memory_order_relaxed));
    else if (dwMoveMethod == FILE_END) {
        struct stat info;
        if (fstat(file->descriptor, &info) != 0) {
            SetLastError(WinErrorFromErrno(errno));
            return INVALID_SET_FILE_POINTER;
        }
        origin = info.st_size;
    } else if (dwMoveMethod != FILE_BEGIN) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    int64_t target;
    if (__builtin_add_overflow(origin, distance, &target) || target < 0) {
        SetLastError(ERROR_NEGATIVE_SEEK);
        return INVALID_SET_FILE_POINTER;
    }
    if (!lpDistanceToMoveHigh && target > int64_t(0xFFFFFFFF)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    file->position.store(uint64_t(target), std::memory_order_relaxed);
    if (lpDistanceToMoveHigh)
        *lpDistanceToMoveHigh = LONG(uint64_t(target) >> 32);
    if (DWORD(target) == INVALID_SET_FILE_POINTER)
        SetLastError(ERROR_SUCCESS);
    return DWORD(target);
}

BOOL SetEndOfFile(HANDLE hFile)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return FALSE;
    if (!(file->access & eWrite))
        return Fail(ERROR_ACCESS_DENIED);
    const off_t size = off_t(file->position.load(std::memory_order_relaxed));
    struct stat info;
    if (fstat(file->descriptor, &info) != 0)
        return Fail(WinErrorFromErrno(errno));
    if (!S_ISREG(info.st_mode))
        return TRUE;
    if (ftruncate(file->descriptor, size) != 0)
        return Fail(WinErrorFromErrno(errno));
    // Windows gives a longer file its space at once, so a full disk shows here and not in a
    // later write through a mapping.
    if (size > info.st_size) {
        const int err = posix_fallocate(file->descriptor, info.st_size, size - info.st_size);
        if (err == ENOSPC || err == EDQUOT || err == EFBIG) {
            if (ftruncate(file->descriptor, info.st_size) != 0) {
            }
            return Fail(ERROR_DISK_FULL);
        }
    }
    return TRUE;
}

DWORD GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return INVALID_FILE_SIZE;
    struct stat info;
    if (fstat(file->descriptor, &info) != 0) {
        SetLastError(WinErrorFromErrno(errno));
        return INVALID_FILE_SIZE;
    }
    const uint64_t size = S_ISREG(info.st_mode) ? uint64_t(info.st_size) : 0;
    if (lpFileSizeHigh)
        *lpFileSizeHigh = DWORD(size >> 32);
    if (DWORD(size) == INVALID_FILE_SIZE)
        SetLastError(ERROR_SUCCESS);
    return DWORD(size);
}

BOOL FlushFileBuffers(HANDLE hFile)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return FALSE;
    if (!(file->access & eWrite))
        return Fail(ERROR_ACCESS_DENIED);
    // Devices have nothing to flush.
    if (fsync(file->descriptor) != 0 && errno != EINVAL && errno != EROFS)
        return Fail(WinErrorFromErrno(errno));
    return TRUE;
}

BOOL LockFile(HANDLE hFile, DWORD dwFileOffsetLow, DWORD dwFileOffsetHigh,
    DWORD nNumberOfBytesToLockLow, DWORD nNumberOfBytesToLockHigh)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return FALSE;
    if (!(file->access & (eRead | eWrite)))
        return Fail(ERROR_ACCESS_DENIED);
    const uint64_t offset = uint64_t(dwFileOffsetHigh) << 32 | dwFileOffsetLow;
    const uint64_t length = uint64_t(nNumberOfBytesToLockHigh) << 32 | nNumberOfBytesToLockLow;
    if (length && offset + length - 1 < offset)
        return Fail(ERROR_INVALID_PARAMETER);
    TFilesLock lock;
    TOpenFile* open = file->file;
    for (const TLockedRange& range : open->ranges)
        if (Overlap(range.offset, range.length, offset, length))
            return Fail(ERROR_LOCK_VIOLATION);
    // Other processes see the range where a descriptor can carry a write lock.
    flock region;
    const int locking = LockableRange(offset, length, region) ? file->LockingDescriptor() : -1;
    if (locking >= 0) {
        region.l_type = F_WRLCK;
        if (fcntl(locking, F_OFD_SETLK, &region) != 0 && (errno == EAGAIN || errno == EACCES))
            return Fail(ERROR_LOCK_VIOLATION);
    }
    try {
        open->ranges.push_back(TLockedRange{file.Get(), offset, length});
    } catch (const std::bad_alloc&) {
        if (locking >= 0) {
            region.l_type = F_UNLCK;
            fcntl(locking, F_OFD_SETLK, &region);
        }
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    open->rangeCount.store(open->ranges.size());
    return TRUE;
}

BOOL UnlockFile(HANDLE hFile, DWORD dwFileOffsetLow, DWORD dwFileOffsetHigh,
    DWORD nNumberOfBytesToUnlockLow, DWORD nNumberOfBytesToUnlockHigh)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return FALSE;
    const uint64_t offset = uint64_t(dwFileOffsetHigh) << 32 | dwFileOffsetLow;
    const uint64_t length = uint64_t(nNumberOfBytesToUnlockHigh) << 32 | nNumberOfBytesToUnlockLow;
    TFilesLock lock;
    TOpenFile* open = file->file;
    auto& ranges = open->ranges;
    auto found = std::find_if(ranges.begin(), ranges.end(), [&](const TLockedRange& range) {
        return range.owner == file.Get() && range.offset == offset && range.length == length;
    });
    if (found == ranges.end())
        return Fail(ERROR_NOT_LOCKED);
    ranges.erase(found);
    open->rangeCount.store(ranges.size());
    flock region;
    const int locking = LockableRange(offset, length, region) ? file->LockingDescriptor() : -1;
    if (locking >= 0) {
        region.l_type = F_UNLCK;
        fcntl(locking, F_OFD_SETLK, &region);
    }
    return TRUE;
}

BOOL GetFileInformationByHandle(HANDLE hFile, LPBY_HANDLE_FILE_INFORMATION lpFileInformation)
{
    TObjectRef<TFileHandle> file(ReferenceFile(hFile));
    if (!file)
        return FALSE;
    struct statx extended;
    if (statx(file->descriptor, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &extended) != 0)
        return Fail(WinErrorFromErrno(errno));
    struct stat info;
    memset(&info, 0, sizeof info);
    info.st_mode = extended.stx_mode;
    BY_HANDLE_FILE_INFORMATION& result = *lpFileInformation;
    memset(&result, 0, sizeof result);
    result.dwFileAttributes = AttributesOf(info, file->hidden);
    FileTimesOf(extended, &result.ftCreationTime, &result.ftLastAccessTime, &result.ftLastWriteTime);
    const uint64_t device = makedev(extended.stx_dev_major, extended.stx_dev_minor);
    result.dwVolumeSerialNumber = DWORD(device ^ (device >> 32));
    const uint64_t size = S_ISREG(extended.stx_mode) ? extended.stx_size : 0;
    result.nFileSizeHigh = DWORD(size >> 32);
    result.nFileSizeLow = DWORD(size);
    result.nNumberOfLinks = extended.stx_nlink;
    result.nFileIndexHigh = DWORD(extended.stx_ino >> 32);
    result.nFileIndexLow = DWORD(extended.stx_ino);
    return TRUE;
}

DWORD GetFileAttributesA(LPCSTR lpFileName)
{
    try {
        std::string posix;
        const DWORD error = HostName(lpFileName, posix);
        if (error != ERROR_SUCCESS) {
            SetLastError(error);
            return INVALID_FILE_ATTRIBUTES;
        }
        struct stat info;
        if (stat(posix.c_str(), &info) != 0) {
            SetLastError(NameError(errno, posix));
            return INVALID_FILE_ATTRIBUTES;
        }
        return AttributesOf(info, HiddenName(posix));
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_FILE_ATTRIBUTES;
    }
}

BOOL SetFileAttributesA(LPCSTR lpFileName, DWORD dwFileAttributes)
{
    try {
        std::string posix;
        const DWORD error = HostName(lpFileName, posix);
        if (error != ERROR_SUCCESS)
            return Fail(error);
        struct stat info;
        if (stat(posix.c_str(), &info) != 0)
            return Fail(NameError(errno, posix));
        // A directory's read-only mark keeps no one from writing in it on Windows.
        if (S_ISDIR(info.st_mode))
            return TRUE;
        const mode_t mode = (dwFileAttributes & FILE_ATTRIBUTE_READONLY)
            ? info.st_mode & ~mode_t(0222) : info.st_mode | S_IWUSR;
        if ((mode & 07777) != (info.st_mode & 07777) && chmod(posix.c_str(), mode & 07777) != 0)
            return Fail(WinErrorFromErrno(errno));
        return TRUE;
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

BOOL DeleteFileA(LPCSTR lpFileName)
{
    try {
        std::string posix;
        const DWORD error = HostName(lpFileName, posix);
        if (error != ERROR_SUCCESS)
            return Fail(error);
        struct stat info;
        if (lstat(posix.c_str(), &info) != 0)
            return Fail(NameError(errno, posix));
        if (S_ISLNK(info.st_mode))
            return unlink(posix.c_str()) == 0 ? TRUE : Fail(NameError(errno, posix));
        // Directories are RemoveDirectoryA's; devices and the like are never removed.
        if (!S_ISREG(info.st_mode) || ReadOnlyMode(info.st_mode))
            return Fail(ERROR_ACCESS_DENIED);
        // Windows deletes by an open with delete access: every handle must share it.
        {
            TFilesLock lock;
            auto found = OpenFiles().find(std::make_pair(info.st_dev, info.st_ino));
            if (found != OpenFiles().end()) {
                if (found->second.deletePending)
                    return Fail(ERROR_ACCESS_DENIED);
                for (const TFileHandle* other = found->second.firstHandle; other; other = other->nextInFile)
                    if (ShareConflict(other->shareAccess, other->share, eDelete, 7))
                        return Fail(ERROR_SHARING_VIOLATION);
            }
        }
        const int probe = open(posix.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW);
        if (probe >= 0) {
            const bool conflict = OtherProcessConflicts(probe, ConflictingBytes(eDelete, 7));
            close(probe);
            if (conflict)
                return Fail(ERROR_SHARING_VIOLATION);
        }
        if (unlink(posix.c_str()) != 0)
            return Fail(NameError(errno, posix));
        return TRUE;
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

BOOL CreateDirectoryA(LPCSTR lpPathName, LPSECURITY_ATTRIBUTES lpSecurityAttributes)
{
    (void)lpSecurityAttributes;
    try {
        std::string posix;
        const DWORD error = HostName(lpPathName, posix);
        if (error != ERROR_SUCCESS)
            return Fail(error);
        if (mkdir(posix.c_str(), 0777) == 0)
            return TRUE;
        const int err = errno;
        if (err == EEXIST)
            return Fail(ERROR_ALREADY_EXISTS);
        return Fail(err == ENOENT ? ERROR_PATH_NOT_FOUND : NameError(err, posix));
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

BOOL RemoveDirectoryA(LPCSTR lpPathName)
{
    try {
        std::string posix;
        const DWORD error = HostName(lpPathName, posix);
        if (error != ERROR_SUCCESS)
            return Fail(error);
        if (rmdir(posix.c_str()) == 0)
            return TRUE;
        const int err = errno;
        if (err == ENOTDIR) {
            struct stat info;
            if (stat(posix.c_str(), &info) == 0)
                return Fail(ERROR_DIRECTORY);
        }
        if (err == EEXIST || err == ENOTEMPTY)
            return Fail(ERROR_DIR_NOT_EMPTY);
        return Fail(NameError(err, posix));
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

}
