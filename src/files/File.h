// TFile: one open file, reached by one of two routes chosen at open: the system's file
// handles (the default) or the buffered multimedia file interface (eUseMMIO). The static
// operations probe, delete and name files by their names.
//
// Offsets and sizes are 32-bit values. Typed values travel as raw little-endian bytes of a
// fixed width on every target (a long is 4 bytes), so a file written on one target reads
// back on the other. Failures throw a TException with a catalogue text and the system's
// error code; operations that take throwOnError answer by their result instead when it is 0.
#pragma once

#include "CommonTarnExport.h"
#include "files/FileObject.h"
#include "text/FileName.h"

class TCriticalSection;

class COMMONTARN_API TFile : public TFileObject {
public:
    // Open flags; the values are part of the interface.
    enum : int {
        eQueryOnly = 0x00000001,        // no data access; counts as an access bit
        eRead = 0x00000002,
        eWrite = 0x00000004,
        eReadWrite = 0x00000008,        // the default when no access bit is set
        eCreate = 0x00000010,           // create, replacing what is there
        eShareRead = 0x00000020,        // the default when no share bit is set
        eShareWrite = 0x00000040,
        eShareAll = 0x00000080,
        eShareNone = 0x00000100,
        eOsDeleteOnClose = 0x00000200,  // the system deletes the file as the handle closes
        eDeleteOnClose = 0x00000400,    // Close deletes the file
        eTempName = 0x00000800,         // the name is a directory in which to make a new name
        eForceWritable = 0x00001000,    // read-only cleared at open, set at close
        eThreadSafe = 0x00002000,       // the naming constructors make the object's lock
        eOverlapped = 0x00004000,       // for ReadAsync
        eUseMMIO = 0x00008000,          // the buffered multimedia route
        eNoThrow = 0x00010000,          // a failed open returns 0
        eNoBuffering = 0x01000000,
        eTemporaryFile = 0x02000000,
        eHiddenFile = 0x04000000,
        eWriteThrough = 0x08000000,
        eRandomAccess = 0x10000000,
        eSequentialScan = 0x20000000
    };
    // Library attribute flags; kAttrFailure stands for attributes that could not be read.
    enum : unsigned long {
        eAttrNormal = 0x01,
        eAttrReadOnly = 0x02,
        eAttrHidden = 0x04,
        eAttrSystem = 0x08,
        eAttrDirectory = 0x10,
        eAttrArchive = 0x20,
        kAttrFailure = 0xFFFFFFFFul
    };
    enum EType { eFile = 0, eDirectory = 1, eAnyType = 2 };
    enum ESeekOrigin { eFromStart = 0, eFromCurrent = 1, eFromEnd = 2 };
    enum EBackupMode { eNoBackup = 0, eAskBackup = 1, eAlwaysBackup = 2 };
    enum EDriveType {
        eNoDrive = -1,
        eUnknownDrive = 0,
        eFloppyDrive = 1,
        eRemovableDrive = 2,
        eFixedDrive = 3,
        eRemoteDrive = 4,
        eCdRomDrive = 5,
        eRamDrive = 6
    };

    // Closed.
    TFile();
    // Opens name; with eThreadSafe the object gets its own lock, also when eNoThrow let the
    // open fail.
    TFile(const TFileName& name, int flags);
    // As above, registered with manager; a file that the manager caches is opened without
    // system buffering and without the write-through and access hints.
    TFile(const TFileName& name, int flags, TFileCacheManager& manager);
    // The object owns its handle and lock: it is not copied.
    TFile(const TFile&) = delete;
    TFile& operator=(const TFile&) = delete;
    ~TFile() override;

    long GetFileSize() const override { return GetSize(); }

    // 1 when open; 0 only with eNoThrow. A file still open is closed first.
    int Open(const TFileName& name, int flags);
    // Nothing when closed. With releaseCacheBlocks 0 a cached file keeps its blocks.
    void Close(int releaseCacheBlocks = 1);
    int IsOpen() const { return handle != nullptr; }
    void* GetHandle() const { return handle; }
    long GetOpenFlags() const { return openFlags; }
    // The name of the file in use; for eTempName, the name that was found.
    const TFileName& GetName() const { return name; }
    // The object's own lock, taken by the readers that keep a seek and its read together;
    // null unless a naming constructor made it.
    TCriticalSection* GetLock() const { return lock; }

    // 1 when exactly count bytes came. Count 0 reads nothing and reports 0 bytes; a negative
    // count, a failure or a short read report what came (-1 for a failure) and throw message
    // 18002 with throwOnError, or return 0.
    int Read(void* buffer, long count, int throwOnError = 1, long* bytesRead = nullptr);
    // One value of the stated width; a short read throws.
    int Read(signed char* value);
    int Read(char* value);
    int Read(unsigned char* value);
    int Read(short* value);
    int Read(unsigned short* value);
    int Read(int* value);
    int Read(unsigned int* value);
    int Read(long* value);           // 4 bytes, sign-extended
    int Read(unsigned long* value);  // 4 bytes
    int Read(float* value);
    int Read(double* value);

    // All count bytes or an exception: message 18019 for a full disk, else 18003.
    void Write(const void* buffer, unsigned long count);
    void Write(signed char value);
    void Write(char value);
    void Write(unsigned char value);
    void Write(short value);
    void Write(unsigned short value);
    void Write(int value);
    void Write(unsigned int value);
    void Write(long value);           // the low 4 bytes
    void Write(unsigned long value);  // the low 4 bytes
    void Write(float value);
    void Write(const double& value);

    // Starts an overlapped read at offset on a file opened with eOverlapped; event is reset
    // now and set when the read is over. One read at a time: a second one, and Close, first
    // wait for the one under way.
    void ReadAsync(void* buffer, long count, unsigned long offset, void* event);

    // The new position; -1 on failure, which throws message 18004 with throwOnError.
    long Seek(long offset, ESeekOrigin origin = eFromStart, int throwOnError = 1);
    long SeekStart(int throwOnError = 1) { return Seek(0, eFromStart, throwOnError); }
    long SeekEnd(int throwOnError = 1) { return Seek(0, eFromEnd, throwOnError); }
    long GetPosition() { return Seek(0, eFromCurrent, 1); }
    // -1 on failure. The position does not move.
    long GetSize() const;
    // Cuts or extends the file and leaves the position at size; message 18019 or 18005.
    void SetSize(long size);

    // One line, ended by a zero byte, LF, CR or CR LF, which is consumed and not kept.
    String ReadLine();
    // The characters, and the terminating zero with withTerminator.
    void WriteString(const char* text, int withTerminator = 0);
    void WriteString(const String& text, int withTerminator = 0);
    // The characters, then firstEnd, then secondEnd unless it is 0xFF.
    void WriteLine(const char* text, char firstEnd = '\r', char secondEnd = '\n');
    void WriteLine(const String& text, char firstEnd = '\r', char secondEnd = '\n');

    // To the disk: the system's buffers, or the mmio buffer emptied.
    void FlushBuffers();

    // The operations below work on the system route only; on the mmio route and on a closed
    // file they fail as for an invalid handle. Their results are not reported.
    void Flush() const;
    void Lock(long offset, unsigned long size);
    void Unlock(long offset, unsigned long size);
    // Library attribute flags of the open file; kAttrFailure when they cannot be read.
    unsigned long GetAttributes() const;

    void SetDeleteOnClose() { openFlags |= eDeleteOnClose; }
    int ShouldBeDeletedOnClose() const { return static_cast<int>(openFlags & (eOsDeleteOnClose | eDeleteOnClose)); }

    // An empty name gives 0, a name whose attributes may not be read 1. eFile: is there and
    // no directory; eDirectory: a directory; any other type: is there.
    static int Exist(const TFileName& name, EType type = eFile);
    // Library attribute flags; kAttrFailure when they cannot be read.
    static unsigned long GetAttributes(const TFileName& name);
    // 1 when set; else 0, or message 18017 with throwOnError.
    static int SetAttributes(const TFileName& name, unsigned long attributes, int throwOnError = 0);
    // The read-only attribute; 0 when the attributes cannot be read.
    static int IsWriteProtected(const TFileName& name);
    // 1 when no file of that name is left: what is not there, and a directory, count as
    // deleted and stay as they are. With force a read-only file goes too. Else 0, or
    // message 18001 with throwOnError.
    static int Delete(const TFileName& name, int throwOnError = 0, int force = 0);
    // A name "XX<n>.$$$" in directory that no file has yet, n counting from 0; it is not
    // reserved. Message 18008 for a directory that is not there or cannot be searched.
    static TFileName GetTempName(const TFileName& directory);

private:
    // Each writes back the default it applies to flags.
    static unsigned long TranslateReadWriteFlags(int& flags);
    static unsigned long TranslateShareFlags(int& flags);
    static unsigned long TranslateOpenMode(int flags);
    static unsigned long TranslateSpecialFlags(int flags);
    static unsigned long TranslateMMIOFlags(int& flags);
    static unsigned long TranslateAttributeFlags(unsigned long attributes);
    static unsigned long TranslateOSAttributeFlags(unsigned long attributes);
    int TranslateSeekMode(int origin) const;

    int UsesMMIO() const { return (openFlags & eUseMMIO) != 0; }
    // The handle for the system's calls: null on the mmio route and when closed.
    void* SystemHandle() const { return UsesMMIO() ? nullptr : handle; }
    void MakeLockIfAsked();
    void WaitForAsyncRead();
    [[noreturn]] void ThrowReadFailure(unsigned long code) const;

    TFileName name;
    TCriticalSection* lock;
    long openFlags;
    void* handle;
    void* asyncRecord;  // the overlapped record of ReadAsync, made at its first call
};
