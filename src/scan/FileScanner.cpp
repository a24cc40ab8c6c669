// TFileScanner: the walk, the delivery of accepted files, and the mask test.
#include "scan/FileScanner.h"

#include <cctype>
#include <cstring>

#include "TarnPlatform.h"
#include "text/TextHelpers.h"

class TFileScanner::FoundFile : public TListElement {
public:
    FoundFile(const TFileName& name, const WIN32_FIND_DATAA& data) : name(name), data(data) {}
    CollectionElement* CreateClone(const void*) const override { return new FoundFile(name, data); }

    TFileName name;
    WIN32_FIND_DATAA data;
};

namespace {

typedef StringItem<TListElement> TMask;

// Objects on the string heap are made as operator new makes objects: on exhaustion the new
// handler runs and the allocation is tried again.
template <class T, class Argument>
T* NewOnStringHeap(const Argument& argument)
{
    for (;;) {
        if (T* object = new T(argument))
            return object;
        _stringHeap->ExecuteStandardNewHandler();
    }
}

// Ends a search on every way out of the walk of a directory.
class TSearch {
public:
    explicit TSearch(HANDLE handle) : handle(handle) {}
    ~TSearch() { Close(); }
    TSearch(const TSearch&) = delete;
    TSearch& operator=(const TSearch&) = delete;

    bool IsOpen() const { return handle != INVALID_HANDLE_VALUE; }
    void Close()
    {
        if (IsOpen())
            FindClose(handle);
        handle = INVALID_HANDLE_VALUE;
    }

    HANDLE handle;
};

// Empties the masks at the end of a path that brought its own, also when the walk throws.
class TMasksOfOnePath {
public:
    explicit TMasksOfOnePath(TList<TMask>& masks) : masks(masks) {}
    ~TMasksOfOnePath() { masks.DeleteAll(); }
    TMasksOfOnePath(const TMasksOfOnePath&) = delete;
    TMasksOfOnePath& operator=(const TMasksOfOnePath&) = delete;

private:
    TList<TMask>& masks;
};

inline int Lower(char c)
{
    return std::tolower(static_cast<unsigned char>(c));
}

// The walk of a mask and a name together, from the start of both; with leadingStar, as if
// the mask began with a star.
int WalkMask(const char* mask, const char* name, bool leadingStar)
{
    if (leadingStar)
        while (*name && *name != '.')
            ++name;
    while (*mask) {
        if (*mask == '*') {
            while (*mask && *mask != '.')
                ++mask;
            while (*name && *name != '.')
                ++name;
        } else if (*mask == '?') {
            ++mask;
            if (*name)
                ++name;
        } else if (*name) {
            if (Lower(*mask) != Lower(*name))
                return 0;
            ++mask;
            ++name;
        } else if (*mask == '.') {
            ++mask;
        } else {
            return 0;
        }
    }
    return *name == 0;
}

// Whether [needle, needleEnd) occurs in [text, textEnd), without regard to case.
bool ContainsWithoutCase(const char* text, const char* textEnd, const char* needle, const char* needleEnd)
{
    const size_t length = static_cast<size_t>(needleEnd - needle);
    for (; static_cast<size_t>(textEnd - text) >= length; ++text) {
        size_t i = 0;
        while (i < length && Lower(text[i]) == Lower(needle[i]))
            ++i;
        if (i == length)
            return true;
    }
    return false;
}

const char* FirstDotOrEnd(const char* s)
{
    while (*s && *s != '.')
        ++s;
    return s;
}

}  // namespace

int MatchFileMask(const char* mask, const char* fileName)
{
    if (mask[0] == '<' && mask[1] == '*')
        return WalkMask(mask + 1, fileName, false);
    if (mask[0] == '<' && mask[1]) {
        // The text behind "<" up to the mask's first dot, somewhere in the name up to its
        // first dot; then the mask's own text from its first dot on, behind a star.
        const char* maskDot = FirstDotOrEnd(mask + 1);
        if (!ContainsWithoutCase(fileName, FirstDotOrEnd(fileName), mask + 1, maskDot))
            return 0;
        return WalkMask(maskDot, fileName, true);
    }
    return WalkMask(mask, fileName, false);
}

TFileScanner::TFileScanner(const TFileName& path, const String* type, int storeFirst, int recursive)
    : totalSize(0), numFiles(0), fileNameList(nullptr), nextIndex(0), storeFirst(0), current(nullptr),
      recursive(0)
{
    Reset(path, type, storeFirst, recursive);
}

TFileScanner::TFileScanner(const TList<TFileName>& paths, const String* type, int storeFirst, int recursive)
    : totalSize(0), numFiles(0), fileNameList(nullptr), nextIndex(0), storeFirst(0), current(nullptr),
      recursive(0)
{
    Reset(paths, type, storeFirst, recursive);
}

TFileScanner::TFileScanner(const TFileScanner& other)
    : totalSize(other.totalSize), numFiles(other.numFiles), fileNameList(other.fileNameList),
      nextIndex(other.nextIndex), storeFirst(other.storeFirst), fileTypes(other.fileTypes),
      foundFiles(other.foundFiles), paths(other.paths), current(nullptr), recursive(other.recursive)
{
    if (other.current)
        current = foundFiles.Element(other.foundFiles.FindIndexOfMember(*other.current));
}

TFileScanner& TFileScanner::operator=(const TFileScanner& other)
{
    if (this == &other)
        return *this;
    totalSize = other.totalSize;
    numFiles = other.numFiles;
    fileNameList = other.fileNameList;
    nextIndex = other.nextIndex;
    storeFirst = other.storeFirst;
    fileTypes = other.fileTypes;
    foundFiles = other.foundFiles;
    paths = other.paths;
    recursive = other.recursive;
    current = other.current ? foundFiles.Element(other.foundFiles.FindIndexOfMember(*other.current)) : nullptr;
    return *this;
}

TFileScanner::~TFileScanner() {}

void TFileScanner::Reset(const TFileName& path, const String* type, int storeFirst, int recursive)
{
    paths.DeleteAll();
    paths.Append(NewOnStringHeap<TFileName>(path));
    ResetState(type, storeFirst, recursive);
}

void TFileScanner::Reset(const TList<TFileName>& paths, const String* type, int storeFirst, int recursive)
{
    this->paths.Assign(paths, nullptr);
    ResetState(type, storeFirst, recursive);
}

void TFileScanner::ResetState(const String* type, int storeFirst, int recursive)
{
    this->storeFirst = storeFirst;
    this->recursive = recursive;
    current = nullptr;
    totalSize = 0;
    numFiles = 0;
    nextIndex = 0;
    foundFiles.DeleteAll();
    fileTypes.DeleteAll();
    if (type)
        AddFileType(*type);
}

void TFileScanner::AddFileType(const String& type)
{
    fileTypes.Append(NewOnStringHeap<TMask>(type));
}

void TFileScanner::AddFileType(const char* type)
{
    AddFileType(String(type));
}

void TFileScanner::SetFileNameList(TList<TFileName>& list)
{
    fileNameList = &list;
}

void TFileScanner::Run()
{
    OnStartRealScan();
    nextIndex = 0;
    for (const TFileName* path = paths.GetFirst(); path; path = paths.GetNext(path)) {
        if (!fileTypes.IsEmpty()) {
            // An empty directory would be the drive's root: nothing is scanned.
            if (!path->IsEmpty())
                ScanOneDirectory(*path, "*.*");
            continue;
        }
        // A path with its own masks: a directory, a backslash, and masks separated by "|".
        TList<TMask> pieces;
        ExplodeString(pieces, *path, "|", 0);
        TMask* first = pieces.GetFirst();
        if (!first)
            continue;
        // Without a backslash, the first piece is a mask for the current directory.
        const String directory = first->ContainsPath() ? String(first->GetPath()) : String(String::GetCurrentPath());
        *first = String(first->GetTitle(1));
        if (first->IsEmpty())
            continue;
        const bool searchesName = pieces.GetCount() == 1 && first->FindOneOf("*?") < 0;
        const String pattern = searchesName ? String(*first) : String("*.*");
        TMasksOfOnePath masks(fileTypes);
        fileTypes.Absorb(pieces, nullptr);
        ScanOneDirectory(directory, pattern);
    }
    OnEndRealScan();
    if (storeFirst)
        for (FoundFile* file = foundFiles.GetFirst(); file; file = foundFiles.GetNext(file))
            if (!OnFile(file->name, &file->data, nextIndex++))
                break;
}

int TFileScanner::Deliver(const TFileName& name, const WIN32_FIND_DATAA& data)
{
    if (fileNameList)
        fileNameList->Append(NewOnStringHeap<TFileName>(name));
    else if (storeFirst)
        foundFiles.Append(new FoundFile(name, data));
    else
        return OnFile(name, &data, nextIndex++);
    return 1;
}

int TFileScanner::ScanOneDirectory(const char* directory, const char* pattern)
{
    // One buffer of MAX_PATH bytes holds the directory and its separator, and behind them in
    // turn the search pattern, a file's name, a subdirectory's name. What does not fit is
    // passed over: a directory whose search does not fit is not entered at all.
    char path[MAX_PATH];
    const size_t directoryLength = std::strlen(directory);
    const bool addSeparator = directoryLength == 0 || directory[directoryLength - 1] != '\\';
    const size_t baseLength = directoryLength + (addSeparator ? 1 : 0);
    const size_t patternLength = std::strlen(pattern);
    if (baseLength + patternLength >= MAX_PATH)
        return 1;
    std::memcpy(path, directory, directoryLength);
    if (addSeparator)
        path[directoryLength] = '\\';
    char* const tail = path + baseLength;
    const size_t room = MAX_PATH - baseLength;
    std::memcpy(tail, pattern, patternLength + 1);

    OnDirectory(TFileName(directory));
    WIN32_FIND_DATAA data;
    TSearch files(FindFirstFileA(path, &data));
    if (!files.IsOpen())
        return 1;
    bool subdirectory = false;
    do {
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            if (data.cFileName[0] != '.')
                subdirectory = true;
        } else {
            const size_t nameLength = std::strlen(data.cFileName);
            TFileName name;
            for (const TMask* mask = fileTypes.GetFirst(); mask && nameLength < room; mask = fileTypes.GetNext(mask)) {
                if (!MatchFileMask(*mask, data.cFileName))
                    continue;
                if (name.IsEmpty()) {
                    std::memcpy(tail, data.cFileName, nameLength + 1);
                    name = path;
                }
                if (!Filter(name, &data))
                    break;
                totalSize += data.nFileSizeLow;
                ++numFiles;
                if (!Deliver(name, data))
                    return 0;
            }
        }
        if (UserBreak())
            return 0;
    } while (FindNextFileA(files.handle, &data));
    files.Close();
    if (!subdirectory || !recursive)
        return 1;

    // The subdirectories whose names fit the pattern, searched again.
    std::memcpy(tail, pattern, patternLength + 1);
    TSearch directories(FindFirstFileA(path, &data));
    if (!directories.IsOpen())
        return 1;
    do {
        if (UserBreak())
            return 0;
        const size_t nameLength = std::strlen(data.cFileName);
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && data.cFileName[0] != '.' && nameLength < room) {
            std::memcpy(tail, data.cFileName, nameLength + 1);
            if (!ScanOneDirectory(path, pattern))
                return 0;
        }
    } while (FindNextFileA(directories.handle, &data));
    return 1;
}

unsigned long TFileScanner::GetNumFile() const
{
    return static_cast<unsigned long>(foundFiles.GetCount());
}

String TFileScanner::GetFirst()
{
    current = foundFiles.GetFirst();
    return current ? String(current->name) : String();
}

String TFileScanner::GetNext()
{
    if (current)
        current = foundFiles.GetNext(current);
    return current ? String(current->name) : String();
}

int TFileScanner::UserBreak()
{
    return 0;
}

int TFileScanner::OnFile(const TFileName&, const WIN32_FIND_DATAA*, unsigned long)
{
    return 1;
}

int TFileScanner::Filter(const TFileName&, const WIN32_FIND_DATAA*)
{
    return 1;
}

void TFileScanner::OnDirectory(const TFileName&) {}

void TFileScanner::OnStartRealScan() {}

void TFileScanner::OnEndRealScan() {}
