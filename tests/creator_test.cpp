/// The creator under hand-written events, in orders that no decoder would send too.
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <functional>

#include "support/scratch.h"

namespace {

using Script = std::function<void(Tm_creator&)>;

struct Case {
    Script events;
    std::string error;
};

void expect_errors(std::vector<Case> const& cases) {
    for (Case const& c : cases) {
        Message message;
        Tm_creator creator(&message);
        c.events(creator);
        EXPECT_EQ(c.error, creator.error());
        EXPECT_FALSE(creator.done());
    }
}

void begin(Tm_creator& c, bool request = true) { c.visit_method_begin(request); }

/// Down into the value place of a member "m" of the first struct.
void open_member(Tm_creator& c) {
    begin(c);
    c.visit_struct_begin();
    c.visit_member_begin(1);
    c.visit_member_continue("m", 1);
}

TEST(Creator, RejectsEveryEventAtTheWrongPlace) {
    struct Event {
        std::function<bool(Tm_creator&)> send;
        char const* phrase;
    };
    std::vector<Event> const events = {
        {[](auto& c) { return c.visit_method_end(true); }, "method call end"},
        {[](auto& c) { return c.visit_method_end(false); }, "method response end"},
        {[](auto& c) { return c.visit_fault_begin(); }, "fault begin"},
        {[](auto& c) { return c.visit_fault_end(); }, "fault end"},
        {[](auto& c) { return c.visit_method_name_begin(1); }, "method name begin"},
        {[](auto& c) { return c.visit_method_name_continue("x", 1); }, "method name continue"},
        {[](auto& c) { return c.visit_bool(true); }, "bool"},
        {[](auto& c) { return c.visit_int8(1); }, "int8"},
        {[](auto& c) { return c.visit_uint8(1); }, "uint8"},
        {[](auto& c) { return c.visit_int16(1); }, "int16"},
        {[](auto& c) { return c.visit_uint16(1); }, "uint16"},
        {[](auto& c) { return c.visit_int32(1); }, "int32"},
        {[](auto& c) { return c.visit_uint32(1); }, "uint32"},
        {[](auto& c) { return c.visit_int64(1); }, "int64"},
        {[](auto& c) { return c.visit_uint64(1); }, "uint64"},
        {[](auto& c) { return c.visit_double(1); }, "double"},
        {[](auto& c) { return c.visit_string_begin(1); }, "string begin"},
        {[](auto& c) { return c.visit_string_continue("x", 1); }, "string continue"},
        {[](auto& c) { return c.visit_binary_begin(1); }, "binary begin"},
        {[](auto& c) { return c.visit_binary_continue("x", 1); }, "binary continue"},
        {[](auto& c) { return c.visit_struct_begin(); }, "struct begin"},
        {[](auto& c) { return c.visit_struct_end(); }, "struct end"},
        {[](auto& c) { return c.visit_member_begin(1); }, "member begin"},
        {[](auto& c) { return c.visit_member_continue("x", 1); }, "member continue"},
        {[](auto& c) { return c.visit_member_end(); }, "member end"},
        {[](auto& c) { return c.visit_array_begin(); }, "array begin"},
        {[](auto& c) { return c.visit_array_end(); }, "array end"},
        {[](auto& c) { return c.visit_file_begin(1); }, "file begin"},
        {[](auto& c) { return c.visit_file_continue("x", 1); }, "file continue"},
        {[](auto& c) { return c.visit_member_begin_with_index(0); }, "member begin with index"},
        {[](auto& c) { return c.visit_member_continue_with_index(0); },
         "member continue with index"},
    };
    for (Event const& event : events) {
        Message message;
        Tm_creator creator(&message);
        EXPECT_FALSE(event.send(creator));
        EXPECT_EQ(std::string("unexpected ") + event.phrase + " in method", creator.error());
    }
    expect_errors({
        {[](auto& c) {
             begin(c);
             begin(c, false);
         },
         "unexpected method response begin in method call"},
        {[](auto& c) {
             begin(c, false);
             begin(c);
         },
         "unexpected method call begin in method response"},
    });
}

TEST(Creator, RejectsMessagesOutOfOrder) {
    expect_errors({
        {[](auto& c) {
             begin(c);
             c.visit_struct_end();
         },
         "unexpected struct end in method call"},
        {[](auto& c) {
             begin(c, false);
             c.visit_fault_end();
         },
         "unexpected fault end in method response"},
        {[](auto& c) {
             begin(c, false);
             c.visit_fault_begin();
             c.visit_bool(true);
         },
         "unexpected bool in fault"},
        {[](auto& c) {
             begin(c, false);
             c.visit_fault_begin();
             c.visit_method_end(false);
         },
         "unexpected method response end in fault (no structs found)"},
        {[](auto& c) {
             begin(c);
             c.visit_method_name_begin(65536);
         },
         "unexpected method name begin in method call"},
        {[](auto& c) {
             begin(c);
             c.visit_method_name_begin(1);
             c.visit_method_name_begin(1);
         },
         "unexpected method name begin in method call"},
        {[](auto& c) {
             begin(c);
             c.visit_method_name_begin(1);
             c.visit_method_name_continue("ab", 2);
         },
         "method name longer than given length"},
        {[](auto& c) {
             begin(c, false);
             c.visit_method_name_begin(1);
         },
         "method name found in method response"},
    });
    Message message;
    Tm_creator creator(&message);
    begin(creator);
    EXPECT_TRUE(creator.visit_fault_begin());
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(creator.visit_struct_begin());
        EXPECT_TRUE(creator.visit_struct_end());
        EXPECT_TRUE(creator.visit_fault_end());
    }
    EXPECT_TRUE(creator.visit_fault_end());
    EXPECT_FALSE(creator.done());
    EXPECT_FALSE(creator.visit_method_end(false));
    EXPECT_EQ("unexpected method response end in fault", creator.error());
    EXPECT_TRUE(creator.visit_method_end(true));
    EXPECT_TRUE(creator.done());
    EXPECT_EQ(Message::TMT_FAULT, message.get_msg_type());
}

TEST(Creator, RejectsBrokenMembersAndValues) {
    expect_errors({
        {[](auto& c) {
             open_member(c);
             c.visit_member_end();
         },
         "no values found in member"},
        {[](auto& c) {
             open_member(c);
             c.visit_bool(true);
             c.visit_int32(1);
         },
         "unexpected int32 in member"},
        {[](auto& c) {
             open_member(c);
             c.visit_bool(true);
             c.visit_string_begin(1);
         },
         "unexpected string begin in member"},
        {[](auto& c) {
             open_member(c);
             c.visit_member_continue("x", 1);
         },
         "member name longer than given length"},
        {[](auto& c) {
             begin(c);
             c.visit_struct_begin();
             c.visit_member_begin(2);
             c.visit_member_continue("a", 1);
             c.visit_int8(1);
         },
         "unexpected int8 in member"},
        {[](auto& c) {
             begin(c);
             c.visit_struct_begin();
             c.visit_member_begin(0);
             c.visit_bool(true);
         },
         "unexpected bool in member"},
        {[](auto& c) {
             begin(c);
             c.visit_struct_begin();
             c.visit_bool(true);
         },
         "unexpected bool in struct"},
        {[](auto& c) {
             open_member(c);
             c.visit_array_begin();
             c.visit_member_begin(1);
         },
         "unexpected member begin in array"},
        {[](auto& c) {
             open_member(c);
             c.visit_string_begin(1);
             c.visit_string_continue("ab", 2);
         },
         "string longer than given length"},
        {[](auto& c) {
             open_member(c);
             c.visit_string_begin(1);
             c.visit_bool(true);
         },
         "unexpected bool in string"},
        {[](auto& c) {
             open_member(c);
             c.visit_binary_begin(1);
             c.visit_binary_continue("ab", 2);
         },
         "binary string longer than given length"},
        {[](auto& c) {
             open_member(c);
             c.visit_binary_begin(1);
             c.visit_string_continue("a", 1);
         },
         "unexpected string continue in binary"},
        {[](auto& c) {
             open_member(c);
             c.visit_file_begin(1);
             c.visit_file_continue("ab", 2);
         },
         "file string longer than given length"},
        {[](auto& c) {
             open_member(c);
             c.visit_file_begin(1);
             c.visit_struct_end();
         },
         "unexpected struct end in file"},
        {[](auto& c) {
             open_member(c);
             c.visit_method_begin(true);
             c.visit_method_end(true);
         },
         "unexpected method call end in method call (no structs found)"},
        {[](auto& c) {
             std::string const text(65536, 'x');
             open_member(c);
             c.visit_string_begin(65536);
             c.visit_string_continue(text.data(), 65536);
         },
         "String length 65536 out of range 0..65535"},
    });
    EXPECT_EQ(0, remove_received_files());
}

TEST(Creator, FillsAnArrayForEver) {
    Tm_array array;
    Tm_creator creator(&array);
    EXPECT_TRUE(creator.done());
    EXPECT_STREQ("base array", creator.get_current_state_name());
    EXPECT_TRUE(creator.visit_array_begin());
    EXPECT_FALSE(creator.done());
    EXPECT_STREQ("array", creator.get_current_state_name());
    EXPECT_TRUE(creator.visit_int8(1));
    EXPECT_TRUE(creator.visit_array_end());
    EXPECT_TRUE(creator.done());
    EXPECT_FALSE(creator.visit_array_end());
    EXPECT_EQ("unexpected array end in base array", creator.error());
    EXPECT_EQ(1, array.get_member_array(0)->get_member_count());
    EXPECT_TRUE(creator.visit_struct_begin());
    EXPECT_TRUE(creator.visit_struct_end());
    EXPECT_TRUE(array.get_member_struct(1)->is_string_catalog_from_internal());
}

TEST(Creator, GivesStructsTheCatalogueOfTheirMessage) {
    Message message;
    Tm_creator creator(&message);
    open_member(creator);
    creator.visit_struct_begin();
    creator.visit_struct_end();
    creator.visit_member_end();
    creator.visit_member_begin(1);
    creator.visit_member_continue("n", 1);
    creator.visit_method_begin(false);
    for (int i = 0; i < 2; ++i) {
        creator.visit_struct_begin();
        creator.visit_struct_end();
    }
    EXPECT_TRUE(creator.visit_method_end(false));
    EXPECT_FALSE(
        message.get_member_struct(Message::TMG_META, "m")->is_string_catalog_from_internal());
    EXPECT_TRUE(message.get_member_message(Message::TMG_META, "n")->is_clone());
}

/// A state of a user's own starts with every event rejected.
TEST(Creator, StateRejectsByDefault) {
    struct State : Tm_creator_state {
        char const* get_name() const override { return "test"; }
        Tm_creator_state* next_state() override { return nullptr; }
        void clear_next_state() override {}
        bool done() const override { return false; }
    } state;
    EXPECT_FALSE(state.visit_file_begin(7, 5U));
    EXPECT_EQ("unexpected file begin in test", state.error());
    EXPECT_FALSE(state.support_member_with_index());
}

}  // namespace
