#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <stdio.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "RunningUnderWine.h"

#ifndef _WIN32
#  include <signal.h>
#  include <stdlib.h>
#  include <sys/resource.h>
#  include <sys/wait.h>
#  include <unistd.h>
#endif

namespace {

// A directory of its own for a test, in Windows form, emptied and removed at the end.
class TScratch {
public:
    explicit TScratch(const char* posixBase = "/tmp")
    {
        char buffer[MAX_PATH];
#ifdef _WIN32
        (void)posixBase;
        GetTempPathA(sizeof buffer, buffer);
        directory = std::string(buffer) + "tarnfiles" + std::to_string(GetCurrentProcessId()) + "-"
            + std::to_string(++counter);
        CreateDirectoryA(directory.c_str(), nullptr);
#else
        std::string pattern = std::string(posixBase) + "/tarnfilesXXXXXX";
        if (mkdtemp(&pattern[0]))
            ConvertPosixToWindowsName(pattern.c_str(), buffer, sizeof buffer);
        directory = buffer;
#endif
    }
    ~TScratch()
    {
        for (auto name = names.rbegin(); name != names.rend(); ++name) {
            SetFileAttributesA(name->c_str(), FILE_ATTRIBUTE_NORMAL);
            DeleteFileA(name->c_str()) || RemoveDirectoryA(name->c_str());
        }
        RemoveDirectoryA(directory.c_str());
    }
    std::string Name(const std::string& leaf)
    {
        names.push_back(directory + "\\" + leaf);
        return names.back();
    }

    std::string directory;

private:
    std::vector<std::string> names;
#ifdef _WIN32
    static inline int counter = 0;
#endif
};

HANDLE Open(const std::string& name, DWORD access, DWORD share = 0, DWORD disposition = OPEN_EXISTING,
    DWORD flags = FILE_ATTRIBUTE_NORMAL)
{
    return CreateFileA(name.c_str(), access, share, nullptr, disposition, flags, nullptr);
}

std::string Make(const std::string& name, const std::string& text)
{
    HANDLE file = Open(name, GENERIC_WRITE, 0, CREATE_ALWAYS);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, text.data(), DWORD(text.size()), &written, nullptr));
    CloseHandle(file);
    return name;
}

std::string Contents(const std::string& name)
{
    HANDLE file = Open(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
    std::string text(GetFileSize(file, nullptr), '\0');
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(file, &text[0], DWORD(text.size()), &read, nullptr));
    CloseHandle(file);
    return text;
}

// The error of an open, ERROR_SUCCESS when it opened (the handle is then closed again).
DWORD OpenError(const std::string& name, DWORD access, DWORD share, DWORD disposition = OPEN_EXISTING,
    DWORD flags = FILE_ATTRIBUTE_NORMAL)
{
    HANDLE handle = Open(name, access, share, disposition, flags);
    if (handle == INVALID_HANDLE_VALUE)
        return GetLastError();
    CloseHandle(handle);
    return ERROR_SUCCESS;
}

bool Exists(const std::string& name)
{
    return GetFileAttributesA(name.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// The share-mode table of Windows for two opens of one file: row the first open, column the
// second, each as access (none, read, write, both) and share mode 0 to 3; '+' where the
// second open succeeds, '.' where it fails with ERROR_SHARING_VIOLATION.
const char* const _shareTable[16] = {
    "++++ ++++ ++++ ++++",  // no access, share 0
    "++++ ++++ ++++ ++++",  // no access, share 1
    "++++ ++++ ++++ ++++",  // no access, share 2
    "++++ ++++ ++++ ++++",  // no access, share 3
    "++++ .... .... ....",  // read, share 0
    "++++ .+.+ .... ....",  // read, share 1
    "++++ .... .+.+ ....",  // read, share 2
    "++++ .+.+ .+.+ .+.+",  // read, share 3
    "++++ .... .... ....",  // write, share 0
    "++++ ..++ .... ....",  // write, share 1
    "++++ .... ..++ ....",  // write, share 2
    "++++ ..++ ..++ ..++",  // write, share 3
    "++++ .... .... ....",  // both, share 0
    "++++ ...+ .... ....",  // both, share 1
    "++++ .... ...+ ....",  // both, share 2
    "++++ ...+ ...+ ...+",  // both, share 3
};

const DWORD _accesses[4] = {0, GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE};

// One row of the table as this process sees it, the first open standing.
std::string SecondOpens(const std::string& name)
{
    std::string row;
    for (int second = 0; second < 16; ++second) {
        if (second && second % 4 == 0)
            row += ' ';
        HANDLE file = Open(name, _accesses[second / 4], DWORD(second % 4));
        const DWORD error = GetLastError();
        row += file != INVALID_HANDLE_VALUE ? '+' : error == ERROR_SHARING_VIOLATION ? '.' : '?';
        if (file != INVALID_HANDLE_VALUE)
            CloseHandle(file);
    }
    return row;
}

DWORD ErrorOf(bool succeeded)
{
    return succeeded ? ERROR_SUCCESS : GetLastError();
}

}

TEST(Files, ShareModesFollowTheTableOfWindows)
{
    TScratch scratch;
    const std::string name = Make(scratch.Name("shared.txt"), "data");
    for (int first = 0; first < 16; ++first) {
        HANDLE file = Open(name, _accesses[first / 4], DWORD(first % 4));
        ASSERT_NE(INVALID_HANDLE_VALUE, file);
        EXPECT_EQ(_shareTable[first], SecondOpens(name)) << "first open " << first;
        CloseHandle(file);
    }
    EXPECT_EQ("data", Contents(name));
}

#ifndef _WIN32
// The same table, and byte-range locks, between two processes. The child starts before the
// parent opens anything, so only the system's locks can tell it of the parent's handles.
TEST(Files, ShareModesAndLocksHoldBetweenProcesses)
{
    TScratch scratch;
    const std::string name = Make(scratch.Name("shared.txt"), "0123456789abcdef");
    int toChild[2], toParent[2];
    ASSERT_EQ(0, pipe(toChild));
    ASSERT_EQ(0, pipe(toParent));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        unsigned char request;
        while (read(toChild[0], &request, 1) == 1 && request != 255) {
            std::string answer;
            if (request < 16)
                answer = SecondOpens(name);
            else {
                HANDLE file = Open(name, GENERIC_READ | GENERIC_WRITE, 3);
                answer += LockFile(file, 4, 0, 4, 0) ? '+' : GetLastError() == ERROR_LOCK_VIOLATION ? '.' : '?';
                answer += LockFile(file, 8, 0, 4, 0) ? '+' : '?';
                CloseHandle(file);
                answer += DeleteFileA(name.c_str()) ? '+' : GetLastError() == ERROR_SHARING_VIOLATION ? '.' : '?';
            }
            if (write(toParent[1], answer.c_str(), answer.size() + 1) < 0)
                break;
        }
        _exit(0);
    }
    auto ask = [&](unsigned char request) {
        char answer[32] = {};
        EXPECT_EQ(1, write(toChild[1], &request, 1));
        for (size_t n = 0; n < sizeof answer - 1 && read(toParent[0], answer + n, 1) == 1 && answer[n]; ++n) {
        }
        return std::string(answer);
    };
    for (unsigned char first = 0; first < 16; ++first) {
        HANDLE file = Open(name, _accesses[first / 4], DWORD(first % 4));
        EXPECT_EQ(_shareTable[first], ask(first)) << "first open " << int(first);
        CloseHandle(file);
    }
    HANDLE file = Open(name, GENERIC_READ, 3);
    EXPECT_TRUE(LockFile(file, 2, 0, 4, 0));
    EXPECT_EQ(".+.", ask(16));
    CloseHandle(file);
    const unsigned char done = 255;
    EXPECT_EQ(1, write(toChild[1], &done, 1));
    for (int end : {toChild[0], toChild[1], toParent[0], toParent[1]})
        close(end);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ("0123456789abcdef", Contents(name));
}
#endif

TEST(Files, FailuresGiveTheErrorsOfWindows)
{
    TScratch scratch;
    const std::string file = Make(scratch.Name("file.txt"), "text");
    const std::string readOnly = Make(scratch.Name("readonly.txt"), "text");
    SetFileAttributesA(readOnly.c_str(), FILE_ATTRIBUTE_READONLY);
    const std::string full = scratch.Name("full");
    const std::string empty = scratch.Name("empty");
    CreateDirectoryA(full.c_str(), nullptr);
    CreateDirectoryA(empty.c_str(), nullptr);
    Make(full + "\\inside", "x");
    scratch.Name("full\\inside");
    const std::string hidden = Make(scratch.Name(".hidden"), "x");
    HANDLE reader = Open(file, GENERIC_READ, FILE_SHARE_READ);
    HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    char byte;
    DWORD done;
    const std::string missing = scratch.directory + "\\missing";
    const std::string longName = scratch.directory + "\\" + std::string(MAX_PATH, 'x');

    auto opens = [](const std::string& name, DWORD access, DWORD disposition) {
        return OpenError(name, access, 0, disposition);
    };
    // Wine leaves the read-only attribute to the host's permissions, which root passes by.
    const DWORD readOnlyDenied = RunningUnderWine() ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    struct {
        const char* what;
        DWORD error;
        DWORD found;
    } cases[] = {
        {"missing file", ERROR_FILE_NOT_FOUND, opens(missing, GENERIC_READ, OPEN_EXISTING)},
        {"missing directory", ERROR_PATH_NOT_FOUND, opens(missing + "\\file", GENERIC_READ, OPEN_EXISTING)},
        {"create new over a file", ERROR_FILE_EXISTS, opens(file, GENERIC_WRITE, CREATE_NEW)},
        {"directory", ERROR_ACCESS_DENIED, opens(empty, GENERIC_READ, OPEN_EXISTING)},
        {"directory replaced", ERROR_ACCESS_DENIED, opens(empty, GENERIC_WRITE, CREATE_ALWAYS)},
        {"empty name", ERROR_PATH_NOT_FOUND, opens("", GENERIC_READ, OPEN_EXISTING)},
        {"long name", ERROR_FILENAME_EXCED_RANGE, opens(longName, GENERIC_READ, CREATE_ALWAYS)},
        {"wildcard", ERROR_INVALID_NAME, opens(scratch.directory + "\\*.txt", GENERIC_READ, OPEN_EXISTING)},
        {"file with a separator", ERROR_INVALID_NAME, opens(file + "\\", GENERIC_READ, OPEN_EXISTING)},
        {"no such disposition", ERROR_INVALID_PARAMETER, opens(file, GENERIC_READ, 0)},
        // A leading dot hides a name only here and under Wine: Windows' rule against replacing
        // a hidden file as a plain one would refuse every dot file that Linux programs keep.
        {"dot file replaced", ERROR_SUCCESS, opens(hidden, GENERIC_WRITE, CREATE_ALWAYS)},
        {"flush without writing", ERROR_ACCESS_DENIED, ErrorOf(FlushFileBuffers(reader))},
        {"no such move", ERROR_INVALID_PARAMETER,
            ErrorOf(SetFilePointer(reader, 0, nullptr, 3) != INVALID_SET_FILE_POINTER)},
        {"read from an event", ERROR_INVALID_HANDLE, ErrorOf(ReadFile(event, &byte, 1, &done, nullptr))},
        {"read-only for reading", ERROR_SUCCESS, opens(readOnly, GENERIC_READ, OPEN_EXISTING)},
        {"read-only for writing", readOnlyDenied, opens(readOnly, GENERIC_WRITE, OPEN_EXISTING)},
        {"read-only replaced", readOnlyDenied, opens(readOnly, GENERIC_READ, CREATE_ALWAYS)},
        {"read-only deleted", ERROR_ACCESS_DENIED, ErrorOf(DeleteFileA(readOnly.c_str()))},
        {"missing deleted", ERROR_FILE_NOT_FOUND, ErrorOf(DeleteFileA(missing.c_str()))},
        {"directory deleted", ERROR_ACCESS_DENIED, ErrorOf(DeleteFileA(empty.c_str()))},
        {"full directory removed", ERROR_DIR_NOT_EMPTY, ErrorOf(RemoveDirectoryA(full.c_str()))},
        {"file removed as directory", ERROR_DIRECTORY, ErrorOf(RemoveDirectoryA(file.c_str()))},
        {"missing directory removed", ERROR_FILE_NOT_FOUND, ErrorOf(RemoveDirectoryA(missing.c_str()))},
        {"directory made twice", ERROR_ALREADY_EXISTS, ErrorOf(CreateDirectoryA(full.c_str(), nullptr))},
        {"directory in nothing", ERROR_PATH_NOT_FOUND, ErrorOf(CreateDirectoryA((missing + "\\d").c_str(), nullptr))},
        {"attributes of nothing", ERROR_FILE_NOT_FOUND, ErrorOf(Exists(missing))},
        {"attributes in nothing", ERROR_PATH_NOT_FOUND, ErrorOf(Exists(missing + "\\file"))},
        {"no handle", ERROR_INVALID_HANDLE, ErrorOf(FlushFileBuffers(INVALID_HANDLE_VALUE))},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.error, c.found) << c.what;
    CloseHandle(reader);
    CloseHandle(event);
    if (!RunningUnderWine()) {
        EXPECT_EQ("text", Contents(readOnly));
    }
}

TEST(Files, HandlesReadWriteSeekAndResize)
{
    TScratch scratch;
    const std::string name = scratch.Name("data.bin");
    HANDLE file = Open(name, GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    EXPECT_EQ(DWORD(ERROR_SUCCESS), GetLastError());
    DWORD done = 0;
    EXPECT_TRUE(WriteFile(file, "0123456789", 10, &done, nullptr));
    EXPECT_EQ(10u, done);
    EXPECT_EQ(4u, SetFilePointer(file, -6, nullptr, FILE_CURRENT));
    char text[16] = {};
    EXPECT_TRUE(ReadFile(file, text, sizeof text, &done, nullptr));
    EXPECT_EQ(6u, done);
    EXPECT_STREQ("456789", text);
    EXPECT_TRUE(ReadFile(file, text, sizeof text, &done, nullptr));
    EXPECT_EQ(0u, done);

    EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(file, -11, nullptr, FILE_END));
    EXPECT_EQ(DWORD(ERROR_NEGATIVE_SEEK), GetLastError());
    LONG high = 1;
    EXPECT_EQ(20u, SetFilePointer(file, 20, &high, FILE_BEGIN));
    EXPECT_EQ(1, high);
    high = 0;
    EXPECT_EQ(3u, SetFilePointer(file, 3, &high, FILE_BEGIN));
    EXPECT_TRUE(SetEndOfFile(file));
    EXPECT_EQ(3u, GetFileSize(file, nullptr));
    EXPECT_EQ(5000u, SetFilePointer(file, 5000, nullptr, FILE_BEGIN));
    EXPECT_TRUE(SetEndOfFile(file));
    DWORD sizeHigh = 7;
    EXPECT_EQ(5000u, GetFileSize(file, &sizeHigh));
    EXPECT_EQ(0u, sizeHigh);
    EXPECT_TRUE(FlushFileBuffers(file));
    CloseHandle(file);
    EXPECT_EQ(std::string("012") + std::string(4997, '\0'), Contents(name));

    // The dispositions: what each keeps, and the last error of a success.
    struct {
        DWORD disposition;
        bool exists;
        DWORD error;
        size_t sizeAfter;
    } dispositions[] = {
        {CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, 0},
        {CREATE_ALWAYS, false, ERROR_SUCCESS, 0},
        {OPEN_ALWAYS, true, ERROR_ALREADY_EXISTS, 4},
        {OPEN_ALWAYS, false, ERROR_SUCCESS, 0},
        {TRUNCATE_EXISTING, true, ERROR_SUCCESS, 0},
        {CREATE_NEW, false, ERROR_SUCCESS, 0},
    };
    for (const auto& d : dispositions) {
        DeleteFileA(name.c_str());
        if (d.exists)
            Make(name, "four");
        SetLastError(12345);
        file = Open(name, GENERIC_WRITE, 0, d.disposition);
        EXPECT_NE(INVALID_HANDLE_VALUE, file) << d.disposition;
        EXPECT_EQ(d.error, GetLastError()) << d.disposition;
        CloseHandle(file);
        EXPECT_EQ(d.sizeAfter, Contents(name).size()) << d.disposition;
    }
    file = Open(name, GENERIC_READ, 0, OPEN_EXISTING);
    EXPECT_FALSE(WriteFile(file, "x", 1, &done, nullptr));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), GetLastError());
    CloseHandle(file);
}

TEST(Files, DeleteOnCloseRemovesAtTheLastClose)
{
    TScratch scratch;
    const std::string name = Make(scratch.Name("doomed.txt"), "text");
    HANDLE first = Open(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING,
        FILE_FLAG_DELETE_ON_CLOSE);
    ASSERT_NE(INVALID_HANDLE_VALUE, first);
    // Every later open must share deletion, and the flag needs everyone else to share it.
    EXPECT_EQ(DWORD(ERROR_SHARING_VIOLATION), OpenError(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE));
    HANDLE second = Open(name, GENERIC_READ, 7);
    ASSERT_NE(INVALID_HANDLE_VALUE, second);
    CloseHandle(first);
    // Pending: the name stays while a handle is open. Windows lets no one open it meanwhile;
    // Wine does.
    EXPECT_TRUE(Exists(name));
    if (!RunningUnderWine()) {
        EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), OpenError(name, GENERIC_READ, 7));
    }
    CloseHandle(second);
    EXPECT_FALSE(Exists(name));

    Make(name, "text");
    HANDLE keeper = Open(name, GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(DWORD(ERROR_SHARING_VIOLATION), OpenError(name, GENERIC_READ, 7, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE));
    EXPECT_EQ(DWORD(ERROR_SHARING_VIOLATION), ErrorOf(DeleteFileA(name.c_str())));
    CloseHandle(keeper);
    SetFileAttributesA(name.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), OpenError(name, GENERIC_READ, 0, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE));
    EXPECT_TRUE(Exists(name));
}

TEST(Files, AttributesAndTimesByNameAndHandle)
{
    TScratch scratch;
    const std::string plain = Make(scratch.Name("plain.txt"), "12345");
    const std::string hidden = Make(scratch.Name(".hidden"), "x");
    const std::string directory = scratch.Name("folder");
    CreateDirectoryA(directory.c_str(), nullptr);
    const DWORD kinds = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_DIRECTORY;
    EXPECT_EQ(0u, GetFileAttributesA(plain.c_str()) & kinds);
    EXPECT_EQ(DWORD(FILE_ATTRIBUTE_HIDDEN), GetFileAttributesA(hidden.c_str()) & kinds);
    EXPECT_EQ(DWORD(FILE_ATTRIBUTE_DIRECTORY), GetFileAttributesA(directory.c_str()) & kinds);
    EXPECT_TRUE(SetFileAttributesA(plain.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(DWORD(FILE_ATTRIBUTE_READONLY), GetFileAttributesA(plain.c_str()) & kinds);

    HANDLE file = Open(plain, 0, 0);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    BY_HANDLE_FILE_INFORMATION info;
    ASSERT_TRUE(GetFileInformationByHandle(file, &info));
    CloseHandle(file);
    EXPECT_EQ(DWORD(FILE_ATTRIBUTE_READONLY), info.dwFileAttributes & kinds);
    EXPECT_EQ(5u, info.nFileSizeLow);
    EXPECT_EQ(0u, info.nFileSizeHigh);
    EXPECT_EQ(1u, info.nNumberOfLinks);
    auto ticks = [](const FILETIME& time) { return int64_t(time.dwHighDateTime) << 32 | time.dwLowDateTime; };
    const int64_t now = (int64_t(time(nullptr)) + 11644473600LL) * 10000000LL;
    EXPECT_LT(std::abs(ticks(info.ftLastWriteTime) - now), 100000000LL);
    EXPECT_LE(ticks(info.ftCreationTime), ticks(info.ftLastWriteTime));
    EXPECT_LT(std::abs(ticks(info.ftLastAccessTime) - now), 100000000LL);

    BY_HANDLE_FILE_INFORMATION other;
    file = Open(hidden, GENERIC_READ, 0);
    ASSERT_TRUE(GetFileInformationByHandle(file, &other));
    CloseHandle(file);
    EXPECT_EQ(info.dwVolumeSerialNumber, other.dwVolumeSerialNumber);
    EXPECT_NE(ticks(FILETIME{info.nFileIndexLow, info.nFileIndexHigh}),
        ticks(FILETIME{other.nFileIndexLow, other.nFileIndexHigh}));

    EXPECT_TRUE(SetFileAttributesA(plain.c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(0u, GetFileAttributesA(plain.c_str()) & kinds);
    EXPECT_TRUE(DeleteFileA(plain.c_str()));
}

TEST(Files, OverlappedReadCompletesThroughItsEvent)
{
    TScratch scratch;
    const std::string name = Make(scratch.Name("async.bin"), std::string(300, 'a') + "payload");
    HANDLE file = Open(name, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_OVERLAPPED);
    HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    char buffer[16] = {};
    OVERLAPPED overlapped = {};
    overlapped.Offset = 300;
    overlapped.hEvent = event;
    DWORD done = 0;
    if (!ReadFile(file, buffer, sizeof buffer, nullptr, &overlapped)) {
        EXPECT_EQ(DWORD(ERROR_IO_PENDING), GetLastError());
    }
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 5000));
    EXPECT_TRUE(GetOverlappedResult(file, &overlapped, &done, TRUE));
    EXPECT_EQ(7u, done);
    EXPECT_STREQ("payload", buffer);

    // At the end: a failure with ERROR_HANDLE_EOF, at once or from the result.
    overlapped.Offset = 400;
    BOOL finished = ReadFile(file, buffer, sizeof buffer, nullptr, &overlapped);
    if (!finished && GetLastError() == ERROR_IO_PENDING)
        finished = GetOverlappedResult(file, &overlapped, &done, TRUE);
    EXPECT_FALSE(finished);
    EXPECT_EQ(DWORD(ERROR_HANDLE_EOF), GetLastError());
    EXPECT_FALSE(ReadFile(file, buffer, sizeof buffer, &done, nullptr));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
#ifndef _WIN32
    // Here a failure ends through the record too, so that no waiter waits forever.
    ResetEvent(event);
    EXPECT_FALSE(WriteFile(file, buffer, 1, nullptr, &overlapped));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 0));
    EXPECT_FALSE(GetOverlappedResult(file, &overlapped, &done, TRUE));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), GetLastError());
#endif
    CloseHandle(event);
    CloseHandle(file);
}

TEST(Files, LockedRangesKeepOtherHandlesOut)
{
    TScratch scratch;
    const std::string name = Make(scratch.Name("locked.bin"), std::string(100, 'x'));
    HANDLE owner = Open(name, GENERIC_READ | GENERIC_WRITE, 3);
    HANDLE other = Open(name, GENERIC_READ | GENERIC_WRITE, 3);
    ASSERT_TRUE(LockFile(owner, 10, 0, 10, 0));
    char buffer[20];
    DWORD done = 0;
    // Wine neither keeps reads and writes out of a locked range nor answers an unlock of a
    // range that is not locked with Windows' error.
    const DWORD lockedOut = RunningUnderWine() ? ERROR_SUCCESS : ERROR_LOCK_VIOLATION;
    const DWORD notLocked = RunningUnderWine() ? ERROR_LOCK_VIOLATION : ERROR_NOT_LOCKED;
    struct {
        const char* what;
        DWORD error;
        DWORD found;
    } cases[] = {
        {"overlap, other handle", ERROR_LOCK_VIOLATION, ErrorOf(LockFile(other, 15, 0, 10, 0))},
        {"overlap, same handle", ERROR_LOCK_VIOLATION, ErrorOf(LockFile(owner, 19, 0, 1, 0))},
        {"next to it", ERROR_SUCCESS, ErrorOf(LockFile(other, 20, 0, 5, 0))},
        {"read by the owner", ERROR_SUCCESS, ErrorOf(ReadFile(owner, buffer, 20, &done, nullptr))},
        {"read by another", lockedOut, ErrorOf(ReadFile(other, buffer, 16, &done, nullptr))},
        {"write by another", lockedOut, ErrorOf(SetFilePointer(other, 12, nullptr, FILE_BEGIN) == 12
                                                               && WriteFile(other, "y", 1, &done, nullptr))},
        {"read before it", ERROR_SUCCESS, ErrorOf(SetFilePointer(other, 0, nullptr, FILE_BEGIN) == 0
                                                     && ReadFile(other, buffer, 10, &done, nullptr))},
        {"unlock of another range", notLocked, ErrorOf(UnlockFile(owner, 10, 0, 5, 0))},
        {"unlock by another handle", notLocked, ErrorOf(UnlockFile(other, 10, 0, 10, 0))},
        {"unlock", ERROR_SUCCESS, ErrorOf(UnlockFile(owner, 10, 0, 10, 0))},
        {"read after unlock", ERROR_SUCCESS, ErrorOf(ReadFile(other, buffer, 20, &done, nullptr))},
        {"lock after unlock", ERROR_SUCCESS, ErrorOf(LockFile(owner, 0, 0, 20, 0))},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.error, c.found) << c.what;
    CloseHandle(owner);
    EXPECT_TRUE(LockFile(other, 0, 0, 20, 0)) << "a closed handle's locks go with it";
    CloseHandle(other);
}

// The file route's use of mmio: small writes across several buffers; then reads of 16 bytes,
// the size by three seeks, and seeks; and the sharing flags. (Wine loses its place when it
// empties a buffer that it has written or seeks to the end past written bytes, so these
// mixes are left to the next test.)
TEST(Files, MmioServesTheFileRoute)
{
    TScratch scratch;
    std::string name = scratch.Name("route.bin");
    HMMIO io = mmioOpenA(&name[0], nullptr, MMIO_CREATE | MMIO_READWRITE | MMIO_ALLOCBUF | MMIO_DENYWRITE);
    ASSERT_TRUE(io);
    std::string expected;
    for (unsigned i = 0; i < 5000; ++i) {
        char piece[16];
        snprintf(piece, sizeof piece, "%06u", i);
        ASSERT_EQ(6, mmioWrite(io, piece, 6));
        expected += piece;
    }
    EXPECT_EQ(0u, mmioClose(io, 0));
    EXPECT_TRUE(expected == Contents(name));

    io = mmioOpenA(&name[0], nullptr, MMIO_READ | MMIO_ALLOCBUF | MMIO_DENYWRITE);
    ASSERT_TRUE(io);
    std::string read;
    char piece[16];
    for (LONG got; (got = mmioRead(io, piece, sizeof piece)) > 0;)
        read.append(piece, size_t(got));
    EXPECT_TRUE(expected == read);
    EXPECT_EQ(0, mmioRead(io, piece, 1));
    const LONG here = mmioSeek(io, 0, SEEK_CUR);
    EXPECT_EQ(30000, mmioSeek(io, 0, SEEK_END));
    EXPECT_EQ(30000, mmioSeek(io, here, SEEK_SET));
    const struct {
        LONG offset;
        int origin;
        LONG position;
    } seeks[] = {{12342, SEEK_SET, 12342}, {-6, SEEK_CUR, 12342}, {6, SEEK_END, 29994}, {-2, SEEK_SET, -1}};
    for (const auto& seek : seeks) {
        EXPECT_EQ(seek.position, mmioSeek(io, seek.offset, seek.origin)) << seek.offset;
        if (seek.position >= 0) {
            EXPECT_EQ(6, mmioRead(io, piece, 6));
            EXPECT_EQ(expected.substr(size_t(seek.position), 6), std::string(piece, 6));
        }
    }
    EXPECT_EQ(0u, mmioClose(io, 0));

    // Sharing as CreateFileA sees it, and a failed open.
    const struct {
        DWORD sharing;
        bool readers, writers;
    } sharings[] = {
        {MMIO_EXCLUSIVE, false, false},
        {MMIO_DENYWRITE, true, false},
        {MMIO_DENYREAD, false, true},
        {MMIO_DENYNONE, true, true},
    };
    for (const auto& s : sharings) {
        io = mmioOpenA(&name[0], nullptr, MMIO_READ | s.sharing);
        ASSERT_TRUE(io);
        HANDLE reader = Open(name, GENERIC_READ, 3), writer = Open(name, GENERIC_WRITE, 3);
        EXPECT_EQ(s.readers, reader != INVALID_HANDLE_VALUE) << s.sharing;
        EXPECT_EQ(s.writers, writer != INVALID_HANDLE_VALUE) << s.sharing;
        CloseHandle(reader);
        CloseHandle(writer);
        mmioClose(io, 0);
    }
    MMIOINFO info = {};
    std::string missing = scratch.directory + "\\missing.bin";
    EXPECT_FALSE(mmioOpenA(&missing[0], &info, MMIO_READ));
    EXPECT_EQ(UINT(MMIOERR_FILENOTFOUND), info.wErrorRet);
}

#ifndef _WIN32
// Any mix of reads, writes, seeks past the end and flushes, against a model of the file.
// Wine's mmio loses its place in such mixes (a read after a write, a seek after an emptied
// buffer), so the mix runs against the POSIX layer only.
TEST(Files, MmioBufferedWorkFollowsAModel)
{
    TScratch scratch;
    std::string name = scratch.Name("mmio.bin");
    HMMIO io = mmioOpenA(&name[0], nullptr, MMIO_CREATE | MMIO_READWRITE | MMIO_ALLOCBUF | MMIO_EXCLUSIVE);
    ASSERT_TRUE(io);
    std::string model;
    long position = 0;
    std::mt19937 random(20240611);
    for (int step = 0; step < 4000; ++step) {
        const long count = random() % 10 == 0 ? long(random() % 20000) : long(random() % 40);
        switch (random() % 5) {
        case 0:
        case 1: {
            std::string bytes(size_t(count), char('a' + step % 26));
            ASSERT_EQ(count, mmioWrite(io, bytes.data(), count)) << step;
            if (size_t(position + count) > model.size())
                model.resize(size_t(position + count));
            model.replace(size_t(position), size_t(count), bytes);
            position += count;
            break;
        }
        case 2: {
            std::string bytes(size_t(count), '\0');
            const long expected = std::max(0L, std::min(count, long(model.size()) - position));
            ASSERT_EQ(expected, mmioRead(io, &bytes[0], count)) << step;
            bytes.resize(size_t(expected));
            ASSERT_TRUE(model.compare(std::min(size_t(position), model.size()), size_t(expected), bytes) == 0) << step;
            position += expected;
            break;
        }
        case 3: {
            const int origin = int(random() % 3);
            const long target = long(random() % (model.size() + 100));
            const long base = origin == SEEK_SET ? 0 : origin == SEEK_CUR ? position : long(model.size());
            const long offset = origin == SEEK_END ? base - target : target - base;
            ASSERT_EQ(target, mmioSeek(io, offset, origin)) << step;
            position = target;
            break;
        }
        default:
            ASSERT_EQ(0u, mmioFlush(io, step % 2 ? MMIO_EMPTYBUF : 0)) << step;
        }
    }
    EXPECT_EQ(0u, mmioClose(io, 0));
    EXPECT_TRUE(model == Contents(name));
    // Nothing goes into the buffer of a handle that cannot write it, nor comes from one that
    // cannot read.
    io = mmioOpenA(&name[0], nullptr, MMIO_READ | MMIO_ALLOCBUF);
    EXPECT_EQ(-1, mmioWrite(io, "x", 1));
    mmioClose(io, 0);
    io = mmioOpenA(&name[0], nullptr, MMIO_WRITE | MMIO_ALLOCBUF);
    EXPECT_EQ(-1, mmioRead(io, &name[0], 1));
    mmioClose(io, 0);
}
#endif

// Unbuffered handles demand sector-aligned offsets, counts and memory on every file system,
// whether it does direct I/O (ext4) or not.
TEST(Files, NoBufferingDemandsAlignmentEverywhere)
{
    std::vector<const char*> bases = {"/tmp"};
#ifndef _WIN32
    bases.push_back("/dev/shm");
#endif
    alignas(4096) static char block[8192];
    for (const char* base : bases) {
        TScratch scratch(base);
        const std::string name = scratch.Name("direct.bin");
        HANDLE file = Open(name, GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_FLAG_NO_BUFFERING);
        ASSERT_NE(INVALID_HANDLE_VALUE, file) << base;
        memset(block, 'd', sizeof block);
        DWORD done = 0;
        EXPECT_TRUE(WriteFile(file, block, 4096, &done, nullptr)) << base;
        if (!RunningUnderWine()) {
            EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), ErrorOf(WriteFile(file, block, 100, &done, nullptr))) << base;
            EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), ErrorOf(WriteFile(file, block + 1, 512, &done, nullptr))) << base;
            SetFilePointer(file, 100, nullptr, FILE_BEGIN);
            EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), ErrorOf(ReadFile(file, block, 512, &done, nullptr))) << base;
        }
        SetFilePointer(file, 512, nullptr, FILE_BEGIN);
        memset(block, 0, sizeof block);
        EXPECT_TRUE(ReadFile(file, block, 8192, &done, nullptr)) << base;
        EXPECT_EQ(3584u, done) << base;
        EXPECT_EQ('d', block[3583]) << base;
        CloseHandle(file);
    }
}

#ifndef _WIN32
// A full disk is ERROR_DISK_FULL: the device that is always full, and a size limit, which a
// child process sets for itself.
TEST(Files, FullDiskIsErrorDiskFull)
{
    // Devices keep no share modes: each of two opens may deny the other everything.
    HANDLE full = Open("C:\\dev\\full", GENERIC_WRITE, 0);
    ASSERT_NE(INVALID_HANDLE_VALUE, full);
    EXPECT_EQ(DWORD(ERROR_SUCCESS), OpenError("C:\\dev\\full", GENERIC_WRITE, 0));
    DWORD done = 0;
    EXPECT_EQ(DWORD(ERROR_DISK_FULL), ErrorOf(WriteFile(full, "data", 4, &done, nullptr)));
    CloseHandle(full);
    char path[] = "C:\\dev\\full";
    HMMIO io = mmioOpenA(path, nullptr, MMIO_WRITE | MMIO_ALLOCBUF);
    EXPECT_EQ(4, mmioWrite(io, "data", 4));
    EXPECT_EQ(UINT(MMIOERR_CANNOTWRITE), mmioFlush(io, 0));
    EXPECT_EQ(UINT(MMIOERR_CANNOTWRITE), mmioClose(io, 0));

    TScratch scratch;
    const std::string name = scratch.Name("limited.bin");
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit = {1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        static char bytes[4096];
        HANDLE file = Open(name, GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS);
        int failures = 0;
        failures += ErrorOf(WriteFile(file, bytes, sizeof bytes, &done, nullptr)) != ERROR_DISK_FULL;
        failures += SetFilePointer(file, 5000, nullptr, FILE_BEGIN) != 5000;
        failures += ErrorOf(SetEndOfFile(file)) != ERROR_DISK_FULL;
        CloseHandle(file);
        _exit(failures);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
}
#endif
