#include "support/support.h"

namespace {

using Catalogue = Tm_catalog<std::string>;

/// Against a plain scan, below and above the size at which a struct has a table, with repeated names.
TEST(Struct, LooksUpFromTheLastHitOnAndWrapsAround) {
    for (int const size : {1, 3, 12, 16, 17, 3000}) {
        int const different = size / 3 + 1;
        Names names;
        for (int i = 0; i < size; ++i) names.push_back("name" + std::to_string(i * 7919 % different));
        Tm_struct value = of_ints(names);
        std::size_t hint = 0;
        for (int round = 0; round < 7 * size; ++round) {
            if (round % 100 == 99) {
                names.push_back("name" + std::to_string(round % (2 * different)));
                value.add_member(names.back(), round);
            }
            std::string const wanted = "name" + std::to_string(round * 31 % (different + 1));
            int expected = -1;
            for (std::size_t i = 0; i < names.size() && expected < 0; ++i) {
                std::size_t const at = (hint + i) % names.size();
                if (names[at] == wanted) expected = static_cast<int>(at);
            }
            ASSERT_EQ(expected, value.get_member_index(wanted.c_str())) << size << " " << round;
            if (expected >= 0) hint = static_cast<std::size_t>(expected);
        }
        EXPECT_EQ(0, Tm_struct(value).get_number("name0"));
        // One that stands directly behind the members near the hint.
        int const first = value.get_member_count() + 16;
        for (int i = 0; i < 16; ++i) value.add_member("near" + std::to_string(i), i);
        add(value, "x", 1, "x", 2);
        value.get_number("near0");
        EXPECT_EQ(first, value.get_member_index("x"));
        Tm_struct other = of_ints({"only"});
        value.swap(other);
        EXPECT_EQ(-1, value.get_member_index("name1"));
        EXPECT_EQ(0, value.get_number("only"));
        value.clear();
        EXPECT_EQ(-1, value.get_member_index("only"));
    }
}

/// A struct shares the names of one before it that has more of them.
TEST(Struct, LooksUpAmongItsOwnMembersOnly) {
    Names names = numbered("own", 20);
    names.push_back("own0");
    of_ints(names).get_number("own19");
    names.pop_back();
    Tm_struct const value = of_ints(names);
    EXPECT_EQ(10, value.get_number("own10"));
    EXPECT_EQ(0, value.get_number("own0"));
}

TEST(Struct, CopiesOwnTheirCatalogue) {
    Catalogue shared;
    Tm_struct const source = of_ints({"a", "b"}, &shared);
    Tm_struct copy(source), target = of_ints({"z"}, &shared);
    copy.add_member("c", 1);
    EXPECT_EQ(3U, shared.size());
    EXPECT_TRUE(copy.is_string_catalog_from_internal());
    target = copy;
    EXPECT_FALSE(target.is_string_catalog_from_internal());
    EXPECT_EQ(4U, shared.size());
    target = *&target;
    EXPECT_EQ((Names{"a", "b", "c"}), names_of(target));
}

/// Copies read the names of what they were copied from: they must outlive it and leave it alone.
TEST(Struct, CopiesOutliveTheirSource) {
    std::string const name = "name longer than any short string";
    auto message = std::make_unique<Message>();
    message->add_member(body, name, 1);
    Tm_struct copy(message->get_const_struct(body));
    Tm_struct const second(copy);
    message->clear(body);
    message->add_member(body, "other", 2);
    message.reset();
    copy.add_member("added", 3);
    Tm_struct const third(copy);
    copy.clear();
    copy.add_member("after clear", 4);
    EXPECT_EQ(Names{name}, names_of(second));
    EXPECT_EQ((Names{name, "added"}), names_of(third));
    EXPECT_EQ(Names{"after clear"}, names_of(copy));
}

/// A name may be given as a view of one that the struct has, and names of a received table stay where
/// members are added behind them.
TEST(Struct, NamesMayComeFromTheStructItself) {
    std::string const name(40000, 'n');
    Tm_struct own = of_ints({name});
    EXPECT_EQ(1, Tm_struct(own).get_member_count());
    own.add_member(own.get_member_name(0), 2);
    EXPECT_EQ((Names{name, name}), names_of(own));

    Message sent;
    sent.add_member(body, "by index", 1);
    ASSERT_TRUE(sent.index_member_names());
    std::unique_ptr<Message> received = decode(encode(sent)).message;
    received->add_member(body, "added by the program", 2);
    Message copy(*received);
    copy.add_member(body, "added to the copy", 3);
    received.reset();
    EXPECT_EQ((Names{"by index", "added by the program", "added to the copy"}), names_of(copy.get_const_struct(body)));
}

TEST(Struct, SwapExchangesWithinOneMake) {
    Catalogue catalogue;
    for (Catalogue* const shared : {&catalogue, static_cast<Catalogue*>(nullptr)}) {
        Tm_struct a = of_ints({"a"}, shared), b = of_ints({"b", "c"}, shared);
        a.swap(b);
        EXPECT_TRUE(a == of_ints({"b", "c"}));
        EXPECT_TRUE(b == of_ints({"a"}));
    }
    // Values, but not names, of different makes.
    Tm_struct owner = of_ints({"a"}), sharer = of_ints({"y", "z"}, &catalogue);
    EXPECT_THROWS("swap does not support swapping tm_struct with different type", owner.swap(sharer));
    EXPECT_EQ(2, owner.get_member_count());
    EXPECT_STREQ("a", owner.get_member_name(0));
    for (Tm_struct const* const value : {&owner, &sharer}) EXPECT_EQ(-1, value->get_member_index("z"));
    EXPECT_THROWS("z not found in struct", owner.get_member_int32("z"));
    EXPECT_THROWS("index 1 out of range 0..0", Tm_struct const copy(owner));
    EXPECT_EQ(0, owner.get_number("a"));
}

/// A copy stands in one block of memory with its members.
TEST(Struct, SwapTakesMembersOutOfTheirBlock) {
    Tm_struct const item =
        Tm_struct{{"text", std::string(60, 't')}, {"number", 1}, {"more", "another text"}, {"none", ""}};
    Tm_struct kept = of_ints({"x"});
    std::unique_ptr<Tm_struct> clone(item.clone());
    kept.swap(*clone);
    EXPECT_TRUE(*clone == of_ints({"x"}));
    clone.reset();
    EXPECT_TRUE(kept == item);
    kept.add_member("behind", "yet another text");
    EXPECT_EQ("another text", kept.get_member_text("more"));
}

TEST(Struct, HintAndIndexesGoWithTheMembers) {
    Tm_struct a = of_ints({"x", "x", "x"}), b = of_ints({"x", "y", "x"});
    b.get_number("y");
    a.swap(b);
    EXPECT_EQ(2, a.get_number("x"));
    EXPECT_EQ(0, b.get_number("x"));

    Catalogue index;
    Tm_struct indexed(nullptr);
    for (char const* const name : {"old", "x"}) indexed.add_member(name, 1, &index);
    indexed.get_number("x");
    indexed.clear();
    add(indexed, "x", 1, "x", 1);
    EXPECT_EQ(0, indexed.get_number("x"));
    EXPECT_EQ(events_of(indexed), events_of(indexed, true));

    // A catalogue stays where it is.
    Catalogue lefts, rights;
    Tm_struct left = of_ints({"x"}, &lefts), right(&rights);
    right.add_member("y", 0, &index);
    Events const by_index = events_of(right, true), by_name = events_of(left, true);
    EXPECT_NE(by_index, events_of(right));
    left.swap(right);
    EXPECT_EQ(by_index, events_of(left, true));
    EXPECT_EQ(by_name, events_of(right, true));
    add(left, "z", 1);
    EXPECT_EQ(events_of(left), events_of(left, true)) << "not every member has an index";
    EXPECT_EQ(2U, lefts.size());
    EXPECT_EQ(1U, rights.size());
    Message().get_struct(body).swap(right);
    right.add_member("z", 1);
    EXPECT_EQ(2U, rights.size());

    char const* const names[] = {"x", "y", "x"};
    Tm_prenamed_struct prenamed(names, 3);
    for (int i = 0; i < 3; ++i) prenamed.add_member(i, true, &index);
    EXPECT_NE(events_of(prenamed, true), events_of(prenamed));
    EXPECT_EQ(events_of(prenamed, true), events_of(Tm_prenamed_struct(prenamed), true));
    Tm_prenamed_struct target(names, 3);
    for (int i = 0; i < 3; ++i) target.add_member(i, true);
    target.get_number("y");
    target = prenamed;
    EXPECT_EQ(0, target.get_number("x"));
    EXPECT_EQ(events_of(prenamed, true), events_of(target, true));
}

TEST(Struct, KeepsNamesWithAZeroByteWhole) {
    std::string const whole("a\0b", 3);
    Tm_struct value = of_ints({whole, "a"});
    EXPECT_EQ(rows("a", "a"), names_of(value));
    EXPECT_EQ(3U, value.get_member_name_length(0));
    EXPECT_EQ(1, value.get_number("a"));
    EXPECT_EQ("member(" + whole + ")", events_of(Tm_struct(value)).at(2));
    EXPECT_FALSE(value == of_ints({"a", "a"}));
}

/// Computes its names, and on demand leaves their lengths as they are.
struct Computed : Tm_struct {
    explicit Computed(bool gives_lengths) : Tm_struct(of_ints(numbered("stored", 20))), gives_lengths_(gives_lengths) {}
    char const* get_member_name(int i) const override {
        name_ = "computed" + std::string(Tm_struct::get_member_name(i)).substr(6);
        return name_.c_str();
    }
    unsigned int get_member_name_length(int i) const override {
        return Tm_struct::get_member_name_length(i) + (gives_lengths_ ? 2 : 0);
    }
    bool gives_lengths_;
    mutable std::string name_;
};

TEST(Struct, AsksADerivedClassForItsNames) {
    Tm_struct const expected = of_ints(numbered("computed", 20)), stored = of_ints(numbered("stored", 20));
    for (bool const gives_lengths : {true, false}) {
        Computed const value(gives_lengths);
        Tm_struct const copy(value);
        Tm_struct assigned = of_ints({"old"});
        assigned = value;
        std::unique_ptr<Tm_struct> const clone(value.clone());
        for (auto const* const made : std::initializer_list<Tm_struct const*>{&copy, &assigned, clone.get(), &value}) {
            EXPECT_EQ(numbered("computed", 20), names_of(*made));
            EXPECT_TRUE(*made == expected);
            EXPECT_TRUE(expected == *made);
            for (int i = 0; i < 20; ++i) EXPECT_EQ(i, made->get_number(("computed" + std::to_string(i)).c_str()));
            EXPECT_EQ(-1, made->get_member_index("stored17"));
            EXPECT_FALSE(*made == stored);
            EXPECT_FALSE(stored == *made);
            EXPECT_EQ(events_of(expected), events_of(*made));
        }
    }
}

/// A value with a type code that no class of the library has.
struct Odd : Tm_bool {
    explicit Odd(int code) : Tm_bool(true), code_(code) {}
    Odd* clone() const override { return new Odd(*this); }
    TMV get_value_type() const override { return static_cast<TMV>(code_); }
    int code_;
};

TEST(Struct, TakesValuesOfAnyTypeCode) {
    for (int const code : {-128, -124, -1, 16, 100, 127, 128, 1000}) {
        Tm_struct value(nullptr);
        value.add_member_and_own("x", new Odd(code));
        EXPECT_EQ(code, value.get_member_value_type(0));
        EXPECT_THROW(value.get_member_int32("x"), Tm_type_mismatch_exception) << code;
        EXPECT_EQ(code, value.get_value(0)->get_value_type());
    }
}

TEST(Struct, TakesAValueOnlyForANameThatWaits) {
    int alive = 0;
    Counted const given(alive);
    for (auto const& [names, text] :
         {std::pair(Names(), "index 7 out of range 0..-1"), {{"a"}, "index 7 out of range 0..0"}}) {
        Tm_struct value = of_ints(names);
        EXPECT_THROWS(text, value.add_value_and_own(7, new Counted(alive)));
        EXPECT_THROWS(text, value.add_value_and_copy(7, &given));
        EXPECT_EQ(1, alive);
        EXPECT_TRUE(value == of_ints(names));
        value.add_name("waits", nullptr);
        Tm_struct copy(value);
        EXPECT_THROWS(text, copy.add_value_and_copy(7, &given)) << "no name waits in a copy";
        value.add_value_and_own(7, new Counted(alive));
        EXPECT_TRUE(value.get_member_bool("waits"));
        EXPECT_EQ(2, alive);
    }
}

struct Prenamed : testing::Test {
    static inline char const* const names[] = {"one", "two", "three", nullptr};
    static inline char const* const others[] = {"four", nullptr};

    /// Filled out of order.
    Prenamed() : value(names, 3) {
        value.add_member(0, 1);
        value.add_member(2, "drei");
        value.add_member(1, 2.0);
    }
    Tm_prenamed_struct value;
    Tm_prenamed_struct empty{names, 3};
    Tm_struct const plain = Tm_struct{{"one", 1}, {"two", 2.0}, {"three", "drei"}};
};

TEST_F(Prenamed, EqualsAStructOfTheSameMembers) {
    Tm_struct const sliced(value);
    Tm_struct assigned(nullptr);
    assigned = value;
    empty = value;
    Tm_array const array = Tm_array::of(&value);
    for (auto const* const made :
         std::initializer_list<Tm_struct const*>{&value, &sliced, &assigned, &empty, array.get_member_struct(0)}) {
        EXPECT_TRUE(*made == plain);
        EXPECT_TRUE(plain == *made);
        EXPECT_EQ(events_of(plain), events_of(*made));
    }
    EXPECT_TRUE(sliced.is_string_catalog_from_internal());
    EXPECT_EQ(2, value.add_name("three"));
    value.add_member(1, 3.0);
    EXPECT_FALSE(value == plain);
    EXPECT_FALSE(plain == value);
}

TEST_F(Prenamed, HasEmptySlotsUntilTheyAreSet) {
    EXPECT_THROWS("index 3 out of range 0..2", empty.get_member_name(3));
    EXPECT_THROWS("two not found in struct", std::as_const(empty).get_value(1));
    EXPECT_THROWS("two not found in struct", empty.get_member_bool("two"));
    EXPECT_THROWS("one not found in struct", events_of(empty));
    EXPECT_THROWS("one not found in struct", static_cast<void>(empty == value));
    value.clear();
    EXPECT_EQ(2, value.get_number("three"));
    EXPECT_THROWS("three not found in struct", std::as_const(value).get_value(2));
    value.clear(others);
    EXPECT_EQ(Names{"four"}, names_of(value));
    EXPECT_EQ(0, value.get_number("four"));
    EXPECT_EQ(-1, value.get_member_index("three"));
    EXPECT_EQ(0, Tm_prenamed_struct().get_member_count());

    // Adding by name fills the slot of that name.
    Tm_struct& base = empty;
    base.add_member("two", 2);
    EXPECT_EQ(2, empty.get_member_int32(1));
    EXPECT_THROWS("zwei not found in struct", base.add_member("zwei", 2));
    EXPECT_FALSE(empty.is_string_catalog_from_internal());
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
    EXPECT_EQ((Events{"member_begin(0)", "member_begin(1)"}), (Events{events.at(1), events.at(4)}));
}

TEST_F(Prenamed, KeepsItsNamesWhenItsMembersAreSwapped) {
    Catalogue catalogue;
    Tm_struct sharing = of_ints({"x", "y"}, &catalogue);
    sharing.swap(value);
    EXPECT_TRUE(Tm_struct(value) == of_ints({"one", "two"}));
    Tm_struct larger = of_ints({"a", "b", "c", "d"}, &catalogue);
    larger.swap(value);
    EXPECT_EQ(-1, value.get_member_index("d")) << "the fourth has no name";
    EXPECT_THROWS("index 3 out of range 0..2", value.add_member(3, 1));
}

/// Back and forth, each kind by each other one, and by itself.
TEST_F(Prenamed, ReplacesValuesOfEveryKind) {
    for (int i = 0; i < 100; ++i) {
        for (int const datum : {i / 10, i}) {
            Tm_array expected;
            with_datum(datum, [&](auto const& given) {
                value.add_member(1, given);
                expected.add_member(given);
            });
            value.add_value_and_own(1, static_cast<Tm_struct&>(value).get_value(1));
            value.add_value_and_copy(2, value.get_value(1));
            for (int const at : {1, 2}) ASSERT_TRUE(*value.get_value(at) == *expected.get_value(0)) << i;
            ASSERT_EQ(expected.get_member_value_type(0), value.get_member_value_type(2));
            value.add_member(2, "drei");
            ASSERT_EQ(1, value.get_member_int32(0));
            ASSERT_EQ("drei", value.get_member_text(2));
        }
    }
    int alive = 0;
    auto* const counted = new Counted(alive);
    for (int time = 0; time < 2; ++time) value.add_value_and_own(1, counted);
    EXPECT_EQ(1, alive);
    value.add_member(1, 1);
    EXPECT_EQ(0, alive);
}

TEST_F(Prenamed, LikeAllOthersRefusesNullPointers) {
    Tm_array array = Tm_array::of(1);
    Tm_struct named = of_ints({"a", ""});
    Message message;
    Names texts;
    auto const attempt = [&](auto call) { texts.push_back(text_thrown_by(call)); };
    auto const add_to_all = [&](auto const* null) {
        attempt([&] { array.add_member(null); });
        attempt([&] { named.add_member("x", null); });
        attempt([&] { value.add_member(1, null); });
        attempt([&] { static_cast<Tm_struct&>(value).add_member("two", null); });
        attempt([&] { message.add_member(body, "x", null); });
    };
    add_to_all(static_cast<Tm_value const*>(nullptr));
    add_to_all(static_cast<Tm_binary const*>(nullptr));
    add_to_all(static_cast<char const*>(nullptr));
    attempt([&] { array.add_member_and_own(nullptr); });
    attempt([&] { named.add_member_and_own("x", nullptr); });
    attempt([&] { value.add_member_and_own(1, nullptr); });
    attempt([&] { message.add_member_and_own(body, "x", nullptr); });
    EXPECT_EQ(Names(19, "member without a value"), texts);

    char const* const no_name = nullptr;
    EXPECT_THROWS("name without a text", named.add_member(no_name, 5));
    EXPECT_THROWS("name without a text", message.add_member(body, no_name, "x"));
    EXPECT_THROWS("name without a text", message.set_request_name(no_name));
    EXPECT_EQ(-1, named.get_member_index(no_name));
    EXPECT_EQ(-1, value.get_member_index(no_name));
    EXPECT_THROWS(" not found in struct", named.get_number(no_name));
    EXPECT_THROWS(" not found in struct", value.get_member_bool(no_name));
    EXPECT_THROWS(" not found in struct", message.get_member_text(body, no_name));
    EXPECT_TRUE(array == Tm_array::of(1));
    EXPECT_TRUE(named == of_ints({"a", ""}));
    EXPECT_TRUE(value == plain);
    EXPECT_TRUE(message == Message());
}

}  // namespace
