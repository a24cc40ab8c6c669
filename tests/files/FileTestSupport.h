// Helpers of the file tests: a scratch directory known by its Windows name, and the text and
// code of what an action throws.
#pragma once

#include <CommonTarn.h>
#include <TarnNames.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

struct Scratch {
    Scratch()
        : host(std::filesystem::temp_directory_path() /
               ("tarnfiles-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(made++)))
    {
        std::filesystem::create_directories(host);
        char buffer[1024];
        ConvertPosixToWindowsName(host.string().c_str(), buffer, sizeof buffer);
        windows = buffer;
    }
    ~Scratch()
    {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(host))  // read-only ones too
            std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add);
        std::filesystem::remove_all(host);
    }
    TFileName operator()(const char* title) const { return TFileName((windows + "\\" + title).c_str()); }
    std::string Bytes(const char* title) const
    {
        std::ifstream in(host / title, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    void Put(const char* title, const std::string& bytes) const { std::ofstream(host / title, std::ios::binary) << bytes; }

    static inline int made = 0;
    std::filesystem::path host;
    std::string windows;
};

struct Thrown {
    std::string text;  // "nothing thrown" when nothing was
    unsigned long code;
    long drive;
};

template <class Action>
Thrown Catch(Action action)
{
    try {
        action();
    } catch (const TException& e) {
        return {e.message ? e.message->c_str() : "", e.code, e.drive};
    }
    return {"nothing thrown", 0, 0};
}

// A catalogue text with its %s filled in, as the file classes format it.
inline std::string Message(unsigned int id, const char* insert = "")
{
    char text[1024];
    std::snprintf(text, sizeof text, String(FindString(id)).c_str(), insert);
    return text;
}
