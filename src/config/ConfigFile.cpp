// The file form of a TConfig in memory: the writer, the tolerant reader, and the path list.
//
// The writer puts a group as its name, "{", its keys one tab deeper and "}", each line ended
// by CR LF; a value as name=text, or the bare name when the text is empty; empty groups not at
// all. The reader takes any bytes: a line opens a group when the next significant line is
// "{", "}" closes one, and every other line is a value, split at its first "=" from position 1
// on, or a key named by the whole line.
#include <cstring>

#include "NH_Heap.h"
#include "config/Config.h"
#include "config/ConfigInternals.h"
#include "files/MemoryStream.h"
#include "text/TextHelpers.h"

namespace {

bool IsBrace(const char* text, unsigned int length, char brace)
{
    return length == 1 && text[0] == brace;
}

void PutText(TMemoryStream& stream, const String& text)
{
    stream.Put(text.c_str(), static_cast<unsigned int>(text.length()));
}

void PutLineEnd(TMemoryStream& stream)
{
    stream.Put("\r\n", 2);
}

void PutBraceLine(TMemoryStream& stream, int depth, char brace)
{
    stream.Put('\t', depth);
    stream.Put(brace);
    PutLineEnd(stream);
}

}  // namespace

// ---- the reader -------------------------------------------------------------------------

// The next raw line, ended as TMemoryStream::GetLine ends it (LF, CR, CR LF, a zero byte or
// the end of the block), trimmed of blanks and tabs; the position moves past its end. The
// line stays in the block: reading makes no text for lines that only carry structure.
TConfig::TLine TConfig::NextRawLine(TMemoryStream& stream)
{
    const char* p = stream.GetHeadPointer();
    const char* end = stream.GetStart() + stream.GetSize();
    const char* q = p;
    while (q < end && *q != '\n' && *q != '\r' && *q != 0)
        ++q;
    const char* next = q;
    if (next < end)
        next += (*next == '\r' && next + 1 < end && next[1] == '\n') ? 2 : 1;
    stream.Seek(static_cast<unsigned int>(next - stream.GetStart()));
    while (p < q && (*p == ' ' || *p == '\t'))
        ++p;
    while (q > p && (q[-1] == ' ' || q[-1] == '\t'))
        --q;
    return TLine{p, static_cast<unsigned int>(q - p)};
}

// The next line with something in it; empty at the end.
TConfig::TLine TConfig::NextSignificantLine(TMemoryStream& stream)
{
    while (!stream.End()) {
        const TLine line = NextRawLine(stream);
        if (line.length)
            return line;
    }
    return TLine{nullptr, 0};
}

TConfig::TLine TConfig::GetNextLine(TMemoryStream& stream, int* opensGroup)
{
    *opensGroup = 0;
    if (!pendingLine.length)
        pendingLine = NextSignificantLine(stream);
    if (!pendingLine.length)
        return pendingLine;
    const TLine line = pendingLine;
    const TLine next = NextSignificantLine(stream);
    if (IsBrace(next.text, next.length, '{')) {
        *opensGroup = 1;
        pendingLine = NextSignificantLine(stream);
    } else {
        pendingLine = next;
    }
    return line;
}

// One loop for every level: groupDepth counts the groups open, and the cursor is the
// innermost of them below the root, so a closing line needs nothing but a move up. Groups
// still open at the end of the input close there.
void TConfig::ReadGroup(TMemoryStream& stream)
{
    const int outermost = groupDepth;
    auto closeGroup = [this] {
        if (groupDepth-- != 1)
            MoveUp();
    };
    for (;;) {
        int opensGroup;
        const TLine line = GetNextLine(stream, &opensGroup);
        if (!line.length) {
            while (groupDepth > outermost)
                closeGroup();
            return;
        }
        if (IsBrace(line.text, line.length, '}')) {
            if (groupDepth == outermost)
                return;
            closeGroup();
            continue;
        }
        if (opensGroup) {
            if (groupDepth == 0)
                root.SetName(String(line.text, 0, 0, line.length));
            else
                MoveDownTo(TKeyName(line.text, static_cast<size_t>(line.length)).c_str());
            ++groupDepth;
            continue;
        }
        const char* equals = static_cast<const char*>(std::memchr(line.text, '=', line.length));
        const unsigned int nameLength = equals ? static_cast<unsigned int>(equals - line.text) : 0;
        if (nameLength >= 1)
            SetTheValue(String(equals + 1, 0, 0, line.length - nameLength - 1),
                        TKeyName(line.text, static_cast<size_t>(nameLength)).c_str());
        else
            CreateKey(String(line.text, 0, 0, line.length));
    }
}

// The keys are read into a new list of the root, and the old ones go only when reading has
// succeeded: a failure puts back the list, the name, the cursor and the settings.
void TConfig::BuildFromBlock(const char* block, unsigned int size)
{
    if (!block)
        return;
    TConfigKeyList* previous = root.children;
    const String previousName = root.name;
    TConfigKey* previousCurrent = current;
    const int previousAutoCreate = autoCreate;
    root.children = new TConfigKeyList(mode & 6);
    current = &root;
    autoCreate = 1;
    pendingLine = TLine{nullptr, 0};
    groupDepth = 0;
    try {
        TMemoryStream stream(static_cast<const void*>(block), size);
        ReadGroup(stream);
        current = &root;
        DeleteEmptyGroups();
    } catch (...) {
        TConfigKey::DestroyList(root.children);
        root.children = previous;
        root.name = previousName;
        current = previousCurrent;
        autoCreate = previousAutoCreate;
        pendingLine = TLine{nullptr, 0};
        groupDepth = 0;
        throw;
    }
    pendingLine = TLine{nullptr, 0};
    current = &root;
    TConfigKey::DestroyList(previous);
}

// ---- the writer -------------------------------------------------------------------------

// A loop over the links in place of recursion: open is the group whose keys are being
// written, one tab deeper than its own lines.
void TConfig::WriteGroup(const TConfigKey* group, TMemoryStream& stream)
{
    if (!group)
        return;
    int depth = groupDepth;
    stream.Put('\t', depth);
    PutText(stream, group->name);
    PutLineEnd(stream);
    PutBraceLine(stream, depth, '{');
    ++depth;
    const TConfigKey* open = group;
    const TConfigKey* k = TConfigKeyList::FirstOf(*group);
    for (;;) {
        if (!k) {
            --depth;
            PutBraceLine(stream, depth, '}');
            if (open == group)
                return;
            k = open->GetNext();
            open = open->parent;
            continue;
        }
        if (k->IsValue()) {
            stream.Put('\t', depth);
            PutText(stream, k->name);
            if (k->value.length() != 0) {
                stream.Put('=');
                PutText(stream, k->value);
            }
            PutLineEnd(stream);
            k = k->GetNext();
        } else if (!TConfigKeyList::FirstOf(*k)) {
            k = k->GetNext();
        } else {
            stream.Put('\t', depth);
            PutText(stream, k->name);
            PutLineEnd(stream);
            PutBraceLine(stream, depth, '{');
            ++depth;
            open = k;
            k = TConfigKeyList::FirstOf(*k);
        }
    }
}

char* TConfig::GetAsBlock(unsigned int* size)
{
    DeleteEmptyGroups();
    groupDepth = 0;
    TMemoryStream stream(2048, 0);
    try {
        WriteGroup(&root, stream);
    } catch (...) {
        NH_Heap::FreeMem(stream.GetStart());
        throw;
    }
    *size = stream.GetPosition();
    current = &root;
    return stream.GetStart();
}

// ---- the path list ----------------------------------------------------------------------

unsigned long TConfig::GetAsPathList(TList<StringItem<TListElement>>& list)
{
    list.DeleteAll();
    WalkBelow(&root, [&](TConfigKey& key) {
        if (!key.IsValue())
            return false;
        unsigned long length = 0;
        for (const TConfigKey* k = &key; k != &root; k = k->parent)
            length += k->name.length() + 1;
        String path('\\', length - 1);
        char* out = path.GetBuffer();
        unsigned long end = length - 1;
        for (const TConfigKey* k = &key; k != &root; k = k->parent) {
            end -= k->name.length();
            std::memcpy(out + end, k->name.c_str(), k->name.length());
            if (end > 0)
                --end;  // the backslash already there
        }
        list.Append(NewTextItem(path));
        return false;
    });
    return static_cast<unsigned long>(list.GetCount());
}

void TConfig::BuildFromPathList(const TList<StringItem<TListElement>>& list)
{
    Clear();
    autoCreate = 1;
    TList<StringItem<TListElement>> pieces;
    for (const StringItem<TListElement>* line = list.GetFirst(); line; line = list.GetNext(line)) {
        current = &root;
        ExplodeString(pieces, line->c_str(), "\\", 1);
        for (StringItem<TListElement>* piece = pieces.GetFirst(); piece;) {
            StringItem<TListElement>* next = pieces.GetNext(piece);
            if (next)
                MoveDownTo(piece->c_str());
            else
                CreateKey(*piece);
            piece = next;
        }
    }
}
