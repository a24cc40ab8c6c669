// The file name operations of String on arbitrary texts. The first byte of the input is the
// summary's limit; the rest splits at zero bytes into a name, a second name and an extension
// list. Every result must lie within its bounds, and relative names of clean full names must
// lead back to the file.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "TarnPlatform.h"
#include "text/FileName.h"
#include "text/TextString.h"

namespace {

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

bool StartsWith(const String& s, const String& prefix)
{
    return prefix.length() <= s.length() && std::memcmp(s.c_str(), prefix.c_str(), prefix.length()) == 0;
}

bool EndsWith(const String& s, const String& suffix)
{
    return suffix.length() <= s.length() &&
           std::memcmp(s.c_str() + s.length() - suffix.length(), suffix.c_str(), suffix.length()) == 0;
}

// A drive, then parts of letters and digits each behind one backslash.
bool IsClean(const String& s)
{
    if (s.length() < 4 || !s.ContainsDrive() || s[2] != '\\')
        return false;
    for (unsigned long i = 2; i < s.length(); ++i) {
        const char c = s[static_cast<int>(i)];
        if (c == '\\' ? (i + 1 == s.length() || s[static_cast<int>(i) + 1] == '\\') : !std::isalnum(static_cast<unsigned char>(c)))
            return false;
    }
    return true;
}

int Sign(int v)
{
    return (v > 0) - (v < 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const unsigned long limit = data[0];
    std::string pieces[3];
    size_t piece = 0;
    for (size_t i = 1; i < size; ++i) {
        if (data[i] == 0 && piece < 2)
            ++piece;
        else
            pieces[piece] += static_cast<char>(data[i]);
    }
    const String name(pieces[0].c_str(), 0, 0, pieces[0].size());
    const String other(pieces[1].c_str(), 0, 0, pieces[1].size());
    const std::string& list = pieces[2];

    // The parts of a name are pieces of it.
    Check(StartsWith(name, String(name.GetPath())));
    Check(EndsWith(name, String(name.GetTitle(1))));
    Check(StartsWith(String(name.GetTitle(1)), String(name.GetTitle(0))));
    Check(EndsWith(name, String(name.GetExtension(1))));
    Check(EndsWith(name, String(name.GetExtension(0))));
    int index = -2;
    const String drive(name.GetDrive(&index));
    Check(index == name.GetDriveIndex() && (index < 0) == (drive.length() == 0));
    Check(name.ContainsPath() == (name.FindFirst('\\') >= 0));
    String top;
    const String below(name.GetPathBelow(&top));
    Check(top.length() + below.length() <= name.length());
    const int valid = name.IsValidFileName();
    Check(!valid || (name.ContainsDrive() && name.GetLastChar() != '\\' && name.Contains("\\")));

    const String summary(name.GetSummary(limit));
    if (!name.ContainsDrive())
        Check(summary.length() == 0);
    else if (limit > 0)
        Check(summary.length() <= limit);

    String changed(name);
    changed.RemoveExtension(list.c_str());
    Check(StartsWith(name, changed));
    changed = name;
    changed.RemoveExtension(static_cast<const char*>(nullptr));
    Check(StartsWith(name, changed));
    changed = name;
    changed.SetExtension(other, list.c_str());
    changed = name;
    changed.SetExtension(other.c_str(), nullptr);
    Check(EndsWith(changed, other));
    changed = name;
    changed.SetDrive(other);
    changed.SetDrive(static_cast<int>(limit) - 100);
    changed.PrependVolumeName(other);
    const TFileName joined(name, other);
    Check(joined.length() >= name.length());

    const String relative = String::GetRelativeFileName(name, other);
    const String absolute = String::GetAbsoluteFileName(name, other);
    String::GetAbsoluteFileName(other, relative);
    if (IsClean(name) && IsClean(other) && name.GetDriveIndex() == other.GetDriveIndex()) {
        const String back = String::GetAbsoluteFileName(name, relative);
        Check(_stricmp(back.c_str(), other.c_str()) == 0);
    }

    // Comparison is antisymmetric, and the conversions either fail or fit their buffers.
    Check(Sign(lstrcmpiA(name.c_str(), other.c_str())) == -Sign(lstrcmpiA(other.c_str(), name.c_str())));
    char posix[64], windows[64];
    const DWORD n = ConvertWindowsToPosixName(name.c_str(), posix, sizeof posix);
    if (n && n < sizeof posix) {
        Check(std::strlen(posix) == n);
        const DWORD back = ConvertPosixToWindowsName(posix, windows, sizeof windows);
        Check(back == 0 || back >= sizeof windows || std::strlen(windows) == back);
    }
    return 0;
}
