// The undo history: a long random run against a plain model of both lists, and the cases
// that the model does not reach (failing applications, the order of questions, settings).
#include <CommonTarn.h>

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

struct Shape {
    std::string name = "edit";
    int instance = 0, packable = 0, major = 0, mergeable = 1;
    int value = 0;  // the state to go back to; equal values make equivalent mementos
    int group = 0;  // CanGroup: equal and not 0
    int cloneable = 1, nullOnApply = 0;
    unsigned long memory = 1, disk = 0, files = 0;
    auto Key() const { return std::tie(name, instance, packable, major, mergeable, value, group, nullOnApply, memory, disk, files); }
    bool operator==(const Shape& o) const { return Key() == o.Key(); }
};

// A memento of plain values that records which mementos exist and what it was asked.
class TestMemento : public AUndoMemento {
public:
    explicit TestMemento(const Shape& s) : AUndoMemento(s.name.c_str(), s.instance, s.packable, s.major), shape(s)
    {
        alive.insert(this);
    }
    TestMemento(const TestMemento& source) : AUndoMemento(source), shape(source.shape) { alive.insert(this); }
    ~TestMemento() override { EXPECT_EQ(1u, alive.erase(this)) << "destroyed twice"; }
    static const Shape& Of(const AUndoMemento& m) { return static_cast<const TestMemento&>(m).shape; }

    CollectionElement* CreateClone(const void*) const override { return shape.cloneable ? new TestMemento(*this) : nullptr; }
    unsigned long GetInvolvedMemory() const override { return shape.memory; }
    unsigned long GetInvolvedDiskSpace() const override { return shape.disk; }
    unsigned long GetNumInvolvedFiles() const override { return shape.files; }
    int IsEquivalentTo(const AUndoMemento& other) const override { return ++equivalenceQuestions, shape.value == Of(other).value; }
    int CanBeMerged() const override { return shape.mergeable; }

    Shape shape;
    static inline std::set<const void*> alive;
    static inline int equivalenceQuestions = 0, groupQuestions = 0;

protected:
    int CanGroup(const AUndoMemento& newer) const override
    {
        return ++groupQuestions, shape.group != 0 && shape.group == Of(newer).group;
    }
};

TestMemento* Make(const std::string& name, int value, int instance = 0, int packable = 0)
{
    Shape s;
    s.name = name, s.value = value, s.instance = instance, s.packable = packable;
    return new TestMemento(s);
}

// A document whose whole state is one number; the memento of the state left has the applied
// one's shape. It counts undos and redos by the flag it is given.
class Document : public AUndoable {
public:
    explicit Document(int maximum = 0x7fffffff) : AUndoable(maximum) {}
    AUndoMemento* ApplyMemento(AUndoMemento* memento, int redo) override
    {
        if (throwOnApply)
            throw std::runtime_error("apply failed");
        ++applied[redo != 0];
        Shape back = TestMemento::Of(*memento);
        std::swap(back.value, state);
        return back.nullOnApply ? nullptr : new TestMemento(back);
    }
    std::vector<Shape> Shapes(bool redo) const
    {
        std::vector<Shape> shapes;
        for (const AUndoMemento* m = redo ? GetFirstRedoMemento() : GetFirstUndoMemento(); m;
             m = redo ? GetNextRedoMemento(m) : GetNextUndoMemento(m))
            shapes.push_back(TestMemento::Of(*m));
        return shapes;
    }
    std::vector<int> Values(bool redo = false) const
    {
        std::vector<int> values;
        for (const Shape& s : Shapes(redo))
            values.push_back(s.value);
        return values;
    }

    int state = 0;
    long applied[2] = {0, 0};
    bool throwOnApply = false;
};

using Values = std::vector<int>;

// Every test ends with no memento alive and the string heap as it found it.
class Undo : public ::testing::Test {
protected:
    void TearDown() override
    {
        EXPECT_TRUE(TestMemento::alive.empty()) << TestMemento::alive.size() << " mementos left";
        TestMemento::alive.clear();
        EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse());
    }
    unsigned long blocks = _stringHeap->GetBlocksInUse();
};

// The rules of AddToUndoList, undo, redo and lowering the maximum, kept on plain values.
struct Model {
    std::deque<Shape> lists[2];  // undo, redo
    int maximum;
    int state = 0;
    long applied[2] = {0, 0}, dropped = 0, packed = 0, evicted = 0;

    void AddToUndo(const Shape& s, bool keepRedo)
    {
        std::deque<Shape>& undo = lists[0];
        if (maximum < 1)
            return;
        if (!keepRedo)
            lists[1].clear();
        if (!undo.empty()) {
            const Shape& h = undo.front();
            if (h.mergeable && s.mergeable && (h.value == s.value || (h.group != 0 && h.group == s.group)))
                return void(++dropped);
            if (!(h.name == s.name && h.instance == s.instance) && h.mergeable && h.packable) {
                size_t run = 1;
                while (run < undo.size() && undo[run].name == h.name && undo[run].instance == h.instance)
                    ++run;
                packed += static_cast<long>(run - 1);
                undo.erase(undo.begin(), undo.begin() + static_cast<long>(run - 1));
            }
        }
        undo.push_front(s);
        if (static_cast<int>(undo.size()) > maximum)
            undo.pop_back(), ++evicted;
    }
    // Applies the front of one list: an undo (redo 0) or a redo (1).
    void Apply(int redo)
    {
        std::deque<Shape>& from = lists[redo];
        if (from.empty())
            return;
        Shape back = from.front();
        from.pop_front();
        ++applied[redo];
        std::swap(back.value, state);
        if (back.nullOnApply || maximum < 1)
            return;
        if (redo)
            AddToUndo(back, true);
        else
            lists[1].push_front(back);
    }
    void Lower(int n)
    {
        if (n >= maximum)
            return;
        maximum = n;
        for (std::deque<Shape>& list : lists)
            while (!list.empty() && static_cast<int>(list.size()) > n)
                list.pop_back();
    }
};

void ExpectSame(const Model& model, const Document& doc)
{
    unsigned long memory = 0, disk = 0, files = 0;
    int major = 0;
    for (int redo = 0; redo <= 1; ++redo) {
        const std::vector<Shape> list(model.lists[redo].begin(), model.lists[redo].end());
        ASSERT_EQ(list, doc.Shapes(redo != 0));
        ASSERT_EQ(model.applied[redo], doc.applied[redo]) << "applications with the redo flag " << redo;
        for (const Shape& s : list) {
            memory += s.memory;
            disk += redo ? 0 : s.disk;
            files += redo ? 0 : s.files;
            major |= redo ? 0 : s.major;
        }
        const String pending(list.empty() ? "" : list.front().name.c_str());
        ASSERT_EQ(pending, redo ? doc.GetPendingRedoName() : doc.GetPendingUndoName());
    }
    ASSERT_EQ(model.state, doc.state);
    ASSERT_EQ(memory, doc.GetInvolvedUndoMemory());
    ASSERT_EQ(disk, doc.GetInvolvedUndoDiskSpace());
    ASSERT_EQ(files, doc.GetNumInvolvedUndoFiles());
    ASSERT_EQ(major, doc.HasMajorModification());
    // Every memento outside the lists has been destroyed, and only once.
    ASSERT_EQ(model.lists[0].size() + model.lists[1].size(), TestMemento::alive.size());
}

}  // namespace

// Adoptions, undos, redos, changes of the maximum and copies, checked after each step.
TEST_F(Undo, RandomHistoryFollowsTheModel)
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
                if (model)
                    total.dropped += model->dropped, total.packed += model->packed, total.evicted += model->evicted;
                doc.reset();
                const int maximum = 3 + pick(30);
                doc = std::make_unique<Document>(maximum);
                model = std::make_unique<Model>(Model{{}, maximum});
                ++documents;
            }
            const int what = pick(100);
            if (what < 55) {
                Shape s;
                s.name = names[pick(4)];
                s.instance = pick(2), s.packable = chance(60), s.mergeable = chance(85), s.value = pick(12);
                s.group = chance(10) ? 1 + pick(2) : 0;
                s.major = chance(10), s.nullOnApply = chance(5);
                s.memory = 1 + pick(100), s.disk = pick(3) * 100, s.files = pick(2);
                if (what < 5) {
                    const TestMemento reference(Shape{});
                    EXPECT_EQ(s.value != 0, doc->AdoptMementoIfDifference(new TestMemento(s), reference) != 0);
                    if (s.value != 0)
                        model->AddToUndo(s, false);
                } else {
                    doc->AdoptMemento(new TestMemento(s));
                    model->AddToUndo(s, false);
                }
            } else if (what < 97) {
                const int redo = what < 78 ? 0 : 1;
                redo ? doc->RedoLastUndoneState() : doc->UndoCurrentState();
                model->Apply(redo);
            } else if (what < 99) {
                const int other = model->maximum + 1 - pick(5);  // a raise is ignored
                doc->SetMaxNumOfUndoMementos(other);
                model->Lower(other);
            } else {
                const Document copy(*doc);
                ASSERT_EQ(doc->Shapes(false), copy.Shapes(false));
                ASSERT_EQ(doc->Shapes(true), copy.Shapes(true));
            }
            SCOPED_TRACE(step);
            ASSERT_NO_FATAL_FAILURE(ExpectSame(*model, *doc));
        }
    }
    // The sequence went through every rule.
    EXPECT_GT(total.dropped, 0);
    EXPECT_GT(total.packed, 0);
    EXPECT_GT(total.evicted, 0);
    EXPECT_GT(documents, 4);
}

TEST_F(Undo, FixedCases)
{
    // A throwing application leaves both lists as they were.
    Document doc;
    EXPECT_EQ(String(""), doc.GetPendingUndoName());
    for (TestMemento* m : {Make("a", 1), Make("b", 2), Make("c", 3)})
        doc.AdoptMemento(m);
    doc.UndoCurrentState();
    doc.throwOnApply = true;
    EXPECT_THROW(doc.UndoCurrentState(), std::runtime_error);
    EXPECT_THROW(doc.RedoLastUndoneState(), std::runtime_error);
    EXPECT_EQ((Values{2, 1}), doc.Values());
    EXPECT_EQ(Values{0}, doc.Values(true));
    doc.throwOnApply = false;

    // CanGroup is asked only when IsEquivalentTo gives 0.
    TestMemento::equivalenceQuestions = TestMemento::groupQuestions = 0;
    doc.AdoptMemento(Make("c", 2));
    EXPECT_EQ(1, TestMemento::equivalenceQuestions);
    EXPECT_EQ(0, TestMemento::groupQuestions);
    EXPECT_EQ(0, doc.GetNumRedoMementos()) << "gone before the memento was dropped";

    // Five of one packable action, then another: the first of the five remains. Only the
    // newest one's flag counts.
    for (int newestPackable = 0; newestPackable <= 1; ++newestPackable) {
        Document runs;
        for (int v = 10; v < 15; ++v)
            runs.AdoptMemento(Make("type", v, 1, v < 14 ? 1 - newestPackable : newestPackable));
        EXPECT_EQ(5, runs.GetNumUndoMementos()) << "while the run goes on, nothing is packed";
        runs.AdoptMemento(Make("type", 15, 2));
        EXPECT_EQ(newestPackable ? (Values{15, 10}) : (Values{15, 14, 13, 12, 11, 10}), runs.Values());
    }
}

TEST_F(Undo, MaximumEnablingAndExcludedNames)
{
    Document doc(4);
    doc.AdoptMemento(Make("a", 1));
    doc.SetMaxNumOfUndoMementos(0);
    EXPECT_EQ(0, doc.GetNumUndoMementos());
    EXPECT_EQ(0, doc.IsUndoEnabled());
    doc.AdoptMemento(Make("z", 9));  // deleted rather than leaked
    EXPECT_EQ(1, doc.AdoptMementoIfDifference(Make("a", 2), TestMemento(Shape())));
    EXPECT_TRUE(TestMemento::alive.empty());

    Document named;
    named.DoNotSaveUndoMementosWithName(String("typing"));
    EXPECT_EQ(1, named.IsUndoEnabledFor("typing")) << "nothing pending";
    named.AdoptMemento(Make("bold", 1));
    EXPECT_EQ(1, named.IsUndoEnabledFor("typing")) << "another action pending";
    EXPECT_EQ(1, named.IsUndoEnabledFor("bold")) << "pending, but not excluded";
    named.AdoptMemento(Make("typing", 2));
    EXPECT_EQ(0, named.IsUndoEnabledFor("typing")) << "a repetition of the excluded action";
    named.SaveUndoMementosWithAnyName();
    EXPECT_EQ(1, named.IsUndoEnabledFor("typing"));
    named.DoNotSaveUndoMementosWithName(18012);
    named.AdoptMemento(Make("File error", 3));
    EXPECT_EQ(0, named.IsUndoEnabledFor("File error")) << "the catalogue's text of the id";
    named.EnableUndo(0);
    EXPECT_EQ(0, named.IsUndoEnabled());
    EXPECT_EQ(0, named.IsUndoEnabledFor("other"));
    named.AdoptMemento(Make("other", 4));
    EXPECT_EQ(4, named.GetNumUndoMementos()) << "adopting does not look at the flag";
}

TEST_F(Undo, CopiesCloneBothListsAndTheSettings)
{
    Document doc(4);
    TestMemento* uncopyable = Make("b", 2);
    uncopyable->shape.cloneable = 0;
    for (TestMemento* m : {Make("a", 1), uncopyable, Make("c", 3), Make("d", 4)})
        doc.AdoptMemento(m);
    doc.UndoCurrentState();
    doc.DoNotSaveUndoMementosWithName(String("c"));
    doc.EnableUndo(0);

    Document copy(doc), assigned;
    assigned.AdoptMemento(Make("z", 7));
    assigned = doc;
    for (const Document* d : {&copy, &assigned}) {
        EXPECT_EQ((Values{3, 1}), d->Values()) << "a null clone is left out";
        EXPECT_EQ(doc.Values(true), d->Values(true));
        EXPECT_NE(doc.GetFirstUndoMemento(), d->GetFirstUndoMemento());
        EXPECT_EQ(0, d->IsUndoEnabled());
    }
    copy.EnableUndo(1);
    EXPECT_EQ(0, copy.IsUndoEnabledFor("c"));
    for (int v = 5; v <= 8; ++v)
        copy.AdoptMemento(Make("e", v));
    EXPECT_EQ(4, copy.GetNumUndoMementos()) << "the maximum came along";
}
