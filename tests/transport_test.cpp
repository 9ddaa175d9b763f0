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
    Tm_chunk_sender(chunk_size)
        .send(
            message, seq_no, 3,
            [&](unsigned char const* data, std::size_t size) {
                chunks.emplace_back(data, data + size);
                return true;
            },
            names);
    return chunks;
}

Tm_header header_of(Bytes const& chunk) {
    TM_HEADER record;
    std::copy_n(chunk.begin(), 8, record.bytes);
    Tm_header header;
    header = record;
    return header;
}

/// A receiver that keeps all it is told.
struct Receiver {
    std::map<std::pair<int, unsigned int>, std::unique_ptr<Message>> messages;
    std::vector<std::string> errors;
    Tm_chunk_receiver receiver{
        [this](std::unique_ptr<Message> message, int originator, Tm_header const& header) {
            EXPECT_EQ(header.get_seq_no(), message->header.get_seq_no());
            EXPECT_TRUE(header.get_last_chunk());
            messages[{originator, header.get_seq_no()}] = std::move(message);
        },
        [this](int originator, unsigned int seq_no, std::string const& text) {
            errors.push_back(std::to_string(originator) + "/" + std::to_string(seq_no) + " " +
                             text);
        }};

    void receive(int originator, Bytes const& bytes) {
        receiver.receive(originator, bytes.data(), bytes.size());
    }
};

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

TEST(Sender, FillsHeadersAndChunks) {
    auto const message = every_kind_request();
    Bytes const whole = encode(*message);
    for (int const size : {1, 2, 7, 127, 128, 129, 1000, static_cast<int>(whole.size()), 1048575}) {
        auto const chunks = chunks_of(*message, 0x123456, size);
        Bytes joined;
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            Tm_header const header = header_of(chunks[i]);
            bool const last = i + 1 == chunks.size();
            ASSERT_EQ(i == 0, header.get_first_chunk());
            ASSERT_EQ(last, header.get_last_chunk());
            ASSERT_EQ(chunks[i].size() - 8, header.get_length());
            ASSERT_TRUE(last || header.get_length() == static_cast<unsigned int>(size));
            ASSERT_EQ(0x123456U, header.get_seq_no());
            ASSERT_EQ(3, header.get_tmport());
            ASSERT_EQ(0, header.record().bytes[0]);
            joined.insert(joined.end(), chunks[i].begin() + 8, chunks[i].end());
        }
        ASSERT_EQ(whole, joined) << size;
    }
}

TEST(Sender, StopsWhenTheSinkSaysSoAndServesTheNextMessage) {
    Tm_chunk_sender sender(10);
    int calls = 0;
    EXPECT_FALSE(sender.send(*every_kind_request(), 1, 0,
                             [&](unsigned char const*, std::size_t) { return ++calls < 3; }));
    EXPECT_EQ(3, calls);
    Receiver receiver;
    auto const message = indexed_request();
    EXPECT_TRUE(sender.send(*message, 2, 0, [&](unsigned char const* data, std::size_t size) {
        receiver.receiver.receive(1, data, size);
        return true;
    }));
    EXPECT_TRUE(*receiver.messages.at({1, 2}) == *message);
}

TEST(Sender, RefusesWhatTheWireCannotCarryBeforeTheFirstChunk) {
    std::string const longest(65535, 'n');
    std::string const too_long(65536, 'n');
    auto const send = [](Message const& message) {
        return text_thrown_by<Tm_out_of_range_exception>([&] {
            Tm_chunk_sender(10).send(message, 1, 0, [](auto...) -> bool {
                ADD_FAILURE() << "a chunk was sent";
                return false;
            });
        });
    };
    std::string const text = "String length 65536 out of range 0..65535";
    EXPECT_EQ(text, send(*make_message(Message::TMT_REQUEST, too_long)));
    Tm_struct inner(nullptr);
    inner.add_member(too_long, 1);
    Tm_array array;
    array.add_member(&inner);
    Message nested;
    nested.add_member(Message::TMG_META, "array", &array);
    EXPECT_EQ(text, send(nested));
    Message outer;
    outer.add_member(Message::TMG_BODY, "message", &nested);
    EXPECT_EQ(text, send(outer));

    auto const fitting = make_message(Message::TMT_REQUEST, longest);
    fitting->add_member(Message::TMG_BODY, longest, 1);
    Receiver receiver;
    for (Bytes const& bytes : chunks_of(*fitting, 1, 1024)) receiver.receive(1, bytes);
    EXPECT_TRUE(*receiver.messages.at({1, 1}) == *fitting);
    // The name of a response stays at home.
    EXPECT_EQ(1U, chunks_of(*make_message(Message::TMT_RESPONSE, too_long), 1, 100).size());

    EXPECT_EQ("chunk size 0 out of range 1..1048575",
              text_thrown_by([] { Tm_chunk_sender sender(0); }));
    EXPECT_EQ("chunk size 1048576 out of range 1..1048575",
              text_thrown_by([] { Tm_chunk_sender sender(1048576); }));
}

TEST(Sender, SendsNamesByIndexWhenAsked) {
    auto const message = every_kind_request();
    auto expected = Message(*message);
    expected.index_member_names();
    Receiver receiver;
    for (Bytes const& bytes : chunks_of(*message, 5, 100, Names::by_index))
        receiver.receive(1, bytes);
    EXPECT_TRUE(*receiver.messages.at({1, 5}) == expected);
    EXPECT_FALSE(message->get_use_send_member_string());
}

/// 200 messages of several connections, their chunks in any order between messages, the stream of
/// each connection cut anywhere.
TEST(Receiver, ReassemblesWhatComesInterleaved) {
    std::mt19937 random(20);
    auto const samples = sample_messages();
    struct Sending {
        std::vector<Bytes> chunks;
        std::size_t next;
    };
    std::map<int, std::vector<Sending>> sendings;
    for (unsigned int i = 0; i < 200; ++i) {
        int const size = 1 + static_cast<int>(random() % 400);
        sendings[static_cast<int>(i % 7)].push_back(
            {chunks_of(*samples[i % samples.size()], i / 7, size), 0});
    }
    std::map<int, Bytes> streams;
    for (auto& [originator, open] : sendings) {
        while (!open.empty()) {
            std::size_t const at = random() % open.size();
            Bytes const& bytes = open[at].chunks[open[at].next++];
            streams[originator].insert(streams[originator].end(), bytes.begin(), bytes.end());
            if (open[at].next == open[at].chunks.size())
                open.erase(open.begin() + static_cast<long>(at));
        }
    }
    Receiver receiver;
    while (!streams.empty()) {
        auto const stream =
            std::next(streams.begin(), static_cast<long>(random() % streams.size()));
        std::size_t const size = std::min<std::size_t>(random() % 3000, stream->second.size());
        receiver.receiver.receive(stream->first, stream->second.data(), size);
        stream->second.erase(stream->second.begin(),
                             stream->second.begin() + static_cast<long>(size));
        if (stream->second.empty()) streams.erase(stream);
    }
    EXPECT_EQ(std::vector<std::string>{}, receiver.errors);
    ASSERT_EQ(200U, receiver.messages.size());
    for (unsigned int i = 0; i < 200; ++i) {
        EXPECT_TRUE(*receiver.messages.at({static_cast<int>(i % 7), i / 7}) ==
                    *samples[i % samples.size()]);
    }
}

TEST(Receiver, ReadsAStreamByteByByte) {
    Receiver receiver;
    auto const message = every_kind_request();
    for (Bytes const& bytes : chunks_of(*message, 9, 50)) {
        for (unsigned char const byte : bytes) receiver.receiver.receive(4, &byte, 1);
    }
    EXPECT_TRUE(*receiver.messages.at({4, 9}) == *message);
}

TEST(Receiver, ReportsWhatFailsAndLeavesTheRestAlone) {
    struct Case {
        std::vector<Bytes> chunks;
        std::vector<std::string> errors;
    };
    std::string const whole = "02 04 84 04 84 82";
    std::vector<Case> const cases = {
        {{chunk(true, true, 5, "02 04 84 04 84")},
         {"1/5 decoder expecting more data after end of buffer"}},
        {{chunk(true, true, 5, "")}, {"1/5 decoder expecting more data after end of buffer"}},
        {{chunk(true, false, 5, "02 09"), chunk(false, false, 5, "09"),
          chunk(false, true, 5, "82")},
         {"1/5 unknown tag found: 09h at byte 1"}},
        {{chunk(true, true, 5, "02 09")}, {"1/5 unknown tag found: 09h at byte 1"}},
        {{chunk(false, true, 5, "82")}, {"1/5 chunk continues no known message"}},
        {{chunk(false, false, 5, "82"), chunk(false, true, 6, "")},
         {"1/5 chunk continues no known message", "1/6 chunk continues no known message"}},
        {{chunk(true, false, 5, "02 04"), chunk(true, true, 5, whole)},
         {"1/5 decoder expecting more data after end of buffer"}},
        {{chunk(true, false, 5, whole), chunk(true, true, 5, whole)},
         {"1/5 message without a last chunk"}},
        {{chunk(true, false, 5, "02 09"), chunk(true, true, 5, whole), chunk(false, true, 5, "82")},
         {"1/5 unknown tag found: 09h at byte 1", "1/5 chunk continues no known message"}},
        {{chunk(true, true, 5, "02 04 05 07 00 07 63 61 74 61 6C 6F 67 0C 01 85 84 04 84 82")},
         {"1/5 value of type bool accessed as type array"}},
    };
    for (Case const& c : cases) {
        for (bool const bytewise : {false, true}) {
            Receiver receiver;
            auto const feed = [&](Bytes const& bytes) {
                if (!bytewise) return receiver.receive(1, bytes);
                for (unsigned char const byte : bytes) receiver.receiver.receive(1, &byte, 1);
            };
            feed(chunk(true, false, 99, "02 04 84"));
            for (Bytes const& bytes : c.chunks) feed(bytes);
            feed(chunk(false, true, 99, "04 84 82"));
            EXPECT_EQ(c.errors, receiver.errors);
            EXPECT_EQ(1U, receiver.messages.count({1, 99}));
        }
    }
}

TEST(Receiver, DropsAndReportsIdleMessages) {
    Receiver receiver;
    receiver.receive(1, chunk(true, false, 5, "02"));
    receiver.receive(2, chunk(true, false, 6, "02"));
    for (int round = 0; round < 19; ++round) receiver.receiver.collect_garbage();
    EXPECT_EQ(0U, receiver.errors.size());
    receiver.receive(2, chunk(false, false, 6, "04"));
    receiver.receiver.collect_garbage();
    ASSERT_EQ(1U, receiver.errors.size());
    EXPECT_EQ("1/5 message dropped: no data since 20 collections of garbage", receiver.errors[0]);
    receiver.receive(1, chunk(false, true, 5, "82"));
    EXPECT_EQ("1/5 chunk continues no known message", receiver.errors.back());
    receiver.receive(2, chunk(false, true, 6, "84 04 84 82"));
    EXPECT_EQ(1U, receiver.messages.count({2, 6}));
}

TEST(Receiver, ForgetsAConnection) {
    Receiver receiver;
    receiver.receive(1, chunk(true, false, 5, "02"));
    Bytes const half = chunk(true, true, 6, "02 04 84 04 84 82");
    receiver.receive(1, Bytes(half.begin(), half.begin() + 5));
    receiver.receiver.forget(1);
    receiver.receive(1, half);
    EXPECT_EQ(1U, receiver.messages.count({1, 6}));
    for (int round = 0; round < 21; ++round) receiver.receiver.collect_garbage();
    EXPECT_EQ(0U, receiver.errors.size());
}

TEST(Receiver, SurvivesItsHandlers) {
    Bytes two = chunk(true, true, 1, "02 04 84 04 84 82");
    Bytes const second = chunk(true, true, 2, "02 04 84 04 84 82");
    two.insert(two.end(), second.begin(), second.end());
    int arrived = 0;
    Tm_chunk_receiver throwing(
        [&](std::unique_ptr<Message>, int, Tm_header const&) {
            if (++arrived == 1) throw Tm_exception("handler");
        },
        nullptr);
    EXPECT_EQ("handler", text_thrown_by([&] { throwing.receive(1, two.data(), two.size()); }));
    throwing.receive(1, nullptr, 0);
    EXPECT_EQ(2, arrived);

    arrived = 0;
    Tm_chunk_receiver* self = nullptr;
    Tm_chunk_receiver forgetting(
        [&](std::unique_ptr<Message>, int originator, Tm_header const&) {
            ++arrived;
            self->forget(originator);
        },
        nullptr);
    self = &forgetting;
    forgetting.receive(1, two.data(), two.size());
    EXPECT_EQ(1, arrived);
    forgetting.receive(1, second.data(), second.size());
    EXPECT_EQ(2, arrived);
    EXPECT_EQ(0, remove_received_files());
}

}  // namespace
