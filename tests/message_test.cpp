#include "support/support.h"

struct message_context {
    unsigned char header[8];
};

/// The whole name, the set, the method, and the whole name made anew.
TEST(Message, SplitsItsNameAtTheFirstDot) {
    for (std::string const& row :
         rows("svc.get.all|svc|get.all|svc.get.all", "ping|ping|ping|ping", "|||", ".x||x|.x", "x.|x||x.",
              "svc#2.get|svc#2|get|svc.get", "a#b#c.d#e|a#b#c|d#e|a.d#e", "p#1|p#1|p#1|p.p#1")) {
        Message message;
        message.set_request_name(row.substr(0, row.find('|')));
        std::string const parts =
            message.get_request_name() + "|" + message.get_message_set_name() + "|" + message.get_method_name();
        message.fix_message_name();
        EXPECT_EQ(row, parts + "|" + message.get_request_name());
    }
}

TEST(Message, RefusesOtherGroups) {
    Message message;
    auto const bad = static_cast<Message::TMG>(2);
    EXPECT_THROWS("tmg 2 out of range 0..1", message.get_struct(bad));
    EXPECT_THROWS("tmg 2 out of range 0..1", message.add_member(bad, "a", 1));
    int alive = 0;
    EXPECT_THROWS("tmg 2 out of range 0..1", message.add_member_and_own(bad, "a", new Counted(alive)));
    EXPECT_EQ(0, alive);
    EXPECT_THROWS("tmg 2 out of range 0..1", message.get_member_bool(bad, 0));
    EXPECT_THROWS("tmg -1 out of range 0..1", message.clear(static_cast<Message::TMG>(-1)));
}

TEST(Message, KeepsFaultCodeAndTextInTheOrderOfTheirSetting) {
    Message fault;
    EXPECT_THROWS("value of type response accessed as type fault", fault.set_fault_code(1));
    fault.set_msg_type(Message::TMT_REQUEST);
    EXPECT_THROWS("value of type request accessed as type fault", fault.get_fault_string());
    fault.set_msg_type(Message::TMT_FAULT);
    auto const content = [&] {
        std::string text;
        for (int i = 0; i < fault.get_member_count(body); ++i)
            text += fault.get_member_name(body, i) + std::string(" ");
        return text + std::to_string(fault.get_fault_code()) + " " + fault.get_fault_string();
    };
    EXPECT_EQ("-1 ", content());
    fault.set_fault_code(5);
    fault.set_fault_string("bad");
    EXPECT_EQ("faultCode faultString 5 bad", content());
    fault.set_fault_code(7);
    EXPECT_EQ("faultString faultCode 7 bad", content());
    fault.add_member(body, "detail", 1);
    fault.set_fault_string("worse");
    EXPECT_EQ("faultCode faultString 7 worse", content());
    fault.set_fault_string("worst");
    fault.add_member(body, "faultCode", 9);
    EXPECT_EQ(7, fault.get_fault_code()) << "the first one, after a change";
    fault.clear(body);
    fault.add_member(body, "faultCode", "five");
    EXPECT_THROWS("value of type string accessed as type int32_t", fault.get_fault_code());
}

TEST(Message, CopiesAreEqualAndOfThePrivateMake) {
    for (auto const& message : sample_messages()) {
        EXPECT_FALSE(message->is_clone());
        message->header.set_seq_no(9);
        std::unique_ptr<Message> const copy(message->clone());
        EXPECT_TRUE(copy->is_clone());
        EXPECT_TRUE(*copy == *message);
        EXPECT_EQ(0U, copy->header.get_seq_no());
        EXPECT_EQ(message->get_use_send_member_string(), copy->get_use_send_member_string());
        copy->add_member(meta, "more", 1);
        EXPECT_FALSE(static_cast<Tm_value&>(*copy) == *message);
    }
}

TEST(Message, EqualityTakesNamesOfRequestsOnly) {
    auto const a = make_message(Message::TMT_RESPONSE, "a");
    auto const b = make_message(Message::TMT_RESPONSE, "b");
    EXPECT_TRUE(*a == *b);
    for (Message* const message : {a.get(), b.get()}) {
        message->set_msg_type(Message::TMT_REQUEST);
        EXPECT_FALSE(*a == *b);
    }
    b->set_request_name("a");
    EXPECT_TRUE(*a == *b);
    a->add_member(meta, "m", 1);
    b->add_member(body, "m", 1);
    EXPECT_FALSE(*a == *b);
    EXPECT_FALSE(a->equals(Tm_bool(true)));
}

TEST(Message, SwapsAndGivesItsContentWithinOneMake) {
    auto const request = every_kind_request();
    request->header.set_seq_no(5);
    Message const expected(*request);
    Message other;
    other.add_member(body, "old", 1);
    other.swap(*request);
    EXPECT_TRUE(other == expected);
    message_context context = {};
    other.get_context(&context);
    other.get_context(nullptr);
    EXPECT_EQ("00 00 00 00 00 00 00 05", to_hex(Bytes(context.header, context.header + 8)));
    EXPECT_EQ(1, request->get_member_int32(body, "old"));

    auto const taken = other.take_content();
    EXPECT_TRUE(*taken == expected);
    EXPECT_FALSE(taken->is_clone());
    EXPECT_TRUE(other == Message());
    other.add_member(body, "usable", 1);
    Message copy(*taken);
    EXPECT_TRUE(copy.take_content()->is_clone());
    EXPECT_THROWS("swap does not support swapping messages with different type", copy.swap(*taken));
    EXPECT_TRUE(*taken == expected);

    Message indexed;
    indexed.set_use_send_member_string(true);
    indexed.add_member(body, "a", 1);
    auto const moved = indexed.take_content();
    moved->add_member(body, "b", 2);
    moved->create_send_member_string_meta();
    EXPECT_TRUE(*decode(encode(*moved)).message == *moved);
    EXPECT_FALSE(indexed.get_use_send_member_string());
}

/// Bodies of two messages exchange their names, but not where they keep them.
TEST(Message, BodiesSwapWithoutSharingACatalogue) {
    Message message;
    message.add_member(body, "mine", 1);
    {
        Message other;
        other.add_member(body, "theirs", 2);
        message.get_struct(body).swap(other.get_struct(body));
        EXPECT_STREQ("mine", other.get_member_name(body, 0));
    }
    message.add_member(body, "more", 3);
    EXPECT_STREQ("theirs", message.get_member_name(body, 0));
    EXPECT_STREQ("more", message.get_member_name(body, 1));
}

/// Nested structs that share a decoded message's names go on using them after it is gone.
TEST(Message, ContentOutlivesTheMessageItCameFrom) {
    auto source = std::make_unique<Message>();
    source->add_member_and_own(body, "nested", new Tm_struct(source->shared_names()));
    auto const taken = source->take_content();
    source.reset();
    auto* const nested = static_cast<Tm_struct*>(taken->get_struct(body).get_value(0));
    nested->add_member("name longer than any short string", 1);
    taken->add_member(body, "name longer than any short string", 2);
    EXPECT_EQ(1, nested->get_member_int32(0));
    Message other;
    other.get_struct(body).swap(taken->get_struct(body));
    EXPECT_EQ(2, other.get_member_int32(body, 1));
}
