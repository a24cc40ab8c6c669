// The configuration reader on arbitrary bytes, in each ordering mode. Whatever loads must be
// written, and in the unsorted modes what is written must load back to an equal tree and be
// written again to the same bytes, unless the tree holds a key that the file form cannot
// carry: one named "{" or "}", which reads back as structure, or a bare name (an empty text)
// that ends in a blank, which reads back trimmed. The path list must come back the same,
// unless a name holds a backslash or begins or ends with a blank.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "NH_Heap.h"
#include "config/Config.h"

namespace {

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

int CannotBeCarried(const TConfigKey& key, const void*)
{
    const String& name = key.GetName();
    if (name == "{" || name == "}")
        return 1;
    const char last = name.length() ? name[static_cast<int>(name.length() - 1)] : 'x';
    return key.IsValue() && key.GetText().length() == 0 && (last == ' ' || last == '\t');
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

int CannotBeListed(const TConfigKey& key, const void*)
{
    const String& name = key.GetName();
    return name.Contains('\\') || name.length() == 0 || IsBlank(name[0]) ||
           IsBlank(name[static_cast<int>(name.length() - 1)]);
}

struct Block {
    char* bytes;
    unsigned int size;
    explicit Block(TConfig& config) : bytes(config.GetAsBlock(&size)) {}
    ~Block() { NH_Heap::FreeMem(bytes); }
    bool operator==(const Block& other) const
    {
        return size == other.size && std::memcmp(bytes, other.bytes, size) == 0;
    }
};

bool SameTexts(const TList<StringItem<TListElement>>& a, const TList<StringItem<TListElement>>& b)
{
    const StringItem<TListElement>* x = a.GetFirst();
    const StringItem<TListElement>* y = b.GetFirst();
    for (; x && y; x = a.GetNext(x), y = b.GetNext(y))
        if (std::strcmp(x->c_str(), y->c_str()) != 0)
            return false;
    return !x && !y;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const TConfig::Mode modes[] = {TConfig::Mode(0), TConfig::eDuplicateGroups, TConfig::eSortedByName,
                                   TConfig::eSortedGroupsFirst | TConfig::eDuplicateGroups};
    for (TConfig::Mode mode : modes) {
        TConfig loaded("Fuzz", mode);
        loaded.BuildFromBlock(reinterpret_cast<const char*>(data), static_cast<unsigned int>(size));
        Check(loaded.GetCurrentKey() == loaded.GetRoot());
        const bool carried = !loaded.FindFirstThat(CannotBeCarried, nullptr);
        TConfig copy(loaded);
        const Block written(loaded);
        TConfig again("Other", mode);
        again.BuildFromBlock(written.bytes, written.size);
        const Block rewritten(again);
        if (!(mode & (TConfig::eSortedByName | TConfig::eSortedGroupsFirst)) && carried) {
            Check(written == rewritten);
            Check(again == loaded);
            Check(copy == loaded);
        }

        TList<StringItem<TListElement>> paths, back;
        loaded.GetAsPathList(paths);
        TConfig fromPaths("Paths", mode);
        fromPaths.BuildFromPathList(paths);
        fromPaths.GetAsPathList(back);
        if (!(mode & (TConfig::eSortedByName | TConfig::eSortedGroupsFirst)) &&
            !loaded.FindFirstThat(CannotBeListed, nullptr))
            Check(SameTexts(paths, back));
    }
    return 0;
}
