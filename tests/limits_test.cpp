/// Input at each limit, and one beyond it.
#include <pthread.h>

#include "support/text.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t stack_size = 8 << 20;  // its frames are larger
#else
constexpr std::size_t stack_size = 1 << 20;
#endif

/// A response with `depth` open groups in all: message, body, as many as fit between, an array.
Bytes nested_wire(std::string const& opening, std::string const& closing, unsigned int depth) {
    std::string text = "02 04 84 04 05 07 00 01 61 ";
    for (unsigned int i = 3; i < depth; ++i) text += opening;
    text += "06 86 ";
    for (unsigned int i = 3; i < depth; ++i) text += closing;
    return from_hex(text + "85 84 82");
}

Bytes nested_arrays(unsigned int depth) { return nested_wire("06 ", "86 ", depth); }
Bytes nested_messages(unsigned int depth) { return nested_wire("02 04 84 04 05 07 00 01 61 ", "85 84 82 ", depth); }
Bytes nested_structs(unsigned int depth) { return nested_wire("04 05 07 00 01 61 ", "85 84 ", depth); }

std::string error_of(Bytes const& bytes, Tm_limits const& limits) {
    Tm_bin_decoder decoder(static_cast<long>(bytes.size()), limits);
    feed(decoder, bytes);
    decoder.finalize();
    return decoder.error();
}

std::string list_error_of(std::string const& text, Tm_limits const& limits) {
    Tm_tcl_decoder decoder(limits);
    decoder.decode(text);
    remove_received_files();
    return decoder.error();
}

TEST(Limits, OfDepthCountsOpenStructsArraysAndMessages) {
    Tm_limits limits;
    limits.max_depth = 5;
    std::string const error = "nested deeper than 5 levels";
    EXPECT_EQ("", error_of(nested_arrays(5), limits));
    EXPECT_EQ(error + ": 06h at byte 12", error_of(nested_arrays(6), limits));
    EXPECT_EQ("nested deeper than 1000 levels: 06h at byte 1007", error_of(nested_arrays(1001), {}));
    EXPECT_EQ("", error_of(nested_arrays(1000), {}));
    EXPECT_EQ(error + ": 04h at byte 27", error_of(nested_structs(7), limits));
    EXPECT_EQ(error + ": 04h at byte 19", error_of(nested_messages(5), limits));
    limits.max_depth = 4;
    EXPECT_EQ("nested deeper than 4 levels: 02h at byte 18", error_of(nested_messages(5), limits));
    Bytes const nested =
        encode(array_of(make_message(Message::TMT_FAULT).get(), 1, make_message(Message::TMT_FAULT).get()));
    limits.max_depth = 3;
    Tm_bin_array_decoder siblings(100, limits);
    feed(siblings, nested);
    EXPECT_EQ("", siblings.error()) << "what has ended does not count";
    EXPECT_EQ("nested deeper than 3 levels", list_error_of("array {array {array {array {}}}}", limits));
    EXPECT_EQ("", list_error_of("array {array {array {} array {}}} array {}", limits));
    MessageChunk chunk(1, 2, limits);
    Bytes const deep = nested_arrays(4);
    chunk.addBuffer(deep.data(), static_cast<unsigned int>(deep.size()));
    EXPECT_EQ(0U, chunk.error().find("nested deeper than 3 levels: "));
    feed(siblings, from_hex("06 06 06 06"));
    EXPECT_EQ(0U, siblings.error().find("nested deeper than 3 levels: 06h at byte "));
    printed_by([&](FILE* stream) {
        Tm_bin_decoder_to_text dump(100, stream, limits);
        feed(dump, from_hex("06 06 06 86 86 86 06 06 06"));
        EXPECT_EQ("", dump.error());
        feed(dump, from_hex("06"));
        EXPECT_EQ("nested deeper than 3 levels: 06h at byte 9", dump.error());
        // An end without a begin allows no deeper level later. Every kind of level has the limit.
        for (std::string const opening : {"06 ", "02 ", "03 ", "04 ", "05 07 00 00 "}) {
            dump.init();
            feed(dump, from_hex("86 85 83 86 " + opening + opening + opening));
            EXPECT_EQ("", dump.error());
            dump.finalize();
            feed(dump, from_hex(opening + opening + opening));
            EXPECT_EQ("", dump.error()) << "counted anew";
            feed(dump, from_hex(opening));
            EXPECT_EQ(0U, dump.error().find("nested deeper than 3 levels: ")) << opening;
        }
        dump.init();
        for (int i = 0; i < 9; ++i) feed(dump, from_hex("02 03 04 84 04 84 82"));
        EXPECT_EQ("", dump.error()) << "what a message leaves open does not count for the next one";
    });
}

TEST(Limits, OfSizesCountBytesOfOneMessage) {
    Tm_limits limits;
    auto const bytes = binary_of(std::string(300, 'x'));
    Bytes const wire = encode(array_of(&bytes));
    limits.max_message_bytes = wire.size();
    Tm_bin_array_decoder decoder(100, limits);
    for (int round = 0; round < 3; ++round) {
        feed(decoder, wire, 7);
        EXPECT_EQ("", decoder.error()) << "each top-level value counts from 0";
    }
    EXPECT_EQ(3, decoder.array()->get_member_count());
    feed(decoder, from_hex("06 0C 01"));
    feed(decoder, wire, 7);
    EXPECT_EQ("message longer than 307 bytes", decoder.error());
    Tm_bin_array_decoder at_once(1000, limits);
    Bytes behind_others = from_hex("11 00 00 00 01 11 00 00 00 02 06 0C 01");
    behind_others.insert(behind_others.end(), wire.begin(), wire.end());
    feed(at_once, behind_others);
    EXPECT_EQ("message longer than 307 bytes", at_once.error()) << "in one piece, too";
    for (std::string const item : {"11 00 00 00 01", "08 00 01 61", "15 00 00 00 00", "05 07 00 01 61"}) {
        limits.max_message_bytes = from_hex(item).size() - (item[0] == '0' ? 2 : 1);
        Tm_bin_array_decoder head(100, limits);
        feed(head, from_hex(item), 1);
        EXPECT_EQ(0U, head.error().find("message longer than ")) << item;
        EXPECT_EQ(item.substr(0, 2) + "h at byte 0", head.error().substr(head.error().size() - 13));
    }
    printed_by([&](FILE* stream) {
        Bytes const empty = encode(Message());
        limits.max_message_bytes = empty.size() + 1;
        Tm_bin_decoder_to_text dump(100, stream, limits);
        for (int round = 0; round < 3; ++round) {
            feed(dump, empty, 2);
            EXPECT_EQ("", dump.error()) << "and each message";
        }
        feed(dump, from_hex("02 04 84 04 0C 01 84 82"));
        EXPECT_EQ(0U, dump.error().find("message longer than 7 bytes: 82h at byte"));
    });
    limits.max_message_bytes = 200;
    for (std::size_t piece : {1U, 50U, 90U}) {
        Tm_bin_array_decoder cut(100, limits);
        feed(cut, wire, piece);
        EXPECT_EQ("message longer than 200 bytes", cut.error());
    }
    EXPECT_EQ("message longer than 200 bytes", list_error_of(std::string(201, ' '), limits));
    EXPECT_EQ("", list_error_of(std::string(200, ' '), limits));
    limits.max_file_bytes = 3;
    EXPECT_EQ("", list_error_of("array {file 3 abc}", limits));
    EXPECT_EQ("file longer than 3 bytes", list_error_of("array {file 4 abcd}", limits));
    EXPECT_EQ("file longer than 3 bytes: 15h at byte 9",
              error_of(from_hex("02 04 84 04 05 07 00 01 61 15 00 00 00 04"), limits));
}

TEST(Limits, OfValuesAndFilesCountThoseOfOneMessage) {
    Tm_limits limits;
    limits.max_values = 3;
    EXPECT_EQ("", error_of(from_hex("02 04 84 04 05 07 00 01 61 06 0C 01 08 00 00 86 85 84 82"), limits));
    std::string const error = "message with more than 3 values";
    for (std::string const item : {"0C", "11", "08", "0A", "15", "06", "04", "02"}) {
        Bytes const wire = from_hex("02 04 84 04 05 07 00 01 61 06 0C 01 0D 02 " + item + " 00 00 00 00 00 00");
        EXPECT_EQ(error + ": " + item + "h at byte 14", error_of(wire, limits));
    }
    EXPECT_EQ(error, list_error_of("array {bool true array {bool true}}", limits));
    Tm_bin_array_decoder each(100, limits);
    for (int round = 0; round < 3; ++round) feed(each, from_hex("06 0C 01 0C 01 86 0C 00"));
    EXPECT_EQ("", each.error()) << "each top-level value counts from 0";
    limits = {};
    limits.max_files = 1;
    Bytes const files = from_hex("02 04 84 04 05 07 00 01 61 06 15 00 00 00 00 15 00 00 00 00");
    EXPECT_EQ("message with more than 1 files: 15h at byte 15", error_of(files, limits));
    limits.max_files = 2;
    EXPECT_EQ("decoder expecting more data after end of buffer", error_of(files, limits));
    remove_received_files();
}

/// Little input that takes much memory, without an end.
TEST(Limits, OfMemoryHoldWhileTheInputArrives) {
    Tm_limits limits;
    limits.max_memory = 100000;
    std::string const error = "message takes more than 100000 bytes of memory";
    for (std::string const item : {"06 86 ", "04 84 ", "0D 01 ", "02 04 84 04 84 82 ", "08 00 03 61 62 63 ",
                                   "0A 00 00 00 03 61 62 63 ", "04 05 07 00 01 61 "}) {
        Bytes wire = from_hex("02 04 84 04 05 07 00 01 61 06 ");
        Bytes const one = from_hex(item);
        for (std::size_t piece : {1U, 1000U}) {
            Tm_bin_decoder decoder(1000, limits);
            feed(decoder, wire, piece);
            for (int i = 0; i < 20000 && decoder.error().empty(); ++i) feed(decoder, one, piece);
            EXPECT_EQ(error, decoder.error().substr(0, error.size())) << item;
            EXPECT_LT(decoder.memory(), 101000U) << item;
        }
    }
    Bytes const long_bytes = from_hex("02 04 84 04 05 07 00 01 61 0A 7F FF FF FF ");
    Tm_bin_decoder decoder(1000, limits);
    feed(decoder, long_bytes);
    for (int i = 0; i < 2000 && decoder.error().empty(); ++i) feed(decoder, Bytes(128, 'x'));
    EXPECT_EQ(error, decoder.error());
    std::string many;
    for (int i = 0; i < 20000; ++i) many += "int8_t 1 ";
    EXPECT_EQ(error, list_error_of("array {" + many + "}", limits));
}

/// A value that exceeds the memory by more than the overhead of a block is the last one.
TEST(Limits, OfMemoryRefuseTheValueAfterTheLastOne) {
    std::string const array = "02 04 84 04 05 07 00 01 61 06 ";
    for (std::string const item : {"15 00 00 00 01 78 ", "04 84 ", "06 86 ", "02 04 84 04 84 82 "}) {
        Tm_bin_decoder measured(1000);
        feed(measured, from_hex(array + item));
        Tm_limits limits;
        limits.max_memory = measured.memory() - 16;
        std::string const error = error_of(from_hex(array + item + "0D 01 0D 02 "), limits);
        EXPECT_NE(std::string::npos, error.find("bytes of memory")) << item << ": " << error;
    }
    remove_received_files();
}

TEST(Limits, OfTheReceiverHoldForEachOriginator) {
    Names errors;
    int finished = 0;
    Tm_limits limits;
    limits.max_unfinished = 2;
    limits.max_held_bytes = 20;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message>, int, Tm_header const&) { ++finished; },
        [&](int originator, unsigned int seq_no, std::string const& text) {
            errors.push_back(std::to_string(originator) + "/" + std::to_string(seq_no) + " " + text);
        },
        limits);
    auto const send = [&](int originator, unsigned int seq_no, std::size_t from, std::size_t to) {
        Message message;
        auto const bytes = binary_of(std::string(20, 'x'));
        message.add_member(body, "x", &bytes);
        for (Bytes const& chunk : chunks_of(message, seq_no, 10)) {
            if (from > 0)
                --from, --to;
            else if (to > 0)
                --to, receiver.receive(originator, chunk.data(), chunk.size());
        }
    };
    for (unsigned int seq_no : {1U, 2U, 3U}) send(7, seq_no, 0, 1);
    EXPECT_EQ(Names({"7/3 more than 2 unfinished messages"}), errors);
    send(8, 1, 0, 2);
    send(8, 1, 2, 3);
    EXPECT_EQ("8/1 more than 20 bytes in unfinished messages", errors.back());
    send(8, 1, 3, 4);
    EXPECT_EQ(2U, errors.size()) << "the rest of a refused message is ignored";
    for (unsigned int seq_no = 10; seq_no < 1000; ++seq_no) send(7, seq_no, 0, 1);
    EXPECT_EQ(992U, errors.size());
    for (unsigned int seq_no : {10U, 999U}) send(7, seq_no, 1, 2);
    EXPECT_EQ("7/999 chunk continues no known message", errors.back()) << "as many are ignored as may be unfinished";
    receiver.forget(7);
    send(7, 1, 0, 2);
    EXPECT_EQ(993U, errors.size());
    Message const empty;
    for (Bytes const& chunk : chunks_of(empty, 5, 100)) receiver.receive(8, chunk.data(), chunk.size());
    EXPECT_EQ(1, finished) << "others go on";
    limits.max_held_bytes = encode(empty).size() - 1;
    Tm_chunk_receiver tight(
        {}, [&](int, unsigned int, std::string const& text) { errors.push_back(text); }, limits);
    for (Bytes const& chunk : chunks_of(empty, 5, 100)) tight.receive(8, chunk.data(), chunk.size());
    EXPECT_EQ("more than 5 bytes in unfinished messages", errors.back());
    limits.max_held_bytes = 15;
    Receiver odd(limits);
    for (Bytes const& chunk : {chunks_of(*every_kind_request(), 5, 10)[0], chunks_of(*every_kind_request(), 5, 10)[1]})
        odd.take(8, chunk);
    EXPECT_EQ(rows("8/5 more than 15 bytes in unfinished messages"), odd.errors) << "in the midst of a chunk";
    limits.max_unfinished = 0;
    limits.max_held_bytes = 6;
    Tm_chunk_receiver whole([&](auto...) { ++finished; }, {}, limits);
    for (int const size : {6, 5}) {
        for (Bytes const& chunk : chunks_of(empty, 5, size)) whole.receive(8, chunk.data(), chunk.size());
    }
    EXPECT_EQ(2, finished) << "one of a single chunk is never unfinished";
}

/// All walks of the deepest messages, on a thread with a stack of 1 MiB.
TEST(Limits, OfDepthFitsASmallStack) {
    auto const walk = [](void*) -> void* {
        for (Bytes const& bytes : {nested_arrays(1000), nested_structs(1000), nested_messages(500)}) {
            Decoded const decoded = decode(bytes);
            EXPECT_EQ("", decoded.error);
            Message const copy(*decoded.message);
            EXPECT_TRUE(copy == *decoded.message);
            EXPECT_EQ(bytes, encode(copy));
            EXPECT_EQ(bytes.size(), encode_chunks(copy, 1).size());
            EXPECT_LT(1000U, text_of<Tm_json_encoder>(copy).size());
            Tm_xml_file_size_encoder xml(1 << 20);
            EXPECT_TRUE(copy.accept(xml));
            EXPECT_TRUE(Message::from_string(text_of<Tm_tcl_encoder>(copy)) == copy);
            EXPECT_TRUE(decoded.message->index_member_names());
            printed_by([&](FILE* stream) {
                Tm_bin_decoder_to_text dump(1 << 20, stream);
                feed(dump, bytes);
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
