// A long random sequence of adoptions, undos, redos and lower maximums, checked after each
// step against a plain model of the two lists.
#include "UndoTestSupport.h"

#include <deque>
#include <memory>
#include <random>

using namespace UndoTest;

namespace {

class Model {
public:
    explicit Model(int maximum) : maximum(maximum) {}

    void Adopt(const Shape& s) { AddToUndo(s, false); }
    void Undo()
    {
        if (undo.empty())
            return;
        const Shape applied = undo.front();
        const Shape back = Apply(applied);
        if (!applied.nullOnApply && maximum >= 1)
            redo.push_front(back);
        undo.pop_front();
    }
    void Redo()
    {
        if (redo.empty())
            return;
        const Shape applied = redo.front();
        const Shape back = Apply(applied);
        if (!applied.nullOnApply)
            AddToUndo(back, true);
        redo.pop_front();
    }
    void Lower(int n)
    {
        if (n >= maximum)
            return;
        maximum = n;
        while (!undo.empty() && static_cast<int>(undo.size()) > n)
            undo.pop_back();
        while (!redo.empty() && static_cast<int>(redo.size()) > n)
            redo.pop_back();
    }

    std::deque<Shape> undo, redo;
    int maximum;
    int state = 0;
    long dropped = 0, packed = 0, evicted = 0;

private:
    Shape Apply(const Shape& s)
    {
        Shape back = s;
        back.value = state;
        state = s.value;
        return back;
    }
    void AddToUndo(const Shape& s, bool keepRedo)
    {
        if (maximum < 1)
            return;
        if (!keepRedo)
            redo.clear();
        if (!undo.empty()) {
            const Shape& h = undo.front();
            if (h.mergeable && s.mergeable && (h.value == s.value || (h.group != 0 && h.group == s.group))) {
                ++dropped;
                return;
            }
            const bool sameRun = h.name == s.name && h.instance == s.instance;
            if (!sameRun && h.mergeable && h.packable) {
                size_t run = 1;
                while (run < undo.size() && undo[run].name == h.name && undo[run].instance == h.instance)
                    ++run;
                packed += static_cast<long>(run - 1);
                undo.erase(undo.begin(), undo.begin() + static_cast<long>(run - 1));
            }
        }
        undo.push_front(s);
        if (static_cast<int>(undo.size()) > maximum) {
            undo.pop_back();
            ++evicted;
        }
    }
};

void ExpectSame(const Model& model, const Document& doc, long step)
{
    const std::vector<Shape> undo(model.undo.begin(), model.undo.end());
    const std::vector<Shape> redo(model.redo.begin(), model.redo.end());
    ASSERT_EQ(undo, doc.UndoShapes()) << "step " << step;
    ASSERT_EQ(redo, doc.RedoShapes()) << "step " << step;
    ASSERT_EQ(static_cast<int>(undo.size()), doc.GetNumUndoMementos());
    ASSERT_EQ(static_cast<int>(redo.size()), doc.GetNumRedoMementos());
    ASSERT_EQ(model.state, doc.state);

    unsigned long memory = 0, disk = 0, files = 0;
    int major = 0;
    for (const Shape& s : undo) {
        memory += s.memory;
        disk += s.disk;
        files += s.files;
        major |= s.major;
    }
    for (const Shape& s : redo)
        memory += s.memory;
    ASSERT_EQ(memory, doc.GetInvolvedUndoMemory());
    ASSERT_EQ(disk, doc.GetInvolvedUndoDiskSpace());
    ASSERT_EQ(files, doc.GetNumInvolvedUndoFiles());
    ASSERT_EQ(major, doc.HasMajorModification());
    ASSERT_EQ(String(undo.empty() ? "" : undo.front().name.c_str()), doc.GetPendingUndoName());
    ASSERT_EQ(String(redo.empty() ? "" : redo.front().name.c_str()), doc.GetPendingRedoName());
}

}  // namespace

TEST_F(UndoFixture, RandomHistoryFollowsTheModel)
{
    const char* const names[] = {"type", "bold", "move", "cut"};
    long totalDropped = 0, totalPacked = 0, totalEvicted = 0, documents = 0;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        std::mt19937 random(seed);
        auto chance = [&](int percent) { return static_cast<int>(random() % 100) < percent; };
        auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };

        std::unique_ptr<Document> doc;
        std::unique_ptr<Model> model;
        for (long step = 0; step < 20000; ++step) {
            // A maximum below 1 is for good: the next steps go to a new document.
            if (!model || model->maximum < 1) {
                if (model) {
                    totalDropped += model->dropped;
                    totalPacked += model->packed;
                    totalEvicted += model->evicted;
                }
                doc.reset();
                ASSERT_TRUE(TestMemento::Alive().empty());
                const int maximum = 3 + pick(30);
                doc = std::make_unique<Document>(maximum);
                model = std::make_unique<Model>(maximum);
                ++documents;
            }
            const int what = pick(100);
            if (what < 55) {
                Shape s;
                s.name = names[pick(4)];
                s.instance = pick(2);
                s.packable = chance(60);
                s.mergeable = chance(85);
                s.value = pick(12);
                s.group = chance(10) ? 1 + pick(2) : 0;
                s.major = chance(10);
                s.nullOnApply = chance(5);
                s.memory = 1 + pick(100);
                s.disk = pick(3) * 100;
                s.files = pick(2);
                if (what < 5) {
                    TestMemento reference(s);
                    reference.shape.value = pick(12);
                    const int differs = s.value != reference.shape.value;
                    EXPECT_EQ(differs, doc->AdoptMementoIfDifference(new TestMemento(s), reference));
                    if (differs)
                        model->Adopt(s);
                } else {
                    doc->AdoptMemento(new TestMemento(s));
                    model->Adopt(s);
                }
            } else if (what < 78) {
                doc->UndoCurrentState();
                model->Undo();
            } else if (what < 97) {
                doc->RedoLastUndoneState();
                model->Redo();
            } else if (what < 99) {
                const int lower = model->maximum - pick(4);
                doc->SetMaxNumOfUndoMementos(lower);
                model->Lower(lower);
            } else {
                // A copy has the same lists, and goes without touching the original's.
                const Document copy(*doc);
                ASSERT_EQ(doc->UndoShapes(), copy.UndoShapes());
                ASSERT_EQ(doc->RedoShapes(), copy.RedoShapes());
            }
            ASSERT_NO_FATAL_FAILURE(ExpectSame(*model, *doc, step));
            // Every memento that is not in a list has been destroyed, once.
            ASSERT_EQ(model->undo.size() + model->redo.size(), TestMemento::Alive().size()) << "step " << step;
        }
        totalDropped += model->dropped;
        totalPacked += model->packed;
        totalEvicted += model->evicted;
    }
    // The sequence really went through every rule.
    EXPECT_GT(totalDropped, 0);
    EXPECT_GT(totalPacked, 0);
    EXPECT_GT(totalEvicted, 0);
    EXPECT_GT(documents, 4);
}
