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
        EXPECT_EQ(c.drive, Text(s.GetDrive(&index))) << c.name;
        EXPECT_TRUE(c.driveIndex == index && c.driveIndex == s.GetDriveIndex() && (c.driveIndex >= 0) == !!s.ContainsDrive());
        EXPECT_EQ(std::string(c.path) + "|" + c.title + "|" + c.bareTitle + "|" + c.extension + "|" + c.pointed,
                  Text(s.GetPath() + "|" + s.GetTitle(1) + "|" + s.GetTitle(0) + "|" + s.GetExtension(0) + "|" + s.GetExtension(1)));
        EXPECT_EQ(c.containsPath, s.ContainsPath()) << c.name;
    }
}

TEST(FileName, ChangingNames)
{
    NoLeak noLeak;
    // (name, list, result) of RemoveExtension, then of SetExtension with txt.
    const struct {
        const char *name, *list, *expected;
    } removals[] = {{"name.txt", nullptr, "name"}, {"C:\\a.b\\c", nullptr, "C:\\a.b\\c"}, {".hidden", nullptr, ".hidden"},
                    {"a.b.c", nullptr, "a.b"},      {"name.txt", "*", "name"},           {"name.txt", "doc|x*", "name"},
                    {"name.htm", " doc | HTML ", "name"}, {"name.html", "htm", "name.html"}, {"name.txt", "", "name.txt"},
                    {"name.", "doc", "name"},       {"name.", "", "name."},              {"C:\\d\\.x", "x", "C:\\d\\"}},
      settings[] = {{"name.doc", nullptr, "name.doc.txt"}, {"name.doc", "doc", "name.txt"}, {"name.doc", "*", "name.txt"},
                    {"name.txt", "doc", "name.txt"},       {"name.", nullptr, "name.txt"},  {"name", "doc", "name.txt"},
                    {"", nullptr, ".txt"}};
    for (const auto& c : removals)
        EXPECT_EQ(c.expected, Text(String(c.name).RemoveExtension(c.list))) << c.name << " " << (c.list ? c.list : "-");
    for (const auto& c : settings)
        EXPECT_EQ(c.expected, Text(String(c.name).SetExtension("txt", c.list))) << c.name << " " << (c.list ? c.list : "-");
    const std::pair<String, const char*> changed[] = {
        {String("name.htm").RemoveExtension(String("html")), "name"}, {String("name.doc").SetExtension("", "doc"), "name"},
        {String("name.doc").SetExtension(static_cast<const char*>(nullptr), "txt"), "name"},
        {String("x.a").SetExtension(String("b"), nullptr), "x.a.b"}, {String("\\dir\\x").SetDrive(2), "C:\\dir\\x"},
        {String("C:\\dir\\x").SetDrive(String("D")), "D:\\dir\\x"}, {String("dir").SetDrive(String("D")), "D:\\dir"},
        {String("").SetDrive(4), "E:\\"}, {String("C:\\x").SetDrive(26).SetDrive(-1), "C:\\x"},  // no such letter
        {String("C:\\x").SetDrive(String("C:\\x").GetDrive()), "C:\\x"},
        {String("C:\\x").PrependVolumeName(String("\\\\server")), "\\\\server\\x"},
        // The seam of a joined name has one backslash, whichever side brought it.
        {TFileName("C:\\dir\\", "\\name.txt"), "C:\\dir\\name.txt"}, {TFileName("C:\\dir", "name.txt"), "C:\\dir\\name.txt"},
        {TFileName(String("C:\\dir"), String("\\name.txt")), "C:\\dir\\name.txt"},
        {TFileName(String("C:\\dir\\"), "\\\\name.txt"), "C:\\dir\\\\name.txt"}, {TFileName("C:\\dir", String("")), "C:\\dir\\"},
    };
    for (const auto& [got, expected] : changed)
        EXPECT_EQ(expected, Text(got));

    // GetPathBelow splits off the first directory and leaves the object alone.
    const std::pair<String, std::string> below[] = {{"\\a\\b\\c\\", "b\\c|a"}, {"a", "|a"}, {"\\\\", "|"}};
    for (const auto& [name, expected] : below) {
        String top("unchanged");
        const String rest = name.GetPathBelow(&top);
        EXPECT_EQ(expected, Text(rest + "|" + top));
    }
    EXPECT_EQ("\\a\\b\\c\\", Text(below[0].first));
    EXPECT_EQ("y", Text(String("x\\y").GetPathBelow()));
}

TEST(FileName, CurrentDirectoryAndApplicationPath)
{
    NoLeak noLeak;
    char buffer[MAX_PATH] = "";
    const std::string current(buffer, GetCurrentDirectoryA(MAX_PATH, buffer)), drive(1, char(toupper(buffer[0])));
    ASSERT_GT(current.size(), 2u);
    EXPECT_EQ(current, Text(String::GetCurrentPath()));
    EXPECT_EQ(drive, Text(String::GetCurrentDrive()));
    // Without a drive: a backslash takes the current drive, a bare name the current path; a
    // directory joined with a title lands at the drive's root.
    const std::pair<const char*, std::string> full[] = {{"\\dir\\x", drive + ":\\dir\\x"}, {"name", current + "\\name"}, {"c:name", "c:name"}};
    for (const auto& [name, expected] : full) {
        String s(name);
        s.EnsureFullFileName();
        EXPECT_EQ(expected, Text(s));
    }
    String s("dir");
    s.AppendTitleAndMakeFullFileName(String("x"));
    PathString p(""), q("\\x");
    p.AddCurrentDrive(), q.AddCurrentPath();
    EXPECT_EQ(drive + ":\\dir\\x|" + drive + ":\\|" + current + "\\x", Text(s + "|" + p + "|" + q));
    // At a root the current path ends in a backslash, so a bare name gets two in a row.
    ASSERT_TRUE(SetCurrentDirectoryA("\\"));
    s = "name";
    s.EnsureFullFileName();
    EXPECT_EQ(Text(String::GetCurrentDrive()) + ":\\\\name", Text(s));
    ASSERT_TRUE(SetCurrentDirectoryA(current.c_str()));

    char module[1024];
    const std::string path(module, GetModuleFileNameA(nullptr, module, sizeof module)), directory = path.substr(0, path.rfind('\\'));
    EXPECT_EQ(directory, Text(TFileName::GetApplicationPath()));
    EXPECT_EQ(directory + "\\data\\x.txt", Text(TFileName::CreateApplicationRelative("data\\x.txt")));
    EXPECT_EQ(directory + "\\x.txt", Text(TFileName::CreateApplicationRelative(String("\\x.txt"))));
}

TEST(FileName, SummaryAndRelativeNames)
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
        {String::GetRelativeFileName("C:\\a\\b", "C:\\a\\c\\d.txt"), "..\\c\\d.txt"},
        {String::GetRelativeFileName("C:\\a", "c:\\A\\d.txt"), "d.txt"}, {String::GetRelativeFileName("C:\\a", "D:\\a\\d.txt"), ""},
        {String::GetRelativeFileName("C:\\a\\b", "C:\\x"), "..\\..\\x"},
        // The title stays even where it equals the directory's next part.
        {String::GetRelativeFileName("C:\\a", "C:\\a"), "..\\a"}, {String::GetRelativeFileName("C:", "C:x"), "x"},
        {String::GetAbsoluteFileName("C:\\a\\b", "..\\c\\d.txt"), "C:\\a\\c\\d.txt"},
        {String::GetAbsoluteFileName("C:\\a\\b\\", ".\\x"), "C:\\a\\b\\.\\x"},
        {String::GetAbsoluteFileName("C:/a/b", "x/y"), "C:\\a\\b\\x\\y"},
        // More ".." than directories: the drive's root holds, as Windows resolves C:\.. to C:\;
        // with no directory at all, the tail alone.
        {String::GetAbsoluteFileName("C:\\a", "..\\..\\..\\x"), "C:\\x"}, {String::GetAbsoluteFileName("C:\\a", "..\\.."), "C:"},
        {String::GetAbsoluteFileName("", "..\\x"), "\\x"}, {String::GetAbsoluteFileName("", ""), ""},
    };
    for (const auto& [got, expected] : cases)
        EXPECT_EQ(expected, Text(got));

    // Relative names round-trip over generated names on one drive.
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
    for (const char* name : {"c:\\dir\\", "c:", "dir\\name.txt", "c:\\a|b", "c:\\a/b", "c:\\a:b", "c:\\a<b", "c:\\a>b",
                             "c:\\a\"b", "c:\\\\a", "1:\\a", "c:a", "", " c:\\a", "c:\\a\\\\b"})
        EXPECT_FALSE(String(name).IsValidFileName()) << name;
    EXPECT_FALSE(String("c:\\a\0b", 0, 0, 6).IsValidFileName()) << "the match covers the whole length";

    // Compare ignores case whatever the mode says.
    TFileName a("C:\\Dir\\Name.TXT"), b("c:\\dir\\name.txt"), c("C:\\dir\\other");
    {
        CaseSensitive mode(1);
        EXPECT_TRUE(a.Compare(b, 1) == 0 && b.Compare(a, 0) == 0);
    }
    EXPECT_TRUE(b.Compare(c, 0) < 0 && c.Compare(a, 0) > 0 && TFileName("a_b").Compare(TFileName("a1"), 0) < 0);
    // Clones come from the string heap and share the text; an owning list deletes them.
    TList<TFileName> list;
    for (const TFileName* f : {&c, &a, &b}) {
        TFileName* clone = static_cast<TFileName*>(f->CreateClone(nullptr));
        ASSERT_TRUE(clone && f->c_str() == clone->c_str() && _stringHeap->Owns(clone));
        list.Append(clone);
    }
    EXPECT_EQ(1, list.FindIndexOfEqual(TFileName("C:\\DIR\\NAME.txt")));
    list.Sort();
    EXPECT_EQ("C:\\Dir\\Name.TXT|C:\\dir\\other", Text(*list.GetFirst() + "|" + *list.GetLast()));
    // Assignment changes the text only.
    TFileName* first = list.GetFirst();
    TListElement* next = first->GetNext();
    *first = c;
    *first = String("zz").Left(1);
    EXPECT_TRUE(next == first->GetNext() && Text(*first) == "z" && RefOf(c)->refCount == 2);
}
