#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include "support/recorder.h"
#include "support/samples.h"
#include "support/scratch.h"
#include "support/throws.h"

namespace {

/// Counts how many of its kind live.
struct Counted : Tm_bool {
    explicit Counted(int& alive) : Tm_bool(true), alive_(alive) { ++alive_; }
    Counted(Counted const& other) : Tm_bool(other), alive_(other.alive_) { ++alive_; }
    ~Counted() override { --alive_; }
    Counted* clone() const override { return new Counted(*this); }
    int& alive_;
};

TEST(Container, OwnsWhatItHolds) {
    int alive = 0;
    {
        Tm_value_container container;
        container.push_and_own(new Counted(alive));
        Tm_value* const copied = container.push_and_copy(container.get_value(0));
        EXPECT_EQ(copied, container.get_value(1));
        container.set_and_own(1, new Counted(alive));
        container.set_and_copy(0, container.get_value(1));
        for (int const at : {-1, 2}) {
            std::string const text = "index " + std::to_string(at) + " out of range 0..1";
            EXPECT_THROWS(text, container.get_value(at));
            EXPECT_THROWS(text, container.set_and_own(at, new Counted(alive)));
            EXPECT_THROWS(text, container.set_and_copy(at, container.get_value(0)));
        }
        EXPECT_EQ(2, alive);

        container.size_and_clear(4);
        EXPECT_EQ(0, alive);
        container.set_and_own(1, new Counted(alive));
        Tm_value_container const copy(container);
        EXPECT_EQ(2, alive);
        EXPECT_TRUE(copy.get_value(0) == nullptr && copy.get_value(1) != nullptr);
        container = *&container;
        EXPECT_EQ(2, alive);
        Tm_value_container other;
        other.swap(container);
        EXPECT_EQ(4, other.size());
        EXPECT_THROWS("index 0 out of range 0..-1", container.get_value(0));
        Tm_array array(new Tm_value_container(copy));
        EXPECT_EQ(3, alive);
        array = Tm_array();
        EXPECT_EQ(2, alive);
    }
    EXPECT_EQ(0, alive);
}

TEST(Array, GetsEveryKind) {
    Scratch const scratch;
    unsigned char const bytes[] = {1, 2, 3};
    Tm_binary const binary(bytes, 3);
    Tm_struct const inner(nullptr);
    Message const message;
    Tm_array array = every_scalar();
    array.add_member("text");
    array.add_member(std::string("more"));
    array.add_member(bytes, 3);
    array.add_member(&binary);
    array.add_member(scratch.file("f", "123"), 0U);
    array.add_member(&inner);
    array.add_member(&message);
    array.add_member(static_cast<Tm_value const*>(&array));

    EXPECT_EQ(-128, array.get_member_int8(0));
    EXPECT_EQ(255, array.get_member_uint8(17));
    EXPECT_EQ(-32768, array.get_member_int16(2));
    EXPECT_EQ(65535, array.get_member_uint16(19));
    EXPECT_EQ(-1, array.get_member_int32(12));
    EXPECT_EQ(4294967295U, array.get_member_uint32(21));
    EXPECT_EQ(-1, array.get_member_int64(14));
    EXPECT_EQ(18446744073709551615UL, array.get_member_uint64(23));
    EXPECT_EQ(1.5, array.get_member_double(26));
    EXPECT_TRUE(array.get_member_bool(30));
    EXPECT_STREQ("more", array.get_member_string(33));
    EXPECT_TRUE(*array.get_member_binary(34) == binary);
    EXPECT_EQ(binary.get_buffer(), array.get_member_binary(35)->get_buffer());
    EXPECT_EQ(3U, array.get_member_file(36)->size());
    EXPECT_TRUE(*array.get_member_struct(37) == inner);
    EXPECT_TRUE(*array.get_member_message(38) == message);
    EXPECT_EQ(39, array.get_member_array(39)->get_member_count());
    EXPECT_THROWS("value of type int16_t accessed as type int32_t", array.get_member_int32(2));
    EXPECT_THROWS("value of type string accessed as type date", array.get_member_date(32));
    EXPECT_THROWS("index 99 out of range 0..39", array.get_member_bool(99));
    EXPECT_THROWS("index 0 out of range 0..-1", Tm_array().get_member_value_type(0));
    EXPECT_THROWS("String length 65536 out of range 0..65535", array.add_member(std::string(65536, 'x')));
    EXPECT_THROWS("failed to open /nowhere/at all", array.add_member(std::string("/nowhere/at all"), 0U));
    EXPECT_EQ(40, array.get_member_count());
    EXPECT_TRUE(array == *std::unique_ptr<Tm_value>(array.clone()));
}

TEST(Array, EqualityIsOfElementsInOrder) {
    Tm_array ab;
    Tm_array ba;
    ab.add_member(1);
    ab.add_member(2);
    ba.add_member(2);
    ba.add_member(1);
    EXPECT_FALSE(ab == ba || ab == Tm_array() || Tm_array() == Tm_struct(nullptr));
    ba = ab;
    EXPECT_TRUE(ab == ba);
}

/// A clone that fails half-way leaks nothing and leaves both sides usable.
TEST(Composites, SurviveACloneThatThrows) {
    struct Uncopyable : Tm_bool {
        Uncopyable() : Tm_bool(true) {}
        Tm_bool* clone() const override { throw Tm_exception("no copy"); }
    };
    Tm_struct source(nullptr);
    source.add_member("a", std::string(100, 'x'));
    source.add_member_and_own("b", new Uncopyable);
    Tm_array array;
    array.add_member(1);
    array.add_member_and_own(new Uncopyable);
    Tm_struct target(nullptr);
    target.add_member("old", 1);
    Tm_array other;
    Message message;
    EXPECT_THROWS("no copy", target = source);
    EXPECT_THROWS("no copy", Tm_struct const copy(source));
    EXPECT_THROWS("no copy", other = array);
    EXPECT_THROWS("no copy", other.add_member(&array));
    EXPECT_THROWS("no copy", message.add_member(Message::TMG_BODY, "s", &source));
    EXPECT_EQ(1, target.get_member_int32("old"));
    EXPECT_EQ(0, message.get_member_count(Message::TMG_BODY));
    other.add_member(2);
}

}  // namespace
