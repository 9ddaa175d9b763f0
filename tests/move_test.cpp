#include <type_traits>
#include <utility>
#include <vector>

#include "support/support.h"
#include "support/text.h"

namespace {

template <class T>
constexpr bool moves_without_failing = std::is_nothrow_move_constructible_v<T>&& std::is_nothrow_move_assignable_v<T>&&
    std::is_nothrow_swappable_v<T>&& std::is_copy_assignable_v<T>;

static_assert(moves_without_failing<Message> && moves_without_failing<Tm_struct>);
static_assert(moves_without_failing<Tm_array> && moves_without_failing<Tm_binary>);
static_assert(moves_without_failing<Tm_prenamed_struct>);

/// The tree of a decoded message has many values in one block of memory.
std::unique_ptr<Message> decoded_request() {
    Tm_bin_decoder decoder(4096);
    std::string bytes;
    tm_encode_into(bytes, *every_kind_request());
    tm_decode(decoder, bytes);
    return std::unique_ptr<Message>(decoder.release_msg());
}

Tm_struct holding(Tm_value const& value) {
    Tm_struct outer(nullptr);
    outer.add_member("held", &value);
    return outer;
}

template <class Value>
Value& held_by(Tm_struct& outer) {
    return dynamic_cast<Value&>(*outer.get_value(0));
}

}  // namespace

TEST(Moving, AMemberOfADecodedMessageGivesItsMembers) {
    Message inner;
    inner.add_member(body, "s", Tm_struct{{"k", 1}});
    auto const received = tm_from_bytes(tm_to_bytes(inner));
    Tm_struct& given = *received->edit_struct(body, "s");
    inner.set_member(body, "s", std::move(given));
    EXPECT_EQ(0, given.get_member_count());
    EXPECT_EQ(1, inner.get_member_struct(body, "s")->get_member_int32("k"));
}

TEST(Moving, MessagesStandInAVector) {
    std::vector<Message> messages;
    for (int i = 0; i < 20; ++i) messages.push_back(*every_kind_request());
    messages.erase(messages.begin() + 3);
    for (Message const& message : messages) EXPECT_EQ(message, *every_kind_request());
}

TEST(Moving, LeavesAnEmptyResponseOfTheSameSort) {
    auto from = every_kind_request();
    ASSERT_TRUE(from->index_member_names());
    from->header.set_seq_no(7);
    Message to(nullptr);
    to = std::move(*from);
    EXPECT_EQ(to.get_request_name(), "samples.every_kind");
    EXPECT_EQ(to.header.get_seq_no(), 7U);
    EXPECT_TRUE(to.is_clone());
    EXPECT_TRUE(to.get_use_send_member_string());
    EXPECT_EQ(*from, Message());
    EXPECT_EQ(from->get_request_name(), "");
    EXPECT_FALSE(from->is_clone());
    EXPECT_FALSE(from->get_use_send_member_string());
}

/// The values outlive the block that they were decoded into.
TEST(Moving, ValuesOutliveTheTreeThatTheyWereTakenFrom) {
    auto request = decoded_request();
    Tm_struct outer = holding(nested_struct());
    auto decoded = std::unique_ptr<Tm_value>(request->get_const_struct(body).clone());
    auto& from = dynamic_cast<Tm_struct&>(*decoded);
    Tm_struct const all(from);
    Tm_struct to(std::move(from));
    EXPECT_EQ(from.get_member_count(), 0);
    from.add_member("again", "used");
    from.swap(held_by<Tm_struct>(outer));
    decoded.reset();
    EXPECT_TRUE(to.equals(all));
    EXPECT_STREQ(held_by<Tm_struct>(outer).get_member_string("again"), "used");
    to = Tm_struct(nullptr);
    EXPECT_EQ(to.get_member_count(), 0);
}

TEST(Moving, AssignsFromWithin) {
    Tm_struct tree = holding(nested_struct());
    tree = held_by<Tm_struct>(tree);
    EXPECT_TRUE(tree.equals(nested_struct()));
    tree = holding(nested_struct());
    tree = std::move(held_by<Tm_struct>(tree));
    EXPECT_TRUE(tree.equals(nested_struct()));

    Tm_array array;
    array.add_member(&std::as_const(array));
    array.add_member(1);
    array = *array.get_member_array(0);
    EXPECT_EQ(array.get_member_count(), 0);

    Message message;
    message.add_member_and_own(body, "held", every_kind_request().release());
    message = std::move(held_by<Message>(message.get_struct(body)));
    EXPECT_EQ(message, *every_kind_request());
}

TEST(Moving, KeepsCatalogues) {
    Tm_catalog<std::string> first;
    Tm_catalog<std::string> second;
    Tm_struct from = of_ints({"a", "b"}, &first);
    Tm_struct to = of_ints({"c"}, &second);
    to = std::move(from);
    EXPECT_EQ(names_of(to), (Names{"a", "b"}));
    EXPECT_EQ(second.size(), 3U);
    from.add_member("d", 1);
    EXPECT_EQ(first.size(), 3U);
}

TEST(Moving, LeavesEmptySlotsBehind) {
    static char const* const names[] = {"article", "count"};
    Tm_prenamed_struct from(names, 2);
    from.add_member(1, 250);
    Tm_prenamed_struct to(std::move(from));
    EXPECT_EQ(to.get_member_int32("count"), 250);
    EXPECT_THROW(from.get_member_int32("count"), Tm_name_not_found_exception);
    from.add_member(1, 1);
    to = std::move(from);
    EXPECT_EQ(to.get_member_int32("count"), 1);
}

TEST(Moving, LeavesByteStringsThatShareNothing) {
    Tm_binary from = binary_of("abc");
    Tm_binary const copy(from);
    Tm_binary to(std::move(from));
    EXPECT_EQ(from.get_buffer_size(), 0U);
    EXPECT_EQ(from.get_buffer(), nullptr);
    EXPECT_TRUE(from.equals(Tm_binary()));
    unsigned char bytes[] = {'d'};
    from = tm_binary_cstruct{1, bytes};
    EXPECT_TRUE(to.equals(copy));
    from = std::move(to);
    EXPECT_TRUE(from.equals(copy));
    EXPECT_FALSE(Tm_binary(to).equals(copy));
}
