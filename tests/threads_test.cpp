/// Threads share nothing but what the process shares: each builds, sends, receives and reads its own
/// messages, received files included, with no lock.
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

TEST(Threads, WorkOnTheirOwnMessagesWithoutALock) {
    Scratch const scratch;
    std::string const path = scratch.file("f", pattern(1000));
    std::vector<std::unique_ptr<Message>> received(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < received.size(); ++i) {
        threads.emplace_back([&, i] { received[i] = work(path, static_cast<long>(i)); });
    }
    for (std::thread& thread : threads) thread.join();
    for (auto const& message : received) EXPECT_EQ(6, message->get_member_count(body));
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
                mine.add_member(body, "round " + std::to_string(round * 8 + i), round);
                EXPECT_EQ(round, mine.get_member_int32(body, 4));
                EXPECT_TRUE(Message(mine) == mine);
                EXPECT_NE(Bytes(), encode(mine));
            }
        });
        source->add_member(body, "added " + std::to_string(i), i);
        source->clear(body);
        source = every_kind_request();
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
