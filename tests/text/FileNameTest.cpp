#include <CommonTarn.h>
#include <TarnPlatform.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "StringTestSupport.h"

namespace {

std::string Text(const String& s)
{
    return std::string(s.c_str(), s.length());
}

std::string Text(const SubString& s)
{
    return Text(String(s));
}

// String exposes the protected helpers the tests need.
class PathString : public String {
public:
    using String::String;
    using String::AddCurrentDrive;
    using String::AddCurrentPath;
    using String::operator=;
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
    const String name("C:\\dir\\name.txt");
    EXPECT_EQ("C:\\dir", Text(name.GetPath()));
    EXPECT_EQ("name.txt", Text(name.GetTitle(1)));
    EXPECT_EQ("name", Text(name.GetTitle(0)));
    EXPECT_EQ("txt", Text(name.GetExtension(0)));
    EXPECT_EQ(".txt", Text(name.GetExtension(1)));
    int index = -7;
    EXPECT_EQ("C", Text(name.GetDrive(&index)));
    EXPECT_EQ(2, index);
    EXPECT_EQ(2, name.GetDriveIndex());
    EXPECT_TRUE(name.ContainsPath());

    const String bare("c:x");
    EXPECT_TRUE(bare.ContainsDrive());
    EXPECT_FALSE(bare.ContainsPath());
    EXPECT_EQ("C", Text(bare.GetDrive()));

    const String plain("name.tar.gz");
    EXPECT_EQ("name.tar.gz", Text(plain.GetPath()));
    EXPECT_EQ("name.tar.gz", Text(plain.GetTitle(1)));
    EXPECT_EQ("name.tar", Text(plain.GetTitle(0)));
    EXPECT_FALSE(plain.ContainsDrive());
    EXPECT_EQ(-1, plain.GetDriveIndex());
    EXPECT_EQ("", Text(plain.GetDrive(&index)));
    EXPECT_EQ(-1, index);

    // A point in a directory is no extension; a leading point is one for GetExtension.
    const String dotted("C:\\a.b\\c");
    EXPECT_EQ("", Text(dotted.GetExtension(1)));
    EXPECT_EQ("hidden", Text(String(".hidden").GetExtension(0)));
    EXPECT_EQ("", Text(String("").GetTitle(1)));
    EXPECT_FALSE(String("1:\\x").ContainsDrive());
    EXPECT_EQ(25, String("z:").GetDriveIndex());
}

TEST(FileName, Extensions)
{
    NoLeak noLeak;
    struct Case {
        const char* name;
        const char* list;
        const char* expected;
    };
    const Case removals[] = {
        {"name.txt", nullptr, "name"},       {"C:\\a.b\\c", nullptr, "C:\\a.b\\c"},
        {".hidden", nullptr, ".hidden"},     {"name.txt", "*", "name"},
        {"name.txt", "doc|x*", "name"},      {"name.htm", " doc | HTML ", "name"},
        {"name.html", "htm", "name.html"},   {"name.txt", "", "name.txt"},
        {"name.", "doc", "name"},            {"name.", "", "name."},
        {"C:\\d\\.x", "x", "C:\\d\\"},       {"a.b.c", nullptr, "a.b"},
    };
    for (const Case& c : removals) {
        String s(c.name);
        s.RemoveExtension(c.list);
        EXPECT_EQ(c.expected, Text(s)) << c.name << " " << (c.list ? c.list : "(null)");
    }

    const Case settings[] = {
        {"name.doc", nullptr, "name.doc.txt"}, {"name.doc", "doc", "name.txt"}, {"name.doc", "*", "name.txt"},
        {"name.txt", "doc", "name.txt"},       {"name.", nullptr, "name.txt"},  {"name", "doc", "name.txt"},
        {"", nullptr, ".txt"},
    };
    for (const Case& c : settings) {
        String s(c.name);
        s.SetExtension("txt", c.list);
        EXPECT_EQ(c.expected, Text(s)) << c.name << " " << (c.list ? c.list : "(null)");
    }
    String s("name.htm");
    EXPECT_EQ("name", Text(s.RemoveExtension(String("html"))));
    s = "name.doc";
    EXPECT_EQ("name", Text(s.SetExtension("", "doc")));
    s = "name.doc";
    EXPECT_EQ("name", Text(s.SetExtension(static_cast<const char*>(nullptr), "txt")));
    s = "x.a";
    EXPECT_EQ("x.a.b", Text(s.SetExtension(String("b"), nullptr)));
}

TEST(FileName, ChangingDriveAndPath)
{
    NoLeak noLeak;
    String s("\\dir\\x");
    EXPECT_EQ("C:\\dir\\x", Text(s.SetDrive(2)));
    EXPECT_EQ("D:\\dir\\x", Text(s.SetDrive(String("D"))));
    s = "dir";
    EXPECT_EQ("D:\\dir", Text(s.SetDrive(String("D"))));
    s = "";
    EXPECT_EQ("E:\\", Text(s.SetDrive(4)));
    EXPECT_EQ(4, s.GetDriveIndex());
    // An index that names no letter leaves the text alone.
    s = "C:\\x";
    EXPECT_EQ("C:\\x", Text(s.SetDrive(26)));
    EXPECT_EQ("C:\\x", Text(s.SetDrive(-1)));
    EXPECT_EQ("\\\\server\\x", Text(s.PrependVolumeName(String("\\\\server"))));
    s = "C:\\x";
    EXPECT_EQ("C:\\x", Text(s.SetDrive(s.GetDrive())));

    String top("unchanged");
    const String below("\\a\\b\\c\\");
    EXPECT_EQ("b\\c", Text(below.GetPathBelow(&top)));
    EXPECT_EQ("a", Text(top));
    EXPECT_EQ("\\a\\b\\c\\", Text(below));
    EXPECT_EQ("", Text(String("a").GetPathBelow(&top)));
    EXPECT_EQ("a", Text(top));
    EXPECT_EQ("", Text(String("\\\\").GetPathBelow(&top)));
    EXPECT_EQ("", Text(top));
    EXPECT_EQ("y", Text(String("x\\y").GetPathBelow()));

    // The seam has one backslash, whichever side brought it.
    EXPECT_EQ("C:\\dir\\name.txt", Text(TFileName("C:\\dir\\", "\\name.txt")));
    EXPECT_EQ("C:\\dir\\name.txt", Text(TFileName("C:\\dir", "name.txt")));
    EXPECT_EQ("C:\\dir\\name.txt", Text(TFileName(String("C:\\dir"), String("\\name.txt"))));
    EXPECT_EQ("C:\\dir\\\\name.txt", Text(TFileName(String("C:\\dir\\"), "\\\\name.txt")));
    EXPECT_EQ("C:\\dir\\", Text(TFileName("C:\\dir", String(""))));
}

TEST(FileName, CurrentDirectory)
{
    NoLeak noLeak;
    const std::string current = CurrentDirectory();
    ASSERT_GT(current.size(), 2u);
    EXPECT_EQ(current, Text(String::GetCurrentPath()));
    const std::string drive(1, static_cast<char>(toupper(current[0])));
    EXPECT_EQ(drive, Text(String::GetCurrentDrive()));

    // Without a drive: a backslash takes the current drive, a bare name the current path; a
    // directory joined with a title lands at the drive's root.
    String s("\\dir\\x");
    s.EnsureFullFileName();
    EXPECT_EQ(drive + ":\\dir\\x", Text(s));
    s = "name";
    s.EnsureFullFileName();
    EXPECT_EQ(current + "\\name", Text(s));
    s = "c:name";
    s.EnsureFullFileName();
    EXPECT_EQ("c:name", Text(s));
    s = "dir";
    s.AppendTitleAndMakeFullFileName(String("x"));
    EXPECT_EQ(drive + ":\\dir\\x", Text(s));
    PathString p("");
    p.AddCurrentDrive();
    EXPECT_EQ(drive + ":\\", Text(p));
    p = "\\x";
    p.AddCurrentPath();
    EXPECT_EQ(current + "\\x", Text(p));

    // At a root the current path ends in a backslash, so a bare name gets two in a row.
    ASSERT_TRUE(SetCurrentDirectoryA("\\"));
    s = "name";
    s.EnsureFullFileName();
    EXPECT_EQ(Text(String::GetCurrentDrive()) + ":\\\\name", Text(s));
    ASSERT_TRUE(SetCurrentDirectoryA(current.c_str()));
    EXPECT_EQ(current, Text(String::GetCurrentPath()));
}

TEST(FileName, ApplicationPath)
{
    NoLeak noLeak;
    char module[1024];
    const DWORD n = GetModuleFileNameA(nullptr, module, sizeof module);
    ASSERT_GT(n, 0u);
    const std::string full(module, n);
    const std::string directory = full.substr(0, full.rfind('\\'));
    EXPECT_EQ(directory, Text(TFileName::GetApplicationPath()));
    EXPECT_EQ(directory + "\\data\\x.txt", Text(TFileName::CreateApplicationRelative("data\\x.txt")));
    EXPECT_EQ(directory + "\\x.txt", Text(TFileName::CreateApplicationRelative(String("\\x.txt"))));
}

TEST(FileName, Summary)
{
    NoLeak noLeak;
    EXPECT_EQ("C:\\a\\b.tx", Text(String("C:\\a\\b.tx").GetSummary(10)));
    EXPECT_EQ("", Text(String("dir\\name.txt").GetSummary(20)));
    const String name("C:\\one\\two\\three\\name.txt");
    EXPECT_EQ("C:\\one\\two\\...\\name.txt", Text(name.GetSummary(23)));
    EXPECT_EQ("C:\\...\\name.txt", Text(name.GetSummary(22)));
    EXPECT_EQ("...\\name.txt", Text(name.GetSummary(14)));
    EXPECT_EQ("...\\nam...", Text(name.GetSummary(10)));
    EXPECT_EQ("..", Text(name.GetSummary(2)));
    EXPECT_EQ(".", Text(name.GetSummary(1)));
    EXPECT_EQ("...", Text(name.GetSummary(3)));
    // No backslash above the title: the text stands until the later steps.
    EXPECT_EQ("C:\\name.txt", Text(String("C:\\name.txt").GetSummary(0)));
    EXPECT_EQ("...\\nam...", Text(String("C:\\name.txt").GetSummary(10)));

    // The result stays within every limit from 1 up, and ends in the title or in "...".
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        std::string text = "D:", title;
        const int parts = 1 + int(random() % 6);
        for (int i = 0; i < parts; ++i) {
            title = std::string(1 + random() % 12, char('a' + random() % 26));
            text += "\\" + title;
        }
        const String s(text.c_str());
        for (unsigned long limit = 1; limit < text.size() + 3; ++limit) {
            const std::string summary = Text(s.GetSummary(limit));
            ASSERT_LE(summary.size(), limit) << text << " " << limit;
            if (limit >= text.size()) {
                EXPECT_EQ(text, summary);
            } else if (limit >= 3) {
                const bool cut = summary.substr(summary.size() - 3) == "...";
                const bool titled = summary.size() >= title.size() &&
                                    summary.compare(summary.size() - title.size(), title.size(), title) == 0;
                EXPECT_TRUE(cut || titled) << text << " " << limit << " " << summary;
            }
        }
    }
}

TEST(FileName, RelativeAndAbsolute)
{
    NoLeak noLeak;
    EXPECT_EQ("..\\c\\d.txt", Text(String::GetRelativeFileName("C:\\a\\b", "C:\\a\\c\\d.txt")));
    EXPECT_EQ("d.txt", Text(String::GetRelativeFileName("C:\\a", "c:\\A\\d.txt")));
    EXPECT_EQ("", Text(String::GetRelativeFileName("C:\\a", "D:\\a\\d.txt")));
    EXPECT_EQ("..\\..\\x", Text(String::GetRelativeFileName("C:\\a\\b", "C:\\x")));
    // The title stays even where it equals the directory's next part.
    EXPECT_EQ("..\\a", Text(String::GetRelativeFileName("C:\\a", "C:\\a")));
    EXPECT_EQ("x", Text(String::GetRelativeFileName("C:", "C:x")));

    EXPECT_EQ("C:\\a\\c\\d.txt", Text(String::GetAbsoluteFileName("C:\\a\\b", "..\\c\\d.txt")));
    EXPECT_EQ("C:\\a\\b\\.\\x", Text(String::GetAbsoluteFileName("C:\\a\\b\\", ".\\x")));
    EXPECT_EQ("C:\\a\\b\\x\\y", Text(String::GetAbsoluteFileName("C:/a/b", "x/y")));
    // More ".." than directories: the drive's root holds, as Windows resolves C:\.. to C:\.
    EXPECT_EQ("C:\\x", Text(String::GetAbsoluteFileName("C:\\a", "..\\..\\..\\x")));
    EXPECT_EQ("C:", Text(String::GetAbsoluteFileName("C:\\a", "..\\..")));
    // No directory at all: the tail alone.
    EXPECT_EQ("\\x", Text(String::GetAbsoluteFileName("", "..\\x")));
    EXPECT_EQ("", Text(String::GetAbsoluteFileName("", "")));

    // Round trips over generated names on one drive.
    std::mt19937 random(11);
    const char* words[] = {"a", "b", "Docs", "x.y", "long name", "z"};
    for (int round = 0; round < 500; ++round) {
        std::string directory = "C:", file = "C:";
        const int shared = int(random() % 3);
        for (int i = 0; i < shared; ++i) {
            const std::string w = words[random() % 6];
            directory += "\\" + w;
            file += "\\" + w;
        }
        for (int i = int(random() % 3); i > 0; --i)
            directory += std::string("\\") + words[random() % 6];
        for (int i = int(random() % 3); i > 0; --i)
            file += std::string("\\") + words[random() % 6];
        file += "\\title.txt";
        const String relative = String::GetRelativeFileName(directory.c_str(), file.c_str());
        EXPECT_EQ(file, Text(String::GetAbsoluteFileName(directory.c_str(), relative)))
            << directory << " " << file << " " << Text(relative);
    }
}

TEST(FileName, Validity)
{
    NoLeak noLeak;
    for (const char* name : {"c:\\dir\\name.txt", "Z:\\a", "c:\\a b\\x.y.z", "C:\\*?"})
        EXPECT_TRUE(String(name).IsValidFileName()) << name;
    for (const char* name : {"c:\\dir\\", "c:", "dir\\name.txt", "c:\\a|b", "c:\\a/b", "c:\\a:b", "c:\\a<b",
                             "c:\\a>b", "c:\\a\"b", "c:\\\\a", "1:\\a", "c:a", "", " c:\\a", "c:\\a\\\\b"})
        EXPECT_FALSE(String(name).IsValidFileName()) << name;
    // The match must cover the whole text, zero bytes included.
    EXPECT_FALSE(String("c:\\a\0b", 0, 0, 6).IsValidFileName());
}

TEST(FileName, ListElement)
{
    NoLeak noLeak;
    TFileName a("C:\\Dir\\Name.TXT"), b("c:\\dir\\name.txt"), c("C:\\dir\\other");
    EXPECT_EQ(0, a.Compare(b, 1));
    {
        CaseSensitive mode(1);
        EXPECT_EQ(0, b.Compare(a, 0));
    }
    EXPECT_LT(b.Compare(c, 0), 0);
    EXPECT_GT(c.Compare(a, 0), 0);
    EXPECT_LT(TFileName("a_b").Compare(TFileName("a1"), 0), 0);

    // Clones come from the string heap and share the text; an owning list deletes them.
    TList<TFileName> list;
    for (const TFileName* f : {&c, &a, &b}) {
        TFileName* clone = static_cast<TFileName*>(f->CreateClone(nullptr));
        ASSERT_NE(nullptr, clone);
        EXPECT_EQ(f->c_str(), clone->c_str());
        EXPECT_EQ(nullptr, clone->GetNext());
        list.Append(clone);
    }
    EXPECT_EQ(list.GetFirst()->Compare(c, 0), 0);
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
    EXPECT_EQ(2, RefOf(c)->refCount);
}
