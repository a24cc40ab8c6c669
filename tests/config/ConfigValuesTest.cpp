// Typed values: the text each type writes, what each type reads from a text or a default,
// keys by name and index, and binary data.
#include "ConfigTestSupport.h"

#include <climits>
#include <functional>

TEST(ConfigValues, EachTypeWritesItsText)
{
    const unsigned char bytes[] = {0x00, 0xAB, 0x10};
    const struct {
        std::function<void(TConfig&)> set;
        const char* text;
    } cases[] = {
        {[](TConfig& c) { c.SetValue('A', "v"); }, "65"},
        {[](TConfig& c) { c.SetValue(static_cast<signed char>(-5), "v"); }, "-5"},
        {[](TConfig& c) { c.SetValue(static_cast<unsigned char>(200), "v"); }, "200"},
        {[](TConfig& c) { c.SetValue(static_cast<short>(-32768), "v"); }, "-32768"},
        {[](TConfig& c) { c.SetValue(static_cast<unsigned short>(65535), "v"); }, "65535"},
        {[](TConfig& c) { c.SetValue(INT_MIN, "v"); }, "-2147483648"},
        {[](TConfig& c) { c.SetValue(4294967295u, "v"); }, "4294967295"},
        {[](TConfig& c) { c.SetValue(-7L, "v"); }, "-7"},
        {[](TConfig& c) { c.SetValue(7UL, "v"); }, "7"},
        {[](TConfig& c) { c.SetValue(0.1f, "v"); }, "0.1"},
        {[](TConfig& c) { c.SetValue(3.0f, "v"); }, "3"},
        {[](TConfig& c) { c.SetValue(-0.0f, "v"); }, "-0"},
        {[](TConfig& c) { c.SetValue(1.5, "v"); }, "1.5"},
        {[](TConfig& c) { c.SetValue(100.0, "v"); }, "100"},
        {[](TConfig& c) { c.SetValue(1.0 / 3, "v"); }, "0.333333333"},
        {[](TConfig& c) { c.SetValue(1e20, "v"); }, "100000000000000000000"},
        {[](TConfig& c) { c.SetValue(String(" a b "), "v"); }, " a b "},
        {[](TConfig& c) { c.SetValue(static_cast<const char*>(nullptr), "v"); }, ""},
        {[&](TConfig& c) { c.SetBinary(bytes, 3, "v"); }, "00AB10"},
        {[&](TConfig& c) { c.SetBinary(bytes, 0, "v"); }, ""},
    };
    for (const auto& c : cases) {
        TConfig config("C");
        c.set(config);
        EXPECT_STREQ(c.text, config.GetValue("<missing>", "v").c_str());
    }
}

// Types of 32 bits or less read one number from a text on every target; a long reads as the
// target's strtol does. A missing key (no text) gives the default through its text, so a
// float or double default comes back with two decimals; the limits of GetSure apply to it.
TEST(ConfigValues, EachTypeReadsATextOrItsDefault)
{
    const bool wideLong = sizeof(long) == 8;
    const struct {
        const char* text;
        std::function<double(const TConfig&)> get;
        double expected;
    } cases[] = {
        {"65", [](const TConfig& c) { return c.GetValue('x', "v"); }, 'A'},
        {"300", [](const TConfig& c) { return c.GetValue(static_cast<unsigned char>(1), "v"); }, 44},
        {"70000", [](const TConfig& c) { return c.GetValue(static_cast<short>(1), "v"); }, 4464},
        {"+12", [](const TConfig& c) { return c.GetValue(static_cast<unsigned short>(1), "v"); }, 12},
        {"  -7xyz", [](const TConfig& c) { return c.GetValue(static_cast<signed char>(1), "v"); }, -7},
        {"abc", [](const TConfig& c) { return c.GetValue(1, "v"); }, 0},
        {"", [](const TConfig& c) { return c.GetValue(1, "v"); }, 0},
        {"5000000000", [](const TConfig& c) { return c.GetValue(1, "v"); }, INT_MAX},
        {"-5000000000", [](const TConfig& c) { return c.GetValue(1, "v"); }, INT_MIN},
        {"-1", [](const TConfig& c) { return c.GetValue(1u, "v"); }, 4294967295.0},
        {"5000000000", [](const TConfig& c) { return c.GetValue(1u, "v"); }, 4294967295.0},
        {"99999999999999999999999", [](const TConfig& c) { return c.GetValue(1u, "v"); }, 4294967295.0},
        {"5000000000", [](const TConfig& c) { return c.GetValue(1L, "v"); }, wideLong ? 5e9 : LONG_MAX},
        {"-1", [](const TConfig& c) { return c.GetValue(1UL, "v"); }, wideLong ? 18446744073709551615.0 : 4294967295.0},
        {"2.50", [](const TConfig& c) { return c.GetValue(1.0f, "v"); }, 2.5},
        {"-1e3x", [](const TConfig& c) { return c.GetValue(1.0, "v"); }, -1000},
        {"", [](const TConfig& c) { return c.GetValue(1.0, "v"); }, 0},
        {nullptr, [](const TConfig& c) { return c.GetValue(-42, "v"); }, -42},
        {nullptr, [](const TConfig& c) { return c.GetValue(4294967295u, "v"); }, 4294967295.0},
        {nullptr, [](const TConfig& c) { return c.GetValue(1.5, "v"); }, 1.5},
        {nullptr, [](const TConfig& c) { return c.GetValue(1e-3, "v"); }, 0},
        {nullptr, [](const TConfig& c) { return c.GetValue(1.006f, "v"); }, 1.01f},
        {nullptr, [](const TConfig& c) { return c.GetSure(5, 10, 20, "v"); }, 10},
        {"25", [](const TConfig& c) { return c.GetSure(5, 10, 20, "v"); }, 20},
        {"25", [](const TConfig& c) { return c.GetSure(5u, 10u, 30u, "v"); }, 25},
        {"nan", [](const TConfig& c) { return c.GetSure(0.0, -1.0, 1.0, "v"); }, -1},
        {"nan", [](const TConfig& c) { return c.GetSure(0.0f, 2.0f, 3.0f, "v"); }, 2},
    };
    for (const auto& c : cases) {
        TConfig config("C");
        if (c.text)
            config.SetValue(c.text, "v");
        EXPECT_EQ(c.expected, c.get(config)) << '"' << (c.text ? c.text : "no key") << '"';
        EXPECT_EQ(c.text != nullptr, config.ExistKey("v") != 0) << "reading makes no key";
    }
}

TEST(ConfigValues, KeysByNameAndIndex)
{
    TConfig config("C");
    config.SetValue(1, "Item", 3);
    EXPECT_EQ(1, config.GetValue(0, "Item3"));
    config.SetValue(2, "Item", -3);
    EXPECT_EQ(2, config.GetValue(0, "Item-3"));
    // Names of any length are kept whole: two that differ only far out are two keys.
    const std::string longName(300, 'n');
    config.SetValue(7, longName.c_str(), 12);
    config.SetValue(8, (longName + "13").c_str());
    EXPECT_EQ(7, config.GetValue(0, (longName + "12").c_str()));
    EXPECT_EQ(8, config.GetValue(0, longName.c_str(), 13));
    config.DeleteKey(longName.c_str(), 12);
    config.DeleteKey(longName.c_str(), 13);
    config.SetValue(3, "CASE");
    config.SetValue(4, "case");
    EXPECT_EQ(3u, config.GetNumKeys());
    EXPECT_STREQ("CASE=4", String(config.GetKey(2)->GetName() + "=" + config.GetKey(2)->GetText()).c_str());

    // A group of the name neither hides a value nor counts as one.
    config.MoveDown("g");
    config.MoveUp();
    EXPECT_EQ(5, config.GetValue(5, "g"));
    config.SetValue(6, "G");
    EXPECT_EQ(6, config.GetValue(5, "g"));
    EXPECT_TRUE(config.ExistGroup("g") && config.ExistValue("g"));
    EXPECT_EQ(5u, config.GetNumKeys());
}

TEST(ConfigValues, BinaryData)
{
    TConfig config("C");
    unsigned char all[256], back[256];
    for (int i = 0; i < 256; ++i)
        all[i] = static_cast<unsigned char>(i);
    config.SetBinary(all, 256, "all");
    EXPECT_EQ(256, config.GetBinarySize("all"));
    EXPECT_EQ(256, config.GetBinary(back, nullptr, 256, "all"));
    EXPECT_EQ(0, std::memcmp(all, back, 256));

    const unsigned char fallback[4] = {9, 9, 9, 9};
    const struct {
        const char* text;  // null: no key
        long size, decoded;
        unsigned char bytes[4];
    } cases[] = {
        {nullptr, 0, 4, {9, 9, 9, 9}},
        {"", 0, 4, {9, 9, 9, 9}},
        {"AB", 1, 1, {0xAB, 0, 0, 0}},
        {"abcd", 2, 2, {0xAB, 0xCD, 0, 0}},
        {"  ", 0, 0, {0, 0, 0, 0}},
        {" ABC ", 1, 1, {0xAB, 0, 0, 0}},
        {"0102030405", 5, 4, {1, 2, 3, 4}},
        {"G1 g", 2, 2, {0x01, 0x90, 0, 0}},  // no check of the digits: " g" is 0xE9 << 4 | 0
    };
    for (const auto& c : cases) {
        TConfig values("C");
        if (c.text)
            values.SetValue(c.text, "b");
        unsigned char target[4] = {7, 7, 7, 7};
        EXPECT_EQ(c.size, values.GetBinarySize("b"));
        EXPECT_EQ(c.decoded, values.GetBinary(target, fallback, 4, "b")) << c.text;
        EXPECT_EQ(0, std::memcmp(c.bytes, target, 4)) << c.text;
    }
    unsigned char target[2] = {7, 7};
    EXPECT_EQ(0, config.GetBinary(target, nullptr, 2, "missing"));
    EXPECT_EQ(0, target[0] | target[1]);
}
