/// What the creator makes of events in a wrong order: most come as wire bytes, with the position of
/// the tag behind the text; those that no decoder sends come by hand.
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
    std::string after(bool taken) { return taken ? "taken" : error(); }
};

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
    EXPECT_EQ(rows("unexpected method name continue in method", "unexpected string continue in method",
                   "unexpected binary continue in method", "unexpected member continue in method",
                   "unexpected file continue in method", "unexpected member begin with index in method",
                   "unexpected member continue with index in method"),
              (Names{c.after(c.visit_method_name_continue("x", 1)), c.after(c.visit_string_continue("x", 1)),
                     c.after(c.visit_binary_continue("x", 1)), c.after(c.visit_member_continue("x", 1)),
                     c.after(c.visit_file_continue("x", 1)), c.after(c.visit_member_begin_with_index(0)),
                     c.after(c.visit_member_continue_with_index(0))}));
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

/// What lengths announce, pieces must keep to; a value that is begun takes its own pieces alone.
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

    Message message;
    Driven n(&message);
    n.visit_method_begin(true);
    EXPECT_EQ((Names{"unexpected method name begin in method call", "taken", "method name longer than given length"}),
              (Names{n.after(n.visit_method_name_begin(65536)), n.after(n.visit_method_name_begin(1)),
                     n.after(n.visit_method_name_continue("ab", 2))}));
    EXPECT_TRUE(n.visit_method_name_continue("m", 1) && n.visit_method_name_continue("", 0));
    EXPECT_EQ("m", message.get_request_name()) << "an empty piece more";
    n.visit_struct_begin();
    n.visit_member_begin(1);
    EXPECT_EQ((Names{"unexpected bool in member", "member name longer than given length"}),
              (Names{n.after(n.visit_bool(true)), n.after(n.visit_member_continue("ab", 2))}));
}

TEST(Creator, KeepsNoFileThatItShallReadFromADescriptor) {
    Tm_array array;
    {
        Driven c(&array);
        EXPECT_TRUE(c.visit_file_begin(5) && !c.visit_file_continue(0, "/dev/null", 5));
        EXPECT_EQ(0U, c.error().find("failed to write to /tmp/zab_tmp_" + std::to_string(::getpid())));
    }
    EXPECT_EQ(0, remove_received_files() + array.get_member_count());
}

TEST(Creator, FillsAnArrayForEver) {
    Tm_array array;
    Driven c(&array);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(c.done());
        EXPECT_STREQ("base array", c.get_current_state_name());
        EXPECT_TRUE(c.visit_struct_begin() && !c.done());
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
    EXPECT_TRUE(nested.is_clone() && nested.get_member_struct(meta, "s")->is_string_catalog_from_internal());
}

}  // namespace
