// TFileScanner: walks directories, and optionally their subdirectories, and hands each file
// that fits one of its masks to OnFile, to an outside list, or to a store that is replayed
// after the walk. A host derives from it and overrides what it needs; files come in the
// order the system enumerates them.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"
#include "collections/StringItem.h"
#include "text/FileName.h"

// A directory entry as the system's search gives it; TarnPlatform.h has its fields.
struct _WIN32_FIND_DATAA;
typedef struct _WIN32_FIND_DATAA WIN32_FIND_DATAA;

// Whether fileName fits mask, without regard to case. ? takes one character, or none at the
// end of the name; * takes the name up to its next dot or its end, and the mask up to its
// next dot: a star never crosses a dot. A dot of the mask fits the end of the name. So *.*
// takes names with one dot or none, and abc. takes abc. A mask <text.ext takes the names
// whose part before the first dot holds text, and whose rest fits *.ext; <* is *. Without a
// dot, <text takes the names without a dot that hold text. 1 or 0; allocates nothing.
COMMONTARN_API int MatchFileMask(const char* mask, const char* fileName);

class COMMONTARN_API TFileScanner {
public:
    // type, when not null, is the first mask. Without masks, each path carries its own: a
    // directory, a backslash and masks separated by "|", as in C:\dir\*.txt|*.doc.
    TFileScanner(const TFileName& path, const String* type, int storeFirst, int recursive);
    TFileScanner(const TList<TFileName>& paths, const String* type, int storeFirst, int recursive);
    // Copies every field; the stored files too, and the copy's position of GetNext is the
    // same place in its own store. The outside list is shared.
    TFileScanner(const TFileScanner& other);
    TFileScanner& operator=(const TFileScanner& other);
    virtual ~TFileScanner();

    // New paths, flags and first mask; the counts, the stored files and the masks go.
    void Reset(const TFileName& path, const String* type, int storeFirst, int recursive);
    void Reset(const TList<TFileName>& paths, const String* type, int storeFirst, int recursive);
    void AddFileType(const String& type);
    void AddFileType(const char* type);
    // Accepted files are appended to list, which the scanner does not own; this comes before
    // the store and OnFile.
    void SetFileNameList(TList<TFileName>& list);

    // Scans every path; each call adds to the counts and the store.
    void Run();

    // The stored files: their count, and their names from the first on; an empty text at the
    // end, and past it.
    unsigned long GetNumFile() const;
    String GetFirst();
    String GetNext();

protected:
    // Asked after each directory entry; not 0 abandons the scan of the current path.
    virtual int UserBreak();
    // Each accepted file, with its full name and its index among the files given so far in
    // this Run; 0 stops the scan of the current path.
    virtual int OnFile(const TFileName& name, const WIN32_FIND_DATAA* data, unsigned long index);
    // Each file that fits a mask, before it is accepted; 0 rejects it for that mask.
    virtual int Filter(const TFileName& name, const WIN32_FIND_DATAA* data);
    // On entering each directory, with the directory as it will be searched.
    virtual void OnDirectory(const TFileName& directory);
    virtual void OnStartRealScan();
    // After the walk, before the stored files go to OnFile.
    virtual void OnEndRealScan();

    // A stored file: its full name and its directory entry.
    class FoundFile;

    uint32_t totalSize;  // the low halves of the sizes of the accepted files
    uint32_t numFiles;   // accepted files, counted once per mask they fit
    TList<TFileName>* fileNameList;
    uint32_t nextIndex;
    int storeFirst;
    TList<StringItem<TListElement>> fileTypes;
    TList<FoundFile> foundFiles;
    TList<TFileName> paths;
    FoundFile* current;
    int recursive;

private:
    void ResetState(const String* type, int storeFirst, int recursive);
    // Gives one accepted file to its destination; 0 when OnFile asks to stop.
    int Deliver(const TFileName& name, const WIN32_FIND_DATAA& data);
    // The files of one directory that fit the masks, then the subdirectories whose names fit
    // pattern; 1 to go on, 0 to stop.
    int ScanOneDirectory(const char* directory, const char* pattern);
};
