#include <malloc.h>

#include "support/support.h"

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
    Events const& events() const { return static_cast<Recording_creator&>(*creator_).events; }
};

/// The same message and the same events in pieces of any size.
TEST(Decoder, DoesNotMindHowItsInputIsCut) {
    for (auto const& message : sample_messages()) {
        Bytes const bytes = encode(*message);
        Recording_decoder whole(static_cast<long>(bytes.size()));
        feed(whole, bytes);
        for (std::size_t size = 0; size <= 300; ++size) {
            Decoded const decoded = decode(bytes, size);
            ASSERT_EQ("", decoded.error) << size;
            ASSERT_TRUE(*decoded.message == *message) << size;
            ASSERT_FALSE(decoded.message->is_clone());
            Recording_decoder cut(4096);
            feed(cut, bytes, std::max<std::size_t>(size, 1));
            ASSERT_EQ(whole.events(), cut.events()) << size;
        }
    }
    // Every empty string, byte string and name gets an empty piece from the decoder alone.
    Recording_decoder every(4096);
    feed(every, encode(*every_kind_request()));
    EXPECT_EQ(events_of(*every_kind_request()).size() + 3, every.events().size());
    Recording_creator plain;
    EXPECT_FALSE(plain.visit_member_begin_with_index(1));
    EXPECT_FALSE(plain.visit_member_continue_with_index(1));
}

/// Feeds messages in a row, pieces of `piece` bytes at a time, to a decoder of this capacity. Returns how
/// many of them came back, and `error` says what the last bytes were.
std::size_t messages_in_a_row(std::vector<std::unique_ptr<Message>> const& sent, Bytes const& bytes, std::size_t piece,
                              long capacity) {
    Tm_bin_decoder decoder(capacity);
    std::size_t count = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        at += decoder.feed_message(bytes.data() + at, std::min(piece, bytes.size() - at));
        if (!decoder.is_complete()) continue;
        EXPECT_EQ("", decoder.error());
        decoder.finalize();
        EXPECT_EQ("", decoder.error());
        if (*decoder.message() == *sent.at(count % sent.size())) ++count;
        decoder.init();
    }
    decoder.finalize();
    EXPECT_EQ("decoder expecting more data after end of buffer", decoder.error());
    return count;
}

TEST(Decoder, StopsBehindEachMessageInARow) {
    auto const sent = sample_messages();
    Bytes row;
    for (int i = 0; i < 2; ++i) {
        for (auto const& message : sent) {
            Bytes const bytes = encode(*message);
            row.insert(row.end(), bytes.begin(), bytes.end());
        }
    }
    for (std::size_t piece = 1; piece < 300; piece += 1 + piece / 20) {
        ASSERT_EQ(2 * sent.size(), messages_in_a_row(sent, row, piece, 64)) << piece;
        ASSERT_EQ(2 * sent.size(), messages_in_a_row(sent, row, piece, 4096)) << piece;
    }
    EXPECT_EQ(2 * sent.size(), messages_in_a_row(sent, row, row.size(), 0));
    EXPECT_EQ(2 * sent.size(), messages_in_a_row(sent, row, row.size(), 1 << 20));
    // Damage takes the rest. feed() still refuses a second message.
    Bytes const damaged = from_hex("02 04 84 04 84 82 02 16 02 04");
    Tm_bin_decoder decoder(4096);
    EXPECT_EQ(6U, decoder.feed_message(damaged.data(), damaged.size()));
    decoder.init();
    EXPECT_EQ(4U, decoder.feed_message(damaged.data() + 6, 4));
    EXPECT_FALSE(decoder.is_complete());
    EXPECT_EQ("unknown tag found: 16h at byte 1", decoder.error());
    decoder.init();
    decoder.feed(damaged.data(), damaged.size());
    EXPECT_FALSE(decoder.is_complete());
    EXPECT_EQ(6, decoder.item_offset());
    // A top-level value of any kind ends a message for the array decoder.
    Tm_bin_array_decoder values(4096);
    EXPECT_EQ(5U, values.feed_message(from_hex("11 00 00 00 07 05 84").data(), 7));
    EXPECT_TRUE(values.is_complete());
}

TEST(Decoder, PassesAPieceWhenAllOfItIsThere) {
    Bytes bytes = from_hex("08 00 C8");
    bytes.resize(203, 'x');
    bytes.insert(bytes.end(), {0x08, 0x00, 0x00, 0x08, 0x00});
    Recording_decoder decoder(4096), fed(4096);
    // How much comes, how many events there are then, whether all was taken, and the state.
    std::vector<std::vector<long>> const steps = {{130, 1, 0, 1}, {1, 2, 1, 1}, {35, 2, 0, 1}, {36, 2, 0, 1},
                                                  {1, 3, 1, 0},   {3, 5, 1, 0}, {2, 5, 0, 0}};
    long at = 0;
    for (auto const& step : steps) {
        decoder.add_to_buffer(bytes.data() + at, step[0]);
        bool const all = decoder.decode();
        EXPECT_EQ(all, fed.feed(bytes.data() + at, static_cast<std::size_t>(step[0])));
        EXPECT_EQ(decoder.events(), fed.events());
        at += step[0];
        EXPECT_EQ(step, (std::vector<long>{step[0], static_cast<long>(decoder.events().size()), all, decoder.state()}));
    }
    // An empty item gets its one piece at once.
    EXPECT_EQ((Events{"string_begin(0)", "string()"}), Events(decoder.events().end() - 2, decoder.events().end()));
    EXPECT_EQ(206, decoder.read_position());
    EXPECT_EQ(208, decoder.end_position());
}

TEST(Decoder, RefusesAPieceWithoutRoomAndTakesNothing) {
    Tm_bin_decoder decoder(10);
    Bytes const bytes(139, 0x08);
    for (auto const& [size, position] : {std::pair(139, 0), {-1, 0}, {138, 138}, {1, 138}}) {
        EXPECT_EQ(size == 138, decoder.add_to_buffer(bytes.data(), size));
        EXPECT_EQ(position, decoder.end_position());
    }
}

/// Positions count from the buffer's start, which moves when a piece would pass the capacity.
TEST(Decoder, PacksItsBufferOnlyForAPieceBeyondTheCapacity) {
    for (auto const& [piece, position] : {std::pair(7, "4"), std::pair(8, "1")}) {
        Tm_bin_decoder decoder(10);
        feed(decoder, from_hex("02 04 84"));
        Bytes bytes = from_hex("04 09");
        bytes.resize(static_cast<std::size_t>(piece));
        feed(decoder, bytes);
        EXPECT_EQ(std::string("unknown tag found: 09h at byte ") + position, decoder.error());
    }
}

TEST(Decoder, ReportsBrokenAndCutInput) {
    Names cases = rows("02 04 84 04 09 -> unknown tag found: 09h at byte 4",
                       "8B 00 00 00 00 00 00 00 00 -> unknown tag found: 8Bh at byte 0",
                       "8C 00 -> unknown tag found: 8Ch at byte 0",
                       "02 04 05 08 00 01 -> member name not found: 08h at byte 3 should be 07h",
                       "02 04 05 07 00 01 61 85 -> no values found in member: 85h at byte 7",
                       "00 01 00 00 09 -> unexpected method name continue in method call: 09h at byte 4",
                       "00 01 00 00 04 84 04 84 80 -> unexpected method name continue in method call: 04h at byte 4",
                       "-> decoder expecting more data after end of buffer",
                       "00 01 00 00 -> decoder expecting more data after end of buffer",
                       "00 01 00 02 61 62 04 84 04 84 -> decoder expecting more data after end of buffer",
                       "00 01 00 02 61 -> decoder within string at end of method", "02 04 84 04 84 82 -> ");
    for (std::string const& cut : rows("00 01 00", "02 04 05 07 00", "8B 00", "02 04 05 07 00 01 61 11 00 00 00")) {
        cases.push_back(cut + " -> data remaining in buffer at end of method");
    }
    for (std::string const& tag : rows("07", "09", "16", "7F", "81", "87", "95", "FF")) {
        cases.push_back(tag + " -> unknown tag found: " + tag + "h at byte 0");
    }
    Tm_bin_decoder decoder(4096);
    for (std::string const& row : cases) {
        auto const [bytes, text] = split(row);
        for (std::size_t const piece : {0U, 1U}) {
            feed(decoder, bytes, piece);
            decoder.finalize();
            // What follows changes nothing.
            if (!text.empty()) feed(decoder, encode(Message()));
            EXPECT_EQ(text, decoder.error()) << row;
            EXPECT_EQ(text.empty() ? 0 : 2, decoder.state()) << row;
            decoder.init();
            EXPECT_EQ(0, decoder.item_offset());
        }
    }
}

/// A hostile length costs nothing until its bytes come.
TEST(Decoder, ReservesNoMemoryOnAPromise) {
    Bytes bytes = from_hex("0A FF FF FF FF");
    bytes.resize(300, 'x');
    Tm_bin_array_decoder decoder(4096);
    struct mallinfo2 const before = ::mallinfo2();
    feed(decoder, bytes);
    struct mallinfo2 const after = ::mallinfo2();
    EXPECT_EQ(1, decoder.state());
    EXPECT_LT(after.uordblks + after.hblkhd, before.uordblks + before.hblkhd + 20000);
}

TEST(Decoder, TakesALargeByteStringInOnePiece) {
    auto const sent = binary_of(pattern(9000000));
    Message message;
    message.add_member(body, "bytes", &sent);
    Decoded const decoded = decode(encode(message));
    EXPECT_TRUE(*decoded.message == message) << decoded.error;
}

TEST(Decoder, OfAnArrayTakesTopLevelValues) {
    Tm_bin_array_decoder decoder(4096);
    auto const values = every_scalar();
    Tm_array const expected = Tm_array::of(&values, every_kind_request().get(), true);
    Bytes bytes = encode(expected);
    // Without the array's own tags; any byte but 0 is true.
    bytes.pop_back();
    bytes.back() = 2;
    feed(decoder, Bytes(bytes.begin() + 1, bytes.end()), 100);
    decoder.finalize();
    EXPECT_EQ("", decoder.error());
    EXPECT_TRUE(*decoder.array() == expected);
    decoder.init();
    EXPECT_EQ(0, decoder.array()->get_member_count());
}

TEST(Decoder, GivesItsMessageAwayAndIsUsable) {
    Tm_bin_decoder decoder(4096);
    for (int round = 0; round < 2; ++round) {
        feed(decoder, encode(Message()));
        EXPECT_TRUE(*std::unique_ptr<Message>(decoder.release_msg()) == Message());
        EXPECT_EQ(nullptr, decoder.message());
        // Taken and left alone.
        feed(decoder, from_hex("09"));
        decoder.finalize();
        EXPECT_EQ("", decoder.error());
        decoder.init();
    }
}

}  // namespace
