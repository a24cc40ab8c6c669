// The key tree: navigation, keys at the cursor, walks, comparison, copies with their hooks,
// the name index of large groups, and trees nested too deep for any recursion.
#include "ConfigTestSupport.h"

#include "TarnPlatform.h"

#include <random>

using namespace ConfigTest;

namespace {

// The names from below the root to the cursor, joined by backslashes.
std::string Path(const TConfig& config)
{
    std::string path;
    for (const TConfigKey* k = config.GetCurrentKey(); k->GetParent(); k = k->GetParent())
        path = std::string(k->GetName().c_str()) + (path.empty() ? "" : "\\") + path;
    return path;
}

}  // namespace

TEST(ConfigTree, MoveAbsoluteAndMoveDown)
{
    const struct {
        const char* start;
        const char* path;
        int autoCreate;
        const char* end;
    } cases[] = {
        {"\\x", "a\\b", 1, "x\\a\\b"},   {"\\x", "\\a\\b", 1, "a\\b"}, {"\\x", " \\ A \\\t b \\\\", 1, "x\\A\\b"},
        {"\\x", "", 1, "x"},             {"\\x", "\\", 1, ""},         {"\\x", "\\a\\zz\\b", 0, "a\\b"},
        {"\\a", "zz", 0, "a"},           {"\\a", "B", 0, "a\\b"},
    };
    for (const auto& c : cases) {
        TConfig config("C");
        config.MoveAbsolute("a\\b");
        config.MoveAbsolute("\\x");
        config.MoveAbsolute(c.start);
        config.SetAutoCreate(c.autoCreate);
        config.MoveAbsolute(c.path);
        EXPECT_EQ(c.end, Path(config)) << c.start << " then " << c.path;
    }

    TConfig config("C");
    EXPECT_EQ(config.GetRoot(), config.MoveUp()) << "the root has no parent";
    config.SetValue(1, "v");
    TConfigKey* v = config.MoveDown("V");
    EXPECT_TRUE(v->IsGroup() && config.MoveUp()->GetNumChildren() == 2) << "a group beside the value";
    config.SetAutoCreate(0);
    EXPECT_EQ(config.GetRoot(), config.MoveDown("missing"));
    EXPECT_EQ(nullptr, config.MoveDownIfExist("missing"));
    EXPECT_EQ(v, config.MoveDownIfExist("v"));
    config.SetAutoCreate(1);
    EXPECT_STREQ("P_7", config.MoveDown("P_", 7)->GetName().c_str());
    EXPECT_EQ(0, std::strncmp("K_", config.MoveDownUniqueKey()->GetName().c_str(), 2));

    TConfig duplicates("D", TConfig::eDuplicateGroups);
    TConfigKey* first = duplicates.MoveDown("g");
    EXPECT_NE(first, (duplicates.MoveUp(), duplicates.MoveDown("G")));
    EXPECT_EQ(first, (duplicates.MoveUp(), duplicates.MoveDownIfExist("g"))) << "the first of the name";
}

TEST(ConfigTree, KeysAtTheCursor)
{
    TConfig config("C");
    config.MoveDown("k");
    config.MoveUp();
    config.SetValue(1, "K");
    config.CreateKey("b");
    config.CreateKey("a");
    EXPECT_TRUE(config.GetKey(4) == nullptr && config.GetKey(-1) == config.GetFirstKey());
    EXPECT_TRUE(config.GetNumKeys() == 4 && config.GetNumValues() == 3);
    TList<StringItem<TListElement>> names;
    EXPECT_EQ(3u, config.GetValueNames(names, 1));
    EXPECT_STREQ("K", names.GetFirst()->c_str()) << "byte order";

    config.DeleteKey("K");  // the group came first
    EXPECT_TRUE(config.ExistValue("k") && !config.ExistGroup("k"));
    config.DeleteKey(static_cast<TConfigKey*>(nullptr));
    config.DeleteKey(config.GetRoot());
    EXPECT_EQ(3u, config.GetNumKeys());

    // Deleting the cursor or a group above it moves the cursor out first.
    TConfigKey* a = config.MoveAbsolute("\\x\\a");
    config.DeleteKey(a);
    EXPECT_EQ("x", Path(config));
    config.MoveAbsolute("\\x\\b\\c");
    config.MoveToRoot();
    config.DeleteKey(config.MoveDown("x"));
    EXPECT_EQ("", Path(config));

    // A value as cursor has no keys and takes none.
    TConfigKey* value = config.GetFirstKey();
    config.MoveTo(value);
    EXPECT_EQ(nullptr, config.CreateKey("n"));
    config.SetValue(1, "n");
    EXPECT_TRUE(config.MoveDown("n") == value && config.GetNumKeys() == 0);

    // GroupToValue keeps the text and the user word; a cursor inside moves to the key.
    config.MoveToRoot();
    TConfigKey* g = config.MoveAbsolute("g\\h")->GetParent();
    g->SetText("text");
    g->SetUserData(77);
    config.GroupToValue(g);
    EXPECT_TRUE(g->IsValue() && g == config.GetCurrentKey() && g->GetText() == "text");
    config.ValueToGroup(g);
    EXPECT_TRUE(g->IsGroup() && g->GetNumChildren() == 0 && g->GetUserData() == 77);

    config.Clear();
    EXPECT_TRUE(config.GetCurrentKey() == config.GetRoot() && config.GetNumKeys() == 0);
}

TEST(ConfigTree, WalksFindersAndEmptyGroups)
{
    TConfig config("C");
    Read(config, "C\n{\nv1\nG\n{\nv2\nH\n{\nv3\n}\nv4\n}\nv5\n}\n");
    config.MoveDown("G");
    std::string seen;
    config.ForEachKey(config.GetRoot(), [](TConfigKey& k, void* p) { *static_cast<std::string*>(p) += k.GetName().c_str(); },
                      &seen);
    EXPECT_EQ("v1v2v3Hv4Gv5", seen);
    const TConfigKey* h = config.FindFirstThat([](const TConfigKey& k, const void*) { return int(k.IsGroup()); }, nullptr);
    EXPECT_STREQ("H", h->GetName().c_str()) << "from the root, whatever the cursor";

    // The action may delete the key it is given.
    config.ForEachKey([](TConfigKey& k, void*) {
        if (k.IsValue())
            k.GetOwner()->DeleteKey(&k);
    },
                      nullptr);
    EXPECT_EQ(1u, config.GetNumKeys());
    config.DeleteEmptyGroups();
    EXPECT_TRUE(config.GetNumKeys() == 0 && config.GetCurrentKey()->GetName() == "G") << "the cursor's group stays";
    config.MoveAbsolute("\\a\\b\\c");
    config.MoveToRoot();
    config.DeleteEmptyGroups();
    EXPECT_EQ(Crlf("C\n{\n\tv1\n\tv5\n}\n"), Block(config));
    EXPECT_FALSE(config.ExistGroup("a"));

    // A named GetFirst goes on through the following keys whatever their names; a name that
    // is missing leaves the position where it was.
    TConfig::TKeyFinder finder(config);
    EXPECT_STREQ("v1", finder.GetFirst("V1")->GetName().c_str());
    EXPECT_STREQ("v5", finder.GetNext()->GetName().c_str());
    EXPECT_TRUE(finder.GetNext() == nullptr && finder.GetFirst("none") == nullptr);
    finder.GetFirst();
    EXPECT_STREQ("v5", finder.GetFirst("none")->GetName().c_str());
    {
        TConfig::TPathSaver saver(config);
        config.MoveAbsolute("x\\y");
    }
    EXPECT_EQ(config.GetRoot(), config.GetCurrentKey());
}

TEST(ConfigTree, Compare)
{
    const struct {
        const char *a, *b;
        int mode, expected;
    } cases[] = {
        {"R\n{\nv=2.50\n}", "R\n{\nv=2.5\n}", TConfigKey::eCompareNumbers, 0},
        {"R\n{\nv=2.50\n}", "R\n{\nv=2.5\n}", 0, 1},
        {"R\n{\nv=-0.0\n}", "R\n{\nv=-0\n}", TConfigKey::eCompareNumbers, 0},
        {"R\n{\nv=10\n}", "R\n{\nv=9\n}", TConfigKey::eCompareNumbers, 1},
        {"R\n{\nv=1.0x\n}", "R\n{\nv=1\n}", TConfigKey::eCompareNumbers, 1},
        {"R\n{\nV=1\n}", "r\n{\nv=1\n}", 0, 0},
        {"R\n{\nv=1\n}", "S\n{\nv=1\n}", 0, -1},
        {"R\n{\nv=1\n}", "S\n{\nv=1\n}", TConfigKey::eIgnoreRootName, 0},
        {"R\n{\nv=1\n}", "R\n{\nw=1\n}", TConfigKey::eIgnoreRootName, 1},
        {"R\n{\nv=1\n}", "R\n{\nv=1\nw\n}", 0, 1},
        {"R\n{\nG\n{\nx=1\n}\n}", "R\n{\nG\n{\nx=2\n}\n}", 0, 1},
    };
    for (const auto& c : cases) {
        TConfig a("A"), b("B");
        Read(a, c.a);
        Read(b, c.b);
        const int result = a.GetRoot()->Compare(*b.GetRoot(), c.mode);
        EXPECT_EQ(c.expected, (result > 0) - (result < 0)) << c.a << " against " << c.b;
    }

    // A group orders before a value of its name, whatever the mode.
    TConfig config("C");
    TConfigKey* group = config.MoveDown("b");
    TConfigKey* value = (config.MoveUp(), config.CreateKey("b"));
    EXPECT_TRUE(group->Compare(*value, 0) == -1 && value->Compare(*group, 0) == 1);

    // operator== leaves compare mode 0 in the lists it went through: a sorted tree then no
    // longer puts groups first.
    TConfig sorted("S", TConfig::eSortedGroupsFirst);
    Read(sorted, "S\n{\na=1\nc\n{\nx\n}\nb\n{\nx\n}\n}");
    EXPECT_STREQ("b", sorted.GetKey(0)->GetName().c_str());
    EXPECT_TRUE(sorted == TConfig(sorted));
    sorted.MoveDown("d");
    sorted.MoveToRoot();
    EXPECT_STREQ("d", sorted.GetKey(3)->GetName().c_str()) << "after the value a";
}

namespace {

int copies = 0, releases = 0;

}  // namespace

TEST(ConfigTree, CopiesAndHooks)
{
    copies = releases = 0;
    {
        TConfig source("S", TConfig::eSortedByName);
        Read(source, "S\n{\nb=2\nG\n{\nx=1\nH\n{\ny\n}\n}\na=1\n}");
        source.MoveDown("G")->SetUserData(5);
        source.SetAutoCreate(0);

        TConfig plain(source);
        EXPECT_TRUE(plain == source && plain.GetRoot() == plain.GetCurrentKey());
        EXPECT_EQ(TConfig::eSortedByName, plain.GetMode());
        EXPECT_EQ(5u, plain.MoveDown("G")->GetUserData()) << "copied without a hook";
        EXPECT_EQ(plain.GetCurrentKey(), plain.MoveDown("missing")) << "auto-create taken over";

        source.SetKeyCopyHook([](TConfigKey& target, const TConfigKey&) {
            ++copies;
            target.SetUserData(9);
        });
        source.SetKeyReleaseHook([](TConfigKey&) { ++releases; });
        TConfig hooked("X");
        hooked.SetValue(1, "old");
        hooked = source;
        hooked = hooked;
        EXPECT_EQ(7, copies) << "the root and six keys";
        EXPECT_EQ(9u, hooked.MoveDown("G")->GetUserData());
        EXPECT_EQ(1, releases) << "the old key went with the new hook";
        hooked.MoveToRoot();
        hooked.DeleteKey("G");
        EXPECT_EQ(5, releases);

        // A key cloned as a collection element is a deep copy in the tree it is given.
        const CollectionElement& group = *source.MoveDown("G");
        TConfigKey* clone = static_cast<TConfigKey*>(group.CreateClone(&plain));
        EXPECT_TRUE(clone->GetOwner() == &plain && *clone == *source.GetCurrentKey());
        delete clone;
        EXPECT_TRUE(copies == 7 && releases == 5) << "plain has no hooks";
    }
    EXPECT_EQ(5 + 3 + 7, releases) << "what was left of the copy, and the whole source";
}

// A copy that runs out of memory at any allocation throws, leaks nothing and leaves the
// target's keys as they were. A release hook runs for every key whose copy hook ran (they
// are marked), and for no other key of the copy.
TEST(ConfigTree, CopyingThatRunsOutOfMemory)
{
    static int others;
    copies = releases = 0;
    TConfig source("S");
    Read(source, "S\n{\nb=2\nG\n{\nx=1\nH\n{\ny\n}\nz\n}\na=1\n}");
    source.SetKeyCopyHook([](TConfigKey& target, const TConfigKey&) { target.SetUserData(++copies); });
    source.SetKeyReleaseHook([](TConfigKey& key) { ++(key.GetUserData() ? releases : others); });
    const unsigned long blocks = _stringHeap->GetBlocksInUse();
    unsigned long failures = 0;
    for (unsigned long n = 1; failures == n - 1; ++n) {
        others = 0;
        {
            TConfig target("T");
            target.SetValue(1, "kept");
            _stringHeap->FailAllocation(n);
            try {
                target = source;
            } catch (const TException&) {
                ++failures;
            }
            _stringHeap->FailAllocation(0);
            ASSERT_TRUE(failures < n || target.GetValue(0, "kept") == 1);
        }
        ASSERT_EQ(copies, releases) << "allocation " << n;
        ASSERT_EQ(failures < n ? 1 : 2, others) << "allocation " << n;
        ASSERT_EQ(blocks, _stringHeap->GetBlocksInUse()) << "allocation " << n;
    }
    EXPECT_GT(failures, 5u);

    // Writing that runs out of memory frees what it wrote.
    const unsigned long defaultBlocks = NH_Heap::Default().GetBlocksInUse();
    NH_Heap::Default().FailAllocation(1);
    EXPECT_THROW(Block(source), TException);
    NH_Heap::Default().FailAllocation(0);
    EXPECT_EQ(defaultBlocks, NH_Heap::Default().GetBlocksInUse());
}

// A group large enough to be indexed, changed at random, must answer every search as a walk
// of its keys does: the first key of the name and kind in list order.
TEST(ConfigTree, SearchesOfLargeGroupsMatchAWalk)
{
    for (TConfig::Mode mode : {TConfig::Mode(0), TConfig::eSortedGroupsFirst}) {
        TConfig config("C", mode);
        std::mt19937 random(7);
        auto name = [&] {
            std::string n = "k" + std::to_string(random() % 60);
            if (random() % 3 == 0)
                n[0] = 'K';
            return n;
        };
        auto walk = [&](const std::string& n, int kind) -> TConfigKey* {
            for (TConfigKey* k = config.GetFirstKey(); k; k = k->GetNext())
                if (_stricmp(k->GetName().c_str(), n.c_str()) == 0 && (kind < 0 || kind == k->IsGroup()))
                    return k;
            return nullptr;
        };
        for (int step = 0; step < 3000; ++step) {
            const std::string n = name();
            // Now and then the index finds no memory and the searches walk.
            NH_Heap::Default().FailAllocation(step % 89 == 0 ? 1 : 0);
            switch (random() % 8) {
            case 0: config.CreateKey(n.c_str()); break;
            case 1: config.SetValue(step, n.c_str()); break;
            case 2: config.MoveDown(n.c_str()); config.MoveUp(); break;
            case 3: config.DeleteKey(n.c_str()); break;
            case 4: if (TConfigKey* k = config.GetKey(int(random() % 100))) k->SetName(name().c_str()); break;
            case 5: if (TConfigKey* k = config.GetKey(int(random() % 100))) k->IsGroup() ? config.GroupToValue(k) : config.ValueToGroup(k); break;
            default: break;
            }
            NH_Heap::Default().FailAllocation(0);
            const std::string probe = name();
            TConfigKey* value = walk(probe, 0);
            ASSERT_STREQ(value ? value->GetText().c_str() : "-", config.GetValue("-", probe.c_str()).c_str()) << step;
            TConfigKey* group = walk(probe, 1);
            ASSERT_EQ(group, config.MoveDownIfExist(probe.c_str())) << step;
            config.MoveToRoot();
            TConfig::TKeyFinder finder(config);
            ASSERT_EQ(walk(probe, -1), finder.GetFirst(probe.c_str())) << step;
        }
        EXPECT_GT(config.GetNumKeys(), 30u);
    }
}

// Nesting deeper than any stack could recurse: reading, copying, comparing, walking and
// deleting all loop over the links. (Writing does too, but the tabs of so deep a file would
// fill gigabytes.)
TEST(ConfigTree, DeepNesting)
{
    const int depth = 200000;
    std::string text = "R\n{\n";
    for (int i = 0; i < depth; ++i)
        text += "g\n{\n";
    text += "v=1\n";
    TConfig deep("D");
    Read(deep, text);
    TConfig copy(deep);
    EXPECT_TRUE(copy == deep);
    TList<StringItem<TListElement>> paths;
    EXPECT_EQ(1u, copy.GetAsPathList(paths));
    EXPECT_EQ(2u * depth + 1, paths.GetFirst()->length());
    copy.MoveAbsolute("g\\g\\g");
    copy.SetValue(2, "v");
    EXPECT_FALSE(copy == deep);
    copy.MoveToRoot();
    copy.DeleteEmptyGroups();
    EXPECT_EQ(1u, copy.GetNumKeys());
}
