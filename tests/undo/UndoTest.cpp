#include "UndoTestSupport.h"

using namespace UndoTest;

using Values = std::vector<int>;

// Eviction, redo and the sums are checked step by step in the model test.
TEST_F(UndoFixture, FailedOrEmptyApplications)
{
    Document doc;
    EXPECT_EQ(String(""), doc.GetPendingUndoName());
    for (TestMemento* m : {Make("a", 1), Make("b", 2), Make("c", 3)})
        doc.AdoptMemento(m);
    doc.UndoCurrentState();
    doc.throwOnApply = true;
    EXPECT_THROW(doc.UndoCurrentState(), std::runtime_error);
    EXPECT_THROW(doc.RedoLastUndoneState(), std::runtime_error);
    EXPECT_EQ((Values{2, 1}), doc.UndoValues()) << "both lists as they were";
    EXPECT_EQ(Values{0}, doc.RedoValues());
    doc.throwOnApply = false;
    const_cast<TestMemento&>(TestMemento::As(*doc.GetFirstUndoMemento())).shape.nullOnApply = 1;
    doc.UndoCurrentState();
    EXPECT_EQ(Values{1}, doc.UndoValues()) << "a null result loses the step";
    EXPECT_EQ(Values{0}, doc.RedoValues());
    EXPECT_EQ(2u, AliveCount());
}

TEST_F(UndoFixture, FinishedRunsFallTogetherToTheirOldestMemento)
{
    // Five of one packable action, then another action: the first of the five remains.
    auto run = [](Document& doc, int newestPackable, int othersPackable) {
        for (int v = 10; v < 14; ++v)
            doc.AdoptMemento(Make("type", v, 1, othersPackable));
        doc.AdoptMemento(Make("type", 14, 1, newestPackable));
        EXPECT_EQ(5, doc.GetNumUndoMementos()) << "while the run goes on, nothing is packed";
        doc.AdoptMemento(Make("bold", 15));
    };
    Document packed, kept, onlyNewest;
    run(packed, 1, 1);
    EXPECT_EQ((Values{15, 10}), packed.UndoValues());
    run(kept, 0, 1);
    EXPECT_EQ((Values{15, 14, 13, 12, 11, 10}), kept.UndoValues());
    run(onlyNewest, 1, 0);
    EXPECT_EQ((Values{15, 10}), onlyNewest.UndoValues()) << "the flags of the others are not looked at";

    // Same name, another instance: a new run, and packing stops where a run ends.
    Document doc;
    for (int v = 10; v < 13; ++v)
        doc.AdoptMemento(Make("type", v, 1, 1));
    doc.AdoptMemento(Make("type", 13, 2, 1));
    doc.AdoptMemento(Make("type", 14, 2, 1));
    doc.AdoptMemento(Make("cut", 15, 2, 1));
    EXPECT_EQ((Values{15, 13, 10}), doc.UndoValues());
}

TEST_F(UndoFixture, CoveredMementosAreDropped)
{
    Document doc;
    doc.AdoptMemento(Make("a", 1));
    doc.AdoptMemento(Make("b", 2));
    doc.UndoCurrentState();
    TestMemento::equivalenceQuestions = TestMemento::groupQuestions = 0;
    doc.AdoptMemento(Make("c", 1));
    EXPECT_EQ(Values{1}, doc.UndoValues()) << "equivalent to the newest: deleted";
    EXPECT_EQ(0, doc.GetNumRedoMementos()) << "after the redo list had gone";
    EXPECT_EQ(0, TestMemento::groupQuestions) << "CanGroup is asked only when IsEquivalentTo gives 0";

    TestMemento* head = Make("a", 2);
    head->shape.group = 5;
    doc.AdoptMemento(head);
    TestMemento* covered = Make("a", 3);
    covered->shape.group = 5;
    TestMemento::groupQuestions = 0;
    doc.AdoptMemento(covered);
    EXPECT_EQ((Values{2, 1}), doc.UndoValues()) << "covered by CanGroup";
    EXPECT_EQ(1, TestMemento::groupQuestions);

    TestMemento* unmergeable = Make("a", 2);
    unmergeable->shape.mergeable = 0;
    doc.AdoptMemento(unmergeable);
    doc.AdoptMemento(Make("a", 2));
    EXPECT_EQ((Values{2, 2, 2, 1}), doc.UndoValues()) << "either side unmergeable: kept";

    // A covered redo result is dropped, and the rest of the redo list survives.
    doc.ClearUndoMementos();
    doc.state = 5;
    for (TestMemento* m : {Make("a", 1), Make("b", 2), Make("c", 3)})
        doc.AdoptMemento(m);
    doc.UndoCurrentState();
    doc.UndoCurrentState();  // redo: b/3 c/5
    doc.state = 1;
    doc.RedoLastUndoneState();  // its result b/1 is equivalent to the newest, a/1
    EXPECT_EQ(Values{1}, doc.UndoValues());
    EXPECT_EQ(Values{5}, doc.RedoValues());

    // Adopted only when different from the reference.
    const TestMemento reference(Shape{});
    EXPECT_EQ(0, doc.AdoptMementoIfDifference(Make("same", 0), reference));
    EXPECT_EQ(1, doc.AdoptMementoIfDifference(Make("new", 99), reference));
    EXPECT_EQ((Values{99, 1}), doc.UndoValues());
    EXPECT_EQ(3u, AliveCount()) << "two in the list and the reference";
}

TEST_F(UndoFixture, MaximumOnlyGoesDownAndZeroKeepsNothing)
{
    Document doc(10);
    for (int v = 1; v <= 6; ++v)
        doc.AdoptMemento(Make(std::string(1, char('a' + v)), v));
    for (int i = 0; i < 3; ++i)
        doc.UndoCurrentState();
    doc.SetMaxNumOfUndoMementos(2);
    EXPECT_EQ((Values{3, 2}), doc.UndoValues());
    EXPECT_EQ((Values{5, 6}), doc.RedoValues()) << "the most recently undone stay";
    doc.SetMaxNumOfUndoMementos(50);
    for (int v = 7; v <= 9; ++v)
        doc.AdoptMemento(Make(std::string(1, char('a' + v)), v));
    EXPECT_EQ((Values{9, 8}), doc.UndoValues()) << "the maximum stayed 2";

    // Below 1 both lists empty, and an adopted memento is deleted rather than leaked.
    doc.UndoCurrentState();
    doc.SetMaxNumOfUndoMementos(0);
    EXPECT_EQ(0, doc.GetNumUndoMementos() + doc.GetNumRedoMementos());
    EXPECT_EQ(0, doc.IsUndoEnabled());
    doc.AdoptMemento(Make("z", 9));
    Document none(0);
    none.AdoptMemento(Make("a", 1));
    EXPECT_EQ(1, none.AdoptMementoIfDifference(Make("a", 2), TestMemento(Shape())));
    EXPECT_EQ(0u, AliveCount());
}

TEST_F(UndoFixture, EnablingAndExcludedNames)
{
    Document doc;
    doc.DoNotSaveUndoMementosWithName(String("typing"));
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing")) << "nothing pending";
    doc.AdoptMemento(Make("bold", 1));
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing")) << "another action pending";
    EXPECT_EQ(1, doc.IsUndoEnabledFor("bold")) << "pending, but not excluded";
    doc.AdoptMemento(Make("typing", 2));
    EXPECT_EQ(0, doc.IsUndoEnabledFor("typing")) << "a repetition of the excluded action";
    doc.SaveUndoMementosWithAnyName();
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing"));
    doc.DoNotSaveUndoMementosWithName(18012);
    doc.AdoptMemento(Make("File error", 3));
    EXPECT_EQ(0, doc.IsUndoEnabledFor("File error")) << "the catalogue's text of the id";

    doc.EnableUndo(0);
    EXPECT_EQ(0, doc.IsUndoEnabled());
    EXPECT_EQ(0, doc.IsUndoEnabledFor("other"));
    doc.AdoptMemento(Make("other", 4));
    EXPECT_EQ(4, doc.GetNumUndoMementos()) << "adopting does not look at the flag";
}

TEST_F(UndoFixture, CopiesCloneBothListsAndTheSettings)
{
    Document doc(4);
    doc.AdoptMemento(Make("a", 1));
    TestMemento* uncopyable = Make("b", 2);
    uncopyable->shape.cloneable = 0;
    doc.AdoptMemento(uncopyable);
    doc.AdoptMemento(Make("c", 3));
    doc.AdoptMemento(Make("d", 4));
    doc.UndoCurrentState();
    doc.DoNotSaveUndoMementosWithName(String("c"));
    doc.EnableUndo(0);

    Document copy(doc);
    EXPECT_EQ((Values{3, 1}), copy.UndoValues()) << "a null clone is left out";
    EXPECT_EQ(doc.RedoValues(), copy.RedoValues());
    EXPECT_NE(doc.GetFirstUndoMemento(), copy.GetFirstUndoMemento());
    EXPECT_EQ(0, copy.IsUndoEnabled());
    copy.EnableUndo(1);
    EXPECT_EQ(0, copy.IsUndoEnabledFor("c"));
    for (int v = 5; v <= 8; ++v)
        copy.AdoptMemento(Make("e", v));
    EXPECT_EQ(4, copy.GetNumUndoMementos()) << "the maximum came along";

    Document other;
    for (int v = 0; v < 5; ++v)
        other.AdoptMemento(Make("z", v));
    other = doc;
    EXPECT_EQ((Values{3, 1}), other.UndoValues());
}
