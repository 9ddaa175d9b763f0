/// What the creator makes of events in a wrong order: most come as wire bytes, with the position of
/// the tag behind the text; those that no decoder sends come by hand.
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include "support/codec.h"
#include "support/scratch.h"

namespace {

using Cases = std::vector<std::pair<std::string, std::string>>;

void expect_errors(std::string const& start, Cases const& cases) {
    for (auto const& [bytes, text] : cases) {
        Decoded const decoded = decode(from_hex(start + bytes));
        EXPECT_EQ(text, decoded.error.substr(0, decoded.error.find(": "))) << start + bytes;
    }
}

TEST(Creator, RejectsEveryEventAtTheWrongPlace) {
    Cases cases = {{"80", "method call end"},
                   {"82", "method response end"},
                   {"03", "fault begin"},
                   {"83", "fault end"},
                   {"01 00 01", "method name begin"},
                   {"04", "struct begin"},
                   {"84", "struct end"},
                   {"05 07 00 01", "member begin"},
                   {"85", "member end"},
                   {"06", "array begin"},
                   {"86", "array end"},
                   {"08 00 01", "string begin"},
                   {"0A 00 00 00 01", "binary begin"},
                   {"15 00 00 00 01", "file begin"},
                   {"0C 01", "bool"},
                   {"0D 01", "int8"},
                   {"0E 01", "uint8"},
                   {"0F 00 01", "int16"},
                   {"10 00 01", "uint16"},
                   {"11 00 00 00 01", "int32"},
                   {"12 00 00 00 01", "uint32"},
                   {"13 00 00 00 00 00 00 00 01", "int64"},
                   {"14 00 00 00 00 00 00 00 01", "uint64"},
                   {"0B 00 00 00 00 00 00 00 00", "double"}};
    for (auto& [bytes, text] : cases) text = "unexpected " + text + " in method";
    expect_errors("", cases);

    using Piece = bool (Tm_visitor::*)(char const*, unsigned int);
    std::pair<Piece, char const*> const pieces[] = {{&Tm_visitor::visit_method_name_continue, "method name continue"},
                                                    {&Tm_visitor::visit_string_continue, "string continue"},
                                                    {&Tm_visitor::visit_binary_continue, "binary continue"},
                                                    {&Tm_visitor::visit_member_continue, "member continue"},
                                                    {&Tm_visitor::visit_file_continue, "file continue"}};
    Message message;
    Tm_creator creator(&message);
    for (auto const& [piece, phrase] : pieces) {
        EXPECT_FALSE((creator.*piece)("x", 1));
        EXPECT_EQ(std::string("unexpected ") + phrase + " in method", creator.error());
    }
    EXPECT_FALSE(creator.visit_member_begin_with_index(0));
    EXPECT_EQ("unexpected member begin with index in method", creator.error());
    EXPECT_FALSE(creator.visit_member_continue_with_index(0));
    EXPECT_EQ("unexpected member continue with index in method", creator.error());
}

TEST(Creator, RejectsMessagesOutOfOrder) {
    std::string const no_structs = " in method call (no structs found)";
    expect_errors("", {{"00 02", "unexpected method response begin in method call"},
                       {"02 00", "unexpected method call begin in method response"},
                       {"00 84", "unexpected struct end in method call"},
                       {"02 83", "unexpected fault end in method response"},
                       {"02 03 0C 01", "unexpected bool in fault"},
                       {"00 80", "unexpected method call end" + no_structs},
                       {"00 82", "unexpected method response end" + no_structs},
                       {"02 03 04 84 82", "unexpected method response end in fault (only one struct found)"},
                       {"00 04 84 03", "unexpected fault begin in method call"},
                       {"00 04 84 04 84 04", "unexpected struct begin in method call"},
                       {"00 04 84 04 84 82", "unexpected method response end in method call"},
                       {"02 04 84 04 84 82 84", "unexpected struct end in method response"},
                       {"00 01 00 01 61 01 00 01", "unexpected method name begin in method call"},
                       {"02 01 00 01 61", "method name found in method response"},
                       // A rejected piece shows with the tag behind it.
                       {"00 01 00 00 04", "unexpected method name continue in method call"},
                       {"00 01 00 00 09", "unexpected method name continue in method call"},
                       {"00 01 00 00", "decoder expecting more data after end of buffer"},
                       // A fault begin inside a call, no name, and as many fault ends as come.
                       {"00 03 04 84 83 04 84 83 83 80", ""},
                       {"00 03 04 84 04 84 82", "unexpected method response end in fault"}});
}

TEST(Creator, RejectsBrokenMembersAndValues) {
    expect_errors("00 04 ", {{"0C 01", "unexpected bool in struct"}});
    expect_errors("00 04 05 07 00 01 6D ", {{"85", "no values found in member"},
                                            {"0C 01 11 00 00 00 01", "unexpected int32 in member"},
                                            {"0C 01 08 00 01", "unexpected string begin in member"},
                                            {"0C 01 85 0C 01", "unexpected bool in struct"},
                                            {"06 05 07 00 01", "unexpected member begin in array"},
                                            {"06 84", "unexpected struct end in array"},
                                            {"00 80", "unexpected method call end in method call (no structs found)"}});
}

/// What lengths announce, pieces must keep to; a value that is begun takes its own pieces alone.
TEST(Creator, RejectsPiecesThatDoNotFit) {
    struct Case {
        bool (Tm_visitor::*begin)(unsigned int);
        bool (Tm_visitor::*piece)(char const*, unsigned int);
        char const* too_long;
        char const* other;
    };
    for (Case const& c :
         {Case{&Tm_visitor::visit_string_begin, &Tm_visitor::visit_string_continue, "string longer than given length",
               "unexpected bool in string"},
          Case{&Tm_visitor::visit_binary_begin, &Tm_visitor::visit_binary_continue,
               "binary string longer than given length", "unexpected bool in binary"},
          Case{static_cast<bool (Tm_visitor::*)(unsigned int)>(&Tm_visitor::visit_file_begin),
               &Tm_visitor::visit_file_continue, "file string longer than given length", "unexpected bool in file"}}) {
        Tm_array array;
        Tm_creator creator(&array);
        EXPECT_TRUE((creator.*c.begin)(2));
        EXPECT_TRUE((creator.*c.piece)("a", 1));
        EXPECT_FALSE(creator.visit_bool(true));
        EXPECT_EQ(c.other, creator.error());
        EXPECT_FALSE((creator.*c.piece)("bc", 2));
        EXPECT_EQ(c.too_long, creator.error());
    }
    EXPECT_EQ(0, remove_received_files());

    Tm_array array;
    Tm_creator creator(&array);
    std::string const text(65536, 'x');
    creator.visit_string_begin(65536);
    EXPECT_FALSE(creator.visit_string_continue(text.data(), 65536));
    EXPECT_EQ("String length 65536 out of range 0..65535", creator.error());

    Message message;
    Tm_creator names(&message);
    names.visit_method_begin(true);
    EXPECT_FALSE(names.visit_method_name_begin(65536));
    EXPECT_EQ("unexpected method name begin in method call", names.error());
    EXPECT_TRUE(names.visit_method_name_begin(1));
    EXPECT_FALSE(names.visit_method_name_continue("ab", 2));
    EXPECT_EQ("method name longer than given length", names.error());
    names.visit_struct_begin();
    names.visit_member_begin(1);
    EXPECT_FALSE(names.visit_bool(true));
    EXPECT_EQ("unexpected bool in member", names.error());
    EXPECT_FALSE(names.visit_member_continue("ab", 2));
    EXPECT_EQ("member name longer than given length", names.error());
}

TEST(Creator, FillsAnArrayForEver) {
    Tm_array array;
    Tm_creator creator(&array);
    EXPECT_TRUE(creator.done());
    EXPECT_STREQ("base array", creator.get_current_state_name());
    EXPECT_TRUE(creator.visit_struct_begin());
    EXPECT_FALSE(creator.done());
    EXPECT_STREQ("struct", creator.get_current_state_name());
    EXPECT_TRUE(creator.visit_struct_end());
    EXPECT_TRUE(creator.done());
    EXPECT_TRUE(array.get_member_struct(0)->is_string_catalog_from_internal());
    EXPECT_FALSE(creator.visit_array_end());
    EXPECT_EQ("unexpected array end in base array", creator.error());
}

TEST(Creator, GivesStructsTheCatalogueOfTheirMessage) {
    Decoded const decoded =
        decode(from_hex("00 04 05 07 00 01 6D 04 84 85 05 07 00 01 6E 02 04 05 07 00 01 73 04 84 "
                        "85 84 04 84 82 85 84 04 84 80"));
    EXPECT_EQ("", decoded.error);
    auto const meta = Message::TMG_META;
    EXPECT_FALSE(decoded.message->get_member_struct(meta, "m")->is_string_catalog_from_internal());
    Message const& nested = *decoded.message->get_member_message(meta, "n");
    EXPECT_TRUE(nested.is_clone() && nested.get_member_struct(meta, "s")->is_string_catalog_from_internal());
}

}  // namespace
