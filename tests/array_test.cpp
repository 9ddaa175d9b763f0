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
        EXPECT_EQ(2, alive);
        for (int const position : {-1, 2}) {
            std::string const text = "index " + std::to_string(position) + " out of range 0..1";
            EXPECT_EQ(text, text_thrown_by([&] { container.get_value(position); }));
            EXPECT_EQ(text,
                      text_thrown_by([&] { container.set_and_own(position, new Counted(alive)); }));
            EXPECT_EQ(text, text_thrown_by(
                                [&] { container.set_and_copy(position, container.get_value(0)); }));
        }
        EXPECT_EQ(2, alive);

        container.size_and_clear(4);
        EXPECT_EQ(0, alive);
        EXPECT_EQ(nullptr, container.get_value(3));
        container.set_and_own(1, new Counted(alive));
        Tm_value_container const copy(container);
        EXPECT_EQ(2, alive);
        EXPECT_EQ(nullptr, copy.get_value(0));
        EXPECT_NE(nullptr, copy.get_value(1));
        container = *&container;
        EXPECT_EQ(2, alive);
        Tm_value_container other;
        other.swap(container);
        EXPECT_EQ(0, container.size());
        EXPECT_EQ(4, other.size());
        EXPECT_EQ("index 0 out of range 0..-1", text_thrown_by([&] { container.get_value(0); }));
        Tm_array array(new Tm_value_container(copy));
        EXPECT_EQ(3, alive);
        array = Tm_array();
        EXPECT_EQ(2, alive);
        array.reserve(10);
        EXPECT_EQ(0, array.get_member_count());
    }
    EXPECT_EQ(0, alive);
}

TEST(Array, GetsEveryKind) {
    Scratch const scratch;
    std::string const path = scratch.file("f", "123");
    unsigned char const bytes[] = {1, 2, 3};
    Tm_binary const binary(bytes, 3);
    Tm_struct const inner(nullptr);
    Message const message;
    Tm_array array = every_scalar();
    int const scalars = array.get_member_count();
    array.add_member("text");
    array.add_member(std::string("more"));
    array.add_member(bytes, 3);
    array.add_member(&binary);
    array.add_member(path, 0U);
    array.add_member(&inner);
    array.add_member(&message);
    array.add_member(static_cast<Tm_value const*>(&array));

    EXPECT_EQ(-128, array.get_member_int8(0));
    EXPECT_EQ(255, array.get_member_uint8(5));
    EXPECT_EQ(-32768, array.get_member_int16(6));
    EXPECT_EQ(65535, array.get_member_uint16(11));
    EXPECT_EQ(std::numeric_limits<int>::min(), array.get_member_int32(12));
    EXPECT_EQ(std::numeric_limits<unsigned int>::max(), array.get_member_uint32(17));
    EXPECT_EQ(std::numeric_limits<long>::min(), array.get_member_int64(18));
    EXPECT_EQ(std::numeric_limits<unsigned long>::max(), array.get_member_uint64(23));
    EXPECT_EQ(1.5, array.get_member_double(26));
    EXPECT_TRUE(array.get_member_bool(30));
    EXPECT_STREQ("more", array.get_member_string(scalars + 1));
    EXPECT_EQ(3U, array.get_member_binary(scalars + 2)->get_buffer_size());
    EXPECT_EQ(binary.get_buffer(), array.get_member_binary(scalars + 3)->get_buffer());
    EXPECT_EQ(3U, array.get_member_file(scalars + 4)->size());
    EXPECT_EQ(0, array.get_member_struct(scalars + 5)->get_member_count());
    EXPECT_TRUE(*array.get_member_message(scalars + 6) == message);
    EXPECT_EQ(scalars + 7, array.get_member_array(scalars + 7)->get_member_count());
    EXPECT_EQ("value of type int16_t accessed as type int32_t",
              text_thrown_by([&] { array.get_member_int32(6); }));
    EXPECT_EQ("value of type string accessed as type date",
              text_thrown_by([&] { array.get_member_date(scalars); }));
    EXPECT_EQ("index 99 out of range 0..39", text_thrown_by([&] { array.get_member_bool(99); }));
    EXPECT_EQ("index 0 out of range 0..-1",
              text_thrown_by([&] { Tm_array().get_member_value_type(0); }));
    EXPECT_TRUE(array == *std::unique_ptr<Tm_value>(array.clone()));
}

TEST(Array, FailedAddAppendsNothing) {
    Tm_array array;
    EXPECT_EQ("String length 65536 out of range 0..65535",
              text_thrown_by([&] { array.add_member(std::string(65536, 'x')); }));
    EXPECT_EQ("failed to open /nowhere/at all",
              text_thrown_by([&] { array.add_member(std::string("/nowhere/at all"), 0U); }));
    EXPECT_EQ(0, array.get_member_count());
}

TEST(Array, EqualityIsOfElementsInOrder) {
    Tm_array ab;
    Tm_array ba;
    ab.add_member(1);
    ab.add_member(2);
    ba.add_member(2);
    ba.add_member(1);
    EXPECT_FALSE(ab == ba);
    EXPECT_FALSE(ab == Tm_array());
    EXPECT_FALSE(Tm_array() == Tm_struct(nullptr));
    ba = ab;
    EXPECT_TRUE(ab == ba);
    EXPECT_EQ((std::vector<std::string>{"array_begin()", "array_end()"}), events_of(Tm_array()));
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
    Tm_struct target(nullptr);
    target.add_member("old", 1);
    EXPECT_EQ("no copy", text_thrown_by([&] { target = source; }));
    EXPECT_EQ(1, target.get_member_int32("old"));
    EXPECT_EQ("no copy", text_thrown_by([&] { Tm_struct const copy(source); }));

    Tm_array array;
    array.add_member(1);
    array.add_member_and_own(new Uncopyable);
    Tm_array other;
    EXPECT_EQ("no copy", text_thrown_by([&] { other = array; }));
    other.add_member(2);
    EXPECT_EQ("no copy", text_thrown_by([&] { other.add_member(&array); }));
    Message message;
    EXPECT_EQ("no copy", text_thrown_by([&] {
                  message.add_member(Message::TMG_BODY, "s", static_cast<Tm_value const*>(&source));
              }));
    EXPECT_EQ(0, message.get_member_count(Message::TMG_BODY));
}

}  // namespace
