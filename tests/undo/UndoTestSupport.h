// A memento of plain values that records which mementos exist and what it was asked, and
// a document whose whole state is one number.
#pragma once

#include <CommonTarn.h>

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace UndoTest {

struct Shape {
    std::string name = "edit";
    int instance = 0, packable = 0, major = 0, mergeable = 1;
    int value = 0;  // the state to go back to; equal values make equivalent mementos
    int group = 0;  // CanGroup: equal and not 0
    int cloneable = 1, nullOnApply = 0;
    unsigned long memory = 1, disk = 0, files = 0;
    bool operator==(const Shape& o) const
    {
        return name == o.name && instance == o.instance && packable == o.packable && major == o.major &&
               mergeable == o.mergeable && value == o.value && group == o.group && memory == o.memory &&
               disk == o.disk && files == o.files && nullOnApply == o.nullOnApply;
    }
};

class TestMemento : public AUndoMemento {
public:
    explicit TestMemento(const Shape& s)
        : AUndoMemento(s.name.c_str(), s.instance, s.packable, s.major), shape(s), serial(++lastSerial)
    {
        Alive().insert(serial);
    }
    TestMemento(const TestMemento& source) : AUndoMemento(source), shape(source.shape), serial(++lastSerial)
    {
        Alive().insert(serial);
    }
    ~TestMemento() override
    {
        if (Alive().erase(serial) != 1)
            ADD_FAILURE() << "memento " << serial << " destroyed twice";
    }
    static const TestMemento& As(const AUndoMemento& m) { return static_cast<const TestMemento&>(m); }
    static std::set<long>& Alive()
    {
        static std::set<long> alive;
        return alive;
    }

    CollectionElement* CreateClone(const void*) const override { return shape.cloneable ? new TestMemento(*this) : nullptr; }
    unsigned long GetInvolvedMemory() const override { return shape.memory; }
    unsigned long GetInvolvedDiskSpace() const override { return shape.disk; }
    unsigned long GetNumInvolvedFiles() const override { return shape.files; }
    int IsEquivalentTo(const AUndoMemento& other) const override
    {
        ++equivalenceQuestions;
        return shape.value == As(other).shape.value;
    }
    int CanBeMerged() const override { return shape.mergeable; }

    Shape shape;
    const long serial;
    static inline long lastSerial = 0;
    static inline int equivalenceQuestions = 0, groupQuestions = 0;

protected:
    int CanGroup(const AUndoMemento& newer) const override
    {
        ++groupQuestions;
        return shape.group != 0 && shape.group == As(newer).shape.group;
    }
};

inline TestMemento* Make(const std::string& name, int value, int instance = 0, int packable = 0)
{
    Shape s;
    s.name = name;
    s.value = value;
    s.instance = instance;
    s.packable = packable;
    return new TestMemento(s);
}

class Document : public AUndoable {
public:
    explicit Document(int maximum = 0x7fffffff) : AUndoable(maximum) {}

    // Goes to the memento's state; the memento of the state left has the applied one's shape.
    AUndoMemento* ApplyMemento(AUndoMemento* memento, int) override
    {
        if (throwOnApply)
            throw std::runtime_error("apply failed");
        Shape back = TestMemento::As(*memento).shape;
        std::swap(back.value, state);
        return back.nullOnApply ? nullptr : new TestMemento(back);
    }

    std::vector<Shape> UndoShapes() const
    {
        std::vector<Shape> shapes;
        for (const AUndoMemento* m = GetFirstUndoMemento(); m; m = GetNextUndoMemento(m))
            shapes.push_back(TestMemento::As(*m).shape);
        return shapes;
    }
    std::vector<Shape> RedoShapes() const
    {
        std::vector<Shape> shapes;
        for (const AUndoMemento* m = GetFirstRedoMemento(); m; m = GetNextRedoMemento(m))
            shapes.push_back(TestMemento::As(*m).shape);
        return shapes;
    }
    static std::vector<int> Values(const std::vector<Shape>& shapes)
    {
        std::vector<int> values;
        for (const Shape& s : shapes)
            values.push_back(s.value);
        return values;
    }
    std::vector<int> UndoValues() const { return Values(UndoShapes()); }
    std::vector<int> RedoValues() const { return Values(RedoShapes()); }

    int state = 0;
    bool throwOnApply = false;
};

// Every test ends with no memento alive and the string heap as it found it.
class UndoFixture : public ::testing::Test {
protected:
    void SetUp() override { blocks = _stringHeap->GetBlocksInUse(); }
    void TearDown() override
    {
        EXPECT_TRUE(TestMemento::Alive().empty()) << TestMemento::Alive().size() << " mementos left";
        TestMemento::Alive().clear();
        EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse());
    }
    static size_t AliveCount() { return TestMemento::Alive().size(); }

    unsigned long blocks = 0;
};

}  // namespace UndoTest
