/// Threads share nothing but what the process shares: each builds, sends, receives and reads its own
/// messages, received files included, with no lock.
#include <atomic>
#include <thread>

#include "support/support.h"

namespace {

/// One thread's work; what it received last, for another thread to free.
std::unique_ptr<Message> work(std::string const& path, long number) {
    std::unique_ptr<Message> received;
    for (long round = 0; round < 20; ++round) {
        long const value = number * 1000 + round;
        auto const sent = every_kind_request();
        sent->add_member(body, "value", value);
        sent->add_member(body, "file", path, 0U);
        if (round % 2 == 0) sent->index_member_names();
        received = deliver(*sent);
        EXPECT_EQ(value, received->get_member_int64(body, "value"));
        std::string const file = received->get_member_file(body, "file")->path();
        EXPECT_EQ(content_of(path), content_of(file));
        ::unlink(file.c_str());
        EXPECT_EQ(std::to_string(value), int64_to_string(value));
        auto const high = static_cast<unsigned int>(value);
        EXPECT_EQ(std::to_string(high) + ":7", uint96_to_string({7, high}));
    }
    return received;
}

/// Runs the work in eight threads, which begin it at the same time.
template <class Work>
void run_together(Work work) {
    constexpr int count = 8;
    std::atomic<int> missing{count};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            --missing;
            while (missing > 0) std::this_thread::yield();
            work(i);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(Threads, WorkOnTheirOwnMessagesWithoutALock) {
    Scratch const scratch;
    std::string const path = scratch.file("f", pattern(1000));
    std::vector<std::unique_ptr<Message>> received(8);
    run_together([&](int thread) { received[static_cast<std::size_t>(thread)] = work(path, thread); });
    for (auto const& message : received) EXPECT_EQ(6, message->get_member_count(body));
    EXPECT_EQ(0, remove_received_files());
}

/// Returns a built and a decoded message, with 200 members and structs that are alike.
std::vector<std::unique_ptr<Message>> large_messages() {
    auto built = make_message(Message::TMT_REQUEST, "large");
    for (int i = 0; i < 200; ++i) built->add_member(body, "m" + std::to_string(i), i);
    Tm_struct const large(built->get_const_struct(body));
    Tm_struct const small = of_ints({"a", "b"});
    Tm_array list;
    for (Tm_struct const* const item : {&small, &large, &small}) list.add_member(item);
    add(built->get_struct(meta), "a", &list, "c", 1);
    std::vector<std::unique_ptr<Message>> messages;
    messages.push_back(decode(encode(*built)).message);
    messages.push_back(std::move(built));
    return messages;
}

/// The first look-ups by name, which make a table, come from all threads at once. Then each changes
/// its copy, which shares names with all others.
TEST(Threads, ReadOneMessageAndChangeItsCopies) {
    for (int round = 0; round < 10; ++round) {
        for (auto const& owned : large_messages()) {
            Message const& message = *owned;
            Bytes const bytes = encode(message);
            std::string const json = tm_to_json(message);
            run_together([&](int thread) {
                Tm_struct const& nested = *message.get_member_array(meta, "a")->get_member_struct(1);
                for (int i = 0; i < 200; ++i) {
                    int const wanted = (i * 7 + thread * 25) % 200;
                    std::string const name = "m" + std::to_string(wanted);
                    EXPECT_EQ(wanted, message.get_member_int32(body, name.c_str()));
                    EXPECT_EQ(wanted, nested.get_member_index(name.c_str()));
                }
                EXPECT_EQ(-1, nested.get_member_index("absent"));
                Message copy(message);
                EXPECT_TRUE(copy == message);
                for (Message const* const one : {&message, static_cast<Message const*>(&copy)})
                    EXPECT_EQ(bytes, encode(*one));
                EXPECT_EQ(json, tm_to_json(message));

                auto& list = static_cast<Tm_array&>(*copy.get_struct(meta).get_value(0));
                for (int i = 0; i < 30; ++i) {
                    std::string const name = "own" + std::to_string(i % 3 == 0 ? i : i * 10 + thread);
                    copy.add_member(body, name, i);
                    for (int at = 0; at < 3; ++at) static_cast<Tm_struct&>(*list.get_value(at)).add_member(name, i);
                    EXPECT_EQ(i, list.get_member_struct(2)->get_member_int32(name.c_str()));
                }
                EXPECT_EQ(230, copy.get_member_count(body));
                EXPECT_EQ(32, list.get_member_struct(0)->get_member_count());
            });
            EXPECT_EQ(bytes, encode(message));
        }
    }
}

/// The file is too large to be mapped: one descriptor of a message for all threads, and their copies.
TEST(Threads, SendOneFile) {
    Scratch const scratch;
    Message message;
    message.add_member(body, "file", scratch.file("large", pattern(11264300)), 0U);
    std::vector<Bytes> const expected = encode_chunks(message, 1 << 20);
    run_together([&](int thread) {
        Message const copy(message);
        EXPECT_TRUE(encode_chunks(thread % 2 == 0 ? message : copy, 1 << 20) == expected);
    });
}

/// Shapes that begin alike, of all threads and of one.
TEST(Threads, BuildAndDecodeShapesAtTheSameTime) {
    run_together([](int thread) {
        for (int round = 0; round < 100; ++round) {
            Names names = {"same", "shape" + std::to_string(round % 3)};
            if (round % 2 == 0) names.push_back("of thread " + std::to_string(thread));
            if (round % 5 == 0) names.push_back("of round " + std::to_string(round));
            Tm_struct const item = of_ints(names);
            Message sent;
            add(sent.get_struct(body), "same", &item, names.back(), thread, "list", &item);
            Decoded const decoded = decode(encode(sent));
            ASSERT_TRUE(*decoded.message == sent);
            ASSERT_EQ(names, names_of(*decoded.message->get_member_struct(body, "list")));
        }
    });
}

/// Structs of one message that shared names while it was decoded: one is taken out and changed.
TEST(Threads, StructsOfOneMessageDoNotShareWhatTheyChange) {
    for (int round = 0; round < 20; ++round) {
        std::string const first = "a" + std::to_string(round);
        Tm_struct const small = of_ints({first, "b"});
        Tm_array list;
        for (int i = 0; i < 2; ++i) list.add_member(&small);
        Message sent;
        add(sent.get_struct(meta), first, &list, "c", 1);
        std::unique_ptr<Message> const received = decode(encode(sent)).message;
        auto& items = static_cast<Tm_array&>(*received->get_struct(meta).get_value(0));
        Tm_struct taken(received->shared_names());
        taken.swap(static_cast<Tm_struct&>(*items.get_value(0)));
        std::thread thread([&] { taken.add_member("x", 1); });
        static_cast<Tm_struct&>(*items.get_value(1)).add_member("y", 2);
        thread.join();
        EXPECT_STREQ("x", taken.get_member_name(2));
    }
}

}  // namespace
