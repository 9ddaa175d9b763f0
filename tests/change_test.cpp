#include <cmath>
#include <limits>

#include "support/support.h"
#include "support/text.h"

namespace {

enum Colour { red = 3 };
enum Small : unsigned char { tiny = 7 };

template <class Container, class Datum, class = void>
constexpr bool takes = false;
template <class Datum>
constexpr bool
    takes<Tm_struct, Datum, std::void_t<decltype(std::declval<Tm_struct&>().add_member("", std::declval<Datum>()))>> =
        true;
template <class Datum>
constexpr bool
    takes<Tm_array, Datum, std::void_t<decltype(std::declval<Tm_array&>().add_member(std::declval<Datum>()))>> = true;

template <class Datum>
constexpr bool both_take = takes<Tm_struct, Datum>&& takes<Tm_array, Datum>;
template <class Datum>
constexpr bool none_takes = !takes<Tm_struct, Datum> && !takes<Tm_array, Datum>;

static_assert(none_takes<int*> && none_takes<void*> && none_takes<double const*> && none_takes<std::nullptr_t>);
static_assert(none_takes<void (*)()> && none_takes<int Tm_exception::*> && none_takes<void (Tm_array::*)()>);
static_assert(both_take<char*> && both_take<Tm_struct*> && both_take<Tm_binary const*> && both_take<float>);
static_assert(both_take<std::vector<bool>::reference> && both_take<Colour> && both_take<char>);

std::string list_text(Tm_value const& value) {
    std::string text = tm_to_text(value);
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

Tm_struct three() { return {{"a", 1}, {"b", "text"}, {"c", Tm_array{1, 2}}}; }

char const all_three[] = R"(struct {"a" {int32_t 1 } "b" {string "text" } "c" {array {int32_t 1 int32_t 2 } } })";

char const* const fixed_names[] = {"x", "y"};

}  // namespace

TEST(Building, TakesValuesInBraces) {
    EXPECT_EQ(all_three, list_text(three()));
    EXPECT_EQ("struct {}", list_text(Tm_struct{}));
    EXPECT_EQ("array {int32_t 1 array {string \"x\" } struct {} }", list_text(Tm_array{1, Tm_array{"x"}, Tm_struct()}));
    EXPECT_EQ("array {array {int32_t 5 } }", list_text(Tm_array::of(Tm_array{5})));
    EXPECT_EQ("struct {\"b\" {int32_t 5 } }",
              list_text(Tm_struct{{"a", std::optional<int>()}, {"b", std::optional<int>(5)}}));
    EXPECT_EQ("array {int32_t 5 }", list_text(Tm_array{Tm_array{5}})) << "a copy";
    EXPECT_EQ(7, Message::fault(7, "late").get_fault_code());
    EXPECT_EQ("late", Message::fault(7, "late").get_fault_string());
    EXPECT_EQ("add", Message::request("add").get_request_name());
    EXPECT_EQ(Message(), Message::response());
}

TEST(Building, ConvertsEachTypeInOneWay) {
    auto const check = [](std::string const& expected, auto const& datum) {
        Tm_struct added;
        added.add_member("m", datum);
        EXPECT_EQ("struct {\"m\" {" + expected + " } }", list_text(added));
        added.clear();
        added.set_member("m", datum);
        EXPECT_EQ("struct {\"m\" {" + expected + " } }", list_text(added));
        Tm_array array;
        array.add_member(datum);
        EXPECT_EQ("array {" + expected + " }", list_text(array));
        Message message;
        message.add_member(body, "m", datum);
        EXPECT_EQ("struct {\"m\" {" + expected + " } }", list_text(message.get_struct(body)));
    };
    std::vector<bool> const bits{true, false};
    check("int64_t -5", -5LL);
    check("uint64_t 5", 5ULL);
    check("int32_t 3", red);
    check("uint8_t 7", tiny);
    check("int32_t 120", 'x');
    check("double 2.5", 2.5F);
    check("bool true", bits[0]);
    check("string \"view\"", std::string_view("view"));
    check("struct {\"k\" {int32_t 1 } }", Tm_struct{{"k", 1}});
    check("array {int32_t 1 int32_t 2 }", std::vector<int>{1, 2});
    check("array {bool true bool false }", bits);
    check("array {array {} array {string \"a\" } }", std::vector<std::vector<std::string>>{{}, {"a"}});
    check("binary \"2 bytes\" \"01 02 \"", std::vector<unsigned char>{1, 2});
    check("int32_t 4", std::optional<int>(4));
}

TEST(Building, MovesValuesAndOwners) {
    int alive = 0;
    Tm_struct target;
    target.add_member("owned", std::make_unique<Counted>(alive));
    EXPECT_EQ(1, alive);
    EXPECT_THROWS("member without a value", target.add_member("null", std::unique_ptr<Tm_value>()));
    Tm_struct inner = three();
    target.add_member("moved", std::move(inner));
    EXPECT_EQ(0, inner.get_member_count());
    target.add_member("nothing", std::optional<int>());
    Tm_array array;
    array.add_member(std::optional<int>());
    EXPECT_EQ(0, array.get_member_count());
    EXPECT_EQ((Names{"owned", "moved"}), names_of(target));
    target.clear();
    EXPECT_EQ(0, alive);
}

TEST(Changing, Members) {
    Tm_struct value = three();
    EXPECT_EQ(1, value.set_member("b", 2));
    EXPECT_EQ(3, value.set_member("d", "new"));
    EXPECT_EQ(-1, value.set_member("a", std::optional<int>()));
    EXPECT_EQ(-1, value.set_member("a", std::optional<int>()));
    EXPECT_EQ((Names{"b", "c", "d"}), names_of(value));
    EXPECT_EQ(2, value.get_member_int32("b"));
    value.rename_member(0, "renamed");
    value.edit_array("c")->set_value(1, "x");
    EXPECT_EQ("array {int32_t 1 string \"x\" }", list_text(*value.take_member(1)));
    EXPECT_EQ((Names{"renamed", "d"}), names_of(value));
    EXPECT_EQ("new", value.get_member_text("d"));
    EXPECT_TRUE(value.remove_member("renamed"));
    EXPECT_FALSE(value.remove_member("renamed"));
    value.replace_value(0, std::make_unique<Tm_int32>(9));
    EXPECT_EQ("struct {\"d\" {int32_t 9 } }", list_text(value));
}

TEST(Changing, TheFirstOfEqualNames) {
    Tm_struct value{{"n", 0}, {"n", 1}, {"n", 2}};
    EXPECT_EQ(0, value.get_number("n"));
    EXPECT_EQ(0, value.set_member("n", 5));
    EXPECT_TRUE(value.remove_member("n"));
    EXPECT_EQ("struct {\"n\" {int32_t 1 } \"n\" {int32_t 2 } }", list_text(value));
}

/// Names of many members, of a layout that others share, and of one that is still growing.
TEST(Changing, LeavesOtherStructsAlone) {
    Names const names = numbered("name", 100);
    Tm_struct const before = of_ints(names);
    Tm_struct changed(before);
    for (int i = 0; i < 50; ++i) changed.remove_member("name" + std::to_string(2 * i));
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(2 * i + 1, changed.get_member_int32(("name" + std::to_string(2 * i + 1)).c_str()));
    while (changed.get_member_count() > 1) changed.remove_member(changed.get_member_count() - 1);
    changed.add_member("other", 1);
    EXPECT_EQ((Names{"name1", "other"}), names_of(changed));
    EXPECT_EQ(names, names_of(before));
}

TEST(Changing, ForgetsWireIndexes) {
    Message message;
    message.add_member(body, "a", 1);
    message.add_member(body, "b", 2);
    ASSERT_TRUE(message.index_member_names());
    message.rename_member(body, 0, "c");
    EXPECT_EQ((Names{"c", "b"}), names_of(message.get_struct(body)));
    EXPECT_EQ("04 05 07 00 01 63 11 00 00 00 01 85 05 07 00 01 62 11 00 00 00 02 85 84",
              to_hex(encode(message.get_struct(body))));
}

TEST(Changing, Elements) {
    Tm_array value{1, "two", 3.0};
    value.insert_value(3, std::make_unique<Tm_string>("last"));
    value.insert_value(0, std::make_unique<Tm_string>("first"));
    EXPECT_EQ("array {string \"first\" int32_t 1 string \"two\" double 3 string \"last\" }", list_text(value));
    EXPECT_EQ("string \"two\"", list_text(*value.take_value(2)));
    value.remove_values(0, 2);
    value.replace_value(0, std::make_unique<Tm_struct>());
    value.edit_struct(0)->add_member("k", 1);
    EXPECT_EQ("array {struct {\"k\" {int32_t 1 } } string \"last\" }", list_text(value));
    value.remove_values(1);
    value.remove_values(1, 0);
    EXPECT_EQ(1, value.get_member_count());
    value.set_value(0, std::optional<int>(5));
    EXPECT_EQ("array {int32_t 5 }", list_text(value));
    value.set_value(0, std::optional<int>());
    EXPECT_EQ(0, value.get_member_count());
}

TEST(Changing, RefusesWhatIsWrongAndChangesNothing) {
    Tm_struct value = three();
    EXPECT_THROWS("index 3 out of range 0..2", value.take_member(3));
    EXPECT_THROWS("index -1 out of range 0..2", value.remove_member(-1));
    EXPECT_THROWS("index 3 out of range 0..2", value.rename_member(3, "x"));
    EXPECT_THROWS("index 3 out of range 0..2", value.replace_value(3, std::make_unique<Tm_int32>(1)));
    EXPECT_THROWS("member without a value", value.replace_value(0, nullptr));
    EXPECT_THROWS("member without a value", value.set_member_and_own("a", nullptr));
    EXPECT_THROWS("value of type int32_t accessed as type struct", value.edit_struct("a"));
    EXPECT_THROWS("x not found in struct", value.edit_array("x"));
    Tm_array& array = *value.edit_array("c");
    EXPECT_THROWS("index 3 out of range 0..2", array.insert_value(3, std::make_unique<Tm_int32>(1)));
    EXPECT_THROWS("member without a value", array.insert_value(0, nullptr));
    EXPECT_THROWS("index 2 out of range 0..1", array.take_value(2));
    EXPECT_THROWS("count 2 out of range 0..1", array.remove_values(1, 2));
    EXPECT_THROWS("index 2 out of range 0..1", array.set_value(2, 1));
    EXPECT_EQ(all_three, list_text(value));

    Tm_prenamed_struct fixed(fixed_names, 2);
    EXPECT_EQ(1, fixed.set_member("y", 5));
    EXPECT_THROW(fixed.set_member("z", 5), Tm_name_not_found_exception);
    EXPECT_THROW(fixed.rename_member(1, "z"), Tm_exception);
    EXPECT_THROW(fixed.remove_member(1), Tm_exception);
    EXPECT_THROW(fixed.remove_member("y"), Tm_exception);
    EXPECT_THROW(fixed.take_member(1), Tm_exception);
    EXPECT_EQ(5, fixed.get_member_int32("y"));
}

TEST(Finding, TellsAbsentFromPresent) {
    Tm_struct const value = three();
    EXPECT_EQ(nullptr, value.find("x"));
    EXPECT_EQ(nullptr, value.find(3));
    EXPECT_EQ(nullptr, value.find(-1));
    EXPECT_EQ(nullptr, value.find(std::size_t{1} << 32));
    EXPECT_THROW(Tm_struct(value).edit_array(std::size_t{0}), Tm_type_mismatch_exception);
    EXPECT_EQ(5, (Tm_struct{{"n", 5L}}.get_or<long long>("n", 0)));
    EXPECT_TRUE(value.has_member(std::string("a")));
    EXPECT_EQ(1, value.get_if<int>("a"));
    EXPECT_EQ(std::nullopt, value.get_if<long>("a"));
    EXPECT_EQ("text", value.get_if<std::string>(1));
    EXPECT_EQ("text", value.get_if<std::string_view>("b"));
    EXPECT_EQ(2, (*value.get_if<Tm_array const*>("c"))->get_member_count());
    EXPECT_EQ(5, value.get_or("x", 5));
    EXPECT_EQ("none", value.get_or<std::string>("a", "none"));
    Tm_array const array{1, 2.0};
    EXPECT_EQ(nullptr, array.find(2));
    EXPECT_EQ(2, array.get_number<int>(1));
    Tm_prenamed_struct const fixed(fixed_names, 2);
    EXPECT_EQ(nullptr, fixed.find("x"));
    EXPECT_FALSE(fixed.has_member(1));
    Message message;
    message.set_member(body, "n", 1);
    EXPECT_EQ(1, message.get_or<int>(body, "n", 0));
    EXPECT_EQ(nullptr, message.find(meta, "n"));
}

TEST(Finding, ReadsNumbersThatFit) {
    constexpr unsigned long most = std::numeric_limits<unsigned long>::max();
    Tm_struct const value{{"small", static_cast<signed char>(-5)},
                          {"most", most},
                          {"odd", (1L << 53) + 1},
                          {"whole", 4.0},
                          {"half", 4.5},
                          {"nan", std::nan("")},
                          {"huge", 1e300},
                          {"least", -0x1p63},
                          {"text", "5"},
                          {"bool", true}};
    EXPECT_EQ(-5, value.get_number<long>("small"));
    EXPECT_EQ(-5.0, value.get_number<double>("small"));
    EXPECT_EQ(most, value.get_number<unsigned long>("most"));
    EXPECT_EQ((1LL << 53) + 1, value.get_number<long long>("odd"));
    EXPECT_EQ(4, value.get_number<unsigned char>("whole"));
    EXPECT_EQ(4.5, value.get_number<double>("half"));
    EXPECT_TRUE(std::isnan(value.get_number<double>("nan")));
    EXPECT_EQ(std::numeric_limits<long>::min(), value.get_number<long>("least"));
    EXPECT_THROW(value.get_number<unsigned long>("small"), Tm_out_of_range_exception);
    EXPECT_THROW(value.get_number<long>("most"), Tm_out_of_range_exception);
    EXPECT_THROW(value.get_number<double>("most"), Tm_out_of_range_exception);
    EXPECT_THROW(value.get_number<double>("odd"), Tm_out_of_range_exception);
    EXPECT_THROW(value.get_number<int>("half"), Tm_out_of_range_exception);
    EXPECT_THROW(value.get_number<int>("nan"), Tm_out_of_range_exception);
    EXPECT_THROW(value.get_number<long>("huge"), Tm_out_of_range_exception);
    EXPECT_THROW(value.get_number<int>("text"), Tm_type_mismatch_exception);
    EXPECT_THROW(value.get_number<int>("bool"), Tm_type_mismatch_exception);
    EXPECT_THROW(value.get_number<int>("x"), Tm_name_not_found_exception);
}
