#include "FileTestSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

namespace {

using F = TFile;
const int kRoutes[] = {0, F::eUseMMIO};

using Values = std::tuple<signed char, char, unsigned char, short, unsigned short, int, unsigned int, long,
                          unsigned long, float, double>;
const Values kValues(-2, 'A', 200, -2, 0xBEEF, -123456789, 0xDEADBEEFu, -2L, 0x89ABCDEFul, 1.5f, -2.5);
// kValues as little-endian bytes of their stated widths, then the texts and lines.
const std::string kWritten = std::string("\xFE" "A" "\xC8" "\xFE\xFF" "\xEF\xBE" "\xEB\x32\xA4\xF8"
                                         "\xEF\xBE\xAD\xDE" "\xFE\xFF\xFF\xFF" "\xEF\xCD\xAB\x89"
                                         "\x00\x00\xC0\x3F" "\x00\x00\x00\x00\x00\x00\x04\xC0" "hi",
                                         37) + std::string(1, '\0') + "xa\r\nb\nc\rde";

}  // namespace

TEST(File, TypedValuesAndLinesReadBackOnBothRoutes)
{
    Scratch dir;
    const TFileName name = dir("typed");
    for (int route : kRoutes) {
        TFile f(name, route | F::eCreate);
        std::apply([&](auto... value) { (f.Write(value), ...); }, kValues);
        f.WriteString("hi", 1), f.WriteString(String("x"), 0), f.WriteLine("a");
        f.WriteLine(String("b"), '\n', '\xFF'), f.Write("c\rde", 4);
        f.FlushBuffers();
        EXPECT_EQ(kWritten, dir.Bytes("typed")) << "route " << route;

        f.Open(name, route | F::eRead);
        Values values;
        std::apply([&](auto&... value) { (f.Read(&value), ...); }, values);
        EXPECT_TRUE(kValues == values);
        // Zero, CR LF, LF and a lone CR end lines; the last line has no end.
        for (const char* line : {"hi", "xa", "b", "c", "de", ""})
            EXPECT_STREQ(line, f.ReadLine().c_str()) << "route " << route;
        EXPECT_EQ(Message(18002, name), Catch([&] { f.Read(&std::get<0>(values)); }).text);

        // A CR as the very last byte: the look-ahead read finds the end.
        f.Close();
        dir.Put("typed", "z\r");
        f.Open(name, route | F::eRead);
        EXPECT_EQ(Message(18002, name), Catch([&] { f.ReadLine(); }).text);
    }
}

TEST(File, CountsPositionsAndSizes)
{
    Scratch dir;
    const TFileName name = dir("sized");
    for (int route : kRoutes) {
        dir.Put("sized", "0123456789");
        TFile f(name, route | F::eReadWrite);
        char buffer[16];
        long got = 99;
        EXPECT_TRUE(f.Read(buffer, 0, 1, &got) == 1 && got == 0);
        EXPECT_TRUE(f.Read(buffer, -1, 0, &got) == 0 && got == -1);
        EXPECT_EQ(Message(18002, name), Catch([&] { f.Read(buffer, -5); }).text);
        EXPECT_EQ(3, f.Seek(3));
        EXPECT_EQ(10, f.GetSize());
        EXPECT_EQ(3, f.GetPosition()) << "the size is read without moving";
        EXPECT_TRUE(f.Read(buffer, 10, 0, &got) == 0 && got == 7 && std::string(buffer, 7) == "3456789");
        EXPECT_EQ(-1, f.Seek(-20, F::eFromCurrent, 0));
        EXPECT_EQ(Message(18004), Catch([&] { f.Seek(-1, F::eFromStart, 1); }).text);
        EXPECT_EQ(8, f.Seek(-2, F::eFromCurrent));
        if (route) {
            // Resizing is for the system route; on the other it fails as for a bad handle.
            EXPECT_EQ(Message(18005), Catch([&] { f.SetSize(4); }).text);
            continue;
        }
        f.SetSize(4);
        EXPECT_EQ(4, f.GetPosition());
        EXPECT_EQ(Message(18005), Catch([&] { f.SetSize(-1); }).text);
        EXPECT_EQ("0123", dir.Bytes("sized"));
    }
}

TEST(File, OpenFlagsDefaultsAndCloseActions)
{
    Scratch dir;
    TFile f;
    f.Open(dir("a"), F::eCreate | F::eThreadSafe);
    EXPECT_EQ(F::eCreate | F::eThreadSafe | F::eReadWrite | F::eShareRead, f.GetOpenFlags());
    EXPECT_EQ(nullptr, f.GetLock()) << "only the naming constructors make the lock";
    f.Open(dir("b"), F::eCreate);
    EXPECT_TRUE(TFile(dir("a"), F::eRead | F::eShareNone).IsOpen()) << "a second Open closes the first file";
    TFile missing(dir("none"), F::eRead | F::eNoThrow | F::eThreadSafe);
    EXPECT_FALSE(missing.IsOpen());
    EXPECT_NE(nullptr, missing.GetLock());

    // Either delete flag on either route: the file goes at Close; mmio cannot delete by
    // itself, so its open turns the system's flag into the library's.
    const struct {
        int flags;
        long kept;
    } deleting[] = {
        {F::eOsDeleteOnClose, F::eOsDeleteOnClose},
        {F::eUseMMIO | F::eOsDeleteOnClose, F::eDeleteOnClose},
        {F::eDeleteOnClose, F::eDeleteOnClose},
        {F::eUseMMIO, F::eDeleteOnClose},  // by SetDeleteOnClose
    };
    for (const auto& c : deleting) {
        TFile d(dir("gone"), c.flags | F::eCreate);
        d.Write("data", 4);
        if (!d.ShouldBeDeletedOnClose())
            d.SetDeleteOnClose();
        EXPECT_EQ(c.kept, d.GetOpenFlags() & (F::eOsDeleteOnClose | F::eDeleteOnClose));
        d.Close();
        EXPECT_FALSE(F::Exist(dir("gone"), F::eAnyType)) << c.flags;
    }
    {
        // What is to be deleted is empty when its handle closes: here another handle keeps it.
        TFile d(dir("kept"), F::eCreate | F::eShareAll | F::eDeleteOnClose);
        d.Write("data", 4);
        TFile other(dir("kept"), F::eRead | F::eShareAll);
        d.Close();
        EXPECT_EQ(0, other.GetSize());
    }

    // eForceWritable opens a read-only file for writing, and leaves any file read-only.
    dir.Put("ro", "x");
    dir.Put("rw", "x");
    F::SetAttributes(dir("ro"), F::eAttrReadOnly, 1);
    TFile(dir("ro"), F::eReadWrite | F::eForceWritable).Write('y');
    TFile(dir("rw"), F::eRead | F::eForceWritable).Close();
    EXPECT_EQ("y", dir.Bytes("ro"));
    EXPECT_TRUE(F::IsWriteProtected(dir("ro")) && F::IsWriteProtected(dir("rw")));

    // eTempName makes a new file in the directory, and implies eCreate.
    const TFileName directory((dir.windows + "\\").c_str());
    TFile first(directory, F::eTempName);
    TFile second(directory, F::eTempName | F::eUseMMIO);
    EXPECT_EQ(dir.windows + "\\XX0.$$$", first.GetName().c_str());
    EXPECT_EQ(dir.windows + "\\XX1.$$$", second.GetName().c_str());
    EXPECT_TRUE(second.GetOpenFlags() & F::eCreate);
}

TEST(File, FailuresCarryTheirMessagesAndCodes)
{
    constexpr unsigned long kAny = ~0ul;  // some code other than 0
    Scratch dir;
    dir.Put("held", "x");
    dir.Put("ro", "x");
    F::SetAttributes(dir("ro"), F::eAttrReadOnly, 1);
    TFile held(dir("held"), F::eRead | F::eShareNone);
    TFile closed;
    char byte;
    const TFileName overlong((dir.windows + "\\" + std::string(2000, 'n')).c_str());
    const struct {
        std::function<void()> action;
        std::string text;
        unsigned long code;
    } cases[] = {
        {[&] { TFile(dir("none"), F::eRead); }, Message(18000, dir("none")), ERROR_FILE_NOT_FOUND},
        {[&] { TFile(dir("none\\x"), F::eCreate); }, Message(18016, dir("none\\x")), ERROR_PATH_NOT_FOUND},
        {[&] { TFile(dir("held"), F::eCreate); }, Message(18025, dir("held")), ERROR_SHARING_VIOLATION},
        {[&] { TFile(dir.windows.c_str(), F::eRead); }, Message(18000, dir.windows.c_str()), ERROR_ACCESS_DENIED},
        {[&] { TFile(dir("a|b"), F::eCreate); }, Message(18016, dir("a|b")), ERROR_INVALID_NAME},
        {[&] { TFile(TFileName(), F::eRead); }, Message(18000), kAny},
        {[&] { TFile(overlong, F::eRead); }, Message(18000, overlong), kAny},
        {[&] { TFile(dir("none"), F::eTempName); }, Message(18008), 0},
        {[&] { closed.Read(&byte); }, Message(18002), ERROR_INVALID_HANDLE},
        {[&] { closed.Write(byte); }, Message(18003), ERROR_INVALID_HANDLE},
        {[&] { closed.GetPosition(); }, Message(18004), ERROR_INVALID_HANDLE},
        {[&] { TFile(dir("w"), F::eCreate).Write("x", static_cast<unsigned long>(-1)); }, Message(18003),
         ERROR_INVALID_PARAMETER},
        {[&] { TFile(dir("ro"), F::eRead).Write(byte); }, Message(18003), ERROR_ACCESS_DENIED},
        {[&] { F::SetAttributes(dir("none"), F::eAttrNormal, 1); }, Message(18017), ERROR_FILE_NOT_FOUND},
        {[&] { F::Delete(dir("ro"), 1, 0); }, Message(18001), ERROR_ACCESS_DENIED},
    };
    for (const auto& c : cases) {
        const Thrown thrown = Catch(c.action);
        EXPECT_EQ(c.text, thrown.text);
        EXPECT_TRUE(c.code == kAny ? thrown.code != 0 : thrown.code == c.code) << c.text << ": " << thrown.code;
    }
    EXPECT_EQ(1023u, Message(18000, overlong).size()) << "the text is cut, not overrun";
}

TEST(File, ShareModesOfTwoOpens)
{
    Scratch dir;
    dir.Put("s", "data");
    const struct {
        int first, second;
        bool opens;
    } cases[] = {
        {F::eRead | F::eShareRead, F::eRead | F::eShareRead, true},
        {F::eRead | F::eShareRead, F::eReadWrite | F::eShareAll, false},
        {F::eWrite | F::eShareWrite, F::eWrite | F::eShareWrite, true},
        {F::eWrite | F::eShareWrite, F::eRead | F::eShareAll, false},
        {F::eRead | F::eShareNone, F::eRead | F::eShareAll, false},
        {F::eRead | F::eShareNone, F::eQueryOnly | F::eShareAll, true},  // no data access, no conflict
        // Two share bits: all sharing on the system route, the first bit on the mmio route.
        {F::eRead | F::eShareRead | F::eShareWrite, F::eWrite | F::eShareAll, true},
        {F::eUseMMIO | F::eRead | F::eShareRead | F::eShareWrite, F::eWrite | F::eShareAll, false},
        {F::eUseMMIO | F::eWrite | F::eShareWrite, F::eWrite | F::eShareAll, true},
        {F::eUseMMIO | F::eRead | F::eShareAll, F::eReadWrite | F::eShareAll, true},
        {F::eUseMMIO | F::eRead | F::eShareNone, F::eRead | F::eShareAll, false},
    };
    for (const auto& c : cases) {
        TFile first(dir("s"), c.first);
        TFile second(dir("s"), c.second | F::eNoThrow);
        EXPECT_EQ(c.opens, second.IsOpen() != 0) << std::hex << c.first << " then " << c.second;
    }
}

TEST(File, ExistenceAttributesDeletionAndTemporaryNames)
{
    Scratch dir;
    dir.Put("f", "x");
    std::filesystem::create_directory(dir.host / "d");
    const struct {
        TFileName name;
        int file, directory, any;
    } exist[] = {{dir("f"), 1, 0, 1}, {dir("d"), 0, 1, 1}, {dir("none"), 0, 0, 0}, {TFileName(), 0, 0, 0}};
    for (const auto& c : exist)
        EXPECT_TRUE(F::Exist(c.name, F::eFile) == c.file && F::Exist(c.name, F::eDirectory) == c.directory &&
                    F::Exist(c.name, F::eAnyType) == c.any) << c.name.c_str();
    EXPECT_EQ(F::eAttrDirectory, F::GetAttributes(dir("d")) & F::eAttrDirectory);
    EXPECT_EQ(F::kAttrFailure, F::GetAttributes(dir("none")));

    // What is not a file counts as deleted and stays as it is.
    EXPECT_TRUE(F::Delete(dir("d"), 1, 1) && F::Delete(dir("none"), 1, 1) && F::Exist(dir("d"), F::eDirectory));
    // A read-only file goes only by force.
    EXPECT_TRUE(F::SetAttributes(dir("f"), F::eAttrReadOnly, 1) && F::IsWriteProtected(dir("f")));
    EXPECT_EQ(0, F::Delete(dir("f"), 0, 0));
    EXPECT_EQ(1, F::Delete(dir("f"), 0, 1));
    EXPECT_FALSE(F::Exist(dir("f"), F::eAnyType));

    const TFileName withSeparator((dir.windows + "\\d\\").c_str());
    EXPECT_EQ(dir.windows + "\\d\\XX0.$$$", F::GetTempName(withSeparator).c_str());
    dir.Put("d/XX0.$$$", "");
    EXPECT_EQ(dir.windows + "\\d\\XX1.$$$", F::GetTempName(withSeparator).c_str());
}

TEST(File, LocksOverlappedReadsAndAttributesOfTheHandle)
{
    Scratch dir;
    dir.Put("l", "0123456789");
    TFile a(dir("l"), F::eReadWrite | F::eShareAll);
    TFile b(dir("l"), F::eRead | F::eShareAll);
    a.Lock(2, 4);
    EXPECT_FALSE(LockFile(b.GetHandle(), 5, 0, 1, 0)) << "the range is held";
    EXPECT_TRUE(LockFile(b.GetHandle(), 6, 0, 1, 0));
    a.Unlock(2, 4);
    EXPECT_TRUE(LockFile(b.GetHandle(), 5, 0, 1, 0));
    EXPECT_NE(0u, a.GetAttributes() & (F::eAttrNormal | F::eAttrArchive));
    a.Flush();
    b.Close();  // with its locks

    HANDLE event = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    TFile overlapped(dir("l"), F::eRead | F::eShareAll | F::eOverlapped);
    char got[4] = {};
    overlapped.ReadAsync(got, 4, 6, event);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 10000));
    EXPECT_EQ("6789", std::string(got, 4));
    overlapped.ReadAsync(got, 2, 0, event);
    overlapped.Close();  // waits for the read under way
    EXPECT_EQ("01", std::string(got, 2));
    // A read that cannot start is over at once: nobody waits for ever. The mmio route has no
    // system handle for it, nor for the attributes.
    TFile mmio(dir("l"), F::eUseMMIO | F::eRead | F::eShareAll);
    mmio.ReadAsync(got, 4, 0, event);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 0));
    EXPECT_EQ(F::kAttrFailure, mmio.GetAttributes());
    CloseHandle(event);
}
