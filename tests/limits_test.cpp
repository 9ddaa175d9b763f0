/// Input at each limit, and one beyond it.
#include <pthread.h>

#include "support/support.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t stack_size = 8 << 20;  // its frames are larger
#else
constexpr std::size_t stack_size = 1 << 20;
#endif

template <class Number>
Tm_limits limited(Number Tm_limits::*limit, Number most) {
    Tm_limits limits;
    limits.*limit = most;
    return limits;
}
Tm_limits depth(unsigned int most) { return limited(&Tm_limits::max_depth, most); }
Tm_limits bytes(unsigned long most) { return limited(&Tm_limits::max_message_bytes, most); }
Tm_limits file_bytes(unsigned long most) { return limited(&Tm_limits::max_file_bytes, most); }
Tm_limits files(unsigned int most) { return limited(&Tm_limits::max_files, most); }
Tm_limits values(unsigned long most) { return limited(&Tm_limits::max_values, most); }
Tm_limits memory(unsigned long most) { return limited(&Tm_limits::max_memory, most); }

/// Input in hex or as text, and the error. Some tests first pass input that fits.
struct Row {
    Tm_limits limits;
    std::string input;
    std::string error;
    std::string fits = "";
};

/// The beginning of a response, up to the value of a member of its body.
std::string const start = "02 04 84 04 05 07 00 01 61 ";

/// A response with `depth` open groups in all: message, body, as many as fit between, an array.
std::string nested(std::string const& opening, std::string const& closing, unsigned int depth) {
    std::string text = start;
    for (unsigned int i = 3; i < depth; ++i) text += opening;
    text += "06 86 ";
    for (unsigned int i = 3; i < depth; ++i) text += closing;
    return text + "85 84 82";
}
std::string nested_arrays(unsigned int depth) { return nested("06 ", "86 ", depth); }
std::string nested_messages(unsigned int depth) { return nested("02 04 84 04 05 07 00 01 61 ", "85 84 82 ", depth); }
std::string nested_structs(unsigned int depth) { return nested("04 05 07 00 01 61 ", "85 84 ", depth); }

TEST(Limits, HoldForOneMessage) {
    std::string ints;
    for (int i = 0; i < 10; ++i) ints += "11 00 00 00 01 ";
    std::vector<Row> rows = {
        {depth(5), nested_arrays(5), ""},
        {depth(5), nested_arrays(6), "nested deeper than 5 levels: 06h at byte 12"},
        {{}, nested_arrays(1000), ""},
        {{}, nested_arrays(1001), "nested deeper than 1000 levels: 06h at byte 1007"},
        {depth(5), nested_structs(7), "nested deeper than 5 levels: 04h at byte 27"},
        {depth(5), nested_messages(5), "nested deeper than 5 levels: 04h at byte 19"},
        {depth(4), nested_messages(5), "nested deeper than 4 levels: 02h at byte 18"},
        {file_bytes(3), start + "15 00 00 00 04", "file longer than 3 bytes: 15h at byte 9"},
        {bytes(18), start + "06 0C 01 0C 01 86 85 84 82", ""},
        {bytes(13), start + "06 0C 01 0C 01 86 85 84 82", "message longer than 13 bytes: 0Ch at byte 12"},
        {bytes(215), start + "06 " + ints + "0A 00 00 00 C8 " + to_hex(Bytes(200, 'x')) + " 86 85 84 82",
         "message longer than 215 bytes"},
        {values(3), start + "06 0C 01 08 00 00 86 85 84 82", ""},
        {files(1), start + "06 15 00 00 00 00 15 00 00 00 00", "message with more than 1 files: 15h at byte 15"},
        {files(2), start + "06 15 00 00 00 00 15 00 00 00 00", "decoder expecting more data after end of buffer"},
    };
    for (std::string const tag : {"0C", "11", "08", "0A", "15", "06", "04", "02"}) {
        rows.push_back({values(3), start + "06 0C 01 0D 02 " + tag + " 00 00 00 00 00 00",
                        "message with more than 3 values: " + tag + "h at byte 14"});
    }
    for (Row const& row : rows) {
        Bytes const input = from_hex(row.input);
        EXPECT_EQ(row.error, decode(input, 0, row.limits).error);
        MessageChunk chunk(1, 2, row.limits);
        chunk.addBuffer(input.data(), static_cast<unsigned int>(input.size()));
        chunk.finalize();
        EXPECT_EQ(row.error, chunk.error());
    }
    remove_received_files();
}

TEST(Limits, HoldForOneText) {
    std::string many;
    for (int i = 0; i < 20000; ++i) many += "int8_t 1 ";
    for (Row const& row : {
             Row{depth(3), "array {array {array {array {}}}}", "nested deeper than 3 levels"},
             {depth(3), "array {array {array {} array {}}} array {}", ""},
             {bytes(200), std::string(201, ' '), "message longer than 200 bytes"},
             {bytes(200), std::string(200, ' '), ""},
             {file_bytes(3), "array {file 3 abc}", ""},
             {file_bytes(3), "array {file 4 abcd}", "file longer than 3 bytes"},
             {values(3), "array {bool true array {bool true}}", "message with more than 3 values"},
             {memory(100000), "array {" + many + "}", "message takes more than 100000 bytes of memory"},
         }) {
        Tm_tcl_decoder decoder(row.limits);
        decoder.decode(row.input);
        EXPECT_EQ(row.error, decoder.error());
    }
    remove_received_files();
}

/// What fits may come again and again, in pieces and at once. Then one value is beyond the limit.
TEST(Limits, CountEachTopLevelValueAnew) {
    auto const text = binary_of(std::string(300, 'x'));
    std::string const wire = to_hex(encode(Tm_array::of(&text)));
    auto const fault = make_message(Message::TMT_FAULT);
    std::string const faults = to_hex(encode(Tm_array::of(fault.get(), 1, fault.get())));
    for (Row const& row : {
             Row{depth(3), "06 06 06 06", "nested deeper than 3 levels", faults},
             {bytes(307), "06 0C 01 " + wire, "message longer than 307 bytes", wire},
             {bytes(8), "06 0C 01 0C 01 0C 01 0C 01", "message longer than 8 bytes",
              "0C 01 0C 01 0C 01 06 0C 01 0C 01 0C 01 86"},
             {bytes(200), wire, "message longer than 200 bytes"},
             {values(3), "06 06 06 06", "message with more than 3 values", "06 0C 01 0C 01 86 0C 00"},
             {files(1), "06 15 00 00 00 00 15 00 00 00 00", "message with more than 1 files", "15 00 00 00 00"},
             {memory(700), "06 0A 00 00 04 00 " + wire + wire + wire, "message takes more than 700 bytes", wire},
         }) {
        Bytes const fits = from_hex(row.fits + " " + row.fits + " " + row.fits), beyond = from_hex(row.input);
        for (std::size_t const piece : {1U, 50U, 90U, 1000U, 5000U}) {
            Tm_bin_array_decoder decoder(piece < 100 ? 100 : 5000, row.limits);
            feed(decoder, fits, piece);
            EXPECT_EQ("", decoder.error()) << piece;
            feed(decoder, beyond, piece);
            EXPECT_EQ(row.error, decoder.error().substr(0, row.error.size())) << piece;
        }
        Bytes all = fits;
        all.insert(all.end(), beyond.begin(), beyond.end());
        Tm_bin_array_decoder at_once(5000, row.limits);
        feed(at_once, all);
        EXPECT_EQ(row.error, at_once.error().substr(0, row.error.size())) << "at once";
    }
    remove_received_files();
}

TEST(Limits, OfSizesRefuseTheHeadOfAnItem) {
    for (std::string const item : {"11 00 00 00 01", "08 00 01 61", "15 00 00 00 00", "05 07 00 01 61"}) {
        Tm_bin_array_decoder decoder(100, bytes(from_hex(item).size() - (item[0] == '0' ? 2 : 1)));
        feed(decoder, from_hex(item), 1);
        EXPECT_EQ(0U, decoder.error().find("message longer than ")) << item;
        EXPECT_EQ(item.substr(0, 2) + "h at byte 0", decoder.error().substr(decoder.error().size() - 13));
    }
}

/// An end without a begin allows no deeper level later, and what a message leaves open does not count
/// for the next one.
TEST(Limits, HoldForTheDump) {
    std::string const open_message = "02 03 04 84 04 84 82 ", empty = "02 04 84 04 84 82 ";
    std::vector<Row> rows = {
        {depth(3), "06", "nested deeper than 3 levels: 06h at byte 9", "06 06 06 86 86 86 06 06 06"},
        {depth(3), "", "", open_message + open_message + open_message + open_message},
        {bytes(7), "02 04 84 04 0C 01 84 82", "message longer than 7 bytes: 82h at byte", empty + empty + empty},
    };
    for (std::string const opening : {"06 ", "02 ", "03 ", "04 ", "05 07 00 00 "}) {
        rows.push_back(
            {depth(3), opening, "nested deeper than 3 levels", "86 85 83 86 " + opening + opening + opening});
    }
    for (Row const& row : rows) {
        printed_by([&](FILE* stream) {
            Tm_bin_decoder_to_text dump(100, stream, row.limits);
            feed(dump, from_hex(row.fits), 2);
            dump.finalize();
            feed(dump, from_hex(row.fits));
            EXPECT_EQ("", dump.error()) << "counted anew: " << row.fits;
            dump.init();
            feed(dump, from_hex(row.fits));
            feed(dump, from_hex(row.input));
            EXPECT_EQ(row.error, dump.error().substr(0, row.error.size())) << row.fits;
        });
    }
}

/// Little input that takes much memory, without an end.
TEST(Limits, OfMemoryHoldWhileTheInputArrives) {
    std::string const error = "message takes more than 100000 bytes of memory";
    for (std::string const item : {"06 86 ", "04 84 ", "0D 01 ", "02 04 84 04 84 82 ", "08 00 03 61 62 63 ",
                                   "0A 00 00 00 03 61 62 63 ", "04 05 07 00 01 61 "}) {
        for (std::size_t piece : {1U, 1000U}) {
            Tm_bin_decoder decoder(1000, memory(100000));
            feed(decoder, from_hex(start + "06"), piece);
            for (int i = 0; i < 20000 && decoder.error().empty(); ++i) feed(decoder, from_hex(item), piece);
            EXPECT_EQ(error, decoder.error().substr(0, error.size())) << item;
            EXPECT_LT(decoder.memory(), 101000U) << item;
        }
    }
    Tm_bin_decoder decoder(1000, memory(100000));
    feed(decoder, from_hex(start + "0A 7F FF FF FF"));
    for (int i = 0; i < 2000 && decoder.error().empty(); ++i) feed(decoder, Bytes(128, 'x'));
    EXPECT_EQ(error, decoder.error());
}

/// A value that exceeds the memory by more than the overhead of a block is the last one.
TEST(Limits, OfMemoryRefuseTheValueAfterTheLastOne) {
    for (std::string const item : {"15 00 00 00 01 78 ", "04 84 ", "06 86 ", "02 04 84 04 84 82 "}) {
        Tm_bin_decoder measured(1000);
        feed(measured, from_hex(start + "06 "));
        unsigned long const before = measured.memory();
        feed(measured, from_hex(item));
        EXPECT_LT(before + 100, measured.memory()) << item;
        std::string const error =
            decode(from_hex(start + "06 " + item + "0D 01 0D 02 "), 0, memory(measured.memory() - 16)).error;
        EXPECT_NE(std::string::npos, error.find("bytes of memory")) << item << ": " << error;
    }
    remove_received_files();
}

TEST(Limits, OfTheReceiverHoldForEachOriginator) {
    Tm_limits limits;
    limits.max_unfinished = 2;
    limits.max_held_bytes = 20;
    Receiver receiver(limits);
    auto const data = binary_of(std::string(20, 'x'));
    Message message, empty;
    message.add_member(body, "x", &data);
    auto const send = [&](int originator, unsigned int seq_no, std::ptrdiff_t from, std::ptrdiff_t to) {
        auto const chunks = chunks_of(message, seq_no, 10);
        receiver.take_all(originator, {chunks.begin() + from, chunks.begin() + to});
    };
    for (unsigned int seq_no : {1U, 2U, 3U}) send(7, seq_no, 0, 1);
    EXPECT_EQ(rows("7/3 more than 2 unfinished messages"), receiver.errors);
    send(8, 1, 0, 3);
    EXPECT_EQ("8/1 more than 20 bytes in unfinished messages", receiver.errors.back());
    send(8, 1, 3, 4);
    EXPECT_EQ(2U, receiver.errors.size()) << "the rest of a refused message is ignored";
    for (unsigned int seq_no = 10; seq_no < 1000; ++seq_no) send(7, seq_no, 0, 1);
    EXPECT_EQ(992U, receiver.errors.size());
    for (unsigned int seq_no : {10U, 11U}) send(7, seq_no, 1, 2);
    EXPECT_EQ(993U, receiver.errors.size());
    EXPECT_EQ("7/11 chunk continues no known message", receiver.errors.back())
        << "as many are ignored as may be unfinished";
    receiver.forget(7);
    send(7, 1, 0, 2);
    receiver.take_all(8, chunks_of(empty, 5, 100));
    EXPECT_EQ(993U, receiver.errors.size());
    EXPECT_EQ(1U, receiver.messages.size()) << "others go on";

    struct Case {
        unsigned int max_unfinished;
        unsigned long max_held_bytes;
        std::vector<Bytes> chunks;
        Names errors;
    };
    auto const midst = chunks_of(*every_kind_request(), 5, 10);
    for (Case const& row : {
             Case{2, 5, chunks_of(empty, 5, 100), {"8/5 more than 5 bytes in unfinished messages"}},
             {2, 15, {midst[0], midst[1]}, {"8/5 more than 15 bytes in unfinished messages"}},
             {0, 6, chunks_of(empty, 5, 6), {}},
             {0,
              6,
              chunks_of(empty, 5, 5),
              {"8/5 more than 0 unfinished messages", "8/5 chunk continues no known message"}},
         }) {
        limits.max_unfinished = row.max_unfinished;
        limits.max_held_bytes = row.max_held_bytes;
        Receiver one(limits);
        one.take_all(8, row.chunks);
        EXPECT_EQ(row.errors, one.errors);
        EXPECT_EQ(row.errors.empty() ? 1U : 0U, one.messages.size());
    }
}

/// All walks of the deepest messages, on a thread with a stack of 1 MiB.
TEST(Limits, OfDepthFitsASmallStack) {
    auto const walk = [](void*) -> void* {
        for (std::string const& hex : {nested_arrays(1000), nested_structs(1000), nested_messages(500)}) {
            Bytes const wire = from_hex(hex);
            Decoded const decoded = decode(wire);
            EXPECT_EQ("", decoded.error);
            Message const copy(*decoded.message);
            EXPECT_TRUE(copy == *decoded.message);
            EXPECT_EQ(wire, encode(copy));
            EXPECT_EQ(wire.size(), encode_chunks(copy, 1).size());
            EXPECT_LT(1000U, tm_to_json(copy).size());
            EXPECT_LT(1000U, xml_of(copy).size());
            EXPECT_TRUE(Message::from_string(tm_to_text(copy)) == copy);
            EXPECT_TRUE(decoded.message->index_member_names());
            printed_by([&](FILE* stream) {
                Tm_bin_decoder_to_text dump(1 << 20, stream);
                feed(dump, wire);
                EXPECT_EQ("", dump.error());
            });
        }
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, stack_size));
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, &attributes, walk, nullptr));
    pthread_join(thread, nullptr);
}

}  // namespace
