/// The creator and events in a wrong order. Most events come as wire bytes, and the error text ends
/// with the position of the tag. The test itself calls events that no decoder sends.
#include <algorithm>

#include "support/support.h"

namespace {

/// Rows "bytes -> text"; `start` comes before the bytes, and `place` behind "unexpected" and the text if given.
void expect_errors(std::string const& start, Names const& rows, std::string const& place = "") {
    for (std::string const& row : rows) {
        auto [bytes, text] = split(start + row);
        if (!place.empty()) text = "unexpected " + text + place;
        std::string const error = decode(bytes).error;
        EXPECT_EQ(text, error.substr(0, error.find(": "))) << row;
    }
}

/// A creator that is driven by hand.
struct Driven : Tm_creator {
    using Tm_creator::Tm_creator;
    std::string after(bool is_taken) { return is_taken ? "taken" : error(); }
    bool end_member(bool is_named) { return is_named && visit_bool(true) && visit_member_end(); }
};

/// "member_begin" is refused with "unexpected member begin in ..."
std::string refusal_of(std::string event) {
    std::replace(event.begin(), event.end(), '_', ' ');
    return "unexpected " + event;
}
#define EXPECT_REFUSED(visitor, event, arguments) \
    EXPECT_EQ(refusal_of(#event),                 \
              visitor.visit_##event arguments ? "taken" : visitor.error().substr(0, visitor.error().rfind(" in ")))

TEST(Creator, RejectsEveryEventAtTheWrongPlace) {
    expect_errors("",
                  rows("80 -> method call end", "82 -> method response end", "03 -> fault begin", "83 -> fault end",
                       "01 00 01 -> method name begin", "04 -> struct begin", "84 -> struct end",
                       "05 07 00 01 -> member begin", "85 -> member end", "06 -> array begin", "86 -> array end",
                       "08 00 01 -> string begin", "0A 00 00 00 01 -> binary begin", "15 00 00 00 01 -> file begin",
                       "0C 01 -> bool", "0D 01 -> int8", "0E 01 -> uint8", "0F 00 01 -> int16", "10 00 01 -> uint16",
                       "11 00 00 00 01 -> int32", "12 00 00 00 01 -> uint32", "13 00 00 00 00 00 00 00 01 -> int64",
                       "14 00 00 00 00 00 00 00 01 -> uint64", "0B 00 00 00 00 00 00 00 00 -> double"),
                  " in method");

    Message message;
    Driven c(&message);
    EXPECT_REFUSED(c, method_name_continue, ("x", 1));
    EXPECT_REFUSED(c, string_continue, ("x", 1));
    EXPECT_REFUSED(c, binary_continue, ("x", 1));
    EXPECT_REFUSED(c, file_continue, ("x", 1));
    EXPECT_REFUSED(c, member_continue, ("x", 1));
    EXPECT_REFUSED(c, member_begin_with_index, (0));
    EXPECT_REFUSED(c, member_continue_with_index, (0));
    EXPECT_EQ("unexpected member continue with index in method", c.error());
}

TEST(Creator, RejectsWhatIsOutOfOrder) {
    expect_errors(
        "", rows("00 02 -> unexpected method response begin in method call",
                 "02 00 -> unexpected method call begin in method response",
                 "00 84 -> unexpected struct end in method call", "02 83 -> unexpected fault end in method response",
                 "02 03 0C 01 -> unexpected bool in fault",
                 "00 80 -> unexpected method call end in method call (no structs found)",
                 "00 82 -> unexpected method response end in method call (no structs found)",
                 "02 03 04 84 82 -> unexpected method response end in fault (only one struct found)",
                 "00 04 84 03 -> unexpected fault begin in method call",
                 "00 04 84 04 84 04 -> unexpected struct begin in method call",
                 "00 04 84 04 84 82 -> unexpected method response end in method call",
                 "02 04 84 04 84 82 84 -> unexpected struct end in method response",
                 "00 01 00 01 61 01 00 01 -> unexpected method name begin in method call",
                 "02 01 00 01 61 -> method name found in method response", "00 04 0C 01 -> unexpected bool in struct"));
    // A fault begin inside a call, no name, and as many fault ends as come.
    expect_errors("00 03 04 84 ", rows("83 04 84 83 83 80 -> ", "04 84 82 -> unexpected method response end in fault"));
    expect_errors(
        "00 04 05 07 00 01 6D ",
        rows("85 -> no values found in member", "0C 01 11 00 00 00 01 -> unexpected int32 in member",
             "0C 01 08 00 01 -> unexpected string begin in member", "0C 01 85 0C 01 -> unexpected bool in struct",
             "06 05 07 00 01 -> unexpected member begin in array", "06 84 -> unexpected struct end in array",
             "00 80 -> unexpected method call end in method call (no structs found)"));
}

/// Pieces must add up to the announced length. An open value takes only its own pieces.
TEST(Creator, RejectsPiecesThatDoNotFit) {
    using Begin = bool (Tm_visitor::*)(unsigned int);
    using Piece = bool (Tm_visitor::*)(char const*, unsigned int);
    Tm_array array;
    Driven c(&array);
    auto const expect = [&](char const* kind, char const* text, Begin begin, Piece piece) {
        EXPECT_EQ((Names{"taken", "taken", std::string("unexpected bool in ") + kind, text, "taken"}),
                  (Names{c.after((c.*begin)(2)), c.after((c.*piece)("a", 1)), c.after(c.visit_bool(true)),
                         c.after((c.*piece)("bc", 2)), c.after((c.*piece)("b", 1))}));
    };
    using V = Tm_visitor;
    expect("string", "string longer than given length", &V::visit_string_begin, &V::visit_string_continue);
    expect("binary", "binary string longer than given length", &V::visit_binary_begin, &V::visit_binary_continue);
    expect("file", "file string longer than given length", &V::visit_file_begin, &V::visit_file_continue);
    EXPECT_EQ(1, remove_received_files());
    EXPECT_EQ("taken", c.after(c.visit_string_begin(65536)));
    EXPECT_EQ("String length 65536 out of range 0..65535",
              c.after(c.visit_string_continue(std::string(65536, 'x').data(), 65536)));
    EXPECT_FALSE(c.visit_string_continue("", 0)) << "it stays refused";

    Message message;
    Driven n(&message);
    n.visit_method_begin(true);
    EXPECT_EQ(
        rows("unexpected method name begin in method call", "taken", "taken", "method name longer than given length"),
        (Names{n.after(n.visit_method_name_begin(65536)), n.after(n.visit_method_name_begin(2)),
               n.after(n.visit_method_name_continue("a", 1)), n.after(n.visit_method_name_continue("bc", 2))}));
    for (auto const* const last : {"b", ""}) EXPECT_TRUE(n.visit_method_name_continue(last, *last != 0));
    EXPECT_EQ("ab", message.get_request_name()) << "an empty piece more";
    n.visit_struct_begin();
    n.visit_member_begin(2);
    EXPECT_REFUSED(n, member_continue_with_index, (0));
    EXPECT_EQ(rows("unexpected bool in member", "taken", "member name longer than given length"),
              (Names{n.after(n.visit_bool(true)), n.after(n.visit_member_continue("a", 1)),
                     n.after(n.visit_member_continue("bc", 2))}));
}

TEST(Creator, TakesNamesByTextBesideThoseByIndex) {
    Message message;
    Driven c(&message);
    Tm_array const table = Tm_array::of("a", "b");
    Tm_struct const members = Tm_struct{{"catalog", &table}};
    for (bool const is_taken : {c.visit_method_begin(false), members.accept(c), c.visit_struct_begin()})
        EXPECT_TRUE(is_taken);
    for (std::string const name : {"own", "b", "a", "a"}) {
        auto const length = static_cast<unsigned int>(name.size());
        EXPECT_TRUE(c.end_member(c.visit_member_begin(length) && c.visit_member_continue(name.data(), length))) << name;
    }
    for (unsigned short const at : {std::uint16_t{1}, std::uint16_t{0}}) {
        EXPECT_TRUE(c.end_member(c.visit_member_begin_with_index(at) && c.visit_member_continue_with_index(at))) << at;
    }
    // One name of both.
    EXPECT_TRUE(c.end_member(c.visit_member_begin(3) && c.visit_member_continue_with_index(1) &&
                             c.visit_member_continue("+", 1) && c.visit_member_continue_with_index(0)));
    for (bool const is_taken : {c.visit_struct_end(), c.visit_method_end(false)}) EXPECT_TRUE(is_taken);
    EXPECT_EQ(rows("own", "b", "a", "a", "b", "a", "b+a"), names_of(message.get_const_struct(body)));
}

/// Values for an array of a derived class go through its own add operation.
TEST(Creator, AddsThroughAnOwnClass) {
    struct Listening : Tm_array {
        void add_member_and_own(Tm_value* value) override {
            events += value->get_value_type() == TMV_STRUCT ? "struct " : "other ";
            Tm_array::add_member_and_own(value);
        }
        std::string events;
    } array;
    Tm_struct const inner = of_ints({"a", "b"});
    Tm_array const expected = Tm_array::of(&inner, 1, "text");
    Driven c(&array);
    for (int i = 0; i < 3; ++i) expected.get_value(i)->accept(c);
    EXPECT_EQ("struct other other ", array.events);
    EXPECT_TRUE(array == expected);
    array.add_member("text");
    array.add_member(1);
    EXPECT_EQ("struct other other other other ", array.events);
    EXPECT_EQ(0, c.pop_memento());
    for (int time = 0; time < 2; ++time) EXPECT_EQ("internal error in Tm_creator", c.after(c.process_state()));
    Tm_array other;
    Driven failed(&other);
    failed.visit_array_end();
    EXPECT_EQ("unexpected array end in base array", failed.after(failed.process_state())) << "the first text stays";
}

struct Rejecting : Tm_creator_state {
    char const* get_name() const override { return "place"; }
    Tm_creator_state* next_state() override { return nullptr; }
    void clear_next_state() override {}
    bool done() const override { return false; }
};

TEST(CreatorState, RejectsEveryEventUnlessItIsTold) {
    Rejecting s;
    // clang-format off
    for (bool const is_call : {true, false}) {
        std::string const kind = is_call ? "method call " : "method response ";
        s.visit_method_begin(is_call); EXPECT_EQ("unexpected " + kind + "begin in place", s.error());
        s.visit_method_end(is_call);   EXPECT_EQ("unexpected " + kind + "end in place", s.error());
    }
    EXPECT_REFUSED(s, fault_begin, ());           EXPECT_REFUSED(s, fault_end, ());
    EXPECT_REFUSED(s, struct_begin, ());          EXPECT_REFUSED(s, struct_end, ());
    EXPECT_REFUSED(s, array_begin, ());           EXPECT_REFUSED(s, array_end, ());
    EXPECT_REFUSED(s, member_begin, (1));       EXPECT_REFUSED(s, member_continue, ("x", 1));
    EXPECT_REFUSED(s, member_end, ());
    EXPECT_REFUSED(s, member_begin_with_index, (1)); EXPECT_REFUSED(s, member_continue_with_index, (1));
    EXPECT_REFUSED(s, method_name_begin, (1));  EXPECT_REFUSED(s, method_name_continue, ("x", 1));
    EXPECT_REFUSED(s, string_begin, (1));       EXPECT_REFUSED(s, string_continue, ("x", 1));
    EXPECT_REFUSED(s, binary_begin, (1));       EXPECT_REFUSED(s, binary_continue, ("x", 1));
    EXPECT_REFUSED(s, file_begin, (1));         EXPECT_REFUSED(s, file_continue, ("x", 1));
    EXPECT_REFUSED(s, bool, (true));            EXPECT_REFUSED(s, double, (1));
    EXPECT_REFUSED(s, int8, (1));               EXPECT_REFUSED(s, uint8, (1));
    EXPECT_REFUSED(s, int16, (1));              EXPECT_REFUSED(s, uint16, (1));
    EXPECT_REFUSED(s, int32, (1));              EXPECT_REFUSED(s, uint32, (1));
    EXPECT_REFUSED(s, int64, (1));              EXPECT_REFUSED(s, uint64, (1));
    // clang-format on
    EXPECT_FALSE(s.support_member_with_index());
}

TEST(Creator, KeepsNoFileThatItShallReadFromADescriptor) {
    Tm_array array;
    {
        Driven c(&array);
        EXPECT_TRUE(c.visit_file_begin(5));
        EXPECT_FALSE(c.visit_file_continue(0, "/dev/null", 5));
        EXPECT_EQ(0U, c.error().find("failed to write to /tmp/zab_tmp_" + std::to_string(::getpid())));
    }
    EXPECT_EQ(0, remove_received_files());
    EXPECT_EQ(0, array.get_member_count());
}

TEST(Creator, FillsAnArrayForEver) {
    Tm_array array;
    Driven c(&array);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(c.done());
        EXPECT_STREQ("base array", c.get_current_state_name());
        EXPECT_TRUE(c.visit_struct_begin());
        EXPECT_FALSE(c.done());
        EXPECT_STREQ("struct", c.get_current_state_name());
        EXPECT_TRUE(c.visit_struct_end());
    }
    EXPECT_TRUE(array.get_member_struct(1)->is_string_catalog_from_internal());
    EXPECT_EQ("unexpected array end in base array", c.after(c.visit_array_end()));
}

TEST(Creator, GivesStructsTheCatalogueOfTheirMessage) {
    Decoded const decoded =
        decode(from_hex("00 04 05 07 00 01 6D 04 84 85 05 07 00 01 6E 02 04 05 07 00 01 73 04 84 "
                        "85 84 04 84 82 85 84 04 84 80"));
    EXPECT_EQ("", decoded.error);
    EXPECT_FALSE(decoded.message->get_member_struct(meta, "m")->is_string_catalog_from_internal());
    Message const& nested = *decoded.message->get_member_message(meta, "n");
    EXPECT_TRUE(nested.is_clone());
    EXPECT_TRUE(nested.get_member_struct(meta, "s")->is_string_catalog_from_internal());
}

}  // namespace
