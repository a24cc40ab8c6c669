#include "UndoTestSupport.h"

using namespace UndoTest;

using Values = std::vector<int>;

TEST_F(UndoFixture, MaximumEvictsTheOldest)
{
    Document doc(3);
    EXPECT_EQ(String(""), doc.GetPendingUndoName());
    EXPECT_EQ(String(""), doc.GetPendingRedoName());
    EXPECT_EQ(nullptr, doc.GetFirstUndoMemento());

    TestMemento* fourth = Make("d", 4);
    doc.AdoptMemento(Make("a", 1));
    doc.AdoptMemento(Make("b", 2));
    doc.AdoptMemento(Make("c", 3));
    doc.AdoptMemento(fourth);
    EXPECT_EQ((Values{4, 3, 2}), doc.UndoValues());
    EXPECT_EQ(fourth, doc.GetFirstUndoMemento());
    EXPECT_EQ(String("d"), doc.GetPendingUndoName());
    EXPECT_EQ(3u, AliveCount());
}

TEST_F(UndoFixture, UndoAndRedoFeedEachOther)
{
    Document doc;
    doc.AdoptMemento(Make("a", 0));
    doc.state = 1;
    doc.AdoptMemento(Make("b", 1));
    doc.state = 2;

    doc.UndoCurrentState();
    EXPECT_EQ(1, doc.state);
    EXPECT_EQ(0, doc.lastRedo);
    doc.UndoCurrentState();
    EXPECT_EQ(0, doc.state);
    EXPECT_EQ(Values{}, doc.UndoValues());
    EXPECT_EQ((Values{1, 2}), doc.RedoValues()) << "most recently undone first";
    EXPECT_EQ(String("a"), doc.GetPendingRedoName());
    doc.UndoCurrentState();  // empty list: nothing happens
    EXPECT_EQ(0, doc.state);

    // A redo keeps the rest of the redo list; a new adoption ends it.
    doc.RedoLastUndoneState();
    EXPECT_EQ(1, doc.state);
    EXPECT_EQ(1, doc.lastRedo);
    EXPECT_EQ(Values{0}, doc.UndoValues());
    EXPECT_EQ(Values{2}, doc.RedoValues());
    doc.AdoptMemento(Make("c", 1));
    EXPECT_EQ(Values{}, doc.RedoValues());
    doc.RedoLastUndoneState();  // empty list: nothing happens
    EXPECT_EQ((Values{1, 0}), doc.UndoValues());
    EXPECT_EQ(2u, AliveCount());

    // An application that gives null loses the step; the applied memento still goes.
    TestMemento* lost = Make("d", 7);
    lost->shape.nullOnApply = 1;
    doc.AdoptMemento(lost);
    doc.UndoCurrentState();
    EXPECT_EQ(7, doc.state);
    EXPECT_EQ(Values{}, doc.RedoValues());
    EXPECT_EQ((Values{1, 0}), doc.UndoValues());

    // A failing application leaves both lists as they were.
    doc.UndoCurrentState();
    doc.throwOnApply = true;
    EXPECT_THROW(doc.UndoCurrentState(), std::runtime_error);
    EXPECT_THROW(doc.RedoLastUndoneState(), std::runtime_error);
    EXPECT_EQ(Values{0}, doc.UndoValues());
    EXPECT_EQ(Values{7}, doc.RedoValues());
    EXPECT_EQ(2u, AliveCount());

    doc.ClearUndoMementos();
    EXPECT_EQ(0, doc.GetNumUndoMementos());
    EXPECT_EQ(0, doc.GetNumRedoMementos());
    EXPECT_EQ(0u, AliveCount());
}

TEST_F(UndoFixture, FinishedRunsFallTogetherToTheirOldestMemento)
{
    {
        Document doc;
        TestMemento* oldest = Make("type", 10, 1, 1);
        doc.AdoptMemento(oldest);
        for (int v = 11; v < 15; ++v)
            doc.AdoptMemento(Make("type", v, 1, 1));
        EXPECT_EQ(5, doc.GetNumUndoMementos()) << "the run goes on: nothing packed";
        doc.AdoptMemento(Make("bold", 15));
        EXPECT_EQ((Values{15, 10}), doc.UndoValues());
        EXPECT_EQ(oldest, doc.GetNextUndoMemento(doc.GetFirstUndoMemento()));
        EXPECT_EQ(2u, AliveCount());
    }
    {
        // Only the newest memento's flag counts.
        Document doc;
        for (int v = 10; v < 14; ++v)
            doc.AdoptMemento(Make("type", v, 1, 1));
        doc.AdoptMemento(Make("type", 14, 1, 0));
        doc.AdoptMemento(Make("bold", 15));
        EXPECT_EQ((Values{15, 14, 13, 12, 11, 10}), doc.UndoValues());

        Document other;
        for (int v = 10; v < 14; ++v)
            other.AdoptMemento(Make("type", v, 1, 0));
        other.AdoptMemento(Make("type", 14, 1, 1));
        other.AdoptMemento(Make("bold", 15));
        EXPECT_EQ((Values{15, 10}), other.UndoValues());
    }
    {
        // Same name, another instance: another run, and the first one packs.
        Document doc;
        for (int v = 10; v < 13; ++v)
            doc.AdoptMemento(Make("type", v, 1, 1));
        doc.AdoptMemento(Make("type", 13, 2, 1));
        EXPECT_EQ((Values{13, 10}), doc.UndoValues());
        // Packing stops where the run of the newest memento ends.
        doc.AdoptMemento(Make("type", 14, 2, 1));
        doc.AdoptMemento(Make("cut", 15, 2, 1));
        EXPECT_EQ((Values{15, 13, 10}), doc.UndoValues());
    }
    {
        // A newest memento that cannot be merged is not packed.
        Document doc;
        doc.AdoptMemento(Make("type", 10, 1, 1));
        TestMemento* fixed = Make("type", 11, 1, 1);
        fixed->shape.mergeable = 0;
        doc.AdoptMemento(fixed);
        doc.AdoptMemento(Make("bold", 12));
        EXPECT_EQ((Values{12, 11, 10}), doc.UndoValues());
    }
    EXPECT_EQ(0u, AliveCount());
}

TEST_F(UndoFixture, CoveredMementosAreDropped)
{
    Document doc;
    doc.AdoptMemento(Make("a", 1));
    doc.AdoptMemento(Make("b", 2));
    doc.UndoCurrentState();
    ASSERT_EQ(1, doc.GetNumRedoMementos());

    // An equivalent memento is deleted, after the redo list has gone.
    TestMemento::equivalenceQuestions = TestMemento::groupQuestions = 0;
    doc.AdoptMemento(Make("c", 1));
    EXPECT_EQ(Values{1}, doc.UndoValues());
    EXPECT_EQ(0, doc.GetNumRedoMementos());
    EXPECT_EQ(1, TestMemento::equivalenceQuestions);
    EXPECT_EQ(0, TestMemento::groupQuestions) << "CanGroup only when IsEquivalentTo gives 0";
    EXPECT_EQ(1u, AliveCount());

    // One that the newest covers by CanGroup.
    doc.ClearUndoMementos();
    TestMemento* head = Make("a", 1);
    head->shape.group = 5;
    doc.AdoptMemento(head);
    TestMemento* covered = Make("a", 2);
    covered->shape.group = 5;
    doc.AdoptMemento(covered);
    EXPECT_EQ(Values{1}, doc.UndoValues());
    EXPECT_EQ(1, TestMemento::groupQuestions);

    // Nothing is dropped when either side cannot be merged.
    TestMemento* unmergeable = Make("a", 1);
    unmergeable->shape.mergeable = 0;
    doc.AdoptMemento(unmergeable);
    doc.AdoptMemento(Make("a", 1));
    EXPECT_EQ((Values{1, 1, 1}), doc.UndoValues());

    // A redo whose result is covered is dropped, and the rest of the redo list survives.
    doc.ClearUndoMementos();
    doc.state = 5;
    doc.AdoptMemento(Make("a", 1));
    doc.AdoptMemento(Make("b", 2));
    doc.AdoptMemento(Make("c", 3));
    doc.UndoCurrentState();  // state 3, redo: c/5
    doc.UndoCurrentState();  // state 2, redo: b/3 c/5
    doc.state = 1;
    doc.RedoLastUndoneState();  // its result b/1 is equivalent to the head a/1
    EXPECT_EQ(3, doc.state);
    EXPECT_EQ(Values{1}, doc.UndoValues());
    EXPECT_EQ(Values{5}, doc.RedoValues());
    EXPECT_EQ(2u, AliveCount());
    doc.ClearUndoMementos();
    EXPECT_EQ(0u, AliveCount());
}

TEST_F(UndoFixture, MaximumOnlyGoesDownAndTrimsBothLists)
{
    Document doc(10);
    for (int v = 1; v <= 6; ++v)
        doc.AdoptMemento(Make(std::string(1, char('a' + v)), v));
    doc.UndoCurrentState();
    doc.UndoCurrentState();
    doc.UndoCurrentState();
    ASSERT_EQ((Values{3, 2, 1}), doc.UndoValues());
    ASSERT_EQ(3, doc.GetNumRedoMementos());

    doc.SetMaxNumOfUndoMementos(2);
    EXPECT_EQ((Values{3, 2}), doc.UndoValues());
    EXPECT_EQ(2, doc.GetNumRedoMementos());
    EXPECT_EQ((Values{5, 6}), doc.RedoValues()) << "the most recently undone stay";
    EXPECT_EQ(4u, AliveCount());

    doc.SetMaxNumOfUndoMementos(50);  // no effect: still 2
    doc.AdoptMemento(Make("x", 7));
    doc.AdoptMemento(Make("y", 8));
    EXPECT_EQ((Values{8, 7}), doc.UndoValues());

    // A maximum of 0 empties both lists; what is adopted then is deleted at once.
    doc.UndoCurrentState();
    doc.SetMaxNumOfUndoMementos(0);
    EXPECT_EQ(0, doc.GetNumUndoMementos());
    EXPECT_EQ(0, doc.GetNumRedoMementos());
    EXPECT_EQ(0, doc.IsUndoEnabled());
    doc.AdoptMemento(Make("z", 9));
    EXPECT_EQ(0, doc.GetNumUndoMementos());
    EXPECT_EQ(0u, AliveCount());
    doc.UndoCurrentState();
    doc.RedoLastUndoneState();

    Document none(0);
    EXPECT_EQ(0, none.IsUndoEnabled());
    none.AdoptMemento(Make("a", 1));
    EXPECT_EQ(1, none.AdoptMementoIfDifference(Make("a", 2), TestMemento(Shape())));
    EXPECT_EQ(0u, AliveCount());
}

TEST_F(UndoFixture, AccountingWalksTheRightLists)
{
    Document doc;
    EXPECT_EQ(0u, doc.GetInvolvedUndoMemory());
    EXPECT_EQ(0, doc.HasMajorModification());

    Shape big;
    big.name = "paste";
    big.value = 1;
    big.memory = 1000;
    big.disk = 300;
    big.files = 2;
    big.major = 1;
    doc.AdoptMemento(new TestMemento(big));
    doc.AdoptMemento(Make("move", 2));
    EXPECT_EQ(1000u + sizeof(AUndoMemento), doc.GetInvolvedUndoMemory()) << "the default is the base's size";
    EXPECT_EQ(300u, doc.GetInvolvedUndoDiskSpace());
    EXPECT_EQ(2u, doc.GetNumInvolvedUndoFiles());
    EXPECT_EQ(1, doc.HasMajorModification());

    // Once undone, the major memento's result sits in the redo list: memory still counts
    // it, disk space, files and the major flag do not.
    doc.UndoCurrentState();
    doc.UndoCurrentState();
    EXPECT_EQ(0, doc.GetNumUndoMementos());
    EXPECT_EQ(1000u + sizeof(AUndoMemento), doc.GetInvolvedUndoMemory());
    EXPECT_EQ(0u, doc.GetInvolvedUndoDiskSpace());
    EXPECT_EQ(0u, doc.GetNumInvolvedUndoFiles());
    EXPECT_EQ(0, doc.HasMajorModification());

    // Through the base, the virtual operations reach an override.
    struct Counting : Document {
        unsigned long GetInvolvedUndoMemory() const override { return 42; }
    } counting;
    const AUndoable& base = counting;
    EXPECT_EQ(42u, base.GetInvolvedUndoMemory());
}

TEST_F(UndoFixture, EnablingAndExcludedNames)
{
    Document doc;
    EXPECT_EQ(1, doc.IsUndoEnabled());
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing"));

    doc.DoNotSaveUndoMementosWithName(String("typing"));
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing")) << "nothing pending";
    doc.AdoptMemento(Make("bold", 1));
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing")) << "another action pending";
    EXPECT_EQ(1, doc.IsUndoEnabledFor("bold")) << "pending, but not excluded";
    doc.AdoptMemento(Make("typing", 2));
    EXPECT_EQ(0, doc.IsUndoEnabledFor("typing")) << "a repetition of the excluded action";
    doc.SaveUndoMementosWithAnyName();
    EXPECT_EQ(1, doc.IsUndoEnabledFor("typing"));

    // The stand-in for no name is itself a name.
    doc.AdoptMemento(Make("%%%%%%%%", 3));
    EXPECT_EQ(0, doc.IsUndoEnabledFor("%%%%%%%%"));

    // By message id, through the catalogue.
    doc.DoNotSaveUndoMementosWithName(18012);
    doc.AdoptMemento(Make("File error", 4));
    EXPECT_EQ(0, doc.IsUndoEnabledFor("File error"));

    // Disabled: nothing is enabled, but adopting still stores.
    doc.EnableUndo(0);
    EXPECT_EQ(0, doc.IsUndoEnabled());
    EXPECT_EQ(0, doc.IsUndoEnabledFor("other"));
    doc.AdoptMemento(Make("other", 5));
    EXPECT_EQ(5, doc.GetNumUndoMementos());
    doc.EnableUndo(1);
    EXPECT_EQ(1, doc.IsUndoEnabledFor("other"));

    // Adopted only when it differs from the reference.
    const TestMemento reference(Shape{});
    EXPECT_EQ(0, doc.AdoptMementoIfDifference(Make("same", reference.shape.value), reference));
    EXPECT_EQ(5, doc.GetNumUndoMementos());
    EXPECT_EQ(1, doc.AdoptMementoIfDifference(Make("new", 99), reference));
    EXPECT_EQ(6, doc.GetNumUndoMementos());
    EXPECT_EQ(7u, AliveCount());
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
    copy.AdoptMemento(Make("c", 5));
    EXPECT_EQ(0, copy.IsUndoEnabledFor("c"));
    copy.AdoptMemento(Make("e", 6));
    copy.AdoptMemento(Make("f", 7));
    copy.AdoptMemento(Make("g", 8));
    EXPECT_EQ(4, copy.GetNumUndoMementos()) << "the maximum came along";

    // Assignment deletes what the target held.
    Document other;
    for (int v = 0; v < 5; ++v)
        other.AdoptMemento(Make("z", v, 1));
    other = doc;
    EXPECT_EQ((Values{3, 1}), other.UndoValues());
    EXPECT_EQ(doc.RedoValues(), other.RedoValues());
    other = other;
    EXPECT_EQ((Values{3, 1}), other.UndoValues());
}
