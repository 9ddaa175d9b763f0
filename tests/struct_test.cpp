#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include "support/bytes.h"
#include "support/recorder.h"
#include "support/scratch.h"
#include "support/throws.h"

namespace {

using Catalogue = Tm_catalog<std::string>;
using Names = std::vector<std::string>;

Names names_of(Tm_struct const& value) {
    Names names;
    for (int i = 0; i < value.get_member_count(); ++i) names.push_back(value.get_member_name(i));
    return names;
}

Tm_struct of_ints(Names const& names, Catalogue* shared = nullptr) {
    Tm_struct value(shared);
    for (std::size_t i = 0; i < names.size(); ++i) value.add_member(names[i], static_cast<int>(i));
    return value;
}

TEST(Struct, GetsEveryKindByNameAndPosition) {
    Scratch const scratch;
    unsigned char const bytes[] = {1, 2};
    Tm_binary const binary(bytes, 2);
    Tm_array const array;
    Tm_struct const inner(nullptr);
    Message const message;
    Tm_struct value(nullptr);
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
    value.add_member("file", scratch.file("f", "123"), 4096);
    value.add_member("array", &array);
    value.add_member("struct", &inner);
    value.add_member("message", &message);

    EXPECT_TRUE(value.get_member_int8("int8") == -1 && value.get_member_int8(0) == -1);
    EXPECT_TRUE(value.get_member_uint8("uint8") == 1 && value.get_member_uint8(1) == 1);
    EXPECT_TRUE(value.get_member_int16("int16") == -2 && value.get_member_int16(2) == -2);
    EXPECT_TRUE(value.get_member_uint16("uint16") == 2 && value.get_member_uint16(3) == 2);
    EXPECT_TRUE(value.get_member_int32("int32") == -3 && value.get_member_int32(4) == -3);
    EXPECT_TRUE(value.get_member_uint32("uint32") == 3 && value.get_member_uint32(5) == 3);
    EXPECT_TRUE(value.get_member_int64("int64") == -4 && value.get_member_int64(6) == -4);
    EXPECT_TRUE(value.get_member_uint64("uint64") == 4 && value.get_member_uint64(7) == 4);
    EXPECT_TRUE(value.get_member_double("double") == 0.5 && value.get_member_double(8) == 0.5);
    EXPECT_TRUE(value.get_member_bool("bool") && value.get_member_bool(9));
    EXPECT_STREQ(value.get_member_string("string"), value.get_member_string(10));
    EXPECT_TRUE(*value.get_member_binary("binary") == binary && *value.get_member_binary(12) == binary);
    EXPECT_EQ(0U, value.get_member_file("file")->open_mode());
    EXPECT_EQ(3U, value.get_member_file(13)->size());
    EXPECT_TRUE(*value.get_member_array("array") == array && *value.get_member_array(14) == array);
    EXPECT_TRUE(*value.get_member_struct("struct") == inner && *value.get_member_struct(15) == inner);
    EXPECT_TRUE(*value.get_member_message("message") == message && *value.get_member_message(16) == message);
    EXPECT_EQ(TMV_MESSAGE, value.get_member_value_type(16));
    EXPECT_TRUE(value == Tm_struct(value));

    EXPECT_THROWS("value of type int64_t accessed as type int32_t", value.get_member_int32("int64"));
    EXPECT_THROWS("value of type int8_t accessed as type unknown", value.get_member_message(0));
    EXPECT_THROWS("value of type unknown accessed as type date", value.get_member_date("message"));
    EXPECT_THROWS("x not found in struct", value.get_member_bool("x"));
    EXPECT_THROWS("index 17 out of range 0..16", value.get_member_value(TMV_BOOL, 17));
    for (auto call : {+[](Tm_struct const& s) { s.get_member_name(-1); }, +[](Tm_struct const& s) { s.get_value(-1); },
                      +[](Tm_struct const& s) { s.get_member_name_length(-1); },
                      +[](Tm_struct const& s) { s.get_member_value_type(-1); }}) {
        EXPECT_THROWS("index -1 out of range 0..16", call(value));
        EXPECT_THROWS("index -1 out of range 0..-1", call(Tm_struct(nullptr)));
    }
}

TEST(Struct, LooksUpFromTheLastHitOnAndWrapsAround) {
    Tm_struct const value = of_ints({"a", "b", "a"});
    EXPECT_EQ(0, value.get_number("a"));
    EXPECT_EQ(1, value.get_number("b"));
    EXPECT_EQ(2, value.get_number("a"));
    EXPECT_EQ(-1, value.get_member_index("c"));
    EXPECT_EQ(2, value.get_number("a"));
    EXPECT_EQ(0, Tm_struct(value).get_number("a"));
}

/// Against a plain scan, in a struct large enough for the lookup table, with repeated names.
TEST(Struct, LooksUpByTheSameRuleInALargeStruct) {
    Names names;
    for (int i = 0; i < 3000; ++i) names.push_back("name" + std::to_string(i * 7919 % 1000));
    Tm_struct value = of_ints(names);
    std::size_t hint = 0;
    for (int round = 0; round < 20000; ++round) {
        if (round % 100 == 0) {
            names.push_back("name" + std::to_string(round % 1500));
            value.add_member(names.back(), round);
        }
        std::string const wanted = "name" + std::to_string(round * 31 % 1010);
        int expected = -1;
        for (std::size_t i = 0; i < names.size() && expected < 0; ++i) {
            std::size_t const at = (hint + i) % names.size();
            if (names[at] == wanted) expected = static_cast<int>(at);
        }
        ASSERT_EQ(expected, value.get_member_index(wanted.c_str())) << round;
        if (expected >= 0) hint = static_cast<std::size_t>(expected);
    }
    Tm_struct other = of_ints({"only"});
    value.swap(other);
    EXPECT_EQ(-1, value.get_member_index("name1"));
    EXPECT_EQ(0, value.get_number("only"));
    value.clear();
    EXPECT_EQ(-1, value.get_member_index("only"));
}

TEST(Struct, CopiesOwnTheirCatalogue) {
    Catalogue shared;
    Tm_struct const source = of_ints({"a", "b"}, &shared);
    EXPECT_FALSE(source.is_string_catalog_from_internal());
    Tm_struct copy(source);
    EXPECT_TRUE(copy.is_string_catalog_from_internal());
    copy.add_member("c", 1);
    EXPECT_EQ(2U, shared.size());
    Tm_struct target = of_ints({"z"}, &shared);
    target = copy;
    EXPECT_FALSE(target.is_string_catalog_from_internal());
    EXPECT_EQ((Names{"a", "b", "c"}), names_of(target));
    EXPECT_EQ(4U, shared.size());
    target = *&target;
    EXPECT_EQ(3, target.get_member_count());
}

/// Copies read the names of what they were copied from: they must outlive it and leave it alone.
TEST(Struct, CopiesOutliveTheirSource) {
    std::string const name = "name longer than any short string";
    auto message = std::make_unique<Message>();
    message->add_member(Message::TMG_BODY, name, 1);
    Tm_struct copy(message->get_const_struct(Message::TMG_BODY));
    Tm_struct const second(copy);
    message->clear(Message::TMG_BODY);
    message->add_member(Message::TMG_BODY, "other", 2);
    message.reset();
    copy.add_member("added", 3);
    Tm_struct const third(copy);
    copy.clear();
    copy.add_member("after clear", 4);
    EXPECT_EQ(Names{name}, names_of(second));
    EXPECT_EQ((Names{name, "added"}), names_of(third));
    EXPECT_EQ(Names{"after clear"}, names_of(copy));
}

TEST(Struct, SwapExchangesWithinOneMake) {
    Tm_struct a = of_ints({"a"});
    Tm_struct b = of_ints({"b", "c"});
    a.swap(b);
    EXPECT_EQ((Names{"b", "c"}), names_of(a));
    EXPECT_EQ(Names{"a"}, names_of(b));
    Catalogue shared;
    Tm_struct c = of_ints({"x"}, &shared);
    Tm_struct d = of_ints({"y", "z"}, &shared);
    c.swap(d);
    EXPECT_EQ((Names{"y", "z"}), names_of(c));
    EXPECT_THROWS("swap does not support swapping tm_struct with different type", b.swap(c));
    EXPECT_EQ(2, b.get_member_count());
    EXPECT_STREQ("a", b.get_member_name(0));
}

TEST(Struct, SendsItsIndexesWhereEveryMemberHasOne) {
    Catalogue index;
    Tm_struct value(nullptr);
    for (char const* const name : {"a", "b", "a"}) value.add_member(name, 1, &index);
    Events const events = events_of(Tm_struct(value), true);
    EXPECT_EQ("member_begin(0)", events.at(1));
    EXPECT_EQ("member_begin(1)", events.at(4));
    EXPECT_EQ("member_begin(0)", events.at(7));
    EXPECT_EQ("member(a)", events_of(value).at(2));
    value.add_member("named", 4);
    EXPECT_EQ(events_of(value), events_of(value, true));
}

TEST(Struct, FailedAddChangesNothing) {
    Tm_struct value = of_ints({"a"});
    Catalogue index;
    EXPECT_THROWS("String length 65536 out of range 0..65535", value.add_member("b", std::string(65536, 'x'), &index));
    EXPECT_THROWS("failed to open /nowhere/at all", value.add_member("b", std::string("/nowhere/at all"), 1U));
    EXPECT_EQ(1, value.get_member_count());
    EXPECT_EQ(0U, index.size());
}

TEST(Struct, KeepsNamesWithAZeroByteWhole) {
    std::string const whole("a\0b", 3);
    Tm_struct value = of_ints({whole, "a"});
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
    EXPECT_THROWS("member without a value", empty_slot.get_member_bool("a"));
    EXPECT_FALSE(of_ints({"a", "b"}) == of_ints({"b", "a"}));
    EXPECT_FALSE(of_ints({"a"}) == of_ints({"a", "b"}));
}

struct Prenamed : testing::Test {
    static inline char const* const names[] = {"one", "two", "three", nullptr};
    static inline char const* const others[] = {"four", nullptr};

    Prenamed() : value(names, 3) {
        value.add_member(0, 1);
        value.add_member(2, "drei");
        value.add_member(1, 2.0);
    }
    Tm_prenamed_struct value;
    Tm_prenamed_struct empty{names, 3};
};

TEST_F(Prenamed, EqualsAStructOfTheSameMembers) {
    Tm_struct plain(nullptr);
    plain.add_member("one", 1);
    plain.add_member("two", 2.0);
    plain.add_member("three", "drei");
    EXPECT_TRUE(value == plain && plain == value);
    EXPECT_EQ(events_of(plain), events_of(value));
    EXPECT_EQ(2, value.add_name("three"));
    EXPECT_STREQ("drei", value.get_member_string("three"));
    EXPECT_TRUE(*std::unique_ptr<Tm_value>(value.clone()) == plain);
    Tm_struct const sliced(value);
    EXPECT_TRUE(sliced == plain && sliced.is_string_catalog_from_internal());
    Tm_struct assigned(nullptr);
    assigned = value;
    Tm_prenamed_struct target;
    target = value;
    EXPECT_TRUE(assigned == plain && target == plain);
    Tm_array array;
    array.add_member(&value);
    EXPECT_EQ(1, array.get_member_struct(0)->get_member_int32("one"));
}

TEST_F(Prenamed, HasEmptySlotsUntilTheyAreSet) {
    EXPECT_THROWS("index 3 out of range 0..2", empty.get_member_name(3));
    EXPECT_THROWS("two not found in struct", std::as_const(empty).get_value(1));
    EXPECT_THROWS("two not found in struct", empty.get_member_bool("two"));
    EXPECT_THROWS("one not found in struct", events_of(empty));
    EXPECT_THROWS("one not found in struct", static_cast<void>(empty == value));
    value.clear();
    EXPECT_EQ(3, value.get_member_count());
    EXPECT_THROWS("three not found in struct", std::as_const(value).get_value(2));
    EXPECT_EQ(2, value.get_number("three"));
    value.clear(others);
    EXPECT_EQ(1, value.get_member_count());
    EXPECT_EQ(0, value.get_number("four"));
    EXPECT_EQ(-1, value.get_member_index("three"));
    EXPECT_EQ(0, Tm_prenamed_struct().get_member_count());
}

TEST_F(Prenamed, RecordsIndexesInTheOrderOfTheCalls) {
    Catalogue index;
    empty.add_member(1, 5, &index);
    empty.add_name_index(0, nullptr);
    EXPECT_THROWS("index 3 out of range 0..2", empty.add_member(3, 1, &index));
    EXPECT_THROWS("index -1 out of range 0..2", empty.add_member(-1, 1));
    EXPECT_THROWS("index 9 out of range 0..2", empty.add_member_and_own(9, new Tm_bool(true)));
    EXPECT_EQ(1U, index.size());
    EXPECT_EQ(0U, index.find("two")->second);
    empty.add_member(0, 1, &index);
    empty.add_member(2, 3, &index);
    Events const events = events_of(empty, true);
    EXPECT_EQ("member_begin(0)", events.at(1));
    EXPECT_EQ("member_begin(1)", events.at(4));
}

TEST_F(Prenamed, AddedToByNameThroughItsBaseFillsTheSlot) {
    Tm_struct& base = empty;
    base.add_member("two", 2);
    EXPECT_EQ(2, empty.get_member_int32(1));
    EXPECT_THROWS("zwei not found in struct", base.add_member("zwei", 2));
    EXPECT_FALSE(empty.is_string_catalog_from_internal());
}

}  // namespace
