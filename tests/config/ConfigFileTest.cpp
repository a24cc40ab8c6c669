// The file form: the writer's exact bytes, the reader's meaning of odd input, the path list,
// loading from files, and reading that runs out of memory.
#include "ConfigTestSupport.h"

#include "../files/FileTestSupport.h"

#include <vector>

using namespace ConfigTest;
using namespace std::string_literals;

TEST(ConfigFile, WorkedExampleIsExactAndReadsBackWithoutTheEmptyGroup)
{
    TConfig prefs("Prefs");
    prefs.SetValue(640, "Width");
    prefs.SetValue("Main", "Title");
    prefs.CreateKey("Flag");
    prefs.MoveDown("Sub");
    prefs.SetValue(1.5, "Ratio");
    prefs.MoveUp();
    prefs.MoveDown("Gone");
    prefs.MoveToRoot();
    TConfig withGone(prefs);

    const std::string block = Block(prefs);
    EXPECT_EQ(Crlf("Prefs\n{\n\tWidth=640\n\tTitle=Main\n\tFlag\n\tSub\n\t{\n\t\tRatio=1.5\n\t}\n}\n"), block);
    EXPECT_EQ(72u, block.size());

    TConfig loaded("Other");
    Read(loaded, block);
    EXPECT_TRUE(loaded != withGone);
    withGone.DeleteKey("Gone");
    EXPECT_TRUE(loaded == withGone);
}

// Each input is read into a tree named T, which is then written; the written form must read
// back to the same bytes, and the cursor ends at the root.
TEST(ConfigFile, ReaderGivesEveryInputItsMeaning)
{
    struct Case {
        const char* what;
        int mode;
        std::string input;
        const char* written;
    };
    const Case cases[] = {
        {"empty input", 0, "", "T\n{\n}\n"},
        {"LF ends, blanks, indentation, no last end", 0, "P\n{\n  a=1\n\n\t b \n}", "P\n{\n\ta=1\n\tb\n}\n"},
        {"CR ends", 0, "P\r{\ra=1\r}\r", "P\n{\n\ta=1\n}\n"},
        {"a zero byte ends a line", 0, "P\n{\na=1\0b=2\n}"s, "P\n{\n\ta=1\n\tb=2\n}\n"},
        {"an empty group goes, a bare key stays", 0, "P\n{\nE\n{\n}\nG\n{\nk\n}\n}\n",
         "P\n{\n\tG\n\t{\n\t\tk\n\t}\n}\n"},
        {"odd equal signs", 0, "P\n{\nFlag=\n=x\nName=a=b\n  key = value  \n}\n",
         "P\n{\n\tFlag\n\t=x\n\tName=a=b\n\tkey = value\n}\n"},
        {"} first ends reading", 0, "}\nP\n{\na=1\n}\n", "T\n{\n}\n"},
        {"{ after } is swallowed", 0, "P\n{\nG\n{\na=1\n}\n{\nb=2\n}\n", "P\n{\n\tG\n\t{\n\t\ta=1\n\t}\n\tb=2\n}\n"},
        {"cut off inside groups", 0, "P\n{\nG\n{\na=1\nH\n{\nb=2",
         "P\n{\n\tG\n\t{\n\t\ta=1\n\t\tH\n\t\t{\n\t\t\tb=2\n\t\t}\n\t}\n}\n"},
        {"a line before { is a group, a { first is a key", 0, "{\nP\n{\na=b\n{\nx\n}\n}\n",
         "P\n{\n\t{\n\ta=b\n\t{\n\t\tx\n\t}\n}\n"},
        {"outer lines, a second root, } outside ends", 0,
         "k=0\nP\n{\nG\n{\na=1\n}\n}\nQ\n{\nG\n{\nb=2\n}\nm\n}\n}\nz=9\n",
         "Q\n{\n\tk=0\n\tG\n\t{\n\t\ta=1\n\t\tb=2\n\t}\n\tm\n}\n"},
        {"values merge by name, bare keys do not", 0, "P\n{\nA=1\na=2\nk\nk\n}\n", "P\n{\n\tA=2\n\tk\n\tk\n}\n"},
        {"duplicate groups", TConfig::eDuplicateGroups, "P\n{\nG\n{\na=1\n}\ng\n{\nb=2\n}\n}\n",
         "P\n{\n\tG\n\t{\n\t\ta=1\n\t}\n\tg\n\t{\n\t\tb=2\n\t}\n}\n"},
        {"sorted by name", TConfig::eSortedByName, "P\n{\nb=1\nG\n{\nx\n}\na=2\n}\n",
         "P\n{\n\ta=2\n\tb=1\n\tG\n\t{\n\t\tx\n\t}\n}\n"},
        {"sorted, groups first", TConfig::eSortedGroupsFirst, "P\n{\nb=1\nG\n{\nx\n}\na=2\n}\n",
         "P\n{\n\tG\n\t{\n\t\tx\n\t}\n\ta=2\n\tb=1\n}\n"},
        {"an empty first line leaves { without a name", 0, "\r\n{\r\n\tk=1\r\n}\r\n", "T\n{\n\t{\n\tk=1\n}\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TConfig config("T", TConfig::Mode(c.mode));
        config.SetValue(1, "old");
        config.MoveDown("group");
        Read(config, c.input);
        EXPECT_EQ(config.GetRoot(), config.GetCurrentKey());
        const std::string written = Block(config);
        EXPECT_EQ(Crlf(c.written), written);
        TConfig again("T", TConfig::Mode(c.mode));
        Read(again, written);
        EXPECT_EQ(written, Block(again));
        again.BuildFromBlock(nullptr, 5);
        EXPECT_EQ(written, Block(again)) << "a null block changes nothing";
    }
}

TEST(ConfigFile, PathListBothWays)
{
    TConfig config("C");
    config.MoveAbsolute("a");
    config.SetValue(1, "b");
    config.MoveAbsolute("\\e\\f");  // no values below: no line
    config.MoveToRoot();
    config.SetValue(2, "c");
    TList<StringItem<TListElement>> list;
    ASSERT_EQ(2u, config.GetAsPathList(list));
    EXPECT_STREQ("a\\b", list.GetFirst()->c_str());
    EXPECT_STREQ("c", list.GetLast()->c_str());

    list.Append(new StringItem<TListElement>(" c "));
    list.Append(new StringItem<TListElement>("\\\\"));  // cuts into nothing
    TConfig built("C");
    built.BuildFromPathList(list);
    EXPECT_EQ(Crlf("C\n{\n\ta\n\t{\n\t\tb\n\t}\n\tc\n\tc\n}\n"), Block(built));
}

TEST(ConfigFile, LoadFromAFile)
{
    const Scratch scratch;
    const std::string example = Crlf("Prefs\n{\n\tWidth=640\n\tSub\n\t{\n\t\tRatio=1.5\n\t}\n}\n");
    scratch.Put("prefs.cfg", example);
    scratch.Put("empty.cfg", "");
    scratch.Put("stamped.cfg", Crlf("P\n{\n\t__System\n\t{\n\t\tconfig=0011223344556677\n\t}\n}\n"));

    TConfig config("X", scratch("prefs.cfg"), 0);
    EXPECT_EQ(example, Block(config));
    EXPECT_STREQ(scratch("prefs.cfg").c_str(), config.GetFileName().c_str());
    config.Load(scratch("missing.cfg"));
    config.Load(scratch("."));  // a directory
    config.Load(TFileName());
    EXPECT_EQ(example, Block(config)) << "what cannot be read changes nothing";
    config.Load(scratch("empty.cfg"));
    EXPECT_EQ(Crlf("Prefs\n{\n}\n"), Block(config));

    const TConfig::Mode strict = TConfig::eThrowOnLoadFailure;
    try {
        TConfig failing("F", scratch("missing.cfg"), 0, strict);
        ADD_FAILURE() << "no throw";
    } catch (char* text) {
        EXPECT_STREQ("", text);
    }
    TConfig quiet("Q", strict);
    EXPECT_NO_THROW(quiet.Load(TFileName()));
    EXPECT_NO_THROW(quiet.Load(scratch("empty.cfg")));

    // The stamp in a file that this library did not save does not match its time; a file
    // without one gets the group __System, where the cursor stays.
    for (const char* title : {"stamped.cfg", "prefs.cfg"}) {
        TConfig stamped("S", scratch(title), 0, TConfig::eFileTimeStamp);
        EXPECT_EQ(1, stamped.HasWrongFileTime()) << title;
        EXPECT_STREQ("__System", stamped.GetCurrentKey()->GetName().c_str());
        EXPECT_EQ(stamped.GetRoot(), stamped.GetCurrentKey()->GetParent());
    }
}

// Reading a block and loading a file fail at every allocation in turn, on either heap: each
// failure leaves the tree and its cursor as they were and leaks nothing. Reading throws the
// library's out-of-memory exception; Load drops it, and in eThrowOnLoadFailure mode throws
// the empty text.
TEST(ConfigFile, ReadingThatRunsOutOfMemoryChangesNothing)
{
    const Scratch scratch;
    const std::string input = Crlf("New\n{\n\ta=1\n\td=4\n\tG\n\t{\n\t\tb=2\n\t\tH\n\t\t{\n\t\t\tc\n\t\t}\n\t}\n}\n");
    scratch.Put("new.cfg", input);
    const TFileName file = scratch("new.cfg");
    for (const bool load : {false, true})
        for (NH_Heap* heap : {_stringHeap, &NH_Heap::Default()}) {
            TConfig config("Old", TConfig::eSortedByName | TConfig::eThrowOnLoadFailure);
            config.SetValue(7, "x");
            TConfigKey* cursor = config.MoveDown("Y");
            config.SetValue("y", "y");
            const TConfig before(config);
            const unsigned long strings = _stringHeap->GetBlocksInUse();
            const unsigned long blocks = NH_Heap::Default().GetBlocksInUse();
            unsigned long n = 1;
            for (;; ++n) {
                heap->FailAllocation(n);
                std::string thrown = "nothing";
                try {
                    load ? config.Load(file) : Read(config, input);
                } catch (const TException& e) {
                    thrown = e.message ? e.message->c_str() : "";
                } catch (char* text) {
                    thrown = "the empty text" + std::string(text);
                }
                heap->FailAllocation(0);
                if (thrown == "nothing")
                    break;
                // Checked once the exception, whose texts are on the string heap, is gone.
                ASSERT_EQ(load ? "the empty text" : "Out of memory", thrown);
                ASSERT_TRUE(config == before && config.GetCurrentKey() == cursor) << "allocation " << n;
                ASSERT_EQ(strings, _stringHeap->GetBlocksInUse());
                ASSERT_EQ(blocks, NH_Heap::Default().GetBlocksInUse());
            }
            EXPECT_TRUE(n > 1 || (!load && heap != _stringHeap)) << "only a block read in place needs no memory";
            EXPECT_EQ(input, Block(config));
        }
}
