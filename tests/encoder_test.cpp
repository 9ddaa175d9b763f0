#include <fcntl.h>

#include <cstring>

#include "support/support.h"

namespace {

template <class... Datum>
std::string wire(Datum const&... datum) {
    std::string const hex = to_hex(encode(Tm_array::of(datum...)));
    return hex.substr(3, hex.size() - 6);
}

TEST(Encoder, WritesEveryKindInNetworkOrder) {
    Scratch const scratch;
    unsigned char const bytes[] = {0, 255};
    Tm_binary const binary(bytes, 2);
    Tm_struct const empty(nullptr);
    Message const nested;
    Tm_file const file(scratch.file("f", "123"), 0);
    EXPECT_EQ("0C 01 0C 00 0D FF 0E FF", wire(true, false, Tm_int8(-1).value(), Tm_uint8(255).value()));
    EXPECT_EQ("0F FF FE 10 01 02", wire(Tm_int16(-2).value(), Tm_uint16(0x102).value()));
    EXPECT_EQ("11 80 00 00 00 12 01 02 03 04", wire(std::numeric_limits<int>::min(), 0x1020304U));
    EXPECT_EQ("13 FF FF FF FF FF FF FF FD 14 00 00 00 00 00 00 00 01", wire(-3L, 1UL));
    EXPECT_EQ("0B 3F F0 00 00 00 00 00 00 08 00 00 08 00 02 61 62", wire(1.0, "", "ab"));
    EXPECT_EQ("0A 00 00 00 02 00 FF 04 84 02 04 84 04 84 82 15 00 00 00 03 31 32 33",
              wire(&binary, &empty, &nested, &file));
}

TEST(Encoder, WritesTheKindsOfMessages) {
    auto const request = make_message(Message::TMT_REQUEST, "ab");
    request->add_member(meta, "x", 5);
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

TEST(Encoder, LeavesRoomForAHeaderAndServesManyMessages) {
    Tm_bin_encoder encoder(6, 8);
    EXPECT_EQ(8, encoder.header_size());
    EXPECT_EQ(encoder.buffer() + 8, encoder.data());
    for (int round = 0; round < 2; ++round) {
        std::memset(encoder.buffer(), 0xEE, 8);
        encoder.begin_fill();
        ASSERT_TRUE(Message().accept(encoder));
        EXPECT_EQ(6, encoder.fill_position());
        EXPECT_FALSE(encoder.check_state());
        EXPECT_EQ(0xEE, encoder.buffer()[7]);
        EXPECT_TRUE(encoder.continue_fill());
        EXPECT_EQ(0, encoder.fill_position());
    }
    EXPECT_TRUE(encoder.visit_string_continue(std::string(1000, 'x').data(), 1000));
    EXPECT_FALSE(encoder.visit_bool(true));
    EXPECT_FALSE(encoder.continue_fill());
    EXPECT_EQ(994, encoder.fill_position());
    encoder.init(1000, 0);
    EXPECT_EQ(encoder.buffer(), encoder.data());
    EXPECT_EQ(1000, encoder.chunk_size());
}

TEST(Encoder, RefusesBadSizesAndFilesThatCannotBeRead) {
    EXPECT_THROWS("chunk size 0 out of range 1..2147483647", Tm_bin_encoder(0));
    EXPECT_THROWS("header size -1 out of range 0..2147483647", Tm_bin_encoder(1, -1));
    Tm_bin_encoder encoder(100);
    EXPECT_TRUE(encoder.visit_file_begin(-1, 5));
    int const before = encoder.fill_position();
    EXPECT_THROWS("failed to read from path", encoder.visit_file_continue(-1, "path", 5));
    EXPECT_EQ(before, encoder.fill_position());
    int const folder = ::open("/", O_RDONLY);
    EXPECT_TRUE(encoder.visit_file_begin(folder, 5));
    EXPECT_THROWS("failed to read from path", encoder.visit_file_continue(folder, "path", 5));
    ::close(folder);
}

/// As a pipe, which is read from where it stands.
TEST(Encoder, ReadsFilesThatHaveNoPositions) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    ASSERT_EQ(6, ::write(ends[1], "abcdef", 6));
    Tm_bin_encoder encoder(100);
    EXPECT_TRUE(encoder.visit_file_begin(ends[0], 6));
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(encoder.visit_file_continue(ends[0], "pipe", 3));
    EXPECT_EQ("15 00 00 00 06 61 62 63 64 65 66", to_hex(Bytes(encoder.data(), encoder.data() + 11)));
    for (int const end : ends) ::close(end);
}

}  // namespace
