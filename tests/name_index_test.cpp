/// Member names sent by index: what the sender records and what a receiver makes of it.
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <cstdlib>

#include "support/codec.h"
#include "support/samples.h"

namespace {

constexpr auto meta = Message::TMG_META;
constexpr auto body = Message::TMG_BODY;

std::vector<std::string> table_of(Message const& message) {
    std::vector<std::string> names;
    Tm_array const& table = *message.get_member_array(meta, "catalog");
    for (int i = 0; i < table.get_member_count(); ++i) names.push_back(table.get_member_string(i));
    return names;
}

/// What a receiver decodes must equal what was sent.
void expect_arrives(Message const& message) {
    Decoded const decoded = decode(encode(message));
    EXPECT_EQ("", decoded.error);
    EXPECT_TRUE(*decoded.message == message);
}

TEST(NameIndex, IsRecordedWhileTheFeatureIsOn) {
    Message message;
    message.create_send_member_string_meta();
    EXPECT_EQ(nullptr, message.get_send_member_string(body));
    message.set_use_send_member_string(true);
    EXPECT_NE(nullptr, message.get_send_member_string(body));
    EXPECT_EQ(nullptr, message.get_send_member_string(meta));
    for (char const* const name : {"a", "b", "a"}) message.add_member(body, name, true);
    message.create_send_member_string_meta();
    message.create_send_member_string_meta();
    EXPECT_EQ(1, message.get_member_count(meta));
    EXPECT_EQ(
        "02 04 05 07 00 07 63 61 74 61 6C 6F 67 06 08 00 01 61 08 00 01 62 86 85 84 "
        "04 05 07 00 00 0C 01 85 05 07 00 01 0C 01 85 05 07 00 00 0C 01 85 84 82",
        to_hex(encode(message)));
    expect_arrives(message);
    EXPECT_EQ(encode(message), encode(Message(message)));
}

TEST(NameIndex, OfAWholeMessageReachesEveryStructButNestedMessages) {
    char const* const names[] = {"p1", "p2", nullptr};
    Tm_prenamed_struct prenamed(names, 2);
    auto const inner = nested_struct();
    prenamed.add_member(0, &inner);
    prenamed.add_member(1, true);
    auto const nested = indexed_request();
    Message plain;
    plain.add_member(body, "x", 1);
    for (auto const kind : {Message::TMT_REQUEST, Message::TMT_FAULT}) {
        auto const message = make_message(kind, "a.b");
        message->add_member(meta, "catalog", "no table at all");
        message->add_member(meta, "last", 1);
        std::vector<std::string> expected = {"fixed", "p1", "inner",   "",     "zero", std::string(300, 'n'),
                                             "empty", "p2", "indexed", "plain"};
        if (kind == Message::TMT_FAULT) {
            message->set_fault_code(3);
            expected.insert(expected.begin(), "faultCode");
        }
        message->add_member(body, "fixed", &prenamed);
        message->add_member(body, "indexed", nested.get());
        message->add_member(body, "plain", &plain);
        message->add_member(body, "p2", 2);
        ASSERT_TRUE(message->index_member_names());
        EXPECT_TRUE(message->get_use_send_member_string());
        EXPECT_STREQ("catalog", message->get_member_name(meta, 0));
        EXPECT_EQ(2, message->get_member_count(meta));
        EXPECT_EQ(expected, table_of(*message));
        expect_arrives(*message);
        message->add_member(body, "more", 3);
        ASSERT_TRUE(message->index_member_names());
        EXPECT_EQ(expected.size() + 1, table_of(*message).size());
        expect_arrives(*message);
    }
}

/// A decoded message that came by index has no indexes of its own and must get new ones.
TEST(NameIndex, SurvivesForwarding) {
    auto const sent = indexed_request();
    Decoded received = decode(encode(*sent));
    ASSERT_TRUE(received.message->index_member_names());
    EXPECT_EQ(encode(*sent), encode(*received.message));
    // Indexes that ended up in the metadata would be misread there.
    Message moved;
    moved.add_member(meta, "list", sent->get_const_struct(body).get_value(0));
    ASSERT_TRUE(moved.index_member_names());
    expect_arrives(moved);
}

TEST(NameIndex, HoldsNoMoreNamesThanAnIndexTellsApart) {
    Message message;
    for (int i = 0; i < 65536; ++i) message.add_member(body, std::to_string(i), true);
    ASSERT_TRUE(message.index_member_names());
    expect_arrives(message);
    message.set_use_send_member_string(false);
    message.add_member(body, "one more", true);
    EXPECT_FALSE(message.index_member_names());
    EXPECT_FALSE(message.get_use_send_member_string());
    EXPECT_EQ(65536U, table_of(message).size());
}

TEST(NameIndex, ThatAHostileTableBreaksThrowsAndLeavesTheDecoderUsable) {
    std::string const start = "02 04 05 07 00 07 63 61 74 61 6C 6F 67 ";
    for (auto const& [bytes, text] : std::vector<std::pair<std::string, std::string>>{
             {"06 08 00 01 61 86 85 84 04 05 07 00 01", ""},
             {"06 86 85 84 04 05 07 00 00", ""},
             {"0C 01 85 84 04", "value of type bool accessed as type array"},
             {"06 0C 01 86 85 84 04", "value of type bool accessed as type string"}}) {
        Tm_bin_decoder decoder(4096);
        try {
            feed(decoder, from_hex(start + bytes), 0);
            ADD_FAILURE() << "nothing thrown";
        } catch (std::out_of_range const& thrown) {
            EXPECT_EQ("", text);
            EXPECT_EQ(thrown.what(), decoder.error());
        } catch (Tm_type_mismatch_exception const& thrown) {
            EXPECT_EQ(text, thrown.what());
            EXPECT_EQ(text, decoder.error());
        }
        decoder.init();
        feed(decoder, encode(*indexed_request()), 0);
        decoder.finalize();
        EXPECT_EQ("", decoder.error());
    }
    // A table without names: the body is read by index, so it can have no members.
    EXPECT_EQ("", decode(from_hex(start + "06 86 85 84 04 84 82")).error);
}

/// In a process of its own, for the environment is read once.
TEST(NameIndexDeathTest, IsForbiddenByTheEnvironment) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    auto const stays_off = [] {
        ::setenv("QEL_INIT_DISABLE_SEND_MEMBER_STRING", "", 1);
        Message message;
        message.set_use_send_member_string(true);
        ::unsetenv("QEL_INIT_DISABLE_SEND_MEMBER_STRING");
        message.set_use_send_member_string(true);
        message.add_member(body, "a", 1);
        message.create_send_member_string_meta();
        return !message.get_use_send_member_string() && !message.index_member_names() &&
               message.get_member_count(meta) == 0;
    };
    EXPECT_EXIT(std::exit(stays_off() ? 0 : 1), testing::ExitedWithCode(0), "");
}

}  // namespace
