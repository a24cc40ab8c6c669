// The catalogue is process-wide and its cache only grows, so each test uses ids of its own
// for the cache and leaves no module notified behind it.
#include <gtest/gtest.h>

#include <CommonTarn.h>
#include <TarnPlatform.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

// Loads the test translation and notifies it for one scope.
class Translation {
public:
    Translation() : module(LoadLibraryA(TARN_TEST_STRINGS)) { NotifyLocalizedStringDll(module); }
    ~Translation()
    {
        NotifyLocalizedStringDll(nullptr);
        FreeLibrary(module);
    }
    HINSTANCE module;
};

std::string Found(unsigned int id)
{
    return String(FindString(id)).c_str();
}

}  // namespace

TEST(MessageCatalogue, BuiltInTableAndFormatting)
{
    // Every id of 16 bits: exactly 18000 to 18026 have a text, in id order with this CRC.
    std::string all;
    char buffer[2048];
    int found = 0;
    for (unsigned int id = 0; id <= 0xFFFF; ++id) {
        if (!*FindString(buffer, id))
            continue;
        ++found;
        EXPECT_TRUE(id >= 18000 && id <= 18026) << id;
        all.append(buffer, std::strlen(buffer) + 1);
    }
    EXPECT_EQ(27, found);
    EXPECT_EQ(2321u, all.size());
    EXPECT_EQ(0xc22f8227ul, ComputeCrc32(all.data(), static_cast<unsigned long>(all.size())));
    EXPECT_EQ("File error", Found(18012));
    EXPECT_EQ("There is not enough disk space on partition %s.", Found(18019));
    EXPECT_EQ(buffer, FindString(buffer, 18001));

    // An unknown id gives an empty text in a buffer of its own.
    const String a(FindString(1)), b(FindString(1));
    EXPECT_STREQ("", a.c_str());
    EXPECT_TRUE(a.c_str() != b.c_str() && a.c_str() != String().c_str());

    // Without a notified module the module form reads the built-in table too.
    HMODULE module = LoadLibraryA(TARN_TEST_STRINGS);
    ASSERT_NE(nullptr, module);
    EXPECT_STREQ("File error", String(FindString(module, 18012)).c_str());
    FreeLibrary(module);

    EXPECT_STREQ("There is not enough disk space on partition D.", String(BuildString(18019, "D")).c_str());
    EXPECT_STREQ("C:\\r.txt\nAn error occurred. This file could not be opened.",
                 String(BuildString(18000, "C:\\r.txt")).c_str());
    std::strcpy(buffer, "left over");
    EXPECT_EQ(buffer, BuildString(buffer, 18019, "E"));
    EXPECT_STREQ("There is not enough disk space on partition E.", buffer);
    // No text, no formatting: the argument, not a text, would crash a read.
    const char* unreadable = reinterpret_cast<const char*>(1);
    EXPECT_STREQ("", String(BuildString(4711, unreadable)).c_str());
    EXPECT_STREQ("", BuildString(buffer, 4711, unreadable));
}

TEST(MessageCatalogue, NotifiedModuleIsTheOnlySource)
{
    {
        Translation translation;
        ASSERT_NE(nullptr, translation.module);
        EXPECT_EQ("Erreur de fichier", Found(18012));
        EXPECT_EQ("", Found(18000)) << "the module lacks it; the built-in text is not consulted";
        EXPECT_STREQ("Il n'y a pas assez d'espace sur la partition D.", String(BuildString(18019, "D")).c_str());
        char buffer[2048];
        EXPECT_STREQ("", BuildString(buffer, 18000, "x"));
        // The catalogue hands LoadStringA 2047: 2046 characters and the terminator.
        std::memset(buffer, '#', sizeof buffer);
        FindString(buffer, 102);
        EXPECT_EQ(2046u, std::strlen(buffer));
        EXPECT_EQ(std::string(buffer, 10), "0123456789");
        // The module form reads the module given, here the program's own, which has none.
        EXPECT_STREQ("", String(FindString(static_cast<HINSTANCE>(nullptr), 18012)).c_str());
    }
    EXPECT_EQ("File error", Found(18012)) << "null goes back to the built-in table";
}

TEST(MessageCatalogue, CachedAndAdoptedStrings)
{
    const String& first = FindCachedString(18008);
    EXPECT_STREQ("Invalid directory name.", first.c_str());
    const unsigned long blocks = _stringHeap->GetBlocksInUse();
    EXPECT_EQ(&first, &FindCachedString(18008));
    EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse()) << "a hit allocates nothing";
    const String& unknown = FindCachedString(31000);
    EXPECT_STREQ("", unknown.c_str());
    EXPECT_EQ(&unknown, &FindCachedString(31000)) << "the empty text is cached like any other";
    {
        Translation translation;
        EXPECT_EQ(&first, &FindCachedString(18008));
        EXPECT_STREQ("Invalid directory name.", first.c_str()) << "cached before";
        EXPECT_STREQ("Le fichier n'a pas pu etre renomme.", FindCachedString(18013).c_str());
    }
    EXPECT_STREQ("Le fichier n'a pas pu etre renomme.", FindCachedString(18013).c_str());
    // Ids that share a bucket of the 509 stay apart.
    const String& low = FindCachedString(31000 + 509);
    EXPECT_NE(&unknown, &low);
    EXPECT_EQ(&low, &FindCachedString(31000 + 509));

    const unsigned long before = _stringHeap->GetBlocksInUse();
    String* text = LoadAndAdoptString(18012);
    ASSERT_NE(nullptr, text);
    EXPECT_TRUE(_stringHeap->Owns(text));
    EXPECT_STREQ("File error", text->c_str());
    String* slot = text;
    AdoptString(slot, 18001);
    EXPECT_EQ(text, slot) << "a slot that is not null stays";
    delete text;
    slot = nullptr;
    AdoptString(slot, 18001);
    ASSERT_NE(nullptr, slot);
    EXPECT_STREQ("An error occurred. The file could not be deleted.", slot->c_str());
    delete slot;
    // No room for the String: null, and no text made for it.
    _stringHeap->FailAllocation(1);
    EXPECT_EQ(nullptr, LoadAndAdoptString(18012));
    EXPECT_EQ(before, _stringHeap->GetBlocksInUse());
}

TEST(MessageCatalogue, CacheServesManyThreadsAtOnce)
{
    constexpr int kThreads = 16;
    // Each thread walks the ids from its own starting point, so first lookups collide.
    auto run = [&](const std::vector<unsigned int>& ids) {
        std::vector<std::vector<const String*>> seen(kThreads, std::vector<const String*>(ids.size()));
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                for (int round = 0; round < 20; ++round)
                    for (size_t k = 0; k < ids.size(); ++k) {
                        const size_t i = (k + t * 7) % ids.size();
                        const String* s = &FindCachedString(ids[i]);
                        if (seen[t][i] && seen[t][i] != s)
                            ADD_FAILURE() << "id " << ids[i] << " moved";
                        seen[t][i] = s;
                    }
            });
        for (std::thread& thread : threads)
            thread.join();
        for (int t = 1; t < kThreads; ++t)
            EXPECT_EQ(seen[0], seen[t]) << "every thread sees the same objects";
        return seen[0];
    };
    std::vector<unsigned int> builtIn, translated = {100, 101, 103};
    for (unsigned int id = 18014; id <= 18026; ++id)
        builtIn.push_back(id);
    for (unsigned int id = 40000; id < 40064; ++id)
        builtIn.push_back(id), translated.push_back(id + 10000);
    std::vector<const String*> seen = run(builtIn);
    EXPECT_STREQ("This file is of the wrong type.", seen[18024 - 18014]->c_str());
    EXPECT_STREQ("", seen.back()->c_str());
    // With a module, the misses go to LoadStringA from many threads.
    Translation translation;
    seen = run(translated);
    EXPECT_STREQ("joined text, again", seen[1]->c_str());
    EXPECT_STREQ("wide", seen[2]->c_str());
}
