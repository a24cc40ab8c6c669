// The first program to run: a host that uses the library the way an application would.
// It makes no set-up call; loading the library did all of that.
#include <CommonTarn.h>
#include <TarnNames.h>

#include <cstdio>
#include <filesystem>
#include <initializer_list>

namespace {

// How many String objects hold the buffer of s: the count in the header in front of the text.
unsigned long Holders(const String& s)
{
    return (reinterpret_cast<const StringRef*>(s.c_str()) - 1)->refCount;
}

void Section(const char* title)
{
    std::printf("\n== %s\n", title);
}

void ShowStrings()
{
    Section("Strings share one buffer until one of them is written");
    String original("The quick brown fox");
    String copy(original);
    std::printf("original \"%s\" and its copy share a buffer: %s, holders %lu\n", original.c_str(),
                original.c_str() == copy.c_str() ? "yes" : "no", Holders(original));

    copy.Replace(4, 5, "slow").Append(" jumps");
    std::printf("after editing the copy: original \"%s\" (holders %lu), copy \"%s\"\n", original.c_str(),
                Holders(original), copy.c_str());

    String words(original + " / " + copy.Right(5));
    words.MakeUpper();
    std::printf("joined and upper-cased: \"%s\"\n", words.c_str());
    std::printf("\"FOX\" found at %ld without regard to case, \"cat\" at %ld\n", original.FindFirst("FOX", 0),
                original.FindFirst("cat", 1));

    String padded("  \tsettings.cfg  ");
    padded.Trim();
    std::printf("trimmed: \"%s\", number text: \"%s\" and \"%s\"\n", padded.c_str(), String(-5, "%04d").c_str(),
                String(3.14159).c_str());

    {
        CaseSensitive ignoreCase(0);
        std::printf("inside a CaseSensitive(0) scope \"Readme\" == \"README\": %d\n",
                    String("Readme") == "README");
    }
    std::printf("after the scope: %d\n", String("Readme") == "README");
}

void ShowRandomNumbers()
{
    Section("Random numbers (Park and Miller, seed 1)");
    TRandomizer random(1);
    std::printf("first states:");
    for (int i = 0; i < 3; ++i)
        std::printf(" %lu", random.Get(0x7FFFFFFF));
    std::printf("\ndice:");
    for (int i = 0; i < 10; ++i)
        std::printf(" %lu", random.GetInRange(1, 6));
    String name;
    random.SetString(name, 8, 12, nullptr);
    std::printf("\na random name: %s\n", name.c_str());

    int order[8];
    random.CreateArrayOfUniqueUnsortedIndexes(8, order);
    std::printf("a shuffled order:");
    for (int index : order)
        std::printf(" %d", index);
    std::printf("\n");
}

void ShowChecksums()
{
    Section("Checksums and scales");
    const char* check = "123456789";
    std::printf("CRC-16 of \"%s\": 0x%04X, CRC-32: 0x%08lX\n", check, ComputeCrc16(check, 9),
                ComputeCrc32(check, 9));
    std::printf("GetPowerOf2(4096) = %d, GetPowerOf2(100) = %d\n", GetPowerOf2(4096), GetPowerOf2(100));
    std::printf("a slider of 0..100 on a logarithmic scale:");
    for (int v : {0, 1, 9, 50, 99, 100})
        std::printf(" %d->%d", v, MapLinearToLog(v, 100));
    std::printf("\n");
}

void ShowFailures()
{
    Section("Failures arrive as one exception type, with catalogue texts");
    NH_Heap heap(1, "DemoHeap");
    heap.FailAllocation(1);  // the next allocation of this heap finds memory exhausted
    try {
        heap.Alloc(4096);
        std::printf("the allocation went through\n");
    } catch (const TException& e) {
        std::printf("allocating 4096 bytes from \"%s\" failed: \"%s\" (code %lu)\n", heap.GetName(),
                    e.message ? e.message->c_str() : "", static_cast<unsigned long>(e.code));
    }

    try {
        TExceptionThrower(0).SetAndThrow(18001, 5);  // a message identifier and a system error code
    } catch (const AException& base) {
        const TException& e = static_cast<const TException&>(base);
        std::printf("a failed delete: \"%s\" (code %lu)\n", e.message ? e.message->c_str() : "",
                    static_cast<unsigned long>(e.code));
    }
}

// The state of a small document before an edit: its whole text.
class TextMemento : public AUndoMemento {
public:
    TextMemento(const char* action, const String& text) : AUndoMemento(action, 0, 0, 1), text(text) {}
    int IsEquivalentTo(const AUndoMemento& other) const override
    {
        return text == static_cast<const TextMemento&>(other).text;
    }
    int CanBeMerged() const override { return 1; }

    String text;
};

class TextDocument : public AUndoable {
public:
    explicit TextDocument(const char* text) : text(text) {}

    void Append(const char* action, const char* more)
    {
        AdoptMemento(new TextMemento(action, text));
        text += more;
    }
    // Goes to the memento's text and hands back the text just left, for the other list.
    AUndoMemento* ApplyMemento(AUndoMemento* memento, int) override
    {
        TextMemento* left = new TextMemento(memento->GetActionName().c_str(), text);
        text = static_cast<TextMemento*>(memento)->text;
        return left;
    }

    String text;
};

void ShowUndo()
{
    Section("Undo and redo of a small edit");
    TextDocument document("Dear reader");
    document.Append("Type", ",");
    document.Append("Type greeting", " hello");
    std::printf("after two edits: \"%s\", undo steps %d, next undo \"%s\"\n", document.text.c_str(),
                document.GetNumUndoMementos(), document.GetPendingUndoName().c_str());
    document.UndoCurrentState();
    std::printf("undone:  \"%s\", undo steps %d, redo steps %d, next redo \"%s\"\n", document.text.c_str(),
                document.GetNumUndoMementos(), document.GetNumRedoMementos(),
                document.GetPendingRedoName().c_str());
    document.RedoLastUndoneState();
    std::printf("redone:  \"%s\", undo steps %d, redo steps %d\n", document.text.c_str(),
                document.GetNumUndoMementos(), document.GetNumRedoMementos());
    std::printf("the history:");
    for (const AUndoMemento* m = document.GetFirstUndoMemento(); m; m = document.GetNextUndoMemento(m))
        std::printf(" \"%s\" (before: \"%s\")", m->GetActionName().c_str(),
                    static_cast<const TextMemento*>(m)->text.c_str());
    std::printf("\n");
}


void ShowPatterns()
{
    Section("Patterns: find, collect and replace");
    String text("Invoices 2024-031 and 2024-117 are due; invoice 2023-998 was paid.");
    std::printf("text: \"%s\"\n", text.c_str());

    // The pattern language escapes with a slash: /d is a digit.
    long at = 0;
    const long length = FindPattern(text, "/d/d/d/d-/d+", 1, &at);
    std::printf("first number: \"%s\" at %ld\n", String(text.Mid(at, length)).c_str(), at);

    TArrayInPlace<MatchLocation> found;
    TTextPattern numbers("{/d/d/d/d}-{/d+}", 1);
    numbers.Find(nullptr, text, 0, eMatchAll, CB_OnMatchStoreInMatchLocationArray, &found);
    std::printf("capture groups of every number (group: text):");
    for (int i = 0; i < found.GetCount(); ++i) {
        const MatchLocation& m = found[i];
        std::printf(" %d:%s", m.captureIndex, String(text.Mid(m.start, m.length)).c_str());
    }
    std::printf("\n");

    const int count = ReplaceAll(text, "invoices?", "bill(s)", 0);
    std::printf("%d replacements without regard to case: \"%s\"\n", count, text.c_str());

    long wildcardAt = 0;
    std::printf("the wildcard *.TXT in \"notes/readme.txt\" matches %ld characters at %ld\n",
                FindWithDosWildcards("notes/readme.txt", "*.TXT", &wildcardAt), wildcardAt);

    const TRegularExp date("[0-9]+-[0-9]+");
    unsigned int dateLength = 0;
    const long dateAt = text.Find(date, 0u, &dateLength);
    std::printf("the regular expression [0-9]+-[0-9]+ finds \"%s\" at %ld\n",
                String(text.Mid(dateAt, dateLength)).c_str(), dateAt);
}

void ShowFileNames()
{
    Section("File names: taken apart, joined and made relative");
    const TFileName name("C:\\Projects\\Tarn\\docs", "\\manual.txt");
    std::printf("name \"%s\": drive %s, path \"%s\", title \"%s\", extension \"%s\", valid %d\n",
                name.c_str(), String(name.GetDrive()).c_str(), String(name.GetPath()).c_str(),
                String(name.GetTitle(0)).c_str(), String(name.GetExtension(1)).c_str(), name.IsValidFileName());
    std::printf("from C:\\Projects\\Tarn\\src it is \"%s\"; shortened to 20: \"%s\"\n",
                String::GetRelativeFileName("C:\\Projects\\Tarn\\src", name).c_str(),
                String(name.GetSummary(20)).c_str());
    String renamed(name);
    renamed.SetExtension("html", "txt|doc");
    std::printf("with the extension html: \"%s\"\n", renamed.c_str());

    // The program's own directory in the Windows form, and back to the host's form.
    const TFileName home = TFileName::GetApplicationPath();
    char hostForm[1024];
    const DWORD hostLength = ConvertWindowsToPosixName(home, hostForm, sizeof hostForm);
    std::printf("this program lives in \"%s\", which the host calls \"%s\"\n", home.c_str(),
                hostLength && hostLength < sizeof hostForm ? hostForm : "(too long)");
    std::printf("the current drive is %s\n", String(String::GetCurrentDrive()).c_str());
}

void ShowFiles()
{
    Section("Files: typed values written and read back, a sharing conflict and a missing file");
    char directory[1024];
    ConvertPosixToWindowsName(std::filesystem::temp_directory_path().string().c_str(), directory, sizeof directory);
    TFile file(directory, TFile::eTempName | TFile::eShareNone);  // a new file "XX<n>.$$$" there
    const TFileName name = file.GetName();
    file.Write(static_cast<short>(-2));
    file.Write(123456789L);
    file.Write(2.5);
    file.WriteLine("a line of text");
    std::printf("wrote %ld bytes to \"%s\" (2 for a short, 4 for a long, 8 for a double, then the line)\n",
                file.GetSize(), name.c_str());
    short s = 0;
    long l = 0;
    double d = 0;
    file.SeekStart();
    file.Read(&s);
    file.Read(&l);
    file.Read(&d);
    const String line = file.ReadLine();
    std::printf("read back: %d, %ld, %g and \"%s\"\n", s, l, d, line.c_str());

    auto openAgain = [&name](const char* when) {
        try {
            TFile second(name, TFile::eRead);
            std::printf("opening it again %s worked\n", when);
        } catch (const TException& e) {
            std::printf("opening it again %s:\n  \"%s\" (code %lu)\n", when, e.message ? e.message->c_str() : "",
                        static_cast<unsigned long>(e.code));
        }
    };
    openAgain("while the first open holds it alone");
    file.Close();
    TFile::Delete(name, 1, 0);
    openAgain("after it was deleted");
}

}  // namespace

int main()
{
    const unsigned long blocksAtStart = _stringHeap->GetBlocksInUse();
    std::printf("CommonTarn demo: the string heap \"%s\" holds %lu blocks at start\n", _stringHeap->GetName(),
                blocksAtStart);
    ShowStrings();
    ShowRandomNumbers();
    ShowChecksums();
    ShowFailures();
    ShowUndo();
    ShowPatterns();
    ShowFileNames();
    ShowFiles();
    const unsigned long blocksAtEnd = _stringHeap->GetBlocksInUse();
    std::printf("\nThe string heap holds %lu blocks at the end: %s.\n", blocksAtEnd,
                blocksAtEnd == blocksAtStart ? "nothing leaked" : "some blocks were not given back");
    return blocksAtEnd == blocksAtStart ? 0 : 1;
}
