// The undo history: a long random run against a plain model of both lists, and the cases
// that the model does not reach (failing applications, the order of questions, settings).
#include <CommonTarn.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

// value is the state to go back to: equal values make equivalent mementos. group makes
// CanGroup true when equal and not 0. The resources follow from the fields: memory value + 1,
// disk 100 per instance, files the group. A negative value gives no clone.
struct Shape {
    std::string name = "edit";
    int instance = 0, packable = 0, major = 0, mergeable = 1, value = 0, group = 0, nullOnApply = 0;
    auto Key() const { return std::tie(name, instance, packable, major, mergeable, value, group, nullOnApply); }
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

    CollectionElement* CreateClone(const void*) const override { return shape.value >= 0 ? new TestMemento(*this) : nullptr; }
    unsigned long GetInvolvedMemory() const override { return shape.value + 1; }
    unsigned long GetInvolvedDiskSpace() const override { return 100 * shape.instance; }
    unsigned long GetNumInvolvedFiles() const override { return shape.group; }
    int IsEquivalentTo(const AUndoMemento& other) const override { return ++questions[0], shape.value == Of(other).value; }
    int CanBeMerged() const override { return shape.mergeable; }

    Shape shape;
    static inline std::set<const void*> alive;
    static inline int questions[2] = {0, 0};  // IsEquivalentTo, CanGroup

protected:
    int CanGroup(const AUndoMemento& newer) const override
    {
        return ++questions[1], shape.group != 0 && shape.group == Of(newer).group;
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

// The rules of adopting, undoing, redoing and lowering the maximum, on plain values.
struct Model {
    std::deque<Shape> lists[2];  // undo, redo
    int maximum, state = 0;
    long applied[2] = {0, 0}, dropped = 0, packed = 0, evicted = 0;

    void AddToUndo(const Shape& s, bool keepRedo)
    {
        std::deque<Shape>& undo = lists[0];
        if (!keepRedo)
            lists[1].clear();
        if (!undo.empty()) {
            const Shape& h = undo.front();
            if (h.mergeable && s.mergeable && (h.value == s.value || (h.group != 0 && h.group == s.group)))
                return void(++dropped);
            size_t run = 1;
            while (h.mergeable && h.packable && run < undo.size() && undo[run].name == h.name &&
                   undo[run].instance == h.instance)
                ++run;
            if (h.name != s.name || h.instance != s.instance)
                undo.erase(undo.begin(), undo.begin() + static_cast<long>(run - 1)), packed += long(run - 1);
        }
        undo.push_front(s);
        if (static_cast<int>(undo.size()) > maximum)
            undo.pop_back(), ++evicted;
    }
    void Apply(int redo)  // an undo (redo 0) or a redo (1)
    {
        if (lists[redo].empty())
            return;
        Shape back = lists[redo].front();
        lists[redo].pop_front();
        ++applied[redo];
        std::swap(back.value, state);
        if (!back.nullOnApply)
            redo ? AddToUndo(back, true) : lists[1].push_front(back);
    }
    void Lower(int n)
    {
        maximum = std::min(maximum, n);
        for (std::deque<Shape>& list : lists)
            while (static_cast<int>(list.size()) > std::max(maximum, 0))
                list.pop_back();
    }
};

void ExpectSame(const Model& model, const Document& doc)
{
    unsigned long sums[4] = {0, 0, 0, 0};  // memory, disk, files, major
    for (int redo = 0; redo <= 1; ++redo) {
        const std::vector<Shape> list(model.lists[redo].begin(), model.lists[redo].end());
        ASSERT_EQ(list, doc.Shapes(redo != 0));
        ASSERT_EQ(model.applied[redo], doc.applied[redo]) << "applications with the redo flag " << redo;
        for (const Shape& s : list) {
            sums[0] += s.value + 1;
            if (!redo)
                sums[1] += 100 * s.instance, sums[2] += s.group, sums[3] |= s.major;
        }
        const String pending(list.empty() ? "" : list.front().name.c_str());
        ASSERT_EQ(pending, redo ? doc.GetPendingRedoName() : doc.GetPendingUndoName());
    }
    ASSERT_EQ(model.state, doc.state);
    ASSERT_EQ(sums[0], doc.GetInvolvedUndoMemory());
    ASSERT_EQ(sums[1], doc.GetInvolvedUndoDiskSpace());
    ASSERT_EQ(sums[2], doc.GetNumInvolvedUndoFiles());
    ASSERT_EQ(int(sums[3]), doc.HasMajorModification());
    // Every memento outside the lists has been destroyed, and only once.
    ASSERT_EQ(model.lists[0].size() + model.lists[1].size(), TestMemento::alive.size());
}

}  // namespace

// Adoptions, undos, redos, changes of the maximum and copies, checked after each step.
TEST_F(Undo, RandomHistoryFollowsTheModel)
{
    const char* const names[] = {"type", "bold", "move", "cut"};
    long dropped = 0, packed = 0, evicted = 0;
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
                    dropped += model->dropped, packed += model->packed, evicted += model->evicted;
                doc.reset();
                const int maximum = 3 + pick(30);
                doc = std::make_unique<Document>(maximum);
                model = std::make_unique<Model>(Model{{}, maximum});
            }
            const int what = pick(100);
            if (what < 55) {
                Shape s;
                s.name = names[pick(4)];
                s.instance = pick(2), s.packable = chance(60), s.mergeable = chance(85), s.value = pick(12);
                s.group = chance(10) ? 1 + pick(2) : 0, s.major = chance(10), s.nullOnApply = chance(5);
                if (what < 5) {
                    EXPECT_EQ(s.value != 0, doc->AdoptMementoIfDifference(new TestMemento(s), TestMemento(Shape())) != 0);
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
    EXPECT_TRUE(dropped > 0 && packed > 0 && evicted > 0);
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
    TestMemento::questions[0] = TestMemento::questions[1] = 0;
    doc.AdoptMemento(Make("c", 2));
    EXPECT_TRUE(TestMemento::questions[0] == 1 && TestMemento::questions[1] == 0);
    EXPECT_EQ(0, doc.GetNumRedoMementos()) << "gone before the memento was dropped";

    // A maximum below 1 empties both lists, and what is adopted then is deleted.
    doc.SetMaxNumOfUndoMementos(0);
    EXPECT_TRUE(doc.GetNumUndoMementos() == 0 && doc.IsUndoEnabled() == 0);
    doc.AdoptMemento(Make("z", 9));
    EXPECT_EQ(1, doc.AdoptMementoIfDifference(Make("a", 2), TestMemento(Shape())));
    EXPECT_TRUE(TestMemento::alive.empty());
}

TEST_F(Undo, ExcludedNamesAndCopies)
{
    Document doc(4);
    doc.DoNotSaveUndoMementosWithName(String("typing"));
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing")) << "nothing pending";
    doc.AdoptMemento(Make("bold", 1));
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing")) << "another action pending";
    EXPECT_EQ(1, doc.IsUndoEnabledFor("bold")) << "pending, but not excluded";
    doc.AdoptMemento(Make("typing", -2));
    EXPECT_EQ(0, doc.IsUndoEnabledFor("typing")) << "a repetition of the excluded action";
    doc.SaveUndoMementosWithAnyName();
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing"));
    doc.DoNotSaveUndoMementosWithName(18012);
    doc.AdoptMemento(Make("File error", 3));
    EXPECT_EQ(0, doc.IsUndoEnabledFor("File error")) << "the catalogue's text of the id";
    doc.EnableUndo(0);
    EXPECT_EQ(0, doc.IsUndoEnabledFor("other"));
    doc.AdoptMemento(Make("other", 4));
    EXPECT_EQ(4, doc.GetNumUndoMementos()) << "adopting does not look at the flag";
    doc.UndoCurrentState();

    // Copies take both lists through CreateClone, leaving out a null clone, and the settings.
    Document copy(doc), assigned;
    assigned.AdoptMemento(Make("z", 7));
    assigned = doc;
    for (Document* d : {&copy, &assigned}) {
        EXPECT_EQ((Values{3, 1}), d->Values());
        EXPECT_EQ(doc.Values(true), d->Values(true));
        EXPECT_NE(doc.GetFirstUndoMemento(), d->GetFirstUndoMemento());
        EXPECT_EQ(0, d->IsUndoEnabled());
        d->EnableUndo(1);
        EXPECT_EQ(0, d->IsUndoEnabledFor("File error"));
        for (int v = 5; v <= 8; ++v)
            d->AdoptMemento(Make("e", v));
        EXPECT_EQ(4, d->GetNumUndoMementos()) << "the maximum came along";
    }
}

// A memento that keeps the defaults: its own size in memory, no disk, no file, and no
// grouping; assignment takes the four fields.
TEST_F(Undo, DefaultsOfTheMementoBase)
{
    struct Plain : AUndoMemento {
        Plain(const String& name, int instance) : AUndoMemento(name, instance, instance, 1 - instance) {}
        Plain& operator=(const Plain& source) { return static_cast<Plain&>(AUndoMemento::operator=(source)); }
        int IsEquivalentTo(const AUndoMemento&) const override { return 0; }
        int CanBeMerged() const override { return 1; }
    };
    Plain* first = new Plain(String("first"), 0);
    Plain* second = new Plain(String("second"), 1);
    *first = *second;
    EXPECT_EQ(String("second"), first->GetActionName());
    EXPECT_TRUE(first->GetActionInstance() == 1 && first->IsPackable() == 1 && first->IsMajorModification() == 0);
    Document doc;
    doc.AdoptMemento(second);
    doc.AdoptMemento(first);
    EXPECT_EQ(2, doc.GetNumUndoMementos()) << "not grouped";
    EXPECT_EQ(2 * sizeof(AUndoMemento), doc.GetInvolvedUndoMemory());
    EXPECT_EQ(0u, doc.GetInvolvedUndoDiskSpace() + doc.GetNumInvolvedUndoFiles());
}
