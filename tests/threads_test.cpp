/// Threads share nothing but what the process shares: each builds, sends, receives and reads its
/// own messages, received files included, with no lock.
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <thread>
#include <vector>

#include "support/bytes.h"
#include "support/codec.h"
#include "support/samples.h"
#include "support/scratch.h"

namespace {

/// One thread's work; what it got wrong.
std::string work(std::string const& path, long number) {
    for (long round = 0; round < 20; ++round) {
        long const value = number * 1000 + round;
        auto const sent = every_kind_request();
        sent->add_member(Message::TMG_BODY, "value", value);
        sent->add_member(Message::TMG_BODY, "file", path, 0U);
        if (round % 2 == 0) sent->index_member_names();

        std::unique_ptr<Message> received;
        std::string error;
        Tm_chunk_receiver receiver(
            [&](std::unique_ptr<Message> message, int, Tm_header const&) {
                received = std::move(message);
            },
            [&](int, unsigned int, std::string const& text) { error = text; });
        Tm_chunk_sender(100).send(*sent, 1, 0, [&](unsigned char const* data, std::size_t size) {
            receiver.receive(1, data, size);
            return true;
        });
        if (received == nullptr) return "not received: " + error;
        if (received->get_member_int64(Message::TMG_BODY, "value") != value) return "wrong value";
        std::string const file = received->get_member_file(Message::TMG_BODY, "file")->path();
        if (content_of(file) != content_of(path)) return "wrong file " + file;
        ::unlink(file.c_str());
        if (std::to_string(value) != int64_to_string(value)) return "wrong text";
        auto const high = static_cast<unsigned int>(value);
        if (std::to_string(high) + ":7" != uint96_to_string({7, high})) return "wrong long text";
    }
    return {};
}

TEST(Threads, WorkOnTheirOwnMessagesWithoutALock) {
    Scratch const scratch;
    std::string const path = scratch.file("f", pattern(1000));
    std::vector<std::string> faults(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < faults.size(); ++i) {
        threads.emplace_back([&, i] { faults[i] = work(path, static_cast<long>(i)); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::vector<std::string>(8), faults);
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

/// What one thread receives another may free, block caches and all.
TEST(Threads, HandMessagesToOneAnother) {
    std::vector<std::unique_ptr<Message>> handed(8);
    std::vector<std::thread> threads;
    Bytes const bytes = encode(*every_kind_request());
    for (auto& slot : handed) {
        threads.emplace_back([&] { slot = decode(bytes, 100).message; });
    }
    for (std::thread& thread : threads) thread.join();
    threads.clear();
    for (auto& slot : handed) {
        threads.emplace_back([&] {
            EXPECT_TRUE(*slot == *every_kind_request());
            slot.reset();
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
