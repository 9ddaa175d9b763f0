/// Member names sent by index: what the sender records and what a receiver makes of it.
#include <cstdlib>

#include "support/support.h"

namespace {

Names table_of(Message const& message) {
    Names names;
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
    for (int time = 0; time < 2; ++time) message.create_send_member_string_meta();
    EXPECT_EQ(
        "02 04 05 07 00 07 63 61 74 61 6C 6F 67 06 08 00 01 61 08 00 01 62 86 85 84 "
        "04 05 07 00 00 0C 01 85 05 07 00 01 0C 01 85 05 07 00 00 0C 01 85 84 82",
        to_hex(encode(message)));
    expect_arrives(message);
    EXPECT_EQ(encode(message), encode(Message(message)));

    Message source;
    source.set_use_send_member_string(true);
    source.add_member(body, "a", 1);
    Message copy(source);
    copy.add_member(body, "b", 2);
    copy.create_send_member_string_meta();
    EXPECT_EQ(Names({"a", "b"}), table_of(copy));
    expect_arrives(copy);
}

/// A member "catalog" that is no table of names is replaced, with the structs and messages in it.
TEST(NameIndex, ReplacesATableThatIsNone) {
    Tm_struct const item = of_ints({"a", "b"});
    Message inner;
    inner.add_member(meta, "catalog", &item);
    inner.add_member(body, "c", &item);
    Tm_array const items = Tm_array::of(&item, &inner);
    for (Tm_value const* const value : std::initializer_list<Tm_value const*>{&item, &inner, &items}) {
        for (bool const is_restored : {false, true}) {
            Message message;
            add(message.get_struct(meta), "catalog", value, "d", value);
            add(message.get_struct(body), "e", &item);
            EXPECT_TRUE(is_restored ? message.restore_member_indexes() : message.index_member_names());
            EXPECT_EQ((Names{"e", "a", "b"}), table_of(message));
            expect_arrives(message);
        }
    }
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
        add(message->get_struct(meta), "catalog", "no table at all", "last", 1);
        Names expected = {"fixed", "p1", "inner", "", "zero", std::string(300, 'n'), "empty", "p2", "indexed", "plain"};
        if (kind == Message::TMT_FAULT) {
            message->set_fault_code(3);
            expected.insert(expected.begin(), "faultCode");
        }
        add(message->get_struct(body), "fixed", &prenamed, "indexed", nested.get(), "plain", &plain, "p2", 2);
        ASSERT_TRUE(message->index_member_names() && message->get_use_send_member_string());
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

/// A table keeps its order, its doubles and its unused names as long as it has all names.
TEST(NameIndex, RestoresTheTableThatAMessageCameWith) {
    auto const inner = of_ints({"b", "c"});
    Message inner_message;
    Tm_array const inner_table = Tm_array::of("x", "c", "c", "b");
    inner_message.add_member(meta, "catalog", &inner_table);
    inner_message.add_member(body, "b", &inner);
    Message message;
    message.add_member(body, "m", &inner_message);
    ASSERT_TRUE(message.restore_member_indexes());
    EXPECT_FALSE(message.get_use_send_member_string()) << "no table, no indexes";
    expect_arrives(message);
    EXPECT_EQ(Names({"x", "c", "c", "b"}), table_of(*message.get_member_message(body, "m")));
    inner_message.add_member(body, "d", 1);
    ASSERT_TRUE(inner_message.restore_member_indexes());
    EXPECT_EQ(Names({"b", "c", "d"}), table_of(inner_message));
    expect_arrives(inner_message);
    // A name that no index reaches makes a new table, too.
    Tm_array large;
    for (int i = 0; i < 65536; ++i) large.add_member("x");
    large.add_member("a");
    Message far;
    far.add_member(meta, "catalog", &large);
    far.add_member(body, "a", 1);
    ASSERT_TRUE(far.restore_member_indexes());
    EXPECT_EQ(Names{"a"}, table_of(far));
    expect_arrives(far);
}

/// A decoded message that came by index has no indexes of its own and must get new ones.
TEST(NameIndex, SurvivesForwarding) {
    auto const sent = indexed_request();
    Decoded received = decode(encode(*sent));
    ASSERT_TRUE(received.message->index_member_names());
    EXPECT_EQ(encode(*sent), encode(*received.message));
    // The same one message further in, beside one that has indexes but no table.
    Message bare;
    bare.set_use_send_member_string(true);
    bare.add_member(body, "x", 1);
    Message outer;
    add(outer.get_struct(body), "inner", received.message.get(), "bare", &bare);
    outer.add_member(meta, "inner", received.message.get());
    ASSERT_TRUE(outer.index_member_names());
    Decoded forwarded = decode(encode(outer));
    EXPECT_TRUE(*forwarded.message == outer);
    ASSERT_TRUE(forwarded.message->index_member_names());
    EXPECT_EQ(encode(outer), encode(*forwarded.message));
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
    Message outer;
    outer.add_member(body, "inner", &message);
    EXPECT_FALSE(outer.index_member_names());
    EXPECT_FALSE(outer.restore_member_indexes());
    EXPECT_EQ(0, outer.get_member_count(meta));
}

TEST(NameIndex, ThatAHostileTableBreaksThrowsAndLeavesTheDecoderUsable) {
    std::string const start = "02 04 05 07 00 07 63 61 74 61 6C 6F 67 ";
    for (std::string const& row :
         rows("06 08 00 01 61 86 85 84 04 05 07 00 01 -> out of range", "06 86 85 84 04 05 07 00 00 -> out of range",
              "0C 01 85 84 04 -> value of type bool accessed as type array",
              "06 0C 01 86 85 84 04 -> value of type bool accessed as type string")) {
        auto const halves = split(start + row);
        Tm_bin_decoder decoder(4096);
        auto const hit = [&] { feed(decoder, halves.first); };
        if (halves.second == "out of range") {
            EXPECT_EQ(text_thrown_by<std::out_of_range>(hit), decoder.error());
        } else {
            EXPECT_EQ(halves.second, text_thrown_by<Tm_type_mismatch_exception>(hit));
            EXPECT_EQ(halves.second, decoder.error());
        }
        decoder.init();
        feed(decoder, encode(*indexed_request()));
        EXPECT_EQ("", decoder.error());
    }
    // A table without names: the body is read by index, so it can have no members.
    EXPECT_EQ("", decode(from_hex(start + "06 86 85 84 04 84 82")).error);
}

/// Returns what arrives of a message, over each way to send. The message itself must stay as it is.
std::unique_ptr<Message> what_arrives(Message const& message) {
    Bytes const before = encode(message);
    std::string const bytes = tm_to_bytes(message);
    EXPECT_EQ(bytes.size(), tm_encoded_size(message));
    std::string const chunks = tm_to_chunks(message, 1, 50);
    Bytes joined;
    for (Bytes const& one : chunks_of(message, 1, 1048575)) joined.insert(joined.end(), one.begin() + 8, one.end());
    EXPECT_EQ(bytes, std::string(joined.begin(), joined.end()));
    Receiver receiver;
    receiver.take(1, Bytes(chunks.begin(), chunks.end()));
    EXPECT_EQ(Names(), receiver.errors);
    auto const came = tm_from_bytes(bytes);
    EXPECT_TRUE(*came == *receiver.messages.at({1, 1}));
    EXPECT_EQ(before, encode(message));
    return std::move(receiver.messages.at({1, 1}));
}

/// The table may be a new one.
void expect_same_body(Message const& message, Message const& came, bool has_table) {
    EXPECT_TRUE(came.get_const_struct(body) == message.get_const_struct(body));
    EXPECT_EQ(has_table, came.name_table_position() >= 0);
}

TEST(NameIndex, IsNeverSentWrongAfterAChange) {
    using Change = void (*)(Message&);
    Change const changes[] = {
        [](Message& message) { message.add_member(body, "new", 1); },
        [](Message& message) { message.set_member(body, "last", 1); },
        [](Message& message) { message.rename_member(body, 0, "other"); },
        [](Message& message) { message.edit_array(body, "list")->edit_struct(1)->remove_member("inner"); },
        [](Message& message) {
            message.edit_array(body, "list")->add_member(of_ints({"list", "x"}));
        },
        // Indexes of another table, and a table that was changed.
        [](Message& message) {
            Message other;
            other.add_member(body, "x", of_ints({"y", "z"}));
            other.index_member_names();
            message.add_member(body, "foreign", other.get_const_struct(body).get_value(0));
        },
        [](Message& message) { message.edit_array(meta, "catalog")->set_value(0, "no name"); },
        [](Message& message) { message.edit_array(meta, "catalog")->remove_values(1, 2); },
        [](Message& message) { message.set_member(meta, "catalog", "no table"); },
        [](Message& message) { message = std::move(*decode(encode(message)).message); },
    };
    for (Change const change : changes) {
        auto const message = indexed_request();
        change(*message);
        expect_same_body(*message, *what_arrives(*message), true);
        // The same in a nested message, of which the outer one is sent by name.
        Message outer;
        outer.add_member(body, "inner", message.get());
        outer.add_member(body, "after", 1);
        auto const came = what_arrives(outer);
        expect_same_body(*message, *came->get_member_message(body, "inner"), true);
        EXPECT_EQ(1, came->get_member_int32(body, "after"));
    }
    // Without a table no index is right.
    auto const bare = indexed_request();
    bare->remove_member(meta, "catalog");
    expect_same_body(*bare, *what_arrives(*bare), false);
    Message in_meta;
    in_meta.add_member(meta, "list", bare->get_const_struct(body).get_value(0));
    EXPECT_TRUE(*what_arrives(in_meta) == in_meta);
    // What cannot be indexed is sent by name.
    Message large;
    for (int i = 0; i < 65537; ++i) large.add_member(body, std::to_string(i), true);
    large.add_member(meta, "catalog", Tm_array());
    large.add_member(meta, "catalog", 1);
    large.add_member(body, "nested", indexed_request().get());
    EXPECT_EQ(-1, what_arrives(large)->get_member_message(body, "nested")->name_table_position());
    large.remove_member(body, "nested");
    expect_same_body(large, *what_arrives(large), false);
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
        Message with_table;
        Tm_array const table;
        with_table.add_member(meta, "catalog", &table);
        with_table.add_member(body, "a", 1);
        return !message.get_use_send_member_string() && !message.index_member_names() &&
               message.restore_member_indexes() && message.get_member_count(meta) == 0 &&
               !with_table.restore_member_indexes() &&
               tm_from_bytes(tm_to_bytes(with_table))->get_member_count(meta) == 0;
    };
    EXPECT_EXIT(std::exit(stays_off() ? 0 : 1), testing::ExitedWithCode(0), "");
}

}  // namespace
