#include <gtest/gtest.h>
#include <malloc.h>
#include <tmsg/tmsg.h>

#include "support/codec.h"
#include "support/recorder.h"
#include "support/samples.h"
#include "support/scratch.h"

namespace {

struct Recording_creator : Recorder_of<Tm_creator_base> {
    bool done() override { return true; }
    bool support_member_with_index() override { return false; }
};

/// The bare event stream of wire bytes.
struct Recording_decoder : Tm_bin_decoder_base {
    explicit Recording_decoder(long capacity) : Tm_bin_decoder_base(capacity) {
        init();
        creator_ = std::make_unique<Recording_creator>();
    }
    std::vector<std::string> const& events() const { return static_cast<Recording_creator&>(*creator_).events; }
};

/// Whole, in pieces of one size, and cut once at every place: same message, same event pieces.
TEST(Decoder, DoesNotMindHowItsInputIsCut) {
    for (auto const& message : sample_messages()) {
        Bytes const bytes = encode(*message);
        for (std::size_t const piece : {0, 1, 2, 3, 7, 127, 128, 129, 1000}) {
            Decoded const decoded = decode(bytes, piece);
            ASSERT_EQ("", decoded.error) << piece;
            ASSERT_TRUE(decoded.all_consumed);
            ASSERT_TRUE(*decoded.message == *message) << piece;
            ASSERT_FALSE(decoded.message->is_clone());
        }
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
            Tm_bin_decoder decoder(4096);
            feed(decoder, Bytes(bytes.begin(), bytes.begin() + static_cast<long>(cut)), 4000);
            feed(decoder, Bytes(bytes.begin() + static_cast<long>(cut), bytes.end()), 4000);
            decoder.finalize();
            ASSERT_EQ("", decoder.error()) << cut;
            ASSERT_TRUE(*decoder.message() == *message) << cut;
        }
    }
}

TEST(Decoder, EmitsTheSamePiecesForEveryCut) {
    Bytes const bytes = encode(*every_kind_request());
    Recording_decoder whole(static_cast<long>(bytes.size()));
    feed(whole, bytes, 0);
    // Every empty string, byte string and name gets an empty piece from the decoder alone.
    EXPECT_EQ(events_of(*every_kind_request()).size() + 3, whole.events().size());
    for (std::size_t const piece : {1, 5, 100}) {
        Recording_decoder cut(100);
        feed(cut, bytes, piece);
        EXPECT_EQ(whole.events(), cut.events()) << piece;
    }
}

TEST(Decoder, PassesAPieceWhenAllOfItIsThere) {
    Bytes bytes = from_hex("08 00 C8");
    bytes.resize(203, 'x');
    Recording_decoder decoder(4096);
    std::size_t const sizes[] = {130, 1, 71, 1};
    std::size_t const events_after[] = {1, 2, 2, 3};
    std::size_t at = 0;
    for (int i = 0; i < 4; ++i) {
        decoder.add_to_buffer(bytes.data() + at, static_cast<long>(sizes[i]));
        at += sizes[i];
        bool const all = decoder.decode();
        EXPECT_EQ(events_after[i], decoder.events().size()) << i;
        EXPECT_EQ(i == 1 || i == 3, all);
        EXPECT_EQ(i == 3 ? 0 : 1, decoder.state());
    }
}

TEST(Decoder, GivesAnEmptyItemItsOnePieceAtOnce) {
    Recording_decoder decoder(100);
    feed(decoder, from_hex("08 00 00"), 0);
    EXPECT_EQ((std::vector<std::string>{"string_begin(0)", "string()"}), decoder.events());
    EXPECT_EQ(0, decoder.state());
    feed(decoder, from_hex("08 00"), 0);
    EXPECT_EQ(3, decoder.read_position());
    EXPECT_EQ(5, decoder.end_position());
}

TEST(Decoder, RefusesAPieceWithoutRoomAndTakesNothing) {
    Tm_bin_decoder decoder(10);
    Bytes const bytes(139, 0x08);
    EXPECT_FALSE(decoder.add_to_buffer(bytes.data(), 139));
    EXPECT_FALSE(decoder.add_to_buffer(bytes.data(), -1));
    EXPECT_EQ(0, decoder.end_position());
    EXPECT_TRUE(decoder.add_to_buffer(bytes.data(), 138));
    EXPECT_FALSE(decoder.add_to_buffer(bytes.data(), 1));
    EXPECT_EQ(138, decoder.end_position());
}

TEST(Decoder, ReportsBrokenAndCutInput) {
    std::string const more = "decoder expecting more data after end of buffer";
    std::string const within = "decoder within string at end of method";
    std::string const left = "data remaining in buffer at end of method";
    std::vector<std::pair<char const*, std::string>> const cases = {
        {"02 04 84 04 09", "unknown tag found: 09h at byte 4"},
        {"8B 00 00 00 00 00 00 00 00", "unknown tag found: 8Bh at byte 0"},
        {"8C 00", "unknown tag found: 8Ch at byte 0"},
        {"02 04 05 08 00 01", "member name not found: 08h at byte 3 should be 07h"},
        {"00 01 00 02 61 62 04 84 04 05 08 00 01", "member name not found: 08h at byte 10 should be 07h"},
        {"02 04 05 07 00 01 61 85", "no values found in member: 85h at byte 7"},
        {"00 01 00 00 09", "unexpected method name continue in method call: 09h at byte 4"},
        {"", more},
        {"00 01 00 02 61 62 04 84 04 84", more},
        {"00 01 00 02 61", within},
        {"00 01 00", left},
        {"02 04 05 07 00", left},
        {"8B 00", left},
        {"02 04 05 07 00 01 61 11 00 00 00", left},
        {"02 04 84 04 84 82", ""}};
    for (auto const& [hex, text] : cases) {
        Tm_bin_decoder decoder(4096);
        for (std::size_t const piece : {0, 1}) {
            feed(decoder, from_hex(hex), piece);
            decoder.finalize();
            EXPECT_EQ(text, decoder.error()) << hex;
            EXPECT_EQ(text.empty() ? 0 : 2, decoder.state()) << hex;
            decoder.init();
        }
    }
    for (int const tag : {0x07, 0x09, 0x16, 0x7F, 0x81, 0x87, 0x95, 0xFF}) {
        Decoded const decoded = decode({static_cast<unsigned char>(tag)});
        EXPECT_EQ("unknown tag found: " + to_hex({static_cast<unsigned char>(tag)}) + "h at byte 0", decoded.error);
    }
}

/// A hostile length costs nothing until its bytes come.
TEST(Decoder, ReservesNoMemoryOnAPromise) {
    Bytes bytes = from_hex("0A FF FF FF FF");
    bytes.resize(300, 'x');
    Tm_bin_array_decoder decoder(4096);
    struct mallinfo2 const before = ::mallinfo2();
    feed(decoder, bytes, 0);
    struct mallinfo2 const after = ::mallinfo2();
    EXPECT_EQ(1, decoder.state());
    EXPECT_LT(after.uordblks + after.hblkhd, before.uordblks + before.hblkhd + 20000);
}

TEST(Decoder, OfAnArrayTakesTopLevelValues) {
    Tm_bin_array_decoder decoder(4096);
    auto const values = every_scalar();
    auto const message = every_kind_request();
    Bytes bytes = encode(values);
    Bytes const more = encode(*message);
    bytes.insert(bytes.end(), more.begin(), more.end());
    bytes.insert(bytes.end(), {0x0C, 0x02});
    feed(decoder, bytes, 100);
    decoder.finalize();
    EXPECT_EQ("", decoder.error());
    ASSERT_EQ(3, decoder.array()->get_member_count());
    EXPECT_TRUE(*decoder.array()->get_member_array(0) == values);
    EXPECT_TRUE(*decoder.array()->get_member_message(1) == *message);
    EXPECT_TRUE(decoder.array()->get_member_bool(2));
    decoder.init();
    EXPECT_EQ(0, decoder.array()->get_member_count());
}

TEST(Decoder, IsReusedAndGivesItsMessageAway) {
    Tm_bin_decoder decoder(4096);
    Bytes const bytes = encode(Message());
    feed(decoder, bytes, 0);
    std::unique_ptr<Message> message(decoder.release_msg());
    EXPECT_EQ(nullptr, decoder.message());
    message.reset();
    feed(decoder, bytes, 0);
    decoder.finalize();
    EXPECT_EQ("", decoder.error());
    decoder.init();
    feed(decoder, from_hex("09"), 0);
    EXPECT_EQ("unknown tag found: 09h at byte 0", decoder.error());
    feed(decoder, bytes, 0);
    EXPECT_EQ("unknown tag found: 09h at byte 0", decoder.error());
    decoder.init();
    feed(decoder, bytes, 0);
    EXPECT_EQ("", decoder.error());
}

}  // namespace
