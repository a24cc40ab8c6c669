// Windows names over POSIX: the drive table, the conversions between the two forms, the
// current directory, the executable's name and lstrcmpiA.
#include "WinNames.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>
#include <string>
#include <vector>

#include "TarnNames.h"
#include "WinKernel.h"
#include "WinObjects.h"

namespace {

typedef std::vector<std::string> Parts;

// The directory of each drive letter, as malloc'd real names; null is "no drive", except for
// C:, whose null stands for "/". Plain pointers, so the table needs no constructor at load.
std::mutex drivesLock;
char* drives[26];

// The drive's directory without its trailing slash ("" for "/"); false for no drive.
bool DriveDirectory(int index, std::string& directory)
{
    std::lock_guard<std::mutex> lock(drivesLock);
    if (drives[index]) {
        directory = strcmp(drives[index], "/") == 0 ? "" : drives[index];
        return true;
    }
    directory.clear();
    return index == 'C' - 'A';
}

bool IsLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

int DriveIndex(char letter)
{
    return (letter & ~0x20) - 'A';
}

// The parts of a POSIX name between slashes, "." left out and ".." taking the last one away;
// at the root ".." stays there, as the system does.
void AddPosixParts(Parts& parts, const char* name)
{
    for (const char* p = name; *p;) {
        while (*p == '/')
            ++p;
        const char* start = p;
        while (*p && *p != '/')
            ++p;
        std::string part(start, p);
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else {
            parts.push_back(part);
        }
    }
}

DWORD CurrentPosixParts(Parts& parts)
{
    std::vector<char> buffer(256);
    while (!getcwd(buffer.data(), buffer.size())) {
        if (errno != ERANGE)
            return WinErrorFromErrno(errno);
        buffer.resize(buffer.size() * 2);
    }
    AddPosixParts(parts, buffer.data());
    return ERROR_SUCCESS;
}

// The Windows form of the absolute POSIX name held by parts.
DWORD PosixPartsToWindows(const Parts& parts, std::string& name)
{
    int best = -1;
    size_t bestLength = 0;
    for (int index = 0; index < 26; ++index) {
        std::string directory;
        if (!DriveDirectory(index, directory))
            continue;
        Parts own;
        AddPosixParts(own, directory.c_str());
        if (own.size() > parts.size() || (best >= 0 && own.size() <= bestLength))
            continue;
        size_t i = 0;
        while (i < own.size() && own[i] == parts[i])
            ++i;
        if (i == own.size()) {
            best = index;
            bestLength = own.size();
        }
    }
    if (best < 0)
        return ERROR_PATH_NOT_FOUND;
    name.assign(1, char('A' + best));
    name += ":\\";
    for (size_t i = bestLength; i < parts.size(); ++i) {
        if (parts[i].find_first_of("\\:") != std::string::npos)
            return ERROR_INVALID_NAME;
        if (i > bestLength)
            name += '\\';
        name += parts[i];
    }
    return ERROR_SUCCESS;
}

// The current directory in Windows form: its drive and the parts below the drive's root.
struct WindowsName {
    int drive = -1;
    Parts parts;
};

DWORD SplitWindowsFullName(const std::string& full, WindowsName& name)
{
    name.drive = DriveIndex(full[0]);
    name.parts.clear();
    for (size_t p = 3; p < full.size();) {
        size_t end = full.find('\\', p);
        if (end == std::string::npos)
            end = full.size();
        name.parts.push_back(full.substr(p, end - p));
        p = end + 1;
    }
    return ERROR_SUCCESS;
}

DWORD CurrentWindowsName(WindowsName& name)
{
    Parts parts;
    DWORD error = CurrentPosixParts(parts);
    std::string full;
    if (error == ERROR_SUCCESS)
        error = PosixPartsToWindows(parts, full);
    if (error == ERROR_SUCCESS)
        SplitWindowsFullName(full, name);
    return error;
}

std::string JoinWindows(const WindowsName& name)
{
    std::string text(1, char('A' + name.drive));
    text += ":\\";
    for (size_t i = 0; i < name.parts.size(); ++i) {
        if (i)
            text += '\\';
        text += name.parts[i];
    }
    return text;
}

// Makes a Windows name full as Windows does: "/" and "\" both separate, runs of separators
// count as one, "." goes, ".." takes the part before it away but never the drive's root, a
// part ending in one point loses it, and the last part loses its trailing points and spaces.
DWORD MakeFullWindowsName(const char* text, WindowsName& name)
{
    if (!text)
        return ERROR_INVALID_PARAMETER;
    if (!*text)
        return ERROR_INVALID_NAME;
    std::string s(text);
    for (char& c : s)
        if (c == '/')
            c = '\\';
    if (s.size() >= 2 && s[0] == '\\' && s[1] == '\\')
        return ERROR_PATH_NOT_FOUND;  // network and device names have no directory here

    size_t restStart = 0;
    if (s.size() >= 2 && IsLetter(s[0]) && s[1] == ':') {
        restStart = 2;
        const int drive = DriveIndex(s[0]);
        if (s.size() > 2 && s[2] == '\\') {
            name.drive = drive;
            name.parts.clear();
        } else {
            // Relative to the drive's current directory: the process's own on the current
            // drive, the root on any other (no per-drive directories are kept).
            WindowsName current;
            const DWORD error = CurrentWindowsName(current);
            if (error == ERROR_SUCCESS && current.drive == drive)
                name = current;
            else {
                name.drive = drive;
                name.parts.clear();
            }
        }
    } else {
        const DWORD error = CurrentWindowsName(name);
        if (error != ERROR_SUCCESS)
            return error;
        if (s[0] == '\\')
            name.parts.clear();
    }

    for (size_t i = restStart; i < s.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        if (c < 32 || c == ':' || c == '<' || c == '>' || c == '"' || c == '|')
            return ERROR_INVALID_NAME;
    }

    const bool endsInSeparator = s.back() == '\\';
    size_t p = restStart;
    while (p < s.size()) {
        size_t end = s.find('\\', p);
        if (end == std::string::npos)
            end = s.size();
        std::string part = s.substr(p, end - p);
        const bool last = end == s.size();
        p = end + 1;
        if (part == ".." ) {
            if (!name.parts.empty())
                name.parts.pop_back();
            continue;
        }
        if (part.empty() || part == ".")
            continue;
        if (last && !endsInSeparator) {
            part.erase(part.find_last_not_of(". ") + 1);
        } else if (part.back() == '.' && part[part.size() - 2] != '.') {
            part.pop_back();
        }
        if (!part.empty())
            name.parts.push_back(part);
    }
    return ERROR_SUCCESS;
}

DWORD WindowsNameToPosix(const WindowsName& name, std::string& posix)
{
    std::string directory;
    if (!DriveDirectory(name.drive, directory))
        return ERROR_PATH_NOT_FOUND;
    posix = directory;
    for (const std::string& part : name.parts) {
        posix += '/';
        posix += part;
    }
    if (posix.empty())
        posix = "/";
    return ERROR_SUCCESS;
}

// Answers a text as the Windows calls of the GetFullPathNameA kind do.
DWORD Answer(DWORD error, const std::string& text, LPSTR buffer, DWORD size)
{
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return 0;
    }
    if (text.size() >= size)
        return DWORD(text.size() + 1);
    memcpy(buffer, text.c_str(), text.size() + 1);
    return DWORD(text.size());
}

// ERROR_FILE_NOT_FOUND when only the last part is missing, ERROR_PATH_NOT_FOUND when a
// directory on the way is missing or is no directory.
DWORD MissingError(const std::string& posix)
{
    const size_t slash = posix.find_last_of('/');
    const std::string parent = slash == 0 ? "/" : posix.substr(0, slash);
    struct stat info;
    if (stat(parent.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        return ERROR_FILE_NOT_FOUND;
    return ERROR_PATH_NOT_FOUND;
}

// Word sort weights: 0 for the characters that count only in a tie (their tie weight is
// then in `special`), otherwise the order of the first comparison.
struct Weights {
    unsigned short primary[256];
    unsigned char special[256];
};

constexpr Weights MakeWeights()
{
    Weights w{};
    const char order[] = " \t\n\v\f\r!\"#$%&()*,./:;?@[\\]^_`{|}~+<=>0123456789abcdefghijklmnopqrstuvwxyz";
    unsigned short next = 1;
    for (const char* p = order; *p; ++p)
        w.primary[static_cast<unsigned char>(*p)] = next++;
    for (int c = 'A'; c <= 'Z'; ++c)
        w.primary[c] = w.primary[c + 32];
    for (int c = 128; c < 256; ++c)
        w.primary[c] = static_cast<unsigned short>(next + c - 128);
    unsigned char tie = 1;
    for (int c = 1; c < 32; ++c)
        if (!w.primary[c])
            w.special[c] = tie++;
    w.special[127] = tie++;
    w.special[static_cast<unsigned char>('\'')] = tie++;
    w.special[static_cast<unsigned char>('-')] = tie++;
    return w;
}

constexpr Weights weights = MakeWeights();

// The next character of s at or after i that the first comparison sees; its weight, or 0 at
// the end.
unsigned NextPrimary(const unsigned char* s, size_t& i)
{
    while (s[i] && !weights.primary[s[i]])
        ++i;
    return weights.primary[s[i]];
}

unsigned NextSpecial(const unsigned char* s, size_t& i)
{
    while (s[i] && !weights.special[s[i]])
        ++i;
    return weights.special[s[i]];
}

}

namespace TarnPosix {

DWORD PosixNameOf(LPCSTR windowsName, std::string& posix)
{
    WindowsName name;
    DWORD error = MakeFullWindowsName(windowsName, name);
    if (error == ERROR_SUCCESS)
        error = WindowsNameToPosix(name, posix);
    return error;
}

DWORD MissingNameError(const std::string& posix)
{
    return MissingError(posix);
}

}

extern "C" {

BOOL MapDriveToDirectory(CHAR drive, LPCSTR directory)
{
    if (!IsLetter(drive)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    char* real = nullptr;
    if (directory) {
        real = realpath(directory, nullptr);
        if (!real) {
            const int err = errno;
            SetLastError(err == ENOENT || err == ENOTDIR ? ERROR_PATH_NOT_FOUND : WinErrorFromErrno(err));
            return FALSE;
        }
        struct stat info;
        if (stat(real, &info) != 0 || !S_ISDIR(info.st_mode)) {
            free(real);
            SetLastError(ERROR_DIRECTORY);
            return FALSE;
        }
    }
    std::lock_guard<std::mutex> lock(drivesLock);
    char*& slot = drives[DriveIndex(drive)];
    free(slot);
    slot = real;
    return TRUE;
}

DWORD ConvertPosixToWindowsName(LPCSTR posixName, LPSTR buffer, DWORD size)
{
    std::string text;
    DWORD error = ERROR_SUCCESS;
    if (!posixName)
        error = ERROR_INVALID_PARAMETER;
    else if (!*posixName)
        error = ERROR_INVALID_NAME;
    else {
        Parts parts;
        if (posixName[0] != '/')
            error = CurrentPosixParts(parts);
        if (error == ERROR_SUCCESS) {
            AddPosixParts(parts, posixName);
            error = PosixPartsToWindows(parts, text);
        }
    }
    return Answer(error, text, buffer, size);
}

DWORD ConvertWindowsToPosixName(LPCSTR windowsName, LPSTR buffer, DWORD size)
{
    WindowsName name;
    std::string text;
    DWORD error = MakeFullWindowsName(windowsName, name);
    if (error == ERROR_SUCCESS)
        error = WindowsNameToPosix(name, text);
    return Answer(error, text, buffer, size);
}

DWORD GetCurrentDirectoryA(DWORD nBufferLength, LPSTR lpBuffer)
{
    WindowsName name;
    const DWORD error = CurrentWindowsName(name);
    std::string text;
    if (error == ERROR_SUCCESS) {
        text = JoinWindows(name);
        if (text.size() > MAX_PATH - 2) {
            SetLastError(ERROR_FILENAME_EXCED_RANGE);
            return 0;
        }
    }
    return Answer(error, text, lpBuffer, nBufferLength);
}

BOOL SetCurrentDirectoryA(LPCSTR lpPathName)
{
    WindowsName name;
    DWORD error = MakeFullWindowsName(lpPathName, name);
    if (error == ERROR_SUCCESS && strpbrk(lpPathName, "*?"))
        error = ERROR_INVALID_NAME;
    if (error == ERROR_SUCCESS && JoinWindows(name).size() > MAX_PATH - 2)
        error = ERROR_FILENAME_EXCED_RANGE;
    std::string posix;
    if (error == ERROR_SUCCESS)
        error = WindowsNameToPosix(name, posix);
    if (error == ERROR_SUCCESS) {
        struct stat info;
        if (stat(posix.c_str(), &info) != 0)
            error = errno == ENOENT ? MissingError(posix) : errno == ENOTDIR ? ERROR_PATH_NOT_FOUND : WinErrorFromErrno(errno);
        else if (!S_ISDIR(info.st_mode))
            error = ERROR_DIRECTORY;
        else if (chdir(posix.c_str()) != 0)
            error = WinErrorFromErrno(errno);
    }
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return FALSE;
    }
    return TRUE;
}

DWORD GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize)
{
    if (hModule) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    std::vector<char> path(256);
    for (;;) {
        const ssize_t n = readlink("/proc/self/exe", path.data(), path.size());
        if (n < 0) {
            SetLastError(WinErrorFromErrno(errno));
            return 0;
        }
        if (size_t(n) < path.size()) {
            path[size_t(n)] = 0;
            break;
        }
        path.resize(path.size() * 2);
    }
    Parts parts;
    AddPosixParts(parts, path.data());
    std::string name;
    const DWORD error = PosixPartsToWindows(parts, name);
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return 0;
    }
    if (nSize == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    if (name.size() >= nSize) {
        memcpy(lpFilename, name.data(), nSize - 1);
        lpFilename[nSize - 1] = 0;
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return nSize;
    }
    memcpy(lpFilename, name.c_str(), name.size() + 1);
    return DWORD(name.size());
}

int lstrcmpiA(LPCSTR lpString1, LPCSTR lpString2)
{
    if (!lpString1 || !lpString2)
        return lpString1 ? 1 : lpString2 ? -1 : 0;
    const unsigned char* a = reinterpret_cast<const unsigned char*>(lpString1);
    const unsigned char* b = reinterpret_cast<const unsigned char*>(lpString2);

    // First the characters that sort; an end sorts below any character.
    size_t i = 0, j = 0;
    for (;; ++i, ++j) {
        const unsigned wa = NextPrimary(a, i), wb = NextPrimary(b, j);
        if (wa != wb)
            return wa < wb ? -1 : 1;
        if (!wa)
            break;
    }
    // A tie: the texts with more of the other characters, and with them earlier, sort higher;
    // at the same place the tie weights decide.
    i = j = 0;
    for (;; ++i, ++j) {
        const unsigned wa = NextSpecial(a, i), wb = NextSpecial(b, j);
        if (!wa || !wb)
            return wa ? 1 : wb ? -1 : 0;
        if (i != j)
            return i < j ? 1 : -1;
        if (wa != wb)
            return wa < wb ? -1 : 1;
    }
}

}
