#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include "support/bytes.h"
#include "support/recorder.h"
#include "support/scratch.h"
#include "support/throws.h"

namespace {

using Names = Tm_catalog<std::string>;

std::vector<std::string> names_of(Tm_struct const& value) {
    std::vector<std::string> names;
    for (int i = 0; i < value.get_member_count(); ++i) names.push_back(value.get_member_name(i));
    return names;
}

Tm_struct of_ints(std::vector<std::string> const& names, Names* shared = nullptr) {
    Tm_struct value(shared);
    for (std::size_t i = 0; i < names.size(); ++i) value.add_member(names[i], static_cast<int>(i));
    return value;
}

/// One member of every kind, and what reading it as another gives.
template <class Value>
void add_every_kind(Value& value, std::string const& path) {
    unsigned char const bytes[] = {1, 2};
    Tm_binary const binary(bytes, 2);
    Tm_array const array;
    Tm_struct const inner(nullptr);
    Message const message;
    value.add_member("int8", static_cast<signed char>(-1));
    value.add_member("uint8", static_cast<unsigned char>(1));
    value.add_member("int16", static_cast<short>(-2));
    value.add_member("uint16", static_cast<unsigned short>(2));
    value.add_member("int32", -3);
    value.add_member("uint32", 3U);
    value.add_member("int64", -4L);
    value.add_member("uint64", 4UL);
    value.add_member("double", 0.5);
    value.add_member("bool", true);
    value.add_member("string", "text");
    value.add_member("binary", bytes, 2);
    value.add_member("shared", &binary);
    value.add_member("file", path, 4096);
    value.add_member("array", &array);
    value.add_member("struct", &inner);
    value.add_member("message", &message);
}

TEST(Struct, GetsEveryKindByNameAndPosition) {
    Scratch const scratch;
    Tm_struct value(nullptr);
    add_every_kind(value, scratch.file("f", "123"));
    EXPECT_EQ(-1, value.get_member_int8("int8"));
    EXPECT_EQ(1, value.get_member_uint8("uint8"));
    EXPECT_EQ(-2, value.get_member_int16("int16"));
    EXPECT_EQ(2, value.get_member_uint16("uint16"));
    EXPECT_EQ(-3, value.get_member_int32("int32"));
    EXPECT_EQ(3U, value.get_member_uint32("uint32"));
    EXPECT_EQ(-4, value.get_member_int64("int64"));
    EXPECT_EQ(4U, value.get_member_uint64("uint64"));
    EXPECT_EQ(0.5, value.get_member_double("double"));
    EXPECT_TRUE(value.get_member_bool("bool"));
    EXPECT_STREQ("text", value.get_member_string(10));
    EXPECT_EQ(2U, value.get_member_binary(11)->get_buffer_size());
    EXPECT_EQ(2U, value.get_member_binary("shared")->get_buffer_size());
    EXPECT_EQ(3U, value.get_member_file("file")->size());
    EXPECT_EQ(0, value.get_member_array("array")->get_member_count());
    EXPECT_EQ(0, value.get_member_struct("struct")->get_member_count());
    EXPECT_EQ(Message::TMT_RESPONSE, value.get_member_message("message")->get_msg_type());
    EXPECT_EQ(TMV_MESSAGE, value.get_member_value_type(16));

    EXPECT_EQ("value of type int64_t accessed as type int32_t",
              text_thrown_by([&] { value.get_member_int32("int64"); }));
    EXPECT_EQ("value of type int8_t accessed as type unknown",
              text_thrown_by([&] { value.get_member_message(0); }));
    EXPECT_EQ("value of type unknown accessed as type date",
              text_thrown_by([&] { value.get_member_date("message"); }));
    EXPECT_EQ("index 17 out of range 0..16",
              text_thrown_by([&] { value.get_member_value(TMV_BOOL, 17); }));
    EXPECT_EQ("x not found in struct", text_thrown_by([&] { value.get_member_bool("x"); }));
    for (auto call : {+[](Tm_struct const& s) { s.get_member_name(-1); },
                      +[](Tm_struct const& s) { s.get_member_name_length(-1); },
                      +[](Tm_struct const& s) { s.get_value(-1); },
                      +[](Tm_struct const& s) { s.get_member_value_type(-1); }}) {
        EXPECT_EQ("index -1 out of range 0..16", text_thrown_by([&] { call(value); }));
        EXPECT_EQ("index -1 out of range 0..-1", text_thrown_by([&] { call(Tm_struct(nullptr)); }));
    }
    Tm_struct const copy(value);
    EXPECT_TRUE(value == copy);
}

TEST(Struct, LooksUpFromTheLastHitOnAndWrapsAround) {
    Tm_struct const value = of_ints({"a", "b", "a"});
    EXPECT_EQ(0, value.get_number("a"));
    EXPECT_EQ(1, value.get_number("b"));
    EXPECT_EQ(2, value.get_number("a"));
    EXPECT_EQ(-1, value.get_member_index("c"));
    EXPECT_EQ(2, value.get_number("a"));
    EXPECT_EQ(1, value.get_number("b"));
    EXPECT_EQ(0, Tm_struct(value).get_number("a"));
}

/// Against a plain scan, in a struct large enough for the lookup table, with repeated names.
TEST(Struct, LooksUpByTheSameRuleInALargeStruct) {
    std::vector<std::string> names;
    for (int i = 0; i < 3000; ++i) names.push_back("name" + std::to_string(i * 7919 % 1000));
    Tm_struct value = of_ints(names);
    std::size_t hint = 0;
    for (int round = 0; round < 20000; ++round) {
        if (round % 100 == 0) {
            names.push_back("name" + std::to_string(round % 1500));
            value.add_member(names.back(), round);
        }
        std::string const wanted = "name" + std::to_string(round * 31 % 1010);
        std::size_t found = names.size();
        for (std::size_t i = 0; i < names.size() && found == names.size(); ++i) {
            std::size_t const at = (hint + i) % names.size();
            if (names[at] == wanted) found = at;
        }
        int const expected = found == names.size() ? -1 : static_cast<int>(found);
        ASSERT_EQ(expected, value.get_member_index(wanted.c_str())) << round;
        if (expected >= 0) hint = found;
    }
    Tm_struct other = of_ints({"only"});
    value.swap(other);
    EXPECT_EQ(-1, value.get_member_index("name1"));
    EXPECT_EQ(0, value.get_number("only"));
    value.clear();
    EXPECT_EQ(-1, value.get_member_index("only"));
}

TEST(Struct, CopiesOwnTheirCatalogue) {
    Names shared;
    Tm_struct const source = of_ints({"a", "b"}, &shared);
    EXPECT_FALSE(source.is_string_catalog_from_internal());
    EXPECT_EQ(2U, shared.size());
    Tm_struct copy(source);
    EXPECT_TRUE(copy.is_string_catalog_from_internal());
    copy.add_member("c", 1);
    EXPECT_EQ(2U, shared.size());

    Tm_struct target = of_ints({"z"}, &shared);
    target = copy;
    EXPECT_FALSE(target.is_string_catalog_from_internal());
    EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), names_of(target));
    EXPECT_EQ(4U, shared.size());
    target = *&target;
    EXPECT_EQ(3, target.get_member_count());
}

/// Copies read the names of what they were copied from: they must outlive it and leave it alone.
TEST(Struct, CopiesOutliveTheirSource) {
    auto message = std::make_unique<Message>();
    message->add_member(Message::TMG_BODY, "name longer than any short string", 1);
    Tm_struct copy(message->get_const_struct(Message::TMG_BODY));
    Tm_struct const second(copy);
    message->get_struct(Message::TMG_BODY).clear();
    message->add_member(Message::TMG_BODY, "other", 2);
    message.reset();
    copy.add_member("added", 3);
    Tm_struct const third(copy);
    copy.clear();
    copy.add_member("after clear", 4);
    EXPECT_EQ(1, second.get_member_int32("name longer than any short string"));
    EXPECT_EQ(3, third.get_member_int32("added"));
    EXPECT_EQ(1, third.get_member_int32("name longer than any short string"));
    EXPECT_EQ((std::vector<std::string>{"after clear"}), names_of(copy));
}

TEST(Struct, SwapExchangesWithinOneMake) {
    Tm_struct a = of_ints({"a"});
    Tm_struct b = of_ints({"b", "c"});
    b.get_number("c");
    a.swap(b);
    EXPECT_EQ((std::vector<std::string>{"b", "c"}), names_of(a));
    EXPECT_EQ((std::vector<std::string>{"a"}), names_of(b));

    Names shared;
    Tm_struct c = of_ints({"x"}, &shared);
    Tm_struct d = of_ints({"y"}, &shared);
    c.swap(d);
    EXPECT_EQ((std::vector<std::string>{"y"}), names_of(c));

    EXPECT_EQ("swap does not support swapping tm_struct with different type",
              text_thrown_by([&] { b.swap(d); }));
    EXPECT_EQ(0, b.get_member_int32(0));
    EXPECT_STREQ("a", b.get_member_name(0));
    EXPECT_EQ(1, d.get_member_count());
}

TEST(Struct, RecordsWireIndexes) {
    Names index;
    Tm_struct value(nullptr);
    value.add_member("a", 1, &index);
    value.add_member("b", 2, &index);
    value.add_member("a", 3, &index);
    Recorder recorder;
    recorder.wants_index = true;
    EXPECT_TRUE(Tm_struct(value).accept(recorder));
    EXPECT_EQ("member_begin(0)", recorder.events.at(1));
    EXPECT_EQ("member_begin(1)", recorder.events.at(4));
    EXPECT_EQ("member_begin(0)", recorder.events.at(7));
    EXPECT_EQ("member(a)", events_of(value).at(2));
    value.add_member("named", 4);
    Recorder mixed;
    mixed.wants_index = true;
    EXPECT_TRUE(value.accept(mixed));
    EXPECT_EQ(events_of(value), mixed.events);
}

TEST(Struct, FailedAddChangesNothing) {
    Tm_struct value = of_ints({"a"});
    Names index;
    EXPECT_EQ("String length 65536 out of range 0..65535",
              text_thrown_by([&] { value.add_member("b", std::string(65536, 'x'), &index); }));
    EXPECT_EQ("failed to open /nowhere/at all",
              text_thrown_by([&] { value.add_member("b", std::string("/nowhere/at all"), 1U); }));
    EXPECT_EQ(1, value.get_member_count());
    EXPECT_EQ(0U, index.size());
}

TEST(Struct, KeepsNamesWithAZeroByteWhole) {
    std::string const whole("a\0b", 3);
    Tm_struct value(nullptr);
    value.add_member(whole, 1);
    value.add_member("a", 2);
    EXPECT_STREQ("a", value.get_member_name(0));
    EXPECT_EQ(3U, value.get_member_name_length(0));
    EXPECT_EQ(1, value.get_number("a"));
    EXPECT_EQ("member(" + whole + ")", events_of(Tm_struct(value)).at(2));
    EXPECT_FALSE(value == of_ints({"a", "a"}));
}

TEST(Struct, EqualityIsOfNamesAndValuesInOrder) {
    Tm_struct empty_slot(nullptr);
    empty_slot.add_member_and_own("a", nullptr);
    EXPECT_TRUE(empty_slot == Tm_struct(empty_slot));
    EXPECT_FALSE(empty_slot == of_ints({"a"}));
    EXPECT_EQ("member without a value", text_thrown_by([&] { empty_slot.get_member_bool("a"); }));
    EXPECT_FALSE(of_ints({"a", "b"}) == of_ints({"b", "a"}));
    EXPECT_FALSE(of_ints({"a"}) == of_ints({"a", "b"}));
}

class Prenamed : public testing::Test {
protected:
    static inline char const* const names[] = {"one", "two", "three", nullptr};
    static inline char const* const others[] = {"four", nullptr};

    Tm_prenamed_struct filled() {
        Tm_prenamed_struct value(names, 3);
        value.add_member(0, 1);
        value.add_member(2, "drei");
        value.add_member(1, 2.0);
        return value;
    }
};

TEST_F(Prenamed, EqualsAStructOfTheSameMembers) {
    Tm_struct plain(nullptr);
    plain.add_member("one", 1);
    plain.add_member("two", 2.0);
    plain.add_member("three", "drei");
    Tm_prenamed_struct const value = filled();
    EXPECT_TRUE(value == plain);
    EXPECT_TRUE(plain == value);
    EXPECT_EQ(events_of(plain), events_of(value));
    EXPECT_STREQ("drei", value.get_member_string("three"));
    EXPECT_EQ(2, value.add_name("three"));
    EXPECT_TRUE(*std::unique_ptr<Tm_value>(value.clone()) == plain);
    Tm_struct const sliced(value);
    EXPECT_TRUE(sliced.is_string_catalog_from_internal());
    EXPECT_TRUE(sliced == plain);
    Tm_struct assigned(nullptr);
    assigned = value;
    EXPECT_TRUE(assigned == plain);
    Tm_prenamed_struct target;
    target = value;
    EXPECT_TRUE(target == plain);
    Tm_array array;
    array.add_member(&value);
    EXPECT_EQ(1, array.get_member_struct(0)->get_member_int32("one"));
}

TEST_F(Prenamed, HasEmptySlotsUntilTheyAreSet) {
    Tm_prenamed_struct value;
    EXPECT_EQ(0, value.get_member_count());
    value.clear(names);
    EXPECT_EQ(3, value.get_member_count());
    EXPECT_STREQ("three", value.get_member_name(2));
    EXPECT_EQ("index 3 out of range 0..2", text_thrown_by([&] { value.get_member_name(3); }));
    Tm_prenamed_struct const& fixed = value;
    EXPECT_EQ("two not found in struct", text_thrown_by([&] { fixed.get_value(1); }));
    EXPECT_EQ("one not found in struct", text_thrown_by([&] { events_of(value); }));
    EXPECT_EQ("one not found in struct", text_thrown_by([&] { (void)(value == filled()); }));
    EXPECT_EQ("two not found in struct", text_thrown_by([&] { value.get_member_bool("two"); }));

    value = filled();
    value.clear();
    EXPECT_EQ(3, value.get_member_count());
    EXPECT_EQ("three not found in struct", text_thrown_by([&] { fixed.get_value(2); }));
    EXPECT_EQ(2, value.get_number("three"));
    value.clear(others);
    EXPECT_EQ(0, value.get_number("four"));
    EXPECT_EQ(-1, value.get_member_index("three"));
}

TEST_F(Prenamed, RecordsIndexesInTheOrderOfTheCalls) {
    Names index;
    Tm_prenamed_struct value(names, 3);
    value.add_member(1, 5, &index);
    EXPECT_EQ(0U, index.find("two")->second);
    value.add_name_index(0, nullptr);
    EXPECT_EQ("index 3 out of range 0..2", text_thrown_by([&] { value.add_member(3, 1, &index); }));
    EXPECT_EQ("index -1 out of range 0..2", text_thrown_by([&] { value.add_member(-1, 1); }));
    EXPECT_EQ("index 9 out of range 0..2",
              text_thrown_by([&] { value.add_member_and_own(9, new Tm_bool(true)); }));
    EXPECT_EQ(1U, index.size());
    value.add_member(0, 1, &index);
    value.add_member(2, 3, &index);
    Recorder recorder;
    recorder.wants_index = true;
    EXPECT_TRUE(value.accept(recorder));
    EXPECT_EQ("member_begin(0)", recorder.events.at(1));
    EXPECT_EQ("member_begin(1)", recorder.events.at(4));
}

TEST_F(Prenamed, AddedToByNameThroughItsBaseFillsTheSlot) {
    Tm_prenamed_struct value(names, 3);
    Tm_struct& base = value;
    base.add_member("two", 2);
    EXPECT_EQ(2, value.get_member_int32(1));
    EXPECT_EQ("zwei not found in struct", text_thrown_by([&] { base.add_member("zwei", 2); }));
    EXPECT_FALSE(value.is_string_catalog_from_internal());
}

}  // namespace
