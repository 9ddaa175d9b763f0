#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <unistd.h>

#include <cstring>

#include "support/codec.h"
#include "support/samples.h"
#include "support/scratch.h"
#include "support/throws.h"

namespace {

template <class... Datum>
std::string wire(Datum const&... datum) {
    Tm_array array;
    array.add_member(datum...);
    Bytes const bytes = encode(array);
    return to_hex(Bytes(bytes.begin() + 1, bytes.end() - 1));
}

TEST(Encoder, WritesEveryKindInNetworkOrder) {
    EXPECT_EQ("0C 01", wire(true));
    EXPECT_EQ("0C 00", wire(false));
    EXPECT_EQ("0D FF", wire(static_cast<signed char>(-1)));
    EXPECT_EQ("0E FF", wire(static_cast<unsigned char>(255)));
    EXPECT_EQ("0F FF FE", wire(static_cast<short>(-2)));
    EXPECT_EQ("10 01 02", wire(static_cast<unsigned short>(0x102)));
    EXPECT_EQ("11 80 00 00 00", wire(std::numeric_limits<int>::min()));
    EXPECT_EQ("12 01 02 03 04", wire(0x1020304U));
    EXPECT_EQ("13 FF FF FF FF FF FF FF FD", wire(-3L));
    EXPECT_EQ("14 00 00 00 00 00 00 00 01", wire(1UL));
    EXPECT_EQ("0B 3F F0 00 00 00 00 00 00", wire(1.0));
    EXPECT_EQ("08 00 00", wire(""));
    EXPECT_EQ("08 00 02 61 62", wire("ab"));
    unsigned char const bytes[] = {0, 255};
    EXPECT_EQ("0A 00 00 00 02 00 FF", wire(bytes, 2));
    Tm_struct const empty(nullptr);
    EXPECT_EQ("04 84", wire(&empty));
    Message const nested;
    EXPECT_EQ("02 04 84 04 84 82", wire(&nested));
    Scratch const scratch;
    EXPECT_EQ("15 00 00 00 03 31 32 33", wire(scratch.file("f", "123"), 0U));
}

TEST(Encoder, WritesTheKindsOfMessages) {
    auto const request = make_message(Message::TMT_REQUEST, "ab");
    request->add_member(Message::TMG_META, "x", 5);
    EXPECT_EQ("00 01 00 02 61 62 04 05 07 00 01 78 11 00 00 00 05 85 84 04 84 80", to_hex(encode(*request)));
    EXPECT_EQ("02 04 84 04 84 82", to_hex(encode(*make_message(Message::TMT_RESPONSE, "ab"))));
    EXPECT_EQ("02 03 04 84 04 84 83 82", to_hex(encode(*make_message(Message::TMT_FAULT))));
    EXPECT_EQ("00 01 00 00 04 84 04 84 80", to_hex(encode(*make_message(Message::TMT_REQUEST))));
}

TEST(Encoder, KnowsTheSizesOfItems) {
    int const sizes[] = {1, -1, 1, 1, 1, 1, 1, -1, -1, -1, -1, 9, 2, 2, 2, 3, 3, 5, 5, 9, 9, -1};
    for (int tag = 0; tag < 256; ++tag) {
        int const index = tag % 128;
        EXPECT_EQ(index < 22 ? sizes[index] : -1, Tm_bin_encoder::tag_size(static_cast<unsigned char>(tag)));
    }
}

/// Every chunk size: all chunks but the last are full, and joined they are the whole encoding.
TEST(Encoder, CutsChunksOfEverySize) {
    for (auto const& message : sample_messages()) {
        Bytes const whole = encode(*message);
        for (int size = 1; size <= 300; ++size) {
            auto const chunks = encode_chunks(*message, size);
            Bytes joined;
            for (std::size_t i = 0; i < chunks.size(); ++i) {
                bool const last = i + 1 == chunks.size();
                ASSERT_TRUE(last || chunks[i].size() == static_cast<std::size_t>(size)) << size;
                joined.insert(joined.end(), chunks[i].begin(), chunks[i].end());
            }
            ASSERT_EQ(whole, joined) << size;
            Decoded const decoded = decode(joined, static_cast<std::size_t>(size));
            ASSERT_EQ("", decoded.error);
            ASSERT_TRUE(*decoded.message == *message);
        }
    }
}

TEST(Encoder, LeavesRoomForAHeaderAndServesManyMessages) {
    Tm_bin_encoder encoder(6, 8);
    EXPECT_EQ(6, encoder.chunk_size());
    EXPECT_EQ(8, encoder.header_size());
    EXPECT_EQ(encoder.buffer() + 8, encoder.data());
    for (int round = 0; round < 2; ++round) {
        std::memset(encoder.buffer(), 0xEE, 8);
        encoder.begin_fill();
        Message const response;
        ASSERT_TRUE(response.accept(encoder));
        EXPECT_EQ(6, encoder.fill_position());
        EXPECT_FALSE(encoder.check_state());
        EXPECT_EQ(0xEE, encoder.buffer()[7]);
        EXPECT_TRUE(encoder.continue_fill());
        EXPECT_EQ(0, encoder.fill_position());
    }
    EXPECT_TRUE(encoder.visit_string_continue(std::string(1000, 'x').data(), 1000));
    EXPECT_EQ(1000, encoder.fill_position());
    EXPECT_FALSE(encoder.visit_bool(true));
    EXPECT_FALSE(encoder.continue_fill());
    EXPECT_EQ(994, encoder.fill_position());
    encoder.init(1000, 0);
    EXPECT_EQ(encoder.buffer(), encoder.data());
    EXPECT_EQ(1000, encoder.chunk_size());
}

TEST(Encoder, RefusesSizesThatMakeNoChunk) {
    EXPECT_EQ("chunk size 0 out of range 1..2147483647", text_thrown_by([] { Tm_bin_encoder encoder(0); }));
    EXPECT_EQ("header size -1 out of range 0..2147483647", text_thrown_by([] { Tm_bin_encoder encoder(1, -1); }));
}

TEST(Encoder, ReportsAFileThatCannotBeRead) {
    Tm_bin_encoder encoder(100);
    EXPECT_TRUE(encoder.visit_file_begin(-1, 5));
    int const before = encoder.fill_position();
    EXPECT_EQ("failed to read from path",
              text_thrown_by<Tm_file_read_exception>([&] { encoder.visit_file_continue(-1, "path", 5); }));
    EXPECT_EQ(before, encoder.fill_position());
}

}  // namespace
