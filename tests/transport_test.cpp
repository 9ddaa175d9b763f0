#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <algorithm>
#include <map>
#include <random>

#include "support/codec.h"
#include "support/samples.h"
#include "support/scratch.h"
#include "support/throws.h"

namespace {

using Names = Tm_chunk_sender::Names;

std::vector<Bytes> chunks_of(Message const& message, unsigned int seq_no, int chunk_size,
                             Names names = Names::as_built) {
    std::vector<Bytes> chunks;
    auto const sink = [&](unsigned char const* data, std::size_t size) {
        chunks.emplace_back(data, data + size);
        return true;
    };
    EXPECT_TRUE(Tm_chunk_sender(chunk_size).send(message, seq_no, 3, sink, names));
    return chunks;
}

Bytes chunk(bool first, bool last, unsigned int seq_no, std::string const& payload_hex) {
    Bytes const payload = from_hex(payload_hex);
    Tm_header header;
    header.set_first_chunk(first);
    header.set_last_chunk(last);
    header.set_seq_no(seq_no);
    header.set_length(static_cast<unsigned int>(payload.size()));
    Bytes bytes(8 + payload.size());
    std::copy_n(header.record().bytes, 8, bytes.begin());
    std::copy(payload.begin(), payload.end(), bytes.begin() + 8);
    return bytes;
}

std::string const whole = "02 04 84 04 84 82";

/// A receiver that keeps all it is told.
struct Receiver : Tm_chunk_receiver {
    std::map<std::pair<int, unsigned int>, std::unique_ptr<Message>> messages;
    std::vector<std::string> errors;

    Receiver()
        : Tm_chunk_receiver(
              [this](std::unique_ptr<Message> message, int originator, Tm_header const& header) {
                  EXPECT_TRUE(header.get_last_chunk());
                  EXPECT_EQ(header.get_seq_no(), message->header.get_seq_no());
                  messages[{originator, header.get_seq_no()}] = std::move(message);
              },
              [this](int originator, unsigned int seq_no, std::string const& text) {
                  errors.push_back(std::to_string(originator) + "/" + std::to_string(seq_no) + " " + text);
              }) {}

    void take(int originator, Bytes const& bytes) { receive(originator, bytes.data(), bytes.size()); }
    void take_bytewise(int originator, Bytes const& bytes) {
        for (unsigned char const byte : bytes) receive(originator, &byte, 1);
    }
};

TEST(Sender, FillsHeadersAndChunks) {
    auto const message = every_kind_request();
    Bytes const encoded = encode(*message);
    for (int const size : {1, 2, 7, 127, 128, 129, 1000, static_cast<int>(encoded.size()), 1048575}) {
        auto const chunks = chunks_of(*message, 0x123456, size);
        Bytes joined;
        for (Bytes const& bytes : chunks) {
            bool const last = &bytes == &chunks.back();
            std::size_t const length = bytes.size() - 8;
            ASSERT_TRUE(last || length == static_cast<std::size_t>(size));
            Bytes const header = {0,
                                  static_cast<unsigned char>((joined.empty() ? 0x80 : 0) | (last ? 0x40 : 0) |
                                                             static_cast<int>(length >> 16)),
                                  static_cast<unsigned char>(length >> 8),
                                  static_cast<unsigned char>(length),
                                  3,
                                  0x12,
                                  0x34,
                                  0x56};
            ASSERT_EQ(header, Bytes(bytes.begin(), bytes.begin() + 8));
            joined.insert(joined.end(), bytes.begin() + 8, bytes.end());
        }
        ASSERT_EQ(encoded, joined) << size;
    }
}

TEST(Sender, StopsWhenTheSinkSaysSoAndServesTheNextMessage) {
    Tm_chunk_sender sender(10);
    int calls = 0;
    EXPECT_FALSE(sender.send(*every_kind_request(), 1, 0, [&](auto...) { return ++calls < 3; }));
    EXPECT_EQ(3, calls);
    Receiver receiver;
    auto const message = indexed_request();
    EXPECT_TRUE(sender.send(*message, 2, 0, [&](unsigned char const* data, std::size_t size) {
        receiver.receive(1, data, size);
        return true;
    }));
    EXPECT_TRUE(*receiver.messages.at({1, 2}) == *message);
}

TEST(Sender, RefusesWhatTheWireCannotCarryBeforeTheFirstChunk) {
    std::string const longest(65535, 'n');
    std::string const too_long(65536, 'n');
    auto const send = [](Message const& message) {
        Tm_chunk_sender(10).send(message, 1, 0, [](auto...) -> bool { throw Tm_exception("a chunk was sent"); });
    };
    std::string const text = "String length 65536 out of range 0..65535";
    EXPECT_THROWS(text, send(*make_message(Message::TMT_REQUEST, too_long)));
    Tm_struct inner(nullptr);
    inner.add_member(too_long, 1);
    Tm_array array;
    array.add_member(&inner);
    Message nested;
    nested.add_member(Message::TMG_META, "array", &array);
    EXPECT_THROWS(text, send(nested));
    Message outer;
    outer.add_member(Message::TMG_BODY, "message", &nested);
    EXPECT_THROWS(text, send(outer));
    // The name of a response stays at home.
    EXPECT_EQ(1U, chunks_of(*make_message(Message::TMT_RESPONSE, too_long), 1, 100).size());

    auto const fitting = make_message(Message::TMT_REQUEST, longest);
    fitting->add_member(Message::TMG_BODY, longest, 1);
    Receiver receiver;
    for (Bytes const& bytes : chunks_of(*fitting, 1, 1024)) receiver.take(1, bytes);
    EXPECT_TRUE(*receiver.messages.at({1, 1}) == *fitting);
    EXPECT_THROWS("chunk size 0 out of range 1..1048575", Tm_chunk_sender(0));
    EXPECT_THROWS("chunk size 1048576 out of range 1..1048575", Tm_chunk_sender(1048576));
}

TEST(Sender, SendsNamesByIndexWhenAsked) {
    auto const message = every_kind_request();
    Message expected(*message);
    expected.index_member_names();
    Receiver receiver;
    for (Bytes const& bytes : chunks_of(*message, 5, 100, Names::by_index)) receiver.take(1, bytes);
    EXPECT_TRUE(*receiver.messages.at({1, 5}) == expected);
    EXPECT_FALSE(message->get_use_send_member_string());
}

/// 200 messages of several connections, their chunks in any order between messages, the stream of
/// each connection cut anywhere.
TEST(Receiver, ReassemblesWhatComesInterleaved) {
    std::mt19937 random(20);
    auto const samples = sample_messages();
    std::map<int, std::vector<std::vector<Bytes>>> sendings;
    for (unsigned int i = 0; i < 200; ++i) {
        auto chunks = chunks_of(*samples[i % samples.size()], i / 7, 1 + static_cast<int>(random() % 400));
        std::reverse(chunks.begin(), chunks.end());
        sendings[static_cast<int>(i % 7)].push_back(std::move(chunks));
    }
    std::map<int, Bytes> streams;
    for (auto& [originator, open] : sendings) {
        while (!open.empty()) {
            auto const next = open.begin() + static_cast<long>(random() % open.size());
            streams[originator].insert(streams[originator].end(), next->back().begin(), next->back().end());
            next->pop_back();
            if (next->empty()) open.erase(next);
        }
    }
    Receiver receiver;
    while (!streams.empty()) {
        auto const stream = std::next(streams.begin(), static_cast<long>(random() % streams.size()));
        Bytes& bytes = stream->second;
        auto const cut = bytes.begin() + std::min(static_cast<long>(random() % 3000), static_cast<long>(bytes.size()));
        receiver.take(stream->first, Bytes(bytes.begin(), cut));
        bytes.erase(bytes.begin(), cut);
        if (bytes.empty()) streams.erase(stream);
    }
    EXPECT_EQ(std::vector<std::string>{}, receiver.errors);
    ASSERT_EQ(200U, receiver.messages.size());
    for (unsigned int i = 0; i < 200; ++i) {
        EXPECT_TRUE(*receiver.messages.at({static_cast<int>(i % 7), i / 7}) == *samples[i % samples.size()]);
    }
}

TEST(Receiver, ReportsWhatFailsAndLeavesTheRestAlone) {
    struct Case {
        std::vector<Bytes> chunks;
        std::vector<std::string> errors;
    };
    std::string const incomplete = "1/5 decoder expecting more data after end of buffer";
    std::string const unknown_tag = "1/5 unknown tag found: 09h at byte 1";
    std::string const stray = "1/5 chunk continues no known message";
    std::vector<Case> const cases = {
        {{chunk(true, true, 5, "02 04 84 04 84")}, {incomplete}},
        {{chunk(true, true, 5, "")}, {incomplete}},
        {{chunk(true, true, 5, "02 09")}, {unknown_tag}},
        {{chunk(true, false, 5, "02 09"), chunk(false, false, 5, "09"), chunk(false, true, 5, "82")}, {unknown_tag}},
        {{chunk(true, false, 5, "02 09"), chunk(true, true, 5, whole), chunk(false, true, 5, "")},
         {unknown_tag, stray}},
        {{chunk(false, false, 5, "82"), chunk(false, true, 5, "")}, {stray, stray}},
        {{chunk(true, false, 5, "02 04"), chunk(true, true, 5, whole)}, {incomplete}},
        {{chunk(true, false, 5, whole), chunk(true, true, 5, whole)}, {"1/5 message without a last chunk"}},
        {{chunk(true, true, 5, "02 04 05 07 00 07 63 61 74 61 6C 6F 67 0C 01 85 84 04 84 82")},
         {"1/5 value of type bool accessed as type array"}}};
    for (Case const& c : cases) {
        for (auto const take : {&Receiver::take, &Receiver::take_bytewise}) {
            Receiver receiver;
            (receiver.*take)(1, chunk(true, false, 99, "02 04 84"));
            for (Bytes const& bytes : c.chunks) (receiver.*take)(1, bytes);
            (receiver.*take)(1, chunk(false, true, 99, "04 84 82"));
            EXPECT_EQ(c.errors, receiver.errors);
            EXPECT_EQ(1U, receiver.messages.count({1, 99}));
        }
    }
}

TEST(Receiver, DropsIdleMessagesAndForgetsConnections) {
    Receiver receiver;
    receiver.take(1, chunk(true, false, 5, "02"));
    receiver.take(2, chunk(true, false, 6, "02"));
    receiver.take(3, chunk(true, false, 7, "02"));
    receiver.take(3, {0x00, 0xC0, 0x00});
    receiver.forget(3);
    for (int round = 0; round < 19; ++round) receiver.collect_garbage();
    EXPECT_EQ(0U, receiver.errors.size());
    receiver.take(2, chunk(false, false, 6, "04"));
    receiver.collect_garbage();
    EXPECT_EQ(std::vector<std::string>{"1/5 message dropped: no data since 20 collections of garbage"},
              receiver.errors);
    receiver.take(1, chunk(false, true, 5, "82"));
    EXPECT_EQ("1/5 chunk continues no known message", receiver.errors.back());
    receiver.take(2, chunk(false, true, 6, "84 04 84 82"));
    receiver.take(3, chunk(true, true, 7, whole));
    EXPECT_EQ(2U, receiver.messages.size());
}

/// Complete files of messages that fail, are replaced, age, or whose connection goes.
TEST(Receiver, RemovesTheFilesOfWhatItDrops) {
    std::string const file = "02 04 84 04 05 07 00 01 66 06 04 05 07 00 01 67 15 00 00 00 01 78 ";
    Receiver receiver;
    receiver.take(1, chunk(true, false, 1, file + "09"));
    receiver.take(1, chunk(true, true, 2, file));
    receiver.take(1, chunk(true, false, 3, file));
    receiver.take(1, chunk(true, false, 3, "02"));
    EXPECT_EQ(3U, receiver.errors.size());
    EXPECT_EQ(0, remove_received_files());
    receiver.take(1, chunk(true, false, 4, file));
    for (int round = 0; round < 20; ++round) receiver.collect_garbage();
    EXPECT_EQ(0, remove_received_files());
    receiver.take(1, chunk(true, false, 5, file));
    receiver.forget(1);
    EXPECT_EQ(0, remove_received_files());
    receiver.take(1, chunk(true, true, 6, file + "85 84 86 85 84 82"));
    EXPECT_EQ(1U, receiver.messages.size());
    EXPECT_EQ(1, remove_received_files());
}

TEST(Receiver, SurvivesItsHandlers) {
    Bytes two = chunk(true, true, 1, whole);
    Bytes const second = chunk(true, true, 2, whole);
    two.insert(two.end(), second.begin(), second.end());
    int arrived = 0;
    auto const throw_once = [&](auto&&...) {
        if (++arrived == 1) throw Tm_exception("handler");
    };
    Tm_chunk_receiver throwing(throw_once, nullptr);
    EXPECT_THROWS("handler", throwing.receive(1, two.data(), two.size()));
    throwing.receive(1, nullptr, 0);
    EXPECT_EQ(2, arrived);

    std::unique_ptr<Tm_chunk_receiver> forgetting;
    auto const forget = [&](std::unique_ptr<Message>, int originator, Tm_header const&) {
        ++arrived;
        forgetting->forget(originator);
    };
    forgetting = std::make_unique<Tm_chunk_receiver>(forget, nullptr);
    forgetting->receive(1, two.data(), two.size());
    EXPECT_EQ(3, arrived);
    forgetting->receive(1, second.data(), second.size());
    EXPECT_EQ(4, arrived);
}

}  // namespace
