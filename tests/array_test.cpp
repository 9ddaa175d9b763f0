/// The common behaviour of all composites, and the array.
#include "support/support.h"

namespace {

TEST(Container, OwnsWhatItHolds) {
    int alive = 0;
    auto const expect_alive = [&](int expected) { EXPECT_EQ(expected, alive); };
    {
        Tm_value_container container, other;
        container.push_and_own(new Counted(alive));
        Tm_value* const copied = container.push_and_copy(container.get_value(0));
        EXPECT_EQ(copied, container.get_value(1));
        container.set_and_own(1, new Counted(alive));
        container.set_and_copy(0, container.get_value(1));
        EXPECT_THROWS("index -1 out of range 0..1", container.get_value(-1));
        EXPECT_THROWS("index 2 out of range 0..1", container.set_and_own(2, new Counted(alive)));
        EXPECT_THROWS("index 2 out of range 0..1", container.set_and_copy(2, container.get_value(0)));
        expect_alive(2);
        container.size_and_clear(4);
        expect_alive(0);
        container.set_and_own(1, new Counted(alive));
        Tm_value_container const copy(container);
        EXPECT_EQ(nullptr, copy.get_value(0));
        EXPECT_NE(nullptr, copy.get_value(1));
        container = *&container;
        expect_alive(2);
        other.swap(container);
        EXPECT_EQ(4, other.size());
        EXPECT_THROWS("index 0 out of range 0..-1", container.get_value(0));
        Tm_array array(new Tm_value_container(copy));
        expect_alive(3);
        array = Tm_array();
        expect_alive(2);
    }
    expect_alive(0);
}

/// Larger than a slot, of a type code that no value of the library has.
struct Made : Counted {
    Made(int& alive, int number) : Counted(alive), number_(number) { ++made; }
    Made(Made const& other) : Counted(other), number_(other.number_) { ++made; }
    Made* clone() const override { return new Made(*this); }
    TMV get_value_type() const override { return static_cast<TMV>(200); }
    long number_;
    static inline int made = 0;
};

TEST(Container, NeitherCopiesNorLosesValuesOfAnOwnClass) {
    int alive = 0;
    Made::made = 0;
    Tm_value_container container, other;
    // The sizes of both, how many values live and how many were made.
    auto const expect = [&](std::vector<int> const& expected) {
        EXPECT_EQ(expected, (std::vector<int>{container.size(), other.size(), alive, Made::made}));
    };
    for (int i = 0; i < 1000; ++i) container.push_and_own(i % 3 == 0 ? nullptr : new Made(alive, i));
    container.set_and_own(7, container.get_value(7));
    container.reserve(5000);
    container.swap(other);
    expect({0, 1000, 666, 666});
    container = other;
    for (int i = 0; i < 1000; ++i) {
        auto const* const value = static_cast<Made const*>(container.get_value(i));
        ASSERT_EQ(i % 3 == 0 ? -1 : i, value == nullptr ? -1 : value->number_);
    }
    EXPECT_EQ(200, Tm_array(new Tm_value_container(container)).get_member_value_type(1));
    other.delete_all();
    EXPECT_EQ(nullptr, other.get_value(1));
    expect({1000, 1000, 666, 1998});
    container.delete_and_remove_all();
    expect({0, 1000, 0, 1998});
}

/// Values move while more and more of them come.
TEST(Composites, KeepTheirValuesWhileTheyGrow) {
    Tm_array array;
    Tm_struct named(nullptr);
    std::vector<Tm_array> expected(5000);
    for (int i = 0; i < 5000; ++i) {
        with_datum(i, [&](auto const& datum) {
            array.add_member(datum);
            named.add_member("name" + std::to_string(i), datum);
            expected[static_cast<std::size_t>(i)].add_member(datum);
        });
    }
    Tm_array const array_copy(array);
    Tm_struct const named_copy(named);
    for (bool const are_there : {true, false}) {
        for (int i = 0; i < 5000; ++i) {
            Tm_value const& value = *expected[static_cast<std::size_t>(i)].get_value(0);
            for (auto const* const copied : {array_copy.get_value(i), named_copy.get_value(i)})
                ASSERT_TRUE(*copied == value) << i;
            if (!are_there) continue;
            for (auto const* const grown : {array.get_value(i), named.get_value(i)}) ASSERT_TRUE(*grown == value) << i;
        }
        array.clear();
        named.clear();
    }
    EXPECT_EQ(numbered("name", 5000), names_of(named_copy));
}

/// One member of every kind in an array, a struct and a message.
struct Every_kind : testing::Test {
    Scratch const scratch;
    unsigned char const bytes[2] = {1, 2};
    Tm_array array;
    Tm_struct named{nullptr};
    Message message;

    /// Adds to all three containers. The result of each getter, by position and by name, must satisfy
    /// `holds`.
    template <class Holds, class... Datum>
    void add(char const* name, Holds holds, Datum const&... datum) {
        int const at = array.get_member_count();
        array.add_member(datum...);
        named.add_member(name, datum...);
        message.add_member(body, name, datum...);
        EXPECT_EQ(std::vector<bool>(5, true), (std::vector<bool>{holds(array, at), holds(named, at), holds(named, name),
                                                                 holds(message, body, at), holds(message, body, name)}))
            << name;
    }
};

#define ADD(kind, condition, ...)                           \
    add(                                                    \
        #kind,                                              \
        [&](auto const& from, auto... at) {                 \
            auto const got = from.get_member_##kind(at...); \
            return condition;                               \
        },                                                  \
        __VA_ARGS__)

TEST_F(Every_kind, IsGotByPositionAndName) {
    Tm_binary const binary(bytes, 2);
    Tm_array const list;
    Tm_struct const inner(nullptr);
    Message const nested;
    ADD(int8, got == -1, static_cast<signed char>(-1));
    ADD(uint8, got == 255, static_cast<unsigned char>(255));
    ADD(int16, got == -2, static_cast<short>(-2));
    ADD(uint16, got == 65535, static_cast<unsigned short>(65535));
    ADD(int32, got == -3, -3);
    ADD(uint32, got == 4294967295, 4294967295U);
    ADD(int64, got == -4, -4L);
    ADD(uint64, got == 18446744073709551615UL, 18446744073709551615UL);
    ADD(double, got == 0.5, 0.5);
    ADD(bool, got, true);
    ADD(string, std::string("text") == got, "text");
    ADD(text, got == "view", std::string_view("view of more").substr(0, 4));
    ADD(binary, *got == binary && got->get_buffer() != binary.get_buffer(), bytes, 2U);
    ADD(file, got->size() == 3, scratch.file("f", "123"), 0U);
    ADD(array, *got == list && got != &list, &list);
    ADD(struct, *got == inner && got != &inner, &inner);
    ADD(message, *got == nested && got != &nested, &nested);
    named.add_member("shared", &binary);
    EXPECT_EQ(binary.get_buffer(), named.get_member_binary("shared")->get_buffer());
    named.add_member("for reading", scratch.path("f"), 4096U);
    EXPECT_EQ(0U, named.get_member_file("for reading")->open_mode());
    EXPECT_TRUE(named == Tm_struct(named));
    EXPECT_TRUE(array == Tm_array(array));

    EXPECT_THROWS("value of type int64_t accessed as type int32_t", named.get_member_int32("int64"));
    EXPECT_THROWS("value of type int8_t accessed as type unknown", named.get_member_message(0));
    EXPECT_THROWS("value of type unknown accessed as type date", named.get_member_date("message"));
    EXPECT_THROWS("value of type string accessed as type date", array.get_member_date(10));
    EXPECT_THROWS("x not found in struct", named.get_member_bool("x"));
    EXPECT_THROWS("index 19 out of range 0..18", named.get_member_value(TMV_BOOL, 19));
    EXPECT_THROWS("index 99 out of range 0..16", array.get_member_bool(99));
    EXPECT_THROWS("index 0 out of range 0..-1", Tm_array().get_member_value_type(0));
    EXPECT_THROWS("index -1 out of range 0..18", named.get_member_name(-1));
    EXPECT_THROWS("index -1 out of range 0..18", named.get_member_name_length(-1));
    EXPECT_THROWS("index -1 out of range 0..18", named.get_member_value_type(-1));
    EXPECT_THROWS("index -1 out of range 0..-1", Tm_struct(nullptr).get_value(-1));
    EXPECT_EQ(TMV_INT8, message.get_member_value_type(body, 0));
    EXPECT_EQ(array.get_value(0), array.get_member_value(TMV_INT8, 0));
    EXPECT_THROWS("value of type int8_t accessed as type bool", array.get_member_value(TMV_BOOL, 0));
}

TEST_F(Every_kind, IsUnchangedByAFailedAdd) {
    Tm_catalog<std::string> index;
    std::string const text(65536, 'x');
    EXPECT_THROWS("String length 65536 out of range 0..65535", array.add_member(text));
    EXPECT_THROWS("String length 65536 out of range 0..65535", named.add_member("b", text, &index));
    EXPECT_THROWS("failed to open /nowhere/at all", array.add_member(std::string("/nowhere/at all"), 0U));
    EXPECT_THROWS("failed to open /nowhere/at all", named.add_member("b", std::string("/nowhere/at all"), 1U, &index));
    EXPECT_TRUE(array == Tm_array());
    EXPECT_TRUE(named == Tm_struct(nullptr));
    EXPECT_EQ(0U, index.size());
}

TEST(Composites, EqualityIsOfNamesAndValuesInOrder) {
    Tm_array const ab = Tm_array::of(1, 2);
    EXPECT_TRUE(ab == Tm_array::of(1, 2));
    EXPECT_FALSE(ab == Tm_array::of(2, 1));
    EXPECT_FALSE(ab == Tm_array());
    EXPECT_FALSE(Tm_array() == Tm_struct(nullptr));
    EXPECT_FALSE(of_ints({"a", "b"}) == of_ints({"b", "a"}));
    EXPECT_FALSE(of_ints({"a"}) == of_ints({"a", "b"}));
    Tm_value_container slots;
    slots.push_and_own(nullptr);
    Tm_array const empty_slot(new Tm_value_container(slots));
    EXPECT_TRUE(empty_slot == Tm_array(empty_slot));
    EXPECT_FALSE(empty_slot == ab);
    EXPECT_THROWS("member without a value", empty_slot.get_member_bool(0));
    EXPECT_THROWS("member without a value", events_of(empty_slot));
    EXPECT_THROWS("member without a value", encode(empty_slot));
}

/// A clone that fails half-way leaks nothing and leaves both sides usable.
TEST(Composites, SurviveACloneThatThrows) {
    struct Uncopyable : Tm_bool {
        Uncopyable() : Tm_bool(true) {}
        Tm_bool* clone() const override { throw Tm_exception("no copy"); }
    };
    Tm_struct source = of_ints({"a"});
    source.add_member_and_own("b", new Uncopyable);
    Tm_array array = Tm_array::of(1);
    array.add_member_and_own(new Uncopyable);
    Tm_struct target = of_ints({"old"});
    Tm_array other;
    Message message;
    EXPECT_THROWS("no copy", target = source);
    EXPECT_THROWS("no copy", Tm_struct const copy(source));
    EXPECT_THROWS("no copy", other = array);
    EXPECT_THROWS("no copy", other.add_member(&array));
    EXPECT_THROWS("no copy", message.add_member(body, "s", &source));
    char const* const names[] = {"a"};
    Tm_prenamed_struct prenamed(names, 1), changed(names, 1);
    changed.add_member(0, 5);
    prenamed.add_member_and_own(0, new Uncopyable);
    EXPECT_THROWS("no copy", changed = prenamed);
    EXPECT_EQ(5, changed.get_member_int32(0));
    EXPECT_TRUE(target == of_ints({"old"}));
    EXPECT_TRUE(message == Message());
    other.add_member(2);
}

}  // namespace
