// LoadLibraryA, FreeLibrary and LoadStringA over resource scripts of string tables.
#include "WinModules.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "WinKernel.h"
#include "WinObjects.h"

namespace {

struct Module {
    dev_t device;
    ino_t inode;
    int references;
    std::unordered_map<uint16_t, std::string> strings;
};

// Loaded modules; LoadStringA holds the lock while it copies, so FreeLibrary on another
// thread cannot pull a table away under it. Taken only inside the calls' suspension regions,
// so that no thread stops while it holds it.
std::mutex modulesLock;
std::vector<Module*> modules;

Module* FindLoaded(HMODULE handle)
{
    for (Module* m : modules)
        if (reinterpret_cast<HMODULE>(m) == handle)
            return m;
    return nullptr;
}

// Reads the STRINGTABLE blocks of a resource script as windres does: keywords in any case,
// numbers in decimal or hex with an optional L or U suffix, a comma between id and text
// optional, adjacent strings joined, "" for a quote inside one.
class ScriptParser {
public:
    explicit ScriptParser(const std::string& text)
        : start(text.data()), p(text.data()), end(text.data() + text.size())
    {
    }

    bool Parse(std::unordered_map<uint16_t, std::string>& strings)
    {
        for (;;) {
            SkipBlanks();
            if (p == end)
                return true;
            std::string word = Word();
            if (word == "LANGUAGE") {
                if (!LanguageArguments())
                    return false;
            } else if (word == "STRINGTABLE") {
                if (!StringTable(strings))
                    return false;
            } else {
                return false;
            }
        }
    }

private:
    // Spaces, comments, and preprocessor lines, which windres hands to the C preprocessor
    // and which a string table without symbols does not need.
    void SkipBlanks()
    {
        bool lineStart = p == start || p[-1] == '\n';
        while (p < end) {
            if (*p == '\n') {
                lineStart = true;
                ++p;
            } else if (std::isspace(static_cast<unsigned char>(*p))) {
                ++p;
            } else if (lineStart && *p == '#') {
                SkipLine();
            } else if (Starts("//")) {
                SkipLine();
            } else if (Starts("/*")) {
                const char* close = std::strstr(p + 2, "*/");
                p = close && close < end ? close + 2 : end;
            } else {
                return;
            }
        }
    }
    void SkipLine()
    {
        while (p < end && *p != '\n')
            ++p;
    }
    bool Starts(const char* s) const { return static_cast<size_t>(end - p) >= std::strlen(s) && std::strncmp(p, s, std::strlen(s)) == 0; }

    // An identifier in upper case, or empty when none stands here.
    std::string Word()
    {
        std::string word;
        while (p < end && (std::isalnum(static_cast<unsigned char>(*p)) || *p == '_'))
            word += static_cast<char>(std::toupper(static_cast<unsigned char>(*p++)));
        return word;
    }
    bool Peek(char c)
    {
        SkipBlanks();
        return p < end && *p == c;
    }
    bool Number(unsigned long& value)
    {
        SkipBlanks();
        if (p == end || !std::isdigit(static_cast<unsigned char>(*p)))
            return false;
        unsigned base = 10;
        if (end - p > 2 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
            base = 16;
            p += 2;
        }
        value = 0;
        for (; p < end && std::isxdigit(static_cast<unsigned char>(*p)); ++p) {
            const int d = std::tolower(static_cast<unsigned char>(*p));
            const unsigned digit = d <= '9' ? d - '0' : d - 'a' + 10;
            if (digit >= base)
                return false;
            value = value * base + digit;
            if (value > 0xFFFFFFFFul)
                return false;
        }
        while (p < end && (*p == 'L' || *p == 'l' || *p == 'U' || *p == 'u'))
            ++p;
        return p == end || !(std::isalnum(static_cast<unsigned char>(*p)) || *p == '_');
    }
    // A number or a symbol (LANG_FRENCH): language values are not used here.
    bool LanguageValue()
    {
        unsigned long ignored;
        SkipBlanks();
        return !Word().empty() || Number(ignored);
    }
    bool LanguageArguments()
    {
        if (!LanguageValue() || !Peek(','))
            return false;
        ++p;
        return LanguageValue();
    }

    bool StringTable(std::unordered_map<uint16_t, std::string>& strings)
    {
        // Options before the body: memory flags, LANGUAGE, CHARACTERISTICS, VERSION.
        for (;;) {
            if (Peek('{')) {
                ++p;
                break;
            }
            std::string word = Word();
            unsigned long ignored;
            if (word == "BEGIN")
                break;
            if (word == "LANGUAGE") {
                if (!LanguageArguments())
                    return false;
            } else if (word == "CHARACTERISTICS" || word == "VERSION") {
                if (!Number(ignored))
                    return false;
            } else if (word != "MOVEABLE" && word != "FIXED" && word != "PURE" && word != "IMPURE" &&
                       word != "PRELOAD" && word != "LOADONCALL" && word != "DISCARDABLE") {
                return false;
            }
        }
        for (;;) {
            if (Peek('}')) {
                ++p;
                return true;
            }
            const char* mark = p;
            if (Word() == "END")
                return true;
            p = mark;
            unsigned long id;
            if (!Number(id) || id > 0xFFFF)
                return false;
            if (Peek(','))
                ++p;
            std::string text;
            if (!Strings(text))
                return false;
            // As with windres, a later string under the same id replaces the earlier one.
            strings[static_cast<uint16_t>(id)] = std::move(text);
        }
    }

    // One or more quoted strings, joined.
    bool Strings(std::string& text)
    {
        bool any = false;
        for (;;) {
            SkipBlanks();
            const char* mark = p;
            bool wide = false;
            if (p < end && (*p == 'L' || *p == 'l')) {
                wide = true;
                ++p;
            }
            if (p == end || *p != '"') {
                p = mark;
                return any;
            }
            if (!QuotedString(text, wide))
                return false;
            any = true;
        }
    }
    bool QuotedString(std::string& text, bool wide)
    {
        ++p;
        while (p < end) {
            char c = *p++;
            if (c == '\n' || c == '\r')
                return false;
            if (c == '"') {
                if (p < end && *p == '"') {
                    text += '"';
                    ++p;
                    continue;
                }
                return true;
            }
            if (c != '\\' || p == end) {
                text += c;
                continue;
            }
            c = *p++;
            switch (c) {
            case 'n': text += '\n'; break;
            case 'r': text += '\r'; break;
            case 't': text += '\t'; break;
            case 'a': text += '\b'; break;  // windres gives a backspace, as the old RC did
            case '\\': text += '\\'; break;
            case '"': text += '"'; break;
            case 'x': case 'X': {
                unsigned value = 0;
                int digits = 0;
                while (digits < (wide ? 4 : 2) && p < end && std::isxdigit(static_cast<unsigned char>(*p))) {
                    const char d = static_cast<char>(std::tolower(static_cast<unsigned char>(*p++)));
                    value = value * 16 + (d <= '9' ? d - '0' : d - 'a' + 10);
                    ++digits;
                }
                AppendCode(text, value);
                break;
            }
            default:
                if (c >= '0' && c <= '7') {
                    unsigned value = c - '0';
                    for (int digits = 1; digits < 3 && p < end && *p >= '0' && *p <= '7'; ++digits)
                        value = value * 8 + (*p++ - '0');
                    AppendCode(text, value);
                } else {
                    // An unknown escape keeps its backslash.
                    text += '\\';
                    text += c;
                }
            }
        }
        return false;
    }
    // LoadStringA answers in a one-byte code page: what does not fit becomes '?'.
    static void AppendCode(std::string& text, unsigned value) { text += value <= 0xFF ? static_cast<char>(value) : '?'; }

    const char* start;
    const char* p;
    const char* end;
};

}  // namespace

extern "C" {

HMODULE LoadLibraryA(LPCSTR lpLibFileName)
{
    TarnPosix::TSuspensionRegion region;
    struct stat info;
    std::ifstream file;
    if (stat(lpLibFileName, &info) == 0 && S_ISREG(info.st_mode))
        file.open(lpLibFileName, std::ios::binary);
    if (!file.is_open()) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    {
        std::lock_guard<std::mutex> hold(modulesLock);
        for (Module* m : modules)
            if (m->device == info.st_dev && m->inode == info.st_ino) {
                ++m->references;
                return reinterpret_cast<HMODULE>(m);
            }
    }
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    Module* module = new Module{info.st_dev, info.st_ino, 1, {}};
    if (!ScriptParser(text).Parse(module->strings)) {
        delete module;
        SetLastError(ERROR_BAD_EXE_FORMAT);
        return nullptr;
    }
    std::lock_guard<std::mutex> hold(modulesLock);
    // Another thread may have loaded the same file meanwhile: one module per file.
    for (Module* m : modules)
        if (m->device == info.st_dev && m->inode == info.st_ino) {
            ++m->references;
            delete module;
            return reinterpret_cast<HMODULE>(m);
        }
    modules.push_back(module);
    return reinterpret_cast<HMODULE>(module);
}

BOOL FreeLibrary(HMODULE hLibModule)
{
    TarnPosix::TSuspensionRegion region;
    std::lock_guard<std::mutex> hold(modulesLock);
    Module* module = FindLoaded(hLibModule);
    if (!module) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (--module->references == 0) {
        for (auto i = modules.begin(); i != modules.end(); ++i)
            if (*i == module) {
                modules.erase(i);
                break;
            }
        delete module;
    }
    return TRUE;
}

int LoadStringA(HINSTANCE hInstance, UINT uID, LPSTR lpBuffer, int cchBufferMax)
{
    TarnPosix::TSuspensionRegion region;
    if (cchBufferMax < 1)
        return 0;
    lpBuffer[0] = 0;
    std::lock_guard<std::mutex> hold(modulesLock);
    const Module* module = hInstance ? FindLoaded(hInstance) : nullptr;
    if (!module)
        return 0;
    const auto found = module->strings.find(static_cast<uint16_t>(uID & 0xFFFF));
    if (found == module->strings.end())
        return 0;
    const size_t count = std::min(found->second.size(), static_cast<size_t>(cchBufferMax - 1));
    std::memcpy(lpBuffer, found->second.data(), count);
    lpBuffer[count] = 0;
    return static_cast<int>(count);
}

}
