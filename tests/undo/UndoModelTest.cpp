// A long random sequence of adoptions, undos, redos, lower maximums and copies, checked after
// each step against a plain model of the two lists.
#include "UndoTestSupport.h"

#include <deque>
#include <memory>
#include <random>

using namespace UndoTest;

namespace {

struct Model {
    std::deque<Shape> undo, redo;
    int maximum;
    int state = 0;
    long dropped = 0, packed = 0, evicted = 0;

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
            if (!(h.name == s.name && h.instance == s.instance) && h.mergeable && h.packable) {
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
    // Applies the front of from; answers whether there was one and gives its result.
    bool Apply(std::deque<Shape>& from, Shape& back)
    {
        if (from.empty())
            return false;
        back = from.front();
        from.pop_front();
        std::swap(back.value, state);
        return !back.nullOnApply;
    }
    void Undo()
    {
        Shape back;
        if (Apply(undo, back) && maximum >= 1)
            redo.push_front(back);
    }
    void Redo()
    {
        Shape back;
        if (Apply(redo, back))
            AddToUndo(back, true);
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
};

void ExpectSame(const Model& model, const Document& doc, long step)
{
    SCOPED_TRACE(step);
    const std::vector<Shape> undo(model.undo.begin(), model.undo.end()), redo(model.redo.begin(), model.redo.end());
    ASSERT_EQ(undo, doc.UndoShapes());
    ASSERT_EQ(redo, doc.RedoShapes());
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
    // Every memento outside the lists has been destroyed, and only once.
    ASSERT_EQ(undo.size() + redo.size(), TestMemento::Alive().size());
}

}  // namespace

TEST_F(UndoFixture, RandomHistoryFollowsTheModel)
{
    const char* const names[] = {"type", "bold", "move", "cut"};
    Model total{};
    long documents = 0;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        std::mt19937 random(seed);
        auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
        auto chance = [&](int percent) { return pick(100) < percent ? 1 : 0; };
        std::unique_ptr<Document> doc;
        std::unique_ptr<Model> model;
        for (long step = 0; step < 20000; ++step) {
            // A maximum below 1 is for good: the next steps go to a new document.
            if (!model || model->maximum < 1) {
                if (model) {
                    total.dropped += model->dropped;
                    total.packed += model->packed;
                    total.evicted += model->evicted;
                }
                doc.reset();
                const int maximum = 3 + pick(30);
                doc = std::make_unique<Document>(maximum);
                model = std::make_unique<Model>(Model{{}, {}, maximum});
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
                    const TestMemento reference(Shape{});
                    EXPECT_EQ(s.value != 0, doc->AdoptMementoIfDifference(new TestMemento(s), reference) != 0);
                    if (s.value != 0)
                        model->AddToUndo(s, false);
                } else {
                    doc->AdoptMemento(new TestMemento(s));
                    model->AddToUndo(s, false);
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
                const Document copy(*doc);
                ASSERT_EQ(doc->UndoShapes(), copy.UndoShapes());
                ASSERT_EQ(doc->RedoShapes(), copy.RedoShapes());
            }
            ASSERT_NO_FATAL_FAILURE(ExpectSame(*model, *doc, step));
        }
    }
    // The sequence went through every rule.
    EXPECT_GT(total.dropped, 0);
    EXPECT_GT(total.packed, 0);
    EXPECT_GT(total.evicted, 0);
    EXPECT_GT(documents, 4);
}
