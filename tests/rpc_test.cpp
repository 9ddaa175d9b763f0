/// Calls that wait for their answers, and methods that give them.
#include "support/support.h"

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point at(int seconds) { return Clock::time_point(std::chrono::seconds(seconds)); }

std::unique_ptr<Message> numbered_answer(int number) {
    auto answer = std::make_unique<Message>();
    answer->add_member(body, "number", number);
    return answer;
}

/// A caller that notes what its handlers get: the name of the call and the number of the answer.
struct Noting_caller : Tm_caller {
    using Tm_caller::Tm_caller;

    Names notes;

    unsigned int begin(std::string const& name, int seconds, std::function<void()> then = nullptr) {
        return start(at(seconds), [this, name, then](std::unique_ptr<Message> answer) {
            notes.push_back(name + (answer == nullptr ? " late" : " got " + tm_to_json(*answer->find(body, "number"))));
            if (then) then();
        });
    }
};

TEST(Caller, FindsTheCallOfEachAnswer) {
    Noting_caller caller;
    EXPECT_FALSE(caller.next_deadline());
    EXPECT_EQ(1U, caller.begin("a", 30));
    EXPECT_EQ(2U, caller.begin("b", 10));
    EXPECT_EQ(3U, caller.begin("c", 20));
    EXPECT_EQ(at(10), caller.next_deadline());
    EXPECT_TRUE(caller.take(numbered_answer(7), 3));
    EXPECT_FALSE(caller.take(numbered_answer(7), 3)) << "each call gets one answer";
    EXPECT_TRUE(caller.cancel(2));
    EXPECT_FALSE(caller.cancel(2) || caller.take(numbered_answer(7), 2));
    EXPECT_EQ(1U, caller.waiting());
    EXPECT_EQ(at(30), caller.next_deadline());
    EXPECT_THROWS("no answer to take", caller.take(nullptr, 1));
    EXPECT_THROWS("call without a handler", caller.start(at(1), nullptr));
    EXPECT_EQ(1U, caller.waiting());
    EXPECT_EQ(rows("c got 7"), caller.notes);
    EXPECT_EQ(4U, caller.begin("d", 30));
}

TEST(Caller, ExpiresInTheOrderOfTheDeadlines) {
    Noting_caller caller;
    for (auto const& [name, deadline] : {std::pair("a", 20), {"b", 10}, {"c", 21}, {"d", 20}, {"e", 5}}) {
        caller.begin(name, deadline);
    }
    caller.expire(at(4));
    EXPECT_EQ(Names(), caller.notes);
    caller.expire(at(20));
    EXPECT_EQ(rows("e late", "b late", "a late", "d late"), caller.notes);
    EXPECT_EQ(at(21), caller.next_deadline());
}

TEST(Caller, WrapsTheNumbersBehindTheLargest) {
    unsigned int const last = Tm_header::MAX_SEQ_NO;
    for (unsigned int const first : {last - 1, 2 * last}) {
        Noting_caller caller(first);
        for (unsigned int const expected : {last - 1, last, 0U, 1U}) EXPECT_EQ(expected, caller.begin("x", 1));
    }
}

/// Takes minutes under valgrind.
TEST(Caller, GoesThroughAllNumbersButThoseThatWait) {
    unsigned int const last = Tm_header::MAX_SEQ_NO;
    Noting_caller caller(last);
    for (unsigned int const expected : {last, 0U, 1U}) EXPECT_EQ(expected, caller.begin("x", 1));
    EXPECT_TRUE(caller.cancel(0));
    for (unsigned int expected = 2; expected < last; ++expected) {
        ASSERT_EQ(expected, caller.start(at(1), [](auto&&) {}));
        ASSERT_TRUE(caller.cancel(expected));
    }
    EXPECT_EQ(0U, caller.begin("x", 1));
    EXPECT_EQ(2U, caller.begin("x", 1));
}

TEST(Caller, LetsItsHandlersCallEverything) {
    Noting_caller caller;
    // An overdue call that is started meanwhile waits for the next expire(), so this ends.
    std::function<void()> again = [&] { caller.begin("again", 0, again); };
    unsigned int cancelled = 0;
    caller.begin("a", 1, [&] {
        again();
        EXPECT_TRUE(caller.cancel(cancelled));
        EXPECT_TRUE(caller.take(numbered_answer(2), 3));
        EXPECT_EQ(2U, caller.waiting());
        caller.expire(at(5));
    });
    cancelled = caller.begin("b", 2);
    caller.begin("c", 3);
    caller.begin("d", 4, [&] { EXPECT_EQ(at(0), caller.next_deadline()); });
    caller.expire(at(4));
    EXPECT_EQ(rows("a late", "c got 2", "again late", "d late"), caller.notes);
    EXPECT_EQ(1U, caller.waiting());
    caller.take(numbered_answer(1), caller.begin("e", 1, [&] { caller.expire(at(9)); }));
    EXPECT_EQ(rows("e got 1", "again late"), Names(caller.notes.end() - 2, caller.notes.end()));
}

TEST(Caller, SurvivesHandlersThatThrow) {
    Noting_caller caller;
    auto const fail = [] { throw Tm_exception("handler"); };
    caller.begin("a", 1, fail);
    caller.begin("b", 2);
    unsigned int const third = caller.begin("c", 3, fail);
    EXPECT_THROWS("handler", caller.expire(at(9)));
    EXPECT_EQ(2U, caller.waiting());
    EXPECT_THROWS("handler", caller.take(numbered_answer(1), third));
    caller.expire(at(9));
    EXPECT_EQ(rows("a late", "c got 1", "b late"), caller.notes);
    EXPECT_EQ(0U, caller.waiting());
}

TEST(Caller, RemovesTheFilesOfAnAnswerThatNobodyGets) {
    Scratch const scratch;
    Message sent;
    sent.add_member(body, "file", scratch.file("f", "x"), 0U);
    EXPECT_FALSE(Tm_caller().take(tm_from_bytes(tm_to_bytes(sent)), 1));
    EXPECT_EQ(0, remove_received_files());
    EXPECT_EQ("x", content_of(scratch.path("f")));
}

TEST(Service, AnswersWithWhatItsMethodsReturnAndThrow) {
    Tm_service service;
    service.on("sum", [](Message const&) { return Message::fault(9, "replaced"); });
    service.on("sum", [](Message const& request) {
        Message answer;
        answer.header.set_seq_no(1);
        answer.header.set_response_new(true);
        answer.add_member(body, "sum", request.get_member_int32(body, "a") + request.get_member_int32(body, "b"));
        return answer;
    });
    service.on("own", [](Message const&) -> Message { throw Tm_fault_exception(-7, std::string("a\0b", 3)); });
    service.on("long", [](Message const&) -> Message { throw std::runtime_error(std::string(70000, 'x')); });
    service.on("other", [](Message const&) -> Message { throw 5; });
    EXPECT_THROWS("method without a function", service.on("sum", nullptr));

    auto const answer_to = [&](Message request) {
        request.header.set_seq_no(0x7FFFFE);
        request.header.set_tmport(200);
        Message answer = service.answer(request);
        EXPECT_EQ(0x7FFFFEU, answer.header.get_seq_no());
        EXPECT_EQ(200U, answer.header.get_tmport());
        return answer;
    };
    auto const expect_fault = [&](int code, std::string const& text, Message const& request) {
        Message const answer = answer_to(request);
        ASSERT_EQ(Message::TMT_FAULT, answer.get_msg_type());
        EXPECT_EQ(code, answer.get_fault_code());
        EXPECT_EQ(text, answer.get_fault_string());
    };
    Message request = Message::request("sum");
    request.add_member(body, "a", 2);
    expect_fault(2, "b not found in struct", request);
    request.add_member(body, "b", 3);
    Message const answer = answer_to(request);
    EXPECT_EQ(5, answer.get_member_int32(body, "sum"));
    EXPECT_TRUE(answer.header.get_response_new());
    expect_fault(-7, std::string("a\0b", 3), Message::request("own"));
    expect_fault(2, std::string(65535, 'x'), Message::request("long"));
    expect_fault(1, "no method Sum", Message::request("Sum"));
    expect_fault(1, "no method " + std::string(65525, 'n'), Message::request(std::string(65535, 'n')));
    EXPECT_THROW(service.answer(Message::request("other")), int);
}

TEST(Service, AnswersEveryOtherNameWithTheMethodForAny) {
    Tm_service service;
    auto const code_for = [&](char const* name) { return service.answer(Message::request(name)).get_fault_code(); };
    service.on("own", [](Message const&) { return Message::fault(7, ""); });
    service.on_any([](Message const&) { return Message::fault(8, "replaced"); });
    EXPECT_THROWS("method without a function", service.on_any(nullptr));
    EXPECT_EQ(8, code_for(""));
    service.on_any([](Message const& request) -> Message { throw Tm_fault_exception(9, request.get_request_name()); });
    EXPECT_EQ(7, code_for("own"));
    EXPECT_EQ("other", service.answer(Message::request("other")).get_fault_string());
    Tm_service const copy = service;
    EXPECT_EQ(9, copy.answer(Message::request("x")).get_fault_code());
}

}  // namespace
