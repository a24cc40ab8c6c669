// String modules: tests/text/TestStrings.rc, loaded as a resource script on POSIX and as
// the resource DLL that windres builds from it on Windows (TARN_TEST_STRINGS names either).
#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

std::string Load(HMODULE module, UINT id, int bufferMax, int* result = nullptr)
{
    char buffer[4096];
    std::memset(buffer, '#', sizeof buffer);
    const int copied = LoadStringA(module, id, buffer, bufferMax);
    if (result)
        *result = copied;
    return buffer;
}

}  // namespace

TEST(Modules, LoadStringCopiesAndTruncatesAsWindowsDoes)
{
    HMODULE module = LoadLibraryA(TARN_TEST_STRINGS);
    ASSERT_NE(nullptr, module) << "error " << GetLastError();

    // At most cchBufferMax - 1 characters and the terminator; the answer counts the copy.
    // Only the low 16 bits of the id count.
    const struct {
        UINT id;
        int size;
        const char* text;
    } loads[] = {{18012, 2047, "Erreur de fichier"}, {18012, 6, "Erreu"}, {18012, 18, "Erreur de fichier"},
                 {18012, 1, ""}, {18012 + 0x10000, 2047, "Erreur de fichier"}};
    int copied = -1;
    for (const auto& l : loads) {
        EXPECT_EQ(l.text, Load(module, l.id, l.size, &copied)) << l.size;
        EXPECT_EQ(int(std::strlen(l.text)), copied) << l.size;
    }

    // A string the table lacks, even one in the block of a present one, gives 0.
    char buffer[16] = "untouched";
    EXPECT_EQ(0, LoadStringA(module, 18000, buffer, sizeof buffer));
    EXPECT_EQ(0, LoadStringA(module, 18014, buffer, sizeof buffer));
    EXPECT_EQ(0, LoadStringA(module, 7, buffer, sizeof buffer));

    // The script's escapes, joined strings, a wide string, and the later of two strings
    // under one id, as windres compiles them.
    EXPECT_EQ("tab\tquote\"backslash\\newline\noctalAhexB", Load(module, 100, 2047));
    EXPECT_EQ("joined text, again", Load(module, 101, 2047));
    EXPECT_EQ("wide", Load(module, 103, 2047));
    const std::string longText = Load(module, 102, 4096, &copied);
    EXPECT_EQ(2100, copied);
    ASSERT_EQ(2100u, longText.size());
    EXPECT_EQ('9', longText[2099]);

    // The program itself carries no string table.
    EXPECT_EQ(0, LoadStringA(nullptr, 18012, buffer, sizeof buffer));

    EXPECT_TRUE(FreeLibrary(module));
}

TEST(Modules, LoadingCountsReferencesAndReportsFailures)
{
    HMODULE first = LoadLibraryA(TARN_TEST_STRINGS);
    HMODULE second = LoadLibraryA(TARN_TEST_STRINGS);
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(first, second) << "one module, two references";
    EXPECT_TRUE(FreeLibrary(second));
    EXPECT_EQ("Erreur de fichier", Load(first, 18012, 64)) << "still loaded by the first reference";
    EXPECT_TRUE(FreeLibrary(first));

    HMODULE again = LoadLibraryA(TARN_TEST_STRINGS);  // loaded anew after the last FreeLibrary
    EXPECT_EQ("Erreur de fichier", Load(again, 18012, 64));
    EXPECT_TRUE(FreeLibrary(again));

    SetLastError(0);
    EXPECT_EQ(nullptr, LoadLibraryA("no-such-module-anywhere.dll"));
    EXPECT_EQ(static_cast<DWORD>(ERROR_MOD_NOT_FOUND), GetLastError());

    // A file that is neither a DLL nor a string table.
    const char* name = "not-a-module.bin";
    std::FILE* file = std::fopen(name, "wb");
    ASSERT_NE(nullptr, file);
    std::fputs("plain text, neither code nor a table\n", file);
    std::fclose(file);
    SetLastError(0);
    EXPECT_EQ(nullptr, LoadLibraryA(name));
    EXPECT_EQ(static_cast<DWORD>(ERROR_BAD_EXE_FORMAT), GetLastError());
    std::remove(name);
}
