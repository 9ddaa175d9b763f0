/// Member names sent by index: what the sender records and what a receiver makes of it.
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <cstdlib>

#include "support/codec.h"
#include "support/samples.h"

namespace {

std::vector<std::string> table_of(Message const& message) {
    std::vector<std::string> names;
    Tm_array const& table = *message.get_member_array(Message::TMG_META, "catalog");
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
    EXPECT_EQ(nullptr, message.get_send_member_string(Message::TMG_BODY));
    message.create_send_member_string_meta();
    EXPECT_EQ(0, message.get_member_count(Message::TMG_META));

    message.set_use_send_member_string(true);
    EXPECT_NE(nullptr, message.get_send_member_string(Message::TMG_BODY));
    EXPECT_EQ(nullptr, message.get_send_member_string(Message::TMG_META));
    message.add_member(Message::TMG_BODY, "a", 1);
    message.add_member(Message::TMG_BODY, "b", 2);
    message.add_member(Message::TMG_BODY, "a", 3);
    message.create_send_member_string_meta();
    message.create_send_member_string_meta();
    EXPECT_EQ(1, message.get_member_count(Message::TMG_META));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), table_of(message));
    EXPECT_EQ(
        "02 04 05 07 00 07 63 61 74 61 6C 6F 67 06 08 00 01 61 08 00 01 62 86 85 84 "
        "04 05 07 00 00 11 00 00 00 01 85 05 07 00 01 11 00 00 00 02 85 "
        "05 07 00 00 11 00 00 00 03 85 84 82",
        to_hex(encode(message)));
    expect_arrives(message);
    Message const copy(message);
    EXPECT_EQ(encode(message), encode(copy));
}

TEST(NameIndex, OfAWholeMessageReachesEveryStructButNestedMessages) {
    char const* const names[] = {"p1", "p2", nullptr};
    Tm_prenamed_struct prenamed(names, 2);
    auto const inner = nested_struct();
    prenamed.add_member(0, static_cast<Tm_value const*>(&inner));
    prenamed.add_member(1, true);
    auto const nested = indexed_request();
    Message plain;
    plain.add_member(Message::TMG_BODY, "x", 1);

    for (auto const kind : {Message::TMT_REQUEST, Message::TMT_RESPONSE, Message::TMT_FAULT}) {
        auto const message = make_message(kind, "a.b");
        message->add_member(Message::TMG_META, "catalog", "no table at all");
        message->add_member(Message::TMG_META, "last", 1);
        if (kind == Message::TMT_FAULT) message->set_fault_code(3);
        message->add_member(Message::TMG_BODY, "fixed", &prenamed);
        message->add_member(Message::TMG_BODY, "indexed", nested.get());
        message->add_member(Message::TMG_BODY, "plain", &plain);
        message->add_member(Message::TMG_BODY, "p2", 2);
        ASSERT_TRUE(message->index_member_names());
        EXPECT_TRUE(message->get_use_send_member_string());
        EXPECT_STREQ("catalog", message->get_member_name(Message::TMG_META, 0));
        EXPECT_EQ(2, message->get_member_count(Message::TMG_META));
        auto const table = table_of(*message);
        std::vector<std::string> expected = {
            "fixed", "p1", "inner",   "",     std::string("zero"), std::string(300, 'n'),
            "empty", "p2", "indexed", "plain"};
        if (kind == Message::TMT_FAULT) expected.insert(expected.begin(), "faultCode");
        EXPECT_EQ(expected, table);
        expect_arrives(*message);

        message->add_member(Message::TMG_BODY, "more", 3);
        ASSERT_TRUE(message->index_member_names());
        EXPECT_EQ(expected.size() + 1, table_of(*message).size());
        expect_arrives(*message);
    }
}

/// A decoded message that came by index has no indexes of its own and must get new ones.
TEST(NameIndex, SurvivesForwarding) {
    auto const sent = indexed_request();
    Decoded received = decode(encode(*sent));
    EXPECT_TRUE(*received.message == *sent);
    ASSERT_TRUE(received.message->index_member_names());
    EXPECT_EQ(encode(*sent), encode(*received.message));
    // Indexes that ended up in the metadata would be misread there.
    Message moved;
    moved.add_member(Message::TMG_META, "list",
                     sent->get_const_struct(Message::TMG_BODY).get_value(0));
    ASSERT_TRUE(moved.index_member_names());
    expect_arrives(moved);
}

TEST(NameIndex, HoldsNoMoreNamesThanAnIndexTellsApart) {
    Message message;
    for (int i = 0; i < 65536; ++i) message.add_member(Message::TMG_BODY, std::to_string(i), true);
    ASSERT_TRUE(message.index_member_names());
    expect_arrives(message);
    Bytes const before = encode(message);
    message.set_use_send_member_string(false);
    message.add_member(Message::TMG_BODY, "one more", true);
    EXPECT_FALSE(message.index_member_names());
    EXPECT_FALSE(message.get_use_send_member_string());
    EXPECT_EQ(65536U, table_of(message).size());
}

TEST(NameIndex, ThatAHostileTableBreaksThrowsAndLeavesTheDecoderUsable) {
    struct Case {
        char const* bytes;
        char const* text;
    };
    std::string const start = "02 04 05 07 00 07 63 61 74 61 6C 6F 67 ";
    for (Case const& c :
         {Case{"06 08 00 01 61 86 85 84 04 05 07 00 01", nullptr},
          Case{"06 86 85 84 04 05 07 00 00", nullptr},
          Case{"0C 01 85 84 04", "value of type bool accessed as type array"},
          Case{"06 0C 01 86 85 84 04", "value of type bool accessed as type string"}}) {
        Tm_bin_decoder decoder(4096);
        try {
            feed(decoder, from_hex(start + c.bytes), 0);
            ADD_FAILURE() << "nothing thrown";
        } catch (std::out_of_range const& thrown) {
            EXPECT_EQ(nullptr, c.text);
            EXPECT_EQ(thrown.what(), decoder.error());
        } catch (Tm_type_mismatch_exception const& thrown) {
            EXPECT_STREQ(c.text, thrown.what());
            EXPECT_EQ(thrown.what(), decoder.error());
        }
        EXPECT_EQ(2, decoder.state());
        decoder.init();
        feed(decoder, encode(*indexed_request()), 0);
        decoder.finalize();
        EXPECT_EQ("", decoder.error());
    }
}

TEST(NameIndex, EmptyTableMakesTheBodyReadByIndex) {
    Decoded const empty =
        decode(from_hex("02 04 05 07 00 07 63 61 74 61 6C 6F 67 06 86 85 84 04 84 82"));
    EXPECT_EQ("", empty.error);
    EXPECT_EQ(0, empty.message->get_member_array(Message::TMG_META, "catalog")->get_member_count());
}

/// In a process of its own, for the environment is read once.
TEST(NameIndexDeathTest, IsForbiddenByTheEnvironment) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            ::setenv("QEL_INIT_DISABLE_SEND_MEMBER_STRING", "", 1);
            Message message;
            message.set_use_send_member_string(true);
            ::unsetenv("QEL_INIT_DISABLE_SEND_MEMBER_STRING");
            message.set_use_send_member_string(true);
            message.add_member(Message::TMG_BODY, "a", 1);
            message.create_send_member_string_meta();
            bool const untouched = !message.get_use_send_member_string() &&
                                   !message.index_member_names() &&
                                   message.get_member_count(Message::TMG_META) == 0;
            std::exit(untouched ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
