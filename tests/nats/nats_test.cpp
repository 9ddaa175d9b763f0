/// Calls over a real nats-server while nothing fails.
#include "../../examples/nats/seen.h"
#include "nats_support.h"

namespace {

TEST(Nats, CarriesEveryKindOfValueForManyThreads) {
    Nats_server const server;
    Running_service service(service_options(server));
    Tm_nats_caller caller(caller_options(server));
    auto const sample = every_kind_request();
    sample->set_request_name("test.echo");
    sample->header.set_tmport(9);
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 50; ++round) {
                Message request(*sample);
                request.header = sample->header;
                request.add_member(body, "own", i * 1000 + round);
                auto const answer = caller.call(request, in(patience));
                right += answer != nullptr && answer->header.get_tmport() == 9 &&
                         answer->get_const_struct(body).equals(request.get_const_struct(body));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(200, right);
    auto const called = caller.counters();
    EXPECT_EQ(200U, called.calls);
    EXPECT_EQ(200U, called.answered);
    EXPECT_EQ(0U, called.unanswered + called.late + called.bad_payloads + caller.waiting());
    EXPECT_TRUE(becomes_idle(service));
    auto const served = service.counters();
    EXPECT_EQ(200U + called.retries, served.received);
    EXPECT_EQ(served.received, served.answered);
    EXPECT_EQ(0U, served.faults + served.bad_payloads + served.in_work + served.transfers);
    EXPECT_EQ(called.bytes_sent, served.bytes_received);
    EXPECT_EQ(served.bytes_sent, called.bytes_received);
}

/// A message that just fits is one payload; one byte more makes it a large one. This holds in both directions.
TEST(Nats, DividesWhatDoesNotFitThePayloadLimit) {
    constexpr unsigned int limit = 20000;
    Nats_server const server("max_payload: " + std::to_string(limit) + "\n");
    Running_service service(service_options(server));
    Tm_nats_caller caller(caller_options(server));
    std::atomic<int> chunks{0};
    Stranger tap(server);
    tap.listen("_INBOX.>", [&](Stranger::Seen const& seen) {
        chunks += std::count(seen.subject.begin(), seen.subject.end(), '.') == 3;
    });
    auto const over = static_cast<unsigned int>(tm_encoded_size(echo_request("")));
    unsigned int const fits = limit - over - 8;
    EXPECT_TRUE(is_echoed(caller, pattern(fits)));
    tap.flush();
    EXPECT_EQ(0, chunks);
    for (unsigned int const size : {fits + 1, 16384U * 2 - over, 16384U * 2 - over + 1, 1000000U, 3000000U}) {
        EXPECT_TRUE(is_echoed(caller, pattern(size))) << size;
    }
    EXPECT_TRUE(is_echoed(caller, "small again"));
    EXPECT_LT(500, chunks);
    auto const answer = caller.call(give_request(2000000), in(patience));
    ASSERT_NE(nullptr, answer);
    EXPECT_EQ(pattern(2000000), content_in(*answer));
    EXPECT_TRUE(becomes_idle(service));
    EXPECT_EQ(0U, caller.counters().late + service.counters().lost + service.counters().bad_payloads);
}

TEST(Nats, CarriesFilesAndRemovesThemAfterwards) {
    Nats_server const server;
    Running_service service(service_options(server));
    Tm_nats_caller caller(caller_options(server));
    Scratch const scratch;
    remove_received_files();
    for (std::size_t const size : {100UL, 3000000UL, 12000000UL}) {
        std::string const content = pattern(size);
        std::string const path = scratch.file("f", content);
        auto const sums = caller.call(size_request("blob", path), in(patience));
        ASSERT_NE(nullptr, sums);
        EXPECT_EQ(sum_of(content), sums->get_member_uint64(body, "file")) << sums->get_fault_string();
        Message request = Message::request("test.echo");
        request.add_file(body, "file", path);
        auto const answer = caller.call(request, in(patience));
        ASSERT_NE(nullptr, answer);
        EXPECT_EQ(content, content_of(answer->get_member_file(body, "file")->path()));
        tm_remove_received_files(*answer);
    }
    EXPECT_TRUE(becomes_idle(service));
    EXPECT_EQ(0, remove_received_files());
    // A file of this size is not mapped.
    std::string const path = scratch.file("gone", pattern(12000000));
    Message const request = size_request("blob", path);
    Message same(request);
    std::filesystem::resize_file(path, 10);
    EXPECT_THROWS("failed to read from " + path, caller.call(request, in(patience)));
    std::string why;
    std::atomic<bool> is_told{false};
    try {
        caller.start(std::move(same), in(patience), [&](std::unique_ptr<Message> answer, std::string const& text) {
            why = answer == nullptr ? text : "answer";
            is_told = true;
        });
        EXPECT_TRUE(comes_true([&] { return is_told.load(); }));
        EXPECT_EQ("failed to read from " + path, why);
    } catch (Tm_exception const&) { EXPECT_FALSE(is_told); }
    EXPECT_EQ(0U, caller.waiting());
}

TEST(Nats, AnswersWithFaults) {
    Nats_server const server;
    Running_service service(service_options(server), [](Tm_nats_service& one) {
        one.on("test.odd", [](Message const&) -> Message { throw 7; });
        one.on("test.ask", [](Message const& request) { return request; });
    });
    Tm_nats_caller caller(caller_options(server));
    Message fail = Message::request("test.fail");
    fail.add_member(body, "code", 77);
    struct Case {
        Message request;
        int code;
        std::string text;
    };
    Case const cases[] = {{fail, 77, "as it was asked for"},
                          {Message::request("test.none"), 1, "no method test.none"},
                          {Message::request("test.fail"), 2, "code not found in struct"},
                          {Message::request("test.odd"), 2, "method failed"},
                          {Message::request("test.ask"), 2, "method failed"}};
    for (Case const& one : cases) {
        auto const answer = caller.call(one.request, in(patience));
        ASSERT_NE(nullptr, answer);
        EXPECT_EQ(one.code, answer->get_fault_code());
        EXPECT_EQ(one.text, answer->get_fault_string());
    }
    EXPECT_TRUE(becomes_idle(service));
    EXPECT_EQ(5U, service.counters().faults);
    EXPECT_EQ(5U, caller.counters().answered);
}

TEST(Nats, CallsHandlersOnce) {
    Nats_server const server;
    Running_service service(service_options(server));
    std::atomic<int> right{0};
    std::atomic<int> ended{0};
    {
        Tm_nats_caller caller(caller_options(server));
        for (int i = 0; i < 100; ++i) {
            std::string const content = pattern(i % 10 == 0 ? 1500000 : 100) + std::to_string(i);
            auto const check = [&right, content](std::unique_ptr<Message> answer, std::string const& why) {
                right += answer != nullptr && why.empty() && content_in(*answer) == content;
                throw Tm_exception("handler");
            };
            caller.start(echo_request(content), in(patience), check);
        }
        EXPECT_TRUE(comes_true([&] { return right == 100; }));
        EXPECT_THROWS("call without a handler", caller.start(echo_request(""), in(1s), nullptr));
        // A handler may begin the next call, also while the caller ends.
        std::function<void()> again = [&] {
            caller.start(Message::request("test.none"), in(patience),
                         [&](std::unique_ptr<Message> answer, auto const& why) {
                             ++ended;
                             EXPECT_EQ(answer == nullptr ? "the caller ended" : "", why);
                             if (ended < 1000000) again();
                         });
        };
        again();
        EXPECT_TRUE(comes_true([&] { return ended > 10; }));
        auto nobody = caller_options(server);
        nobody.subject = "nobody";
        Tm_nats_caller lonely(nobody);
        std::string why;
        lonely.start(echo_request(""), in(200ms), [&](std::unique_ptr<Message>, std::string const& text) {
            why = text;
            ended = 2000000;
        });
        EXPECT_TRUE(comes_true([&] { return ended >= 2000000; }));
        EXPECT_EQ("no service at nobody", why);
    }
    EXPECT_EQ(100, right);
}

/// A slow method gives signs of life; a service that gives none is asked again with the same number.
TEST(Nats, RepeatsOnlyWhatNobodyWorksOn) {
    Nats_server const server;
    std::mutex mutex;
    Names ids;
    auto const add_slow = [&](Tm_nats_service& service) {
        service.on("test.slow", [&](Message const& request, Tm_nats_request const& about) {
            {
                std::lock_guard<std::mutex> const lock(mutex);
                ids.emplace_back(about.id);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(request.get_member_int32(body, "time")));
            Message answer;
            answer.add_member(body, "time", request.get_member_int32(body, "time"));
            return answer;
        });
    };
    Message request = Message::request("test.slow");
    request.add_member(body, "time", 2500);
    Tm_nats_caller caller(caller_options(server));
    {
        Running_service service(service_options(server), add_slow);
        EXPECT_NE(nullptr, caller.call(request, in(patience)));
        EXPECT_EQ(0U, caller.counters().retries);
    }
    EXPECT_EQ(1U, ids.size());
    auto silent = service_options(server);
    silent.beat = 1h;
    silent.silence = 1h;
    silent.threads = 4;
    {
        Running_service service(silent, add_slow);
        EXPECT_NE(nullptr, caller.call(request, in(patience)));
        EXPECT_LE(1U, caller.counters().retries);
        EXPECT_TRUE(comes_true([&] { return caller.counters().late >= 1; }));
    }
    ASSERT_LE(3U, ids.size());
    EXPECT_NE(ids[0], ids[1]);
    EXPECT_EQ(ids[1], ids[2]);
    EXPECT_EQ(2U, caller.counters().answered);
}

TEST(Nats, DrainsWithoutLosingARequest) {
    Nats_server const server;
    auto const options = service_options(server);
    auto first = std::make_unique<Running_service>(options);
    Running_service second(options);
    Tm_nats_caller caller(caller_options(server));
    std::atomic<int> right{0};
    std::atomic<int> begun{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 60; ++round, ++begun) {
                right += is_echoed(caller, pattern(i == 0 ? 1200000 : 500));
            }
        });
    }
    EXPECT_TRUE(comes_true([&] { return begun > 20; }));
    EXPECT_TRUE(first->drain(patience));
    auto const counters = first->counters();
    EXPECT_EQ(counters.received, counters.answered);
    EXPECT_EQ(0U, counters.lost + counters.in_work + counters.transfers);
    first->stop();
    first.reset();
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(240, right);
    EXPECT_EQ(0U, caller.counters().late);
}

/// The service refuses requests that it has no room for. They are repeated until it has room.
TEST(Nats, BoundsWhatWaits) {
    Nats_server const server;
    auto options = service_options(server);
    options.threads = 1;
    options.max_waiting = 2;
    options.max_transfers = 1;
    Running_service service(options, [](Tm_nats_service& one) {
        one.on("test.nap", [](Message const&) {
            std::this_thread::sleep_for(5ms);
            return Message();
        });
    });
    Tm_nats_caller caller(caller_options(server));
    std::atomic<int> answers{0};
    for (int i = 0; i < 60; ++i) {
        Message request = i % 10 == 0 ? echo_request(pattern(1200000)) : Message::request("test.nap");
        caller.start(std::move(request), in(patience), [&](std::unique_ptr<Message> answer, auto const&) {
            answers += answer != nullptr && answer->get_msg_type() == Message::TMT_RESPONSE;
        });
    }
    EXPECT_TRUE(comes_true([&] { return answers == 60; }));
    EXPECT_LT(0U, service.counters().refused);
}

TEST(Nats, AnswersNothingWhenNobodyWaits) {
    Nats_server const server;
    std::atomic<int> seen{0};
    Running_service service(service_options(server), [&](Tm_nats_service& one) {
        one.on_any([&](Message const&, Tm_nats_request const& about) {
            seen += about.id.empty();
            return Message();
        });
    });
    Stranger(server).publish_without_reply("test", tm_to_chunks(Message::request("unknown"), 1, 1000));
    EXPECT_TRUE(comes_true([&] { return seen == 1; }));
    EXPECT_EQ(0U, service.counters().answered);
}

/// Needs no server.
TEST(Nats, TableOfSeenRequestsForgetsTheOldest) {
    Seen_requests seen(2, 1h);
    int runs = 0;
    auto const method = seen.once([&](Message const&) -> Message {
        if (++runs == 1) throw Tm_fault_exception(1, "first");
        return Message::request(std::to_string(runs));
    });
    Message const request = Message::request("a");
    auto const name = [&](char const* id) { return method(request, {id}).get_request_name(); };
    EXPECT_THROWS("first", name("x.1"));
    EXPECT_THROWS("first", name("x.1"));
    EXPECT_EQ("2", name("x.2"));
    EXPECT_EQ("2", name("x.2"));
    EXPECT_EQ("3", name("x.3"));
    EXPECT_EQ("4", name("x.1"));
    EXPECT_EQ(2U, seen.size());
    EXPECT_EQ(2U, seen.repeated());
    // Nobody waits for these, so that none is the repetition of another.
    EXPECT_EQ("5", name(""));
    EXPECT_EQ("6", name(""));
    Seen_requests brief(2, 0ms);
    auto const again = brief.once([&](Message const&) { return Message::request(std::to_string(++runs)); });
    again(request, {"y"});
    std::this_thread::sleep_for(1ms);
    EXPECT_EQ("8", again(request, {"y"}).get_request_name());
}

TEST(Nats, MayBeWatchedWhileItStartsAndStops) {
    Nats_server const server;
    for (int round = 0; round < 20; ++round) {
        Tm_nats_service service(service_options(server));
        std::atomic<bool> is_over{false};
        std::thread watcher([&] {
            while (!is_over) {
                EXPECT_EQ(0U, service.counters().in_work);
                std::ignore = service.is_connected();
            }
        });
        service.start();
        EXPECT_TRUE(service.is_connected());
        service.stop();
        EXPECT_FALSE(service.is_connected());
        is_over = true;
        watcher.join();
    }
}

TEST(Nats, RefusesOptionsAndServers) {
    Nats_server const server("authorization: {user: amy, password: secret}\n");
    auto options = service_options(server);
    EXPECT_THROWS("cannot connect to " + server.url() + ": Authentication Violation",
                  Tm_nats_caller(quick_options<Tm_nats_caller_options>(server)));
    EXPECT_THROWS("cannot connect to " + server.url() + ": Authentication Violation", Running_service{options});
    options.user = "amy";
    options.password = "secret";
    Running_service service(options);
    EXPECT_TRUE(service.is_connected());
    EXPECT_THROWS("service that was started before", service.start());
    EXPECT_THROWS("method added to a service that was started",
                  service.on("a", [](Message const&) { return Message(); }));
    auto caller = caller_options(server);
    caller.user = "amy";
    caller.password = "secret";
    EXPECT_TRUE(is_echoed(*std::make_unique<Tm_nats_caller>(caller), "known"));
    options.threads = 0;
    EXPECT_THROWS("threads 0 out of range 1..1000", Tm_nats_service{options});
    caller.window = 0;
    EXPECT_THROWS("window 0 out of range 1..1000", Tm_nats_caller{caller});
    caller.window = 8;
    caller.silence = 0ms;
    EXPECT_THROWS("silence of no time", Tm_nats_caller{caller});
    caller.silence = 1s;
    caller.window = 1;
    caller.subject.clear();
    EXPECT_THROWS("no subject", Tm_nats_caller{caller});
    for (std::string const subject : {"a.*", "a..b", ">", "a b", "a\r\nPUB b 0\r\n"}) {
        caller.subject = subject;
        EXPECT_THROWS("subject " + subject + " to call", Tm_nats_caller{caller});
    }
    caller.subject = "a";
    caller.servers = {"nats://amy:wrong@" + server.url().substr(7)};
    caller.user.clear();
    EXPECT_THROWS("cannot connect to " + server.url() + ": Authentication Violation", Tm_nats_caller{caller});
    caller.key_file = "key.pem";
    EXPECT_THROWS("certificate  with key key.pem: Invalid Argument", Tm_nats_caller{caller});
    Nats_server gone;
    gone.kill();
    EXPECT_THROWS("cannot connect to " + gone.url() + ": No server available for connection",
                  Tm_nats_caller{caller_options(gone)});
    Tm_nats_service never(options = service_options(gone));
    never.stop();
    EXPECT_TRUE(never.drain(1s));
    EXPECT_FALSE(never.is_connected());
}

}  // namespace
