/// Threads share nothing but what the process shares: each builds, sends, receives and reads its own
/// messages, received files included, with no lock.
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <thread>
#include <vector>

#include "support/codec.h"
#include "support/samples.h"
#include "support/scratch.h"

namespace {

/// One thread's work; what it received last, for another thread to free.
std::unique_ptr<Message> work(std::string const& path, long number) {
    std::unique_ptr<Message> received;
    for (long round = 0; round < 20; ++round) {
        long const value = number * 1000 + round;
        auto const sent = every_kind_request();
        sent->add_member(Message::TMG_BODY, "value", value);
        sent->add_member(Message::TMG_BODY, "file", path, 0U);
        if (round % 2 == 0) sent->index_member_names();
        Tm_chunk_receiver receiver(
            [&](std::unique_ptr<Message> message, int, Tm_header const&) { received = std::move(message); },
            [](int, unsigned int, std::string const& text) { ADD_FAILURE() << text; });
        Tm_chunk_sender(100).send(*sent, 1, 0, [&](unsigned char const* data, std::size_t size) {
            receiver.receive(1, data, size);
            return true;
        });
        EXPECT_EQ(value, received->get_member_int64(Message::TMG_BODY, "value"));
        std::string const file = received->get_member_file(Message::TMG_BODY, "file")->path();
        EXPECT_EQ(content_of(path), content_of(file));
        ::unlink(file.c_str());
        EXPECT_EQ(std::to_string(value), int64_to_string(value));
        auto const high = static_cast<unsigned int>(value);
        EXPECT_EQ(std::to_string(high) + ":7", uint96_to_string({7, high}));
    }
    return received;
}

TEST(Threads, WorkOnTheirOwnMessagesWithoutALock) {
    Scratch const scratch;
    std::string const path = scratch.file("f", pattern(1000));
    std::vector<std::unique_ptr<Message>> received(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < received.size(); ++i) {
        threads.emplace_back([&, i] { received[i] = work(path, static_cast<long>(i)); });
    }
    for (std::thread& thread : threads) thread.join();
    for (auto const& message : received) EXPECT_EQ(6, message->get_member_count(Message::TMG_BODY));
    EXPECT_EQ(0, remove_received_files());
}

/// A copy reads the names of its source, which goes on changing and may go first.
TEST(Threads, CopiesAreIndependentOfTheirSource) {
    auto source = every_kind_request();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([copy = std::make_shared<Message>(*source), i] {
            for (int round = 0; round < 50; ++round) {
                Message mine(*copy);
                mine.add_member(Message::TMG_BODY, "round " + std::to_string(round * 8 + i), round);
                EXPECT_EQ(round, mine.get_member_int32(Message::TMG_BODY, 4));
                EXPECT_TRUE(Message(mine) == mine);
                EXPECT_NE(Bytes(), encode(mine));
            }
        });
        source->add_member(Message::TMG_BODY, "added " + std::to_string(i), i);
        source->clear(Message::TMG_BODY);
        auto next = every_kind_request();
        source.swap(next);
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
