// Directory searches over readdir, with Windows' pattern match, entries filled from statx,
// and search handles of their own, apart from the handle table as on Windows.
#include "WinFind.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>

#include <bitset>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "TarnNames.h"
#include "WinFileInfo.h"
#include "WinKernel.h"
#include "WinObjects.h"

namespace TarnPosix {
namespace {

// A compiled pattern: one token per character, with the wildcards in the forms that Windows'
// file systems match (its DOS_STAR, DOS_QM and DOS_DOT).
class TFindPattern {
public:
    // False for a pattern that is too long.
    bool Compile(const char* pattern, size_t length);
    bool CompileLiteral(const char* name);
    bool Match(const char* name) const;

private:
    enum EKind : unsigned char { eLiteral, eStar, eDosStar, eDosQuestion, eDosDot };
    static const size_t kMaxTokens = MAX_PATH;

    static char Fold(char c) { return (c >= 'A' && c <= 'Z') ? char(c + 32) : c; }
    // Whether token s may be passed over without taking a character.
    bool Skips(size_t s, char c) const
    {
        switch (kinds[s]) {
        case eStar:
        case eDosStar:
            return true;
        case eDosQuestion:
            return c == 0 || c == '.';
        case eDosDot:
            return c == 0;
        default:
            return false;
        }
    }

    EKind kinds[kMaxTokens];
    char chars[kMaxTokens];
    size_t count = 0;
    // * and *.* fit every name, and are what most searches ask for.
    bool everything = false;
};

bool TFindPattern::Compile(const char* pattern, size_t length)
{
    // Trailing spaces do not count; trailing dots leave one dot that fits the end of a name.
    while (length && pattern[length - 1] == ' ')
        --length;
    bool endsInDot = false;
    while (length && (pattern[length - 1] == '.' || pattern[length - 1] == ' ')) {
        endsInDot |= pattern[length - 1] == '.';
        --length;
    }
    if (length + endsInDot > kMaxTokens)
        return false;
    count = 0;
    for (size_t i = 0; i < length; ++i) {
        const char c = pattern[i];
        const char next = i + 1 < length ? pattern[i + 1] : (endsInDot ? '.' : 0);
        EKind kind = eLiteral;
        if (c == '*')
            kind = next == '.' ? eDosStar : eStar;
        else if (c == '?')
            kind = eDosQuestion;
        else if (c == '.' && (next == '*' || next == '?'))
            kind = eDosDot;
        kinds[count] = kind;
        chars[count++] = Fold(c);
    }
    if (endsInDot) {
        kinds[count] = eDosDot;
        chars[count++] = '.';
    }
    everything = (count == 1 && kinds[0] == eStar)
        || (count == 3 && kinds[0] == eDosStar && kinds[1] == eDosDot && kinds[2] == eStar);
    return true;
}

bool TFindPattern::CompileLiteral(const char* name)
{
    const size_t length = strlen(name);
    if (length > kMaxTokens)
        return false;
    for (count = 0; count < length; ++count) {
        kinds[count] = eLiteral;
        chars[count] = Fold(name[count]);
    }
    everything = false;
    return true;
}

// A walk of all the ways through the pattern at once: the set of tokens reached so far, one
// step per character of the name.
bool TFindPattern::Match(const char* name) const
{
    if (everything)
        return true;
    const char* lastDot = strrchr(name, '.');
    std::bitset<kMaxTokens + 1> reached;
    reached.set(0);
    for (const char* p = name;; ++p) {
        const char c = *p;
        for (size_t s = 0; s < count; ++s)
            if (reached[s] && Skips(s, c))
                reached.set(s + 1);
        if (c == 0)
            return reached[count];
        std::bitset<kMaxTokens + 1> next;
        for (size_t s = 0; s < count; ++s) {
            if (!reached[s])
                continue;
            switch (kinds[s]) {
            case eLiteral:
                if (Fold(c) == chars[s])
                    next.set(s + 1);
                break;
            case eStar:
                next.set(s);
                break;
            case eDosStar:
                if (c != '.' || p < lastDot)
                    next.set(s);
                break;
            case eDosQuestion:
                if (c != '.')
                    next.set(s + 1);
                break;
            case eDosDot:
                if (c == '.')
                    next.set(s + 1);
                break;
            }
        }
        if (next.none())
            return false;
        reached = next;
    }
}

class TFindSearch {
public:
    ~TFindSearch()
    {
        if (directory)
            closedir(directory);
    }
    // The next entry that fits, or false at the end.
    bool Next(WIN32_FIND_DATAA* data);

    std::mutex lock;
    DIR* directory = nullptr;
    TFindPattern pattern;
    // "." and ".." still to come: 2 before ".", 1 before "..".
    int dots = 0;
    // A name that was found as it stands, to give once and alone.
    std::string exact;

private:
    bool Fill(const char* name, unsigned char type, WIN32_FIND_DATAA* data);
};

// The entry's data from its status, links followed where they lead somewhere. An entry that
// is gone gives false; one that cannot be looked at keeps its name and the type of readdir.
bool TFindSearch::Fill(const char* name, unsigned char type, WIN32_FIND_DATAA* data)
{
    const int descriptor = dirfd(directory);
    const unsigned mask = STATX_BASIC_STATS | STATX_BTIME;
    struct statx info;
    int result = statx(descriptor, name, AT_NO_AUTOMOUNT, mask, &info);
    if (result != 0)
        result = statx(descriptor, name, AT_NO_AUTOMOUNT | AT_SYMLINK_NOFOLLOW, mask, &info);
    if (result != 0 && errno == ENOENT)
        return false;
    memset(data, 0, sizeof *data);
    struct stat mode;
    memset(&mode, 0, sizeof mode);
    if (result == 0) {
        mode.st_mode = info.stx_mode;
        FileTimesOf(info, &data->ftCreationTime, &data->ftLastAccessTime, &data->ftLastWriteTime);
        const uint64_t size = S_ISREG(info.stx_mode) ? info.stx_size : 0;
        data->nFileSizeHigh = DWORD(size >> 32);
        data->nFileSizeLow = DWORD(size);
    } else {
        mode.st_mode = type == DT_DIR ? S_IFDIR | 0755 : S_IFREG | 0644;
    }
    data->dwFileAttributes = AttributesOf(mode, HiddenName(name));
    // NAME_MAX is below MAX_PATH.
    strncpy(data->cFileName, name, MAX_PATH - 1);
    return true;
}

bool TFindSearch::Next(WIN32_FIND_DATAA* data)
{
    if (!exact.empty()) {
        const bool found = Fill(exact.c_str(), DT_UNKNOWN, data);
        exact.clear();
        closedir(directory);
        directory = nullptr;
        return found;
    }
    if (!directory)
        return false;
    while (dots > 0) {
        const char* name = dots-- == 2 ? "." : "..";
        if (pattern.Match(name) && Fill(name, DT_DIR, data))
            return true;
    }
    // The end of the directory and a failure to read it both end the search.
    while (const dirent* entry = readdir(directory)) {
        const char* name = entry->d_name;
        if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0 || !pattern.Match(name))
            continue;
        if (Fill(name, entry->d_type, data))
            return true;
    }
    return false;
}

// Open searches by handle value. Values are not multiples of 4, so the handle table never
// takes one for its own, and they are not reused.
std::mutex& SearchesLock()
{
    static std::mutex* lock = new std::mutex;
    return *lock;
}

std::unordered_map<uintptr_t, std::shared_ptr<TFindSearch>>& Searches()
{
    static auto* searches = new std::unordered_map<uintptr_t, std::shared_ptr<TFindSearch>>;
    return *searches;
}

uintptr_t _nextSearch = 0;

std::shared_ptr<TFindSearch> FindSearch(HANDLE handle)
{
    std::lock_guard<std::mutex> guard(SearchesLock());
    auto found = Searches().find(reinterpret_cast<uintptr_t>(handle));
    return found == Searches().end() ? nullptr : found->second;
}

bool IsSeparator(char c)
{
    return c == '\\' || c == '/';
}

bool ForbiddenInName(char c)
{
    return static_cast<unsigned char>(c) < 32 || strchr("<>\"|:", c);
}

// Opens the directory of a search and compiles its pattern.
DWORD OpenSearch(const char* name, TFindSearch& search)
{
    if (!name || !*name)
        return ERROR_PATH_NOT_FOUND;
    const size_t length = strlen(name);
    if (length >= MAX_PATH)
        return ERROR_FILENAME_EXCED_RANGE;
    if (IsSeparator(name[length - 1]))
        return ERROR_FILE_NOT_FOUND;
    size_t start = length;
    while (start > 0 && !IsSeparator(name[start - 1]))
        --start;
    if (start == 0 && length >= 2 && name[1] == ':')
        start = 2;
    const std::string directory(name, start);
    const char* last = name + start;
    if (directory.find_first_of("*?") != std::string::npos)
        return ERROR_INVALID_NAME;

    std::string posix;
    DWORD error;
    const bool wildcards = strpbrk(last, "*?") != nullptr;
    if (wildcards) {
        for (const char* p = last; *p; ++p)
            if (ForbiddenInName(*p))
                return ERROR_INVALID_NAME;
        error = PosixNameOf(directory.empty() ? "." : directory.c_str(), posix);
        if (error != ERROR_SUCCESS)
            return error;
        if (!search.pattern.Compile(last, strlen(last)))
            return ERROR_FILENAME_EXCED_RANGE;
    } else {
        // One name: made full as Windows makes it, so "." and ".." and trailing points are
        // resolved before the last part is looked for.
        std::string full;
        error = PosixNameOf(name, full);
        if (error != ERROR_SUCCESS)
            return error;
        const size_t slash = full.find_last_of('/');
        if (slash == std::string::npos || slash + 1 == full.size())
            return ERROR_FILE_NOT_FOUND;
        posix = slash == 0 ? "/" : full.substr(0, slash);
        search.exact = full.substr(slash + 1);
        if (!search.pattern.CompileLiteral(search.exact.c_str()))
            return ERROR_FILENAME_EXCED_RANGE;
    }

    search.directory = opendir(posix.c_str());
    if (!search.directory) {
        const int err = errno;
        struct stat info;
        if (err == ENOTDIR && stat(posix.c_str(), &info) == 0)
            return ERROR_DIRECTORY;
        return err == ENOENT || err == ENOTDIR ? ERROR_PATH_NOT_FOUND : WinErrorFromErrno(err);
    }
    if (!search.exact.empty()) {
        // Not there as it stands: look for it without regard to case.
        struct stat info;
        if (fstatat(dirfd(search.directory), search.exact.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
            search.exact.clear();
    } else {
        // A drive's root has no "." and "..": its Windows name is "X:\".
        char root[4];
        if (ConvertPosixToWindowsName(posix.c_str(), root, sizeof root) != 3)
            search.dots = 2;
    }
    return ERROR_SUCCESS;
}

HANDLE FindFirstNoThrow(LPCSTR name, LPWIN32_FIND_DATAA data)
{
    auto search = std::make_shared<TFindSearch>();
    DWORD error = data ? OpenSearch(name, *search) : ERROR_INVALID_PARAMETER;
    if (error == ERROR_SUCCESS && !search->Next(data))
        error = ERROR_FILE_NOT_FOUND;
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    std::lock_guard<std::mutex> guard(SearchesLock());
    const uintptr_t value = ++_nextSearch * 4 + 2;
    Searches().emplace(value, std::move(search));
    SetLastError(ERROR_SUCCESS);
    return reinterpret_cast<HANDLE>(value);
}

}
}

using namespace TarnPosix;

extern "C" {

HANDLE FindFirstFileA(LPCSTR lpFileName, LPWIN32_FIND_DATAA lpFindFileData)
{
    TSuspensionRegion region;
    try {
        return FindFirstNoThrow(lpFileName, lpFindFileData);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
}

BOOL FindNextFileA(HANDLE hFindFile, LPWIN32_FIND_DATAA lpFindFileData)
{
    TSuspensionRegion region;
    try {
        std::shared_ptr<TFindSearch> search = FindSearch(hFindFile);
        if (!search || !lpFindFileData) {
            SetLastError(search ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
            return FALSE;
        }
        std::lock_guard<std::mutex> guard(search->lock);
        if (!search->Next(lpFindFileData)) {
            SetLastError(ERROR_NO_MORE_FILES);
            return FALSE;
        }
        return TRUE;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
}

BOOL FindClose(HANDLE hFindFile)
{
    TSuspensionRegion region;
    std::shared_ptr<TFindSearch> search;
    {
        std::lock_guard<std::mutex> guard(SearchesLock());
        auto found = Searches().find(reinterpret_cast<uintptr_t>(hFindFile));
        if (found != Searches().end()) {
            search = std::move(found->second);
            Searches().erase(found);
        }
    }
    if (!search) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}

}

int MatchWindowsPattern(const char* pattern, const char* name)
{
    TFindPattern compiled;
    return compiled.Compile(pattern, strlen(pattern)) && compiled.Match(name);
}
