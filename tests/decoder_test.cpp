#include <gtest/gtest.h>
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
    std::vector<std::string> const& events() const {
        return static_cast<Recording_creator&>(*creator_).events;
    }
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

struct Error_case {
    char const* bytes;
    char const* text;
};

void expect_errors(std::vector<Error_case> const& cases) {
    for (Error_case const& c : cases) {
        Bytes const bytes = from_hex(c.bytes);
        Tm_bin_decoder decoder(4096);
        for (int round = 0; round < 2; ++round) {
            feed(decoder, bytes, static_cast<std::size_t>(round));
            decoder.finalize();
            EXPECT_EQ(c.text, decoder.error()) << c.bytes;
            EXPECT_EQ(*c.text == '\0' ? 0 : 2, decoder.state()) << c.bytes;
            decoder.init();
        }
    }
}

TEST(Decoder, ReportsBrokenItems) {
    expect_errors({
        {"02 04 84 04 09", "unknown tag found: 09h at byte 4"},
        {"81", "unknown tag found: 81h at byte 0"},
        {"07", "unknown tag found: 07h at byte 0"},
        {"16", "unknown tag found: 16h at byte 0"},
        {"7F", "unknown tag found: 7Fh at byte 0"},
        {"87", "unknown tag found: 87h at byte 0"},
        {"95", "unknown tag found: 95h at byte 0"},
        {"FF", "unknown tag found: FFh at byte 0"},
        {"8B 00 00 00 00 00 00 00 00", "unknown tag found: 8Bh at byte 0"},
        {"8C 00", "unknown tag found: 8Ch at byte 0"},
        {"02 04 05 08 00 01", "member name not found: 08h at byte 3 should be 07h"},
        {"00 01 00 02 61 62 04 84 04 05 08 00 01",
         "member name not found: 08h at byte 10 should be 07h"},
    });
}

TEST(Decoder, ReportsAnInputThatEndsTooEarly) {
    expect_errors({
        {"", "decoder expecting more data after end of buffer"},
        {"00 01 00 02 61 62 04 84 04 84", "decoder expecting more data after end of buffer"},
        {"00 01 00 02 61", "decoder within string at end of method"},
        {"00 01 00", "data remaining in buffer at end of method"},
        {"02 04 05 07 00", "data remaining in buffer at end of method"},
        {"8B 00", "data remaining in buffer at end of method"},
        {"02 04 05 07 00 01 61 11 00 00 00", "data remaining in buffer at end of method"},
        {"02 04 84 04 84 82", ""},
    });
}

TEST(Decoder, ReportsWhatTheCreatorRejects) {
    expect_errors({
        {"84", "unexpected struct end in method: 84h at byte 0"},
        {"11 00 00 00 01", "unexpected int32 in method: 11h at byte 0"},
        {"00 84", "unexpected struct end in method call: 84h at byte 1"},
        {"02 01 00 01 61", "method name found in method response: 01h at byte 1"},
        {"00 01 00 00 04", "unexpected method name continue in method call: 04h at byte 4"},
        {"00 01 00 00 09", "unexpected method name continue in method call: 09h at byte 4"},
        {"00 01 00 00", "decoder expecting more data after end of buffer"},
        {"00 80", "unexpected method call end in method call (no structs found): 80h at byte 1"},
        {"00 04 84 80",
         "unexpected method call end in method call (only one struct found): 80h at byte 3"},
        {"02 04 84 04 84 82 04", "unexpected struct begin in method response: 04h at byte 6"},
        {"02 04 05 07 00 01 61 85", "no values found in member: 85h at byte 7"},
        {"02 04 05 07 00 01 61 0C 01 11 00 00 00 01", "unexpected int32 in member: 11h at byte 9"},
    });
}

/// A hostile length costs nothing until its bytes come.
TEST(Decoder, ReservesNoMemoryOnAPromise) {
    Tm_bin_array_decoder decoder(4096);
    Bytes bytes = from_hex("0A FF FF FF FF");
    bytes.resize(300, 'x');
    feed(decoder, bytes, 0);
    EXPECT_EQ("", decoder.error());
    EXPECT_EQ(1, decoder.state());
    EXPECT_EQ(0, decoder.array()->get_member_count());
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
    // The sample holds no NaN, so equality holds for every scalar.
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
