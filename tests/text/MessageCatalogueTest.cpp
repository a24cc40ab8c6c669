// The catalogue is process-wide and its cache only grows, so each test uses ids of its own
// for the cache and leaves no module notified behind it.
#include <gtest/gtest.h>

#include <CommonTarn.h>
#include <TarnPlatform.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

// Loads the test translation and notifies it for one scope.
struct Translation {
    Translation() : module(LoadLibraryA(TARN_TEST_STRINGS)) { NotifyLocalizedStringDll(module); }
    ~Translation() { NotifyLocalizedStringDll(nullptr), FreeLibrary(module); }
    HINSTANCE module;
};

std::string Found(unsigned int id) { return String(FindString(id)).c_str(); }
std::string Built(unsigned int id, const char* argument) { return String(BuildString(id, argument)).c_str(); }

}  // namespace

TEST(MessageCatalogue, BuiltInTableAndTranslation)
{
    // Every id of 16 bits: exactly 18000 to 18026 have a text, in id order with this CRC.
    std::string all;
    char buffer[2048];
    int found = 0;
    for (unsigned int id = 0; id <= 0xFFFF; ++id)
        if (*FindString(buffer, id)) {
            EXPECT_TRUE(id >= 18000 && id <= 18026) << id;
            all.append(buffer, std::strlen(buffer) + 1), ++found;
        }
    EXPECT_TRUE(found == 27 && all.size() == 2321u);
    EXPECT_EQ(0xc22f8227ul, ComputeCrc32(all.data(), static_cast<unsigned long>(all.size())));
    EXPECT_TRUE(Found(18012) == "File error" && Found(18019) == "There is not enough disk space on partition %s.");
    EXPECT_EQ(buffer, FindString(buffer, 18001));
    // An unknown id gives an empty text in a buffer of its own.
    const String a(FindString(1)), b(FindString(1));
    EXPECT_TRUE(a.IsEmpty() && a.c_str() != b.c_str() && a.c_str() != String().c_str());
    EXPECT_EQ("There is not enough disk space on partition D.", Built(18019, "D"));
    EXPECT_EQ("C:\\r\nAn error occurred. This file could not be opened.", Built(18000, "C:\\r"));
    std::strcpy(buffer, "left over");
    EXPECT_STREQ("There is not enough disk space on partition E.", BuildString(buffer, 18019, "E"));
    // No text, no formatting: the argument, not a text, would crash a read.
    const char* unreadable = reinterpret_cast<const char*>(1);
    EXPECT_EQ("", Built(4711, unreadable));
    EXPECT_STREQ("", BuildString(buffer, 4711, unreadable));
    // Without a notified module the module form reads the built-in table too.
    HMODULE module = LoadLibraryA(TARN_TEST_STRINGS);
    ASSERT_NE(nullptr, module);
    EXPECT_STREQ("File error", String(FindString(module, 18012)).c_str());
    FreeLibrary(module);

    {
        // A notified module is the only source, also for ids that it lacks.
        Translation translation;
        ASSERT_NE(nullptr, translation.module);
        EXPECT_TRUE(Found(18012) == "Erreur de fichier" && Found(18000).empty());
        EXPECT_EQ("Il n'y a pas assez d'espace sur la partition D.", Built(18019, "D"));
        EXPECT_STREQ("", BuildString(buffer, 18000, "x"));
        // The catalogue hands LoadStringA 2047: 2046 characters and the terminator.
        std::memset(buffer, '#', sizeof buffer);
        FindString(buffer, 102);
        EXPECT_TRUE(std::strlen(buffer) == 2046u && std::string(buffer, 10) == "0123456789");
        // The module form reads the module given, here the program's own, which has none.
        EXPECT_STREQ("", String(FindString(static_cast<HINSTANCE>(nullptr), 18012)).c_str());
    }
    EXPECT_EQ("File error", Found(18012)) << "null goes back to the built-in table";
}

TEST(MessageCatalogue, CachedAndAdoptedStrings)
{
    const String& first = FindCachedString(18008);
    const unsigned long blocks = _stringHeap->GetBlocksInUse();
    EXPECT_STREQ("Invalid directory name.", first.c_str());
    EXPECT_TRUE(&first == &FindCachedString(18008) && blocks == _stringHeap->GetBlocksInUse()) << "a hit allocates nothing";
    // The empty text is cached like any other; ids that share a bucket of the 509 stay apart.
    const String &unknown = FindCachedString(31000), &neighbour = FindCachedString(31000 + 509);
    EXPECT_TRUE(unknown.IsEmpty() && &unknown == &FindCachedString(31000) && &unknown != &neighbour);
    EXPECT_EQ(&neighbour, &FindCachedString(31000 + 509));
    {
        Translation translation;
        EXPECT_TRUE(&first == &FindCachedString(18008) && first == "Invalid directory name.") << "cached before";
        EXPECT_STREQ("Le fichier n'a pas pu etre renomme.", FindCachedString(18013).c_str());
    }
    EXPECT_STREQ("Le fichier n'a pas pu etre renomme.", FindCachedString(18013).c_str());

    const unsigned long before = _stringHeap->GetBlocksInUse();
    String* text = LoadAndAdoptString(18012);
    ASSERT_TRUE(text && _stringHeap->Owns(text) && *text == "File error");
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
    EXPECT_TRUE(LoadAndAdoptString(18012) == nullptr && before == _stringHeap->GetBlocksInUse());
}

TEST(MessageCatalogue, CacheServesManyThreadsAtOnce)
{
    // Each thread walks the ids from its own starting point, so first lookups collide and the
    // misses go to LoadStringA from many threads; every thread sees the same objects throughout.
    std::vector<unsigned int> ids = {100, 101, 103};
    for (unsigned int id = 40000; id < 40064; ++id)
        ids.push_back(id);
    Translation translation;
    std::vector<std::vector<const String*>> seen(16, std::vector<const String*>(ids.size()));
    std::vector<std::thread> threads;
    for (int t = 0; t < 16; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 20; ++round)
                for (size_t k = 0, i = t * 7 % ids.size(); k < ids.size(); ++k, i = (i + 1) % ids.size())
                    if (const String* s = &FindCachedString(ids[i]); seen[t][i] != s)
                        seen[t][i] = round ? nullptr : s;
        });
    for (int t = 0; t < 16; ++t) {
        threads[t].join();
        EXPECT_TRUE(seen[0] == seen[t] && !std::count(seen[t].begin(), seen[t].end(), nullptr)) << t;
    }
    EXPECT_TRUE(*seen[0][1] == "joined text, again" && *seen[0][2] == "wide" && seen[0].back()->IsEmpty());
}
