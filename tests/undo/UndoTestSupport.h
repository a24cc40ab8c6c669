// A memento made of plain values, which counts its lives and the questions it is asked,
// and a document whose whole state is one number.
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
    int instance = 0;
    int packable = 0;
    int major = 0;
    int mergeable = 1;
    int value = 0;  // the state to go back to; equal values are equivalent mementos
    int group = 0;  // CanGroup: equal and not 0
    int cloneable = 1;
    int nullOnApply = 0;  // ApplyMemento of this memento gives null
    unsigned long memory = 0, disk = 0, files = 0;

    bool operator==(const Shape& o) const
    {
        return name == o.name && instance == o.instance && packable == o.packable && major == o.major &&
               mergeable == o.mergeable && value == o.value && group == o.group && memory == o.memory &&
               disk == o.disk && files == o.files && nullOnApply == o.nullOnApply;
    }
};

inline std::ostream& operator<<(std::ostream& out, const Shape& s)
{
    return out << s.name << '/' << s.instance << " v" << s.value << (s.packable ? " p" : "") << (s.mergeable ? " m" : "")
               << " g" << s.group;
}

class TestMemento : public AUndoMemento {
public:
    explicit TestMemento(const Shape& shape)
        : AUndoMemento(shape.name.c_str(), shape.instance, shape.packable, shape.major), shape(shape), serial(++lastSerial)
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
    // The serials of the mementos that exist.
    static std::set<long>& Alive()
    {
        static std::set<long> alive;
        return alive;
    }

    CollectionElement* CreateClone(const void*) const override { return shape.cloneable ? new TestMemento(*this) : nullptr; }
    unsigned long GetInvolvedMemory() const override
    {
        return shape.memory ? shape.memory : AUndoMemento::GetInvolvedMemory();
    }
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
    static inline int equivalenceQuestions = 0;
    static inline int groupQuestions = 0;

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

    // Goes to the memento's state and answers a memento of the state left, shaped like the
    // one applied.
    AUndoMemento* ApplyMemento(AUndoMemento* memento, int redo) override
    {
        if (throwOnApply)
            throw std::runtime_error("apply failed");
        lastRedo = redo;
        const Shape& target = TestMemento::As(*memento).shape;
        Shape back = target;
        back.value = state;
        state = target.value;
        return target.nullOnApply ? nullptr : new TestMemento(back);
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
    std::vector<int> UndoValues() const
    {
        std::vector<int> values;
        for (const Shape& s : UndoShapes())
            values.push_back(s.value);
        return values;
    }
    std::vector<int> RedoValues() const
    {
        std::vector<int> values;
        for (const Shape& s : RedoShapes())
            values.push_back(s.value);
        return values;
    }

    int state = 0;
    int lastRedo = -1;
    bool throwOnApply = false;
};

// Every test ends with no memento alive and the string heap as it found it.
class UndoFixture : public ::testing::Test {
protected:
    void SetUp() override { blocks = _stringHeap->GetBlocksInUse(); }
    void TearDown() override
    {
        EXPECT_TRUE(TestMemento::Alive().empty()) << TestMemento::Alive().size() << " mementos leaked";
        TestMemento::Alive().clear();
        EXPECT_EQ(blocks, _stringHeap->GetBlocksInUse());
    }
    static size_t AliveCount() { return TestMemento::Alive().size(); }

    unsigned long blocks = 0;
};

}  // namespace UndoTest
