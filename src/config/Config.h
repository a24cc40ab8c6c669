// TConfig: a tree of named text values in memory with a cursor, the current key. Every
// navigation and every access works relative to the cursor. Typed values are texts in the
// tree; the file form is a tab-indented text with brace lines, read by a reader that takes
// any bytes and gives every line a meaning.
//
// A TConfig belongs to one thread at a time. Tree operations report nothing: a missing key is
// a return value. Heap exhaustion throws the library's out-of-memory exception; reading a
// block that runs out of memory leaves the tree as it was.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"
#include "collections/StringItem.h"
#include "config/ConfigKey.h"
#include "text/FileName.h"
#include "text/TextString.h"

class TMemoryStream;

class COMMONTARN_API TConfig {
public:
    // Bit flags, fixed at construction; only operator= changes them, by taking the source's.
    // (mode & 6) is the compare mode of every child list; where it is not 0, keys enter their
    // group at their sorted place instead of at the end.
    enum Mode {
        eDuplicateGroups = 0x01,     // MoveDown always makes a new group
        eSortedByName = 0x02,
        eSortedGroupsFirst = 0x04,   // sorted, and groups before values
        eThrowOnLoadFailure = 0x08,  // a Load that fails throws
        eFileTimeStamp = 0x10,       // Load and Save keep the file's time in the group __System
    };
    typedef void (*KeyCopyHook)(TConfigKey& target, const TConfigKey& source);
    typedef void (*KeyReleaseHook)(TConfigKey& key);

    // An empty tree; auto-create on, auto-save off, no file name.
    explicit TConfig(const char* name, Mode mode = Mode(0));
    // The same with a file name and auto-save, then Load(file).
    TConfig(const char* name, const TFileName& file, int autoSave, Mode mode = Mode(0));
    // Deep copies: mode, settings, hooks and file name are taken over, the tree is cloned and
    // the cursor goes to the new root.
    TConfig(const TConfig& source);
    TConfig& operator=(const TConfig& source);
    // Frees every key, running the release hook on each.
    virtual ~TConfig();

    // Root against root by TConfigKey::Compare with mode 0.
    int operator==(const TConfig& other) const;
    int operator!=(const TConfig& other) const { return !(*this == other); }

    String GetName() const { return root.name; }
    const TFileName& GetFileName() const { return fileName; }
    Mode GetMode() const { return mode; }
    void SetAutoCreate(int on) { autoCreate = on; }
    void SetAutoSave(int on) { autoSave = on; }
    int HasWrongFileTime() const { return wrongFileTime; }
    // The copy hook runs for every key a copy makes, in place of copying its user word; the
    // release hook runs first thing in every key's destructor. Null for none.
    void SetKeyCopyHook(KeyCopyHook hook) { keyCopyHook = hook; }
    void SetKeyReleaseHook(KeyReleaseHook hook) { keyReleaseHook = hook; }
    TConfigKey* GetRoot() { return &root; }
    TConfigKey* GetCurrentKey() const { return current; }

    // Navigation; each gives the cursor after the move. A (name, index) pair names the key
    // name followed by index in decimal, or name alone for index 0.
    TConfigKey* MoveToRoot() { return current = &root; }
    TConfigKey* MoveTo(TConfigKey* key) { return current = key; }
    // To the parent; at the root the cursor stays.
    TConfigKey* MoveUp();
    // Into the first group of that name below the cursor, or, unless the mode has
    // eDuplicateGroups, that group. Missing: a new group when auto-create is on, otherwise
    // the cursor stays and is given.
    TConfigKey* MoveDown(const char* name, int index = 0);
    TConfigKey* MoveDown(const String& name, int index = 0) { return MoveDown(name.c_str(), index); }
    // Moves only into an existing group: gives it, or null with the cursor unmoved.
    TConfigKey* MoveDownIfExist(const char* name, int index = 0);
    // MoveDown(prefix, a random number below 2^31 - 1); a null prefix is "K_".
    TConfigKey* MoveDownUniqueKey(const char* prefix = nullptr);
    // A backslash first starts at the root; the pieces between backslashes, trimmed, go
    // through MoveDown in turn.
    TConfigKey* MoveAbsolute(const char* path);

    // The keys below the cursor. On a value key these find nothing, count 0 and change
    // nothing.
    // A new empty value key, also where one of that name exists; null on a value key.
    TConfigKey* CreateKey(const String& name);
    TConfigKey* GetFirstKey() const;
    // By position: a negative index gives the first, one past the last gives null.
    TConfigKey* GetKey(int index) const;
    unsigned long GetNumKeys() const;
    unsigned long GetNumValues() const;
    unsigned long GetNumGroups() const;
    int ExistKey(const char* name, int index = 0) const;
    int ExistValue(const char* name, int index = 0) const;
    int ExistGroup(const char* name, int index = 0) const;
    // Empties names, then one item per value key, sorted or in tree order; gives the count.
    unsigned long GetValueNames(TList<StringItem<TListElement>>& names, int sorted) const;
    // The first key of either kind with that name; none is no error.
    void DeleteKey(const char* name, int index = 0);
    // Null does nothing, nor does the root. A cursor at or below the key moves to its parent.
    void DeleteKey(TConfigKey* key);
    void DeleteKeys();
    // Cursor to the root, then every key goes.
    void Clear();
    // Below the cursor, every group that holds nothing, also once its own groups went.
    void DeleteEmptyGroups();
    // The key's keys go and it becomes a value, keeping its text; a cursor below it moves to it.
    void GroupToValue(TConfigKey* key);
    // A value becomes an empty group; a group stays as it is.
    void ValueToGroup(TConfigKey* key);

    // Walks below a group: each group with keys is walked before the action runs on the
    // group itself. The action may delete the key it is given.
    void ForEachKey(void (*action)(TConfigKey&, void*), void* argument);
    void ForEachKey(const TConfigKey* start, void (*action)(TConfigKey&, void*), void* argument);
    // In the order of ForEachKey, the first key that passes the test; the first form searches
    // the whole tree, whatever the cursor.
    TConfigKey* FindFirstThat(int (*test)(const TConfigKey&, const void*), const void* argument) const;
    TConfigKey* FindFirstThat(const TConfigKey* start, int (*test)(const TConfigKey&, const void*),
                              const void* argument) const;

    // Typed values among the keys below the cursor. Numbers are stored in decimal; a float
    // as "%.8f" and a double as "%.9f" without trailing zeros; texts as they are. A missing
    // key gives the default, made into text and read back, so a float or double default
    // comes back rounded to two decimals. Texts read into a type of 32 bits or less give the
    // same number on every target, as a 32-bit strtol or strtoul reads them, cut to the type.
    void SetValue(char v, const char* name, int index = 0);
    void SetValue(signed char v, const char* name, int index = 0);
    void SetValue(unsigned char v, const char* name, int index = 0);
    void SetValue(short v, const char* name, int index = 0);
    void SetValue(unsigned short v, const char* name, int index = 0);
    void SetValue(int v, const char* name, int index = 0);
    void SetValue(unsigned int v, const char* name, int index = 0);
    void SetValue(long v, const char* name, int index = 0);
    void SetValue(unsigned long v, const char* name, int index = 0);
    void SetValue(float v, const char* name, int index = 0);
    void SetValue(const double& v, const char* name, int index = 0);
    void SetValue(const String& v, const char* name, int index = 0);
    void SetValue(const char* v, const char* name, int index = 0);

    char GetValue(char defaultValue, const char* name, int index = 0) const;
    signed char GetValue(signed char defaultValue, const char* name, int index = 0) const;
    unsigned char GetValue(unsigned char defaultValue, const char* name, int index = 0) const;
    short GetValue(short defaultValue, const char* name, int index = 0) const;
    unsigned short GetValue(unsigned short defaultValue, const char* name, int index = 0) const;
    int GetValue(int defaultValue, const char* name, int index = 0) const;
    unsigned int GetValue(unsigned int defaultValue, const char* name, int index = 0) const;
    long GetValue(long defaultValue, const char* name, int index = 0) const;
    unsigned long GetValue(unsigned long defaultValue, const char* name, int index = 0) const;
    float GetValue(float defaultValue, const char* name, int index = 0) const;
    double GetValue(const double& defaultValue, const char* name, int index = 0) const;
    String GetValue(const String& defaultValue, const char* name, int index = 0) const;
    String GetValue(const char* defaultValue, const char* name, int index = 0) const;

    // GetValue limited to [smallest, greatest]; a value that is not a number gives smallest.
    char GetSure(char defaultValue, char smallest, char greatest, const char* name, int index = 0) const;
    signed char GetSure(signed char defaultValue, signed char smallest, signed char greatest, const char* name,
                        int index = 0) const;
    unsigned char GetSure(unsigned char defaultValue, unsigned char smallest, unsigned char greatest,
                          const char* name, int index = 0) const;
    short GetSure(short defaultValue, short smallest, short greatest, const char* name, int index = 0) const;
    unsigned short GetSure(unsigned short defaultValue, unsigned short smallest, unsigned short greatest,
                           const char* name, int index = 0) const;
    int GetSure(int defaultValue, int smallest, int greatest, const char* name, int index = 0) const;
    unsigned int GetSure(unsigned int defaultValue, unsigned int smallest, unsigned int greatest, const char* name,
                         int index = 0) const;
    long GetSure(long defaultValue, long smallest, long greatest, const char* name, int index = 0) const;
    unsigned long GetSure(unsigned long defaultValue, unsigned long smallest, unsigned long greatest,
                          const char* name, int index = 0) const;
    float GetSure(float defaultValue, float smallest, float greatest, const char* name, int index = 0) const;
    double GetSure(const double& defaultValue, const double& smallest, const double& greatest, const char* name,
                   int index = 0) const;

    // Bytes as upper-case hexadecimal, two digits a byte; a size of 0 or less stores an empty
    // text.
    void SetBinary(const void* data, int size, const char* name, int index = 0);
    // Half the length of the trimmed text; 0 for a missing key.
    long GetBinarySize(const char* name, int index = 0) const;
    // Decodes up to size bytes into target, zeroing the rest, and gives how many it decoded.
    // A missing or empty text copies size bytes of defaultData and gives size, or zeroes
    // target and gives 0 when defaultData is null. Both cases of a digit are read; a last
    // digit without its pair is ignored.
    long GetBinary(void* target, const void* defaultData, int size, const char* name, int index = 0) const;

    // The file form. GetAsBlock drops the empty groups below the cursor, writes the whole
    // tree into a block of NH_Heap::Default() that the caller frees with NH_Heap::FreeMem, and
    // leaves the cursor at the root. BuildFromBlock replaces the tree by what the block holds
    // (a null block does nothing), turns auto-create on, and leaves the cursor at the root;
    // when memory runs out it throws and the tree stays as it was.
    char* GetAsBlock(unsigned int* size);
    void BuildFromBlock(const char* block, unsigned int size);
    // The path of every value key below the root, names joined by backslashes, in the order
    // of ForEachKey; and back: a tree of empty values, a key for each line.
    unsigned long GetAsPathList(TList<StringItem<TListElement>>& list);
    void BuildFromPathList(const TList<StringItem<TListElement>>& list);

    // Reads the whole file and builds the tree from it; the file name of the configuration
    // stays. A file that cannot be read (missing, unreadable, no memory) leaves the tree as it
    // was, and throws only in eThrowOnLoadFailure mode: a char*, the address of an empty text.
    // An empty name does nothing. With eFileTimeStamp the cursor ends in the group __System,
    // made if missing, and HasWrongFileTime tells whether the stamp there differs from the
    // file's last-write time.
    void Load(const TFileName& file);
    // The file operations still to come with the file system operations of TFile.
    void Save(const TFileName& file, int throwOnError);
    void SaveAsPathList(const TFileName& file);
    void LoadFromPathList(const TFileName& file);

    // Holds the cursor from construction and puts it back at destruction; the key must still
    // exist then.
    class COMMONTARN_API TPathSaver {
    public:
        explicit TPathSaver(TConfig& config) : config(config), saved(config.current) {}
        ~TPathSaver() { config.current = saved; }
        TPathSaver(const TPathSaver&) = delete;
        TPathSaver& operator=(const TPathSaver&) = delete;

    private:
        TConfig& config;
        TConfigKey* saved;
    };

    // A position among the keys below the cursor.
    class COMMONTARN_API TKeyFinder {
    public:
        explicit TKeyFinder(const TConfig& config) : config(config), position(nullptr) {}
        // A null name starts at the first key; a name at the first key of that name, of
        // either kind, or, if there is none, where the position was. Then GetNext.
        TConfigKey* GetFirst(const char* name = nullptr);
        // The key at the position, the position moving on to its next sibling, whatever its
        // name; null at the end.
        TConfigKey* GetNext();

    private:
        const TConfig& config;
        TConfigKey* position;
    };

private:
    friend class TConfigKey;

    // Where a new key of the cursor goes: at its sorted place or at the end.
    int SortsKeys() const { return (mode & 6) != 0; }
    TConfigKey* FindGroup(const char* keyName) const;
    TConfigKey* FindValue(const char* keyName) const;
    TConfigKey* MoveDownTo(const char* keyName);
    // Stores text in the first value key of that name below the cursor, made if missing.
    void SetTheValue(const String& text, const char* keyName);
    // The text of the first value key of that name, or defaultText.
    String GetTheValue(const String& defaultText, const char* keyName) const;
    String GetTheValue(const String& defaultText, const char* name, int index) const;
    void SetTheValue(const String& text, const char* name, int index);
    // A line of the block being read, trimmed: a piece of the block, empty at its end.
    struct TLine {
        const char* text;
        unsigned int length;
    };
    // The reader: the next significant line with its look-ahead, and the groups.
    TLine GetNextLine(TMemoryStream& stream, int* opensGroup);
    static TLine NextRawLine(TMemoryStream& stream);
    static TLine NextSignificantLine(TMemoryStream& stream);
    void ReadGroup(TMemoryStream& stream);
    // The writer; a null group writes nothing.
    void WriteGroup(const TConfigKey* group, TMemoryStream& stream);
    // Unlinks key from its parent and deletes it.
    static void DeleteChild(TConfigKey* key);
    // Moves the cursor to key when it lies below key.
    void LeaveSubtree(TConfigKey* key);

    KeyCopyHook keyCopyHook;
    KeyReleaseHook keyReleaseHook;
    Mode mode;
    TConfigKey root;
    TConfigKey* current;
    int groupDepth;
    TLine pendingLine;
    TFileName fileName;
    int autoCreate;
    int autoSave;
    int wrongFileTime;
};

inline TConfig::Mode operator|(TConfig::Mode a, TConfig::Mode b)
{
    return TConfig::Mode(static_cast<int>(a) | static_cast<int>(b));
}
