/// Whole inputs and outputs in one call, and streams cut at their chunks.
#include "support/support.h"

namespace {

using Step = Tm_chunk_reader::Step;

/// Returns the steps of a reader for a stream in pieces of that size.
Names steps_of(Bytes const& stream, std::size_t piece, Tm_chunk_reader& reader) {
    Names steps;
    Bytes payload;
    for (std::size_t at = 0; at < stream.size(); at += piece) {
        unsigned char const* data = stream.data() + at;
        std::size_t size = std::min(piece, stream.size() - at);
        for (Step step; (step = reader.next(data, size)) != Step::need_input;) {
            std::string const offset = std::to_string(reader.offset());
            if (step == Step::header)
                steps.push_back(offset + " number " + std::to_string(reader.header().get_seq_no()));
            if (step == Step::payload)
                payload.insert(payload.end(), reader.payload(), reader.payload() + reader.payload_size());
            if (step == Step::end) steps.push_back(to_hex(std::exchange(payload, {})) + " up to " + offset);
        }
    }
    return steps;
}

TEST(ChunkReader, CutsAStreamThatComesInAnyPieces) {
    Bytes const stream = from_hex(
        "00 80 00 02 03 00 00 07 02 04 "
        "00 00 00 00 03 00 00 08 "
        "00 40 00 01 03 00 00 07 84 "
        "00 00 00 02");
    for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
        Tm_chunk_reader reader;
        Names const steps = steps_of(stream, piece, reader);
        EXPECT_EQ(rows("0 number 7", "02 04 up to 10", "10 number 8", " up to 18", "18 number 7", "84 up to 27"),
                  steps);
        EXPECT_EQ(std::pair(true, false), std::pair(reader.is_within_header(), reader.is_within_chunk()));
        steps_of(from_hex("03 00 00 09 01"), piece, reader);
        EXPECT_EQ(std::pair(false, true), std::pair(reader.is_within_header(), reader.is_within_chunk()));
        EXPECT_EQ(27U, reader.offset());
    }
}

TEST(Receiver, ReportsIdleMessagesInTheOrderOfTheirConnections) {
    Receiver receiver;
    for (auto const& [originator, seq_no] : {std::pair(2, 0x01), {1, 0x09}, {-3, 0x05}, {1, 0x02}}) {
        receiver.take(originator, chunk(true, false, static_cast<unsigned int>(seq_no), ""));
    }
    for (int round = 0; round < 20; ++round) receiver.collect_garbage();
    for (std::string& error : receiver.errors) error = error.substr(0, error.find(' '));
    EXPECT_EQ(rows("-3/5", "1/2", "1/9", "2/1"), receiver.errors);
}

/// A bare string too, whose last piece may pass the end of a chunk.
TEST(Encode, GivesTheSameBytesInPiecesOfAnySize) {
    Tm_string const text(std::string(128, 'x'));
    auto const message = every_kind_request();
    for (Tm_value const* const value : std::initializer_list<Tm_value const*>{&text, message.get()}) {
        Bytes const expected = encode_chunks(*value, 1 << 20).front();
        Bytes into = {1, 2};
        tm_encode_into(into, *value);
        EXPECT_EQ(expected, Bytes(into.begin() + 2, into.end()));
        for (int const size : {1, 4, 100}) {
            Bytes joined;
            auto const add = [&](unsigned char const* data, std::size_t count) {
                joined.insert(joined.end(), data, data + count);
                return count == static_cast<std::size_t>(size) || joined.size() == expected.size();
            };
            EXPECT_TRUE(tm_encode(*value, add, size));
            EXPECT_EQ(expected, joined) << size;
        }
    }
    int calls = 0;
    auto const stop_at_third = [&](auto...) { return ++calls < 3; };
    EXPECT_FALSE(tm_encode(*message, stop_at_third, 10));
    EXPECT_EQ(3, calls);
}

TEST(Encode, LeavesTheBufferAloneWhenItThrows) {
    Scratch const scratch;
    Tm_array cut = Tm_array::of(std::string(20000, 'x'));
    auto const path = add_cut_file(scratch, [&](auto const& file) { cut.add_file(file); });
    Bytes bytes = {1, 2, 3};
    auto const take = [](auto...) { return true; };
    EXPECT_THROWS("failed to read from " + path, tm_encode_into(bytes, cut));
    EXPECT_THROWS("String length 65536 out of range 0..65535",
                  tm_encode_into(bytes, Tm_struct{{std::string(65536, 'n'), 1}}));
    EXPECT_THROWS("chunk size 0 out of range 1..2147483647", tm_encode(cut, take, 0));
    EXPECT_EQ((Bytes{1, 2, 3}), bytes);
}

TEST(Decode, TakesOneWholeInputOrThrowsAndLeavesNoFile) {
    auto const view = [](Bytes const& bytes) {
        return std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    };
    auto const message = every_kind_request();
    Bytes const wire = encode(*message);
    Tm_bin_decoder decoder(4096);
    tm_decode(decoder, view(wire));
    EXPECT_TRUE(*std::unique_ptr<Message>(decoder.release_msg()) == *message);

    std::string const file = "02 04 84 04 05 07 00 01 66 15 00 00 00 01 78 85 ";
    std::string const index = "02 04 05 07 00 07 63 61 74 61 6C 6F 67 06 86 85 84 04 05 07 00 09 ";
    for (std::string const& row :
         {file + "-> decoder expecting more data after end of buffer",
          file + "08 -> data remaining in buffer at end of method", file + "09 -> unknown tag found: 09h at byte 16"}) {
        decoder.init();
        EXPECT_THROWS(split(row).second, tm_decode(decoder, view(split(row).first)));
    }
    decoder.init();
    Bytes const no_such_name = from_hex(index);
    EXPECT_FALSE(tm_feed(decoder, no_such_name.data(), no_such_name.size()));
    EXPECT_FALSE(tm_feed(decoder, wire.data(), wire.size())) << "the error stays";
    std::string const error = decoder.error();
    decoder.init();
    EXPECT_THROWS(error, tm_decode(decoder, view(no_such_name)));
    Tm_bin_array_decoder values(4096);
    EXPECT_THROWS("unknown tag found: 09h at byte 6", tm_decode(values, view(from_hex("15 00 00 00 01 78 09"))));
    EXPECT_EQ(0, remove_received_files());
}

TEST(ReceivedFiles, AreRemovedFromTheWholeTree) {
    Scratch const scratch;
    std::string const path = scratch.file("f", "content");
    Message inner, message;
    inner.add_member(body, "file", path, 0U);
    Tm_array list = Tm_array::of(&inner);
    list.add_member(path, 0U);
    message.add_member(meta, "file", path, 0U);
    message.add_member(body, "list", &list);
    auto const received = deliver(message);
    Names paths;
    tm_for_each_file(*received, [&](Tm_file const& file) { paths.push_back(file.path()); });
    ASSERT_EQ(3U, paths.size());
    // One is gone, and one is no file any more.
    std::filesystem::remove(paths[0]);
    std::filesystem::remove(paths[1]);
    std::filesystem::create_directory(paths[1]);
    EXPECT_FALSE(tm_remove_received_files(*received));
    EXPECT_FALSE(std::filesystem::exists(paths[2])) << "it went on behind the failure";
    std::filesystem::remove(paths[1]);
    EXPECT_TRUE(tm_remove_received_files(*received));
    EXPECT_TRUE(tm_remove_received_files(paths));
    EXPECT_TRUE(tm_remove_received_files(message));
    EXPECT_EQ("content", content_of(path)) << "it was not received";
}

TEST(Bytes, OfAMessageComeBackAndHaveTheSizeThatIsAnnounced) {
    Scratch const scratch;
    for (std::size_t const size : {0UL, 1000UL, 12000000UL}) {
        std::string const path = scratch.file("f", "");
        std::filesystem::resize_file(path, size);
        auto const message = every_kind_request();
        message->add_member(body, "file", path, 0U);
        std::string out = "before";
        tm_append_bytes(out, *message);
        std::string const bytes = tm_to_bytes(*message);
        EXPECT_EQ("before" + bytes, out);
        EXPECT_EQ(bytes.size(), tm_encoded_size(*message));
        auto const came = tm_from_bytes(bytes);
        EXPECT_EQ(size, came->get_member_file(body, "file")->size());
        EXPECT_EQ(bytes, tm_to_bytes(*came));
        EXPECT_EQ(1, remove_received_files());
    }
}

TEST(Bytes, ThatAreNoMessageThrowAndLeaveNothingBehind) {
    std::string const file = "02 04 84 04 05 07 00 01 66 15 00 00 00 01 78 85 ";
    std::string const more = "decoder expecting more data after end of buffer";
    for (std::string const& row : {"-> " + more, file + "-> " + more,
                                   file + "84 82 00 -> unexpected method call begin in method response: 00h at byte 18",
                                   std::string("0C 01 -> unexpected bool in method: 0Ch at byte 0")}) {
        Bytes const bytes = split(row).first;
        EXPECT_THROWS(split(row).second, tm_from_bytes(std::string(bytes.begin(), bytes.end())));
        EXPECT_EQ(0, remove_received_files());
    }
    Tm_limits limits;
    limits.max_depth = 2;
    EXPECT_THROWS("nested deeper than 2 levels: 06h at byte 55",
                  tm_from_bytes(tm_to_bytes(*every_kind_request()), limits));

    Scratch const scratch;
    Message cut;
    auto const path = add_cut_file(scratch, [&](auto const& made) { cut.add_file(body, "file", made); });
    std::string out = "before";
    EXPECT_THROWS("failed to read from " + path, tm_append_bytes(out, cut));
    EXPECT_EQ("before", out);
}

TEST(Text, OfAWholeValueIsThatOfTheEncoders) {
    Message message = Message::request("add");
    message.add_member(body, "a", 1);
    EXPECT_EQ("request {name \"add\" struct {} struct {\"a\" {int32_t 1 } } } ", tm_to_text(message));
    EXPECT_EQ("{\"name\": \"add\", \"request\": [{}, {\"a\": 1}]}", tm_to_json(message));
    EXPECT_EQ("int32_t 7 ", tm_to_text(Tm_int32(7)));
    EXPECT_EQ("[1, \"x\"]", tm_to_json(Tm_array{1, "x"}));
}

}  // namespace
