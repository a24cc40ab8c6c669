#include <TarnPlatform.h>

#include <random>
#include <string>
#include <utility>

#include "StringTestSupport.h"

namespace {

// String exposes the protected helpers the tests need.
class PathString : public String {
public:
    using String::String;
    using String::AddCurrentDrive;
    using String::AddCurrentPath;
};

std::string CurrentDirectory()
{
    char buffer[MAX_PATH] = "";
    const DWORD n = GetCurrentDirectoryA(MAX_PATH, buffer);
    return std::string(buffer, n < MAX_PATH ? n : 0);
}

}  // namespace

TEST(FileName, ReadingTheParts)
{
    NoLeak noLeak;
    // name: path, title with and without extension, extension without and with point, drive.
    const struct {
        const char *name, *path, *title, *bareTitle, *extension, *pointed, *drive;
        int driveIndex, containsPath;
    } cases[] = {
        {"C:\\dir\\name.txt", "C:\\dir", "name.txt", "name", "txt", ".txt", "C", 2, 1},
        {"c:x", "c:x", "c:x", "c:x", "", "", "C", 2, 0},
        {"name.tar.gz", "name.tar.gz", "name.tar.gz", "name.tar", "gz", ".gz", "", -1, 0},
        {"C:\\a.b\\c", "C:\\a.b", "c", "c", "", "", "C", 2, 1},
        {".hidden", ".hidden", ".hidden", "", "hidden", ".hidden", "", -1, 0},
        {"", "", "", "", "", "", "", -1, 0},
        {"z:\\", "z:", "", "", "", "", "Z", 25, 1},
        {"1:\\x", "1:", "x", "x", "", "", "", -1, 1},
    };
    for (const auto& c : cases) {
        const String s(c.name);
        int index = -7;
        EXPECT_EQ(c.path, Text(s.GetPath())) << c.name;
        EXPECT_EQ(c.title, Text(s.GetTitle(1))) << c.name;
        EXPECT_EQ(c.bareTitle, Text(s.GetTitle(0))) << c.name;
        EXPECT_EQ(c.extension, Text(s.GetExtension(0))) << c.name;
        EXPECT_EQ(c.pointed, Text(s.GetExtension(1))) << c.name;
        EXPECT_EQ(c.drive, Text(s.GetDrive(&index))) << c.name;
        EXPECT_EQ(c.driveIndex, index) << c.name;
        EXPECT_EQ(c.driveIndex, s.GetDriveIndex()) << c.name;
        EXPECT_EQ(c.driveIndex >= 0, s.ContainsDrive() != 0) << c.name;
        EXPECT_EQ(c.containsPath, s.ContainsPath()) << c.name;
    }
    EXPECT_EQ("C", Text(String("c:").GetDrive()));
}

TEST(FileName, ChangingNames)
{
    NoLeak noLeak;
    const struct {
        const char* name;
        void (*edit)(String&);
        const char* expected;
    } cases[] = {
        {"name.txt", [](String& s) { s.RemoveExtension(nullptr); }, "name"},
        {"C:\\a.b\\c", [](String& s) { s.RemoveExtension(nullptr); }, "C:\\a.b\\c"},
        {".hidden", [](String& s) { s.RemoveExtension(nullptr); }, ".hidden"},
        {"a.b.c", [](String& s) { s.RemoveExtension(nullptr); }, "a.b"},
        {"name.txt", [](String& s) { s.RemoveExtension("*"); }, "name"},
        {"name.txt", [](String& s) { s.RemoveExtension("doc|x*"); }, "name"},
        {"name.htm", [](String& s) { s.RemoveExtension(" doc | HTML "); }, "name"},
        {"name.htm", [](String& s) { s.RemoveExtension(String("html")); }, "name"},
        {"name.html", [](String& s) { s.RemoveExtension("htm"); }, "name.html"},
        {"name.txt", [](String& s) { s.RemoveExtension(""); }, "name.txt"},
        {"name.", [](String& s) { s.RemoveExtension("doc"); }, "name"},
        {"name.", [](String& s) { s.RemoveExtension(""); }, "name."},
        {"C:\\d\\.x", [](String& s) { s.RemoveExtension("x"); }, "C:\\d\\"},
        {"name.doc", [](String& s) { s.SetExtension("txt", nullptr); }, "name.doc.txt"},
        {"name.doc", [](String& s) { s.SetExtension("txt", "doc"); }, "name.txt"},
        {"name.doc", [](String& s) { s.SetExtension("txt", "*"); }, "name.txt"},
        {"name.txt", [](String& s) { s.SetExtension("txt", "doc"); }, "name.txt"},
        {"name.", [](String& s) { s.SetExtension("txt", nullptr); }, "name.txt"},
        {"name", [](String& s) { s.SetExtension("txt", "doc"); }, "name.txt"},
        {"", [](String& s) { s.SetExtension("txt", nullptr); }, ".txt"},
        {"name.doc", [](String& s) { s.SetExtension("", "doc"); }, "name"},
        {"name.doc", [](String& s) { s.SetExtension(static_cast<const char*>(nullptr), "txt"); }, "name"},
        {"x.a", [](String& s) { s.SetExtension(String("b"), nullptr); }, "x.a.b"},
        {"\\dir\\x", [](String& s) { s.SetDrive(2); }, "C:\\dir\\x"},
        {"C:\\dir\\x", [](String& s) { s.SetDrive(String("D")); }, "D:\\dir\\x"},
        {"dir", [](String& s) { s.SetDrive(String("D")); }, "D:\\dir"},
        {"", [](String& s) { s.SetDrive(4); }, "E:\\"},
        // An index that names no letter leaves the text alone.
        {"C:\\x", [](String& s) { s.SetDrive(26).SetDrive(-1); }, "C:\\x"},
        {"C:\\x", [](String& s) { s.SetDrive(s.GetDrive()); }, "C:\\x"},
        {"C:\\x", [](String& s) { s.PrependVolumeName(String("\\\\server")); }, "\\\\server\\x"},
    };
    for (const auto& c : cases) {
        String s(c.name);
        c.edit(s);
        EXPECT_EQ(c.expected, Text(s)) << c.name;
    }

    // GetPathBelow splits off the first directory and leaves the object alone.
    String top("unchanged");
    const String below("\\a\\b\\c\\");
    EXPECT_EQ("b\\c", Text(below.GetPathBelow(&top)));
    EXPECT_EQ("a \\a\\b\\c\\", Text(top + " " + below));
    EXPECT_EQ("", Text(String("a").GetPathBelow(&top)));
    EXPECT_EQ("a", Text(top));
    EXPECT_EQ("", Text(String("\\\\").GetPathBelow(&top)));
    EXPECT_EQ("", Text(top));
    EXPECT_EQ("y", Text(String("x\\y").GetPathBelow()));

    // The seam has one backslash, whichever side brought it.
    const std::pair<TFileName, const char*> joined[] = {
        {TFileName("C:\\dir\\", "\\name.txt"), "C:\\dir\\name.txt"},
        {TFileName("C:\\dir", "name.txt"), "C:\\dir\\name.txt"},
        {TFileName(String("C:\\dir"), String("\\name.txt")), "C:\\dir\\name.txt"},
        {TFileName(String("C:\\dir\\"), "\\\\name.txt"), "C:\\dir\\\\name.txt"},
        {TFileName("C:\\dir", String("")), "C:\\dir\\"},
    };
    for (const auto& [name, expected] : joined)
        EXPECT_EQ(expected, Text(name));
}

TEST(FileName, CurrentDirectoryAndApplicationPath)
{
    NoLeak noLeak;
    const std::string current = CurrentDirectory();
    ASSERT_GT(current.size(), 2u);
    EXPECT_EQ(current, Text(String::GetCurrentPath()));
    const std::string drive(1, static_cast<char>(toupper(current[0])));
    EXPECT_EQ(drive, Text(String::GetCurrentDrive()));

    // Without a drive: a backslash takes the current drive, a bare name the current path; a
    // directory joined with a title lands at the drive's root.
    const std::pair<const char*, std::string> full[] = {
        {"\\dir\\x", drive + ":\\dir\\x"}, {"name", current + "\\name"}, {"c:name", "c:name"}};
    for (const auto& [name, expected] : full) {
        String s(name);
        s.EnsureFullFileName();
        EXPECT_EQ(expected, Text(s));
    }
    String s("dir");
    s.AppendTitleAndMakeFullFileName(String("x"));
    EXPECT_EQ(drive + ":\\dir\\x", Text(s));
    PathString p("");
    p.AddCurrentDrive();
    EXPECT_EQ(drive + ":\\", Text(p));
    PathString q("\\x");
    q.AddCurrentPath();
    EXPECT_EQ(current + "\\x", Text(q));

    // At a root the current path ends in a backslash, so a bare name gets two in a row.
    ASSERT_TRUE(SetCurrentDirectoryA("\\"));
    s = "name";
    s.EnsureFullFileName();
    EXPECT_EQ(Text(String::GetCurrentDrive()) + ":\\\\name", Text(s));
    ASSERT_TRUE(SetCurrentDirectoryA(current.c_str()));

    char module[1024];
    const DWORD n = GetModuleFileNameA(nullptr, module, sizeof module);
    const std::string directory = std::string(module, n).substr(0, std::string(module, n).rfind('\\'));
    EXPECT_EQ(directory, Text(TFileName::GetApplicationPath()));
    EXPECT_EQ(directory + "\\data\\x.txt", Text(TFileName::CreateApplicationRelative("data\\x.txt")));
    EXPECT_EQ(directory + "\\x.txt", Text(TFileName::CreateApplicationRelative(String("\\x.txt"))));
}

TEST(FileName, Summary)
{
    NoLeak noLeak;
    const String name("C:\\one\\two\\three\\name.txt"), shallow("C:\\name.txt");
    const std::pair<String, const char*> cases[] = {
        {String("C:\\a\\b.tx").GetSummary(10), "C:\\a\\b.tx"}, {String("dir\\name.txt").GetSummary(20), ""},
        {name.GetSummary(23), "C:\\one\\two\\...\\name.txt"}, {name.GetSummary(22), "C:\\...\\name.txt"},
        {name.GetSummary(14), "...\\name.txt"}, {name.GetSummary(10), "...\\nam..."}, {name.GetSummary(3), "..."},
        {name.GetSummary(2), ".."}, {name.GetSummary(1), "."},
        // No backslash above the title: the text stands until the later steps.
        {shallow.GetSummary(0), "C:\\name.txt"}, {shallow.GetSummary(10), "...\\nam..."},
    };
    for (const auto& [got, expected] : cases)
        EXPECT_EQ(expected, Text(got));

    // The result stays within every limit from 1 up, and ends in the title or in "...".
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        std::string text = "D:", title;
        for (int parts = 1 + int(random() % 6); parts > 0; --parts)
            text += "\\" + (title = std::string(1 + random() % 12, char('a' + random() % 26)));
        for (unsigned long limit = 1; limit < text.size() + 3; ++limit) {
            const std::string summary = Text(String(text.c_str()).GetSummary(limit));
            ASSERT_LE(summary.size(), limit) << text << " " << limit;
            const auto endsIn = [&](const std::string& end) {
                return summary.size() >= end.size() && summary.compare(summary.size() - end.size(), end.size(), end) == 0;
            };
            if (limit >= text.size()) {
                EXPECT_EQ(text, summary);
            } else if (limit >= 3) {
                EXPECT_TRUE(endsIn("...") || endsIn(title)) << text << " " << limit << " " << summary;
            }
        }
    }
}

TEST(FileName, RelativeAndAbsolute)
{
    NoLeak noLeak;
    const std::pair<String, const char*> cases[] = {
        {String::GetRelativeFileName("C:\\a\\b", "C:\\a\\c\\d.txt"), "..\\c\\d.txt"},
        {String::GetRelativeFileName("C:\\a", "c:\\A\\d.txt"), "d.txt"},
        {String::GetRelativeFileName("C:\\a", "D:\\a\\d.txt"), ""},
        {String::GetRelativeFileName("C:\\a\\b", "C:\\x"), "..\\..\\x"},
        // The title stays even where it equals the directory's next part.
        {String::GetRelativeFileName("C:\\a", "C:\\a"), "..\\a"}, {String::GetRelativeFileName("C:", "C:x"), "x"},
        {String::GetAbsoluteFileName("C:\\a\\b", "..\\c\\d.txt"), "C:\\a\\c\\d.txt"},
        {String::GetAbsoluteFileName("C:\\a\\b\\", ".\\x"), "C:\\a\\b\\.\\x"},
        {String::GetAbsoluteFileName("C:/a/b", "x/y"), "C:\\a\\b\\x\\y"},
        // More ".." than directories: the drive's root holds, as Windows resolves C:\.. to C:\.
        {String::GetAbsoluteFileName("C:\\a", "..\\..\\..\\x"), "C:\\x"},
        {String::GetAbsoluteFileName("C:\\a", "..\\.."), "C:"},
        // No directory at all: the tail alone.
        {String::GetAbsoluteFileName("", "..\\x"), "\\x"}, {String::GetAbsoluteFileName("", ""), ""},
    };
    for (const auto& [got, expected] : cases)
        EXPECT_EQ(expected, Text(got));

    // Round trips over generated names on one drive.
    std::mt19937 random(11);
    const char* words[] = {"a", "b", "Docs", "x.y", "long name", "z"};
    for (int round = 0; round < 500; ++round) {
        std::string directory = "C:", file = "C:";
        for (int shared = int(random() % 3); shared > 0; --shared) {
            const std::string w = words[random() % 6];
            directory += "\\" + w, file += "\\" + w;
        }
        for (int i = int(random() % 3); i > 0; --i)
            directory += std::string("\\") + words[random() % 6];
        for (int i = int(random() % 3); i > 0; --i)
            file += std::string("\\") + words[random() % 6];
        file += "\\title.txt";
        const String relative = String::GetRelativeFileName(directory.c_str(), file.c_str());
        EXPECT_EQ(file, Text(String::GetAbsoluteFileName(directory.c_str(), relative))) << directory << " " << file;
    }
}

TEST(FileName, ValidityAndListElement)
{
    NoLeak noLeak;
    for (const char* name : {"c:\\dir\\name.txt", "Z:\\a", "c:\\a b\\x.y.z", "C:\\*?"})
        EXPECT_TRUE(String(name).IsValidFileName()) << name;
    for (const char* name : {"c:\\dir\\", "c:", "dir\\name.txt", "c:\\a|b", "c:\\a/b", "c:\\a:b", "c:\\a<b",
                             "c:\\a>b", "c:\\a\"b", "c:\\\\a", "1:\\a", "c:a", "", " c:\\a", "c:\\a\\\\b"})
        EXPECT_FALSE(String(name).IsValidFileName()) << name;
    EXPECT_FALSE(String("c:\\a\0b", 0, 0, 6).IsValidFileName()) << "the match covers the whole length";

    // Compare ignores case whatever the mode says.
    TFileName a("C:\\Dir\\Name.TXT"), b("c:\\dir\\name.txt"), c("C:\\dir\\other");
    EXPECT_EQ(0, a.Compare(b, 1));
    {
        CaseSensitive mode(1);
        EXPECT_EQ(0, b.Compare(a, 0));
    }
    EXPECT_TRUE(b.Compare(c, 0) < 0 && c.Compare(a, 0) > 0);
    EXPECT_LT(TFileName("a_b").Compare(TFileName("a1"), 0), 0);

    // Clones come from the string heap and share the text; an owning list deletes them.
    TList<TFileName> list;
    for (const TFileName* f : {&c, &a, &b}) {
        TFileName* clone = static_cast<TFileName*>(f->CreateClone(nullptr));
        ASSERT_NE(nullptr, clone);
        EXPECT_EQ(f->c_str(), clone->c_str());
        EXPECT_TRUE(_stringHeap->Owns(clone));
        list.Append(clone);
    }
    EXPECT_EQ(1, list.FindIndexOfEqual(TFileName("C:\\DIR\\NAME.txt")));
    list.Sort();
    EXPECT_EQ("C:\\Dir\\Name.TXT", Text(*list.GetFirst()));
    EXPECT_EQ("C:\\dir\\other", Text(*list.GetLast()));
    // Assignment changes the text only.
    TFileName* first = list.GetFirst();
    TListElement* next = first->GetNext();
    *first = c;
    EXPECT_EQ(next, first->GetNext());
    *first = String("zz").Left(1);
    EXPECT_EQ("z", Text(*first));
    EXPECT_EQ(2u, RefOf(c)->refCount);
}
