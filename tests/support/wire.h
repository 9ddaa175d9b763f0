/// Messages to bytes and back, whole and in chunks, in one call.
#pragma once

#include <map>
#include <memory>

#include "support/basics.h"

/// The chunks of a value's encoding, without headers.
inline std::vector<Bytes> encode_chunks(Tm_value const& value, int chunk_size) {
    std::vector<Bytes> chunks;
    Tm_bin_encoder encoder(chunk_size);
    tm_encode_pieces(value, encoder, [&](unsigned char const* data, std::size_t size, bool) {
        chunks.emplace_back(data, data + size);
        return true;
    });
    return chunks;
}

inline Bytes encode(Tm_value const& value) {
    Bytes bytes;
    tm_encode_into(bytes, value);
    return bytes;
}

struct Decoded {
    std::unique_ptr<Message> message;
    std::string error;
};

/// Feeds a decoder pieces of the given size, all at once when it is 0.
inline void feed(Tm_bin_decoder_base& decoder, Bytes const& bytes, std::size_t piece = 0) {
    if (piece == 0) piece = bytes.size();
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        decoder.add_to_buffer(bytes.data() + at, static_cast<long>(std::min(piece, bytes.size() - at)));
        decoder.decode();
    }
}

inline Decoded decode(Bytes const& bytes, std::size_t piece = 0, Tm_limits const& limits = {}) {
    Tm_bin_decoder decoder(piece == 0 ? static_cast<long>(bytes.size()) : 4096, limits);
    feed(decoder, bytes, piece);
    decoder.finalize();
    return {std::unique_ptr<Message>(decoder.release_msg()), decoder.error()};
}

/// One chunk of that content, with its header.
inline Bytes chunk(bool is_first, bool is_last, unsigned int seq_no, Bytes const& payload) {
    Tm_header header;
    header.set_first_chunk(is_first);
    header.set_last_chunk(is_last);
    header.set_tmport(3);
    header.set_seq_no(seq_no);
    header.set_length(static_cast<unsigned int>(payload.size()));
    Bytes bytes(sizeof(TM_HEADER) + payload.size());
    std::copy_n(header.record().bytes, sizeof(TM_HEADER), bytes.begin());
    std::copy(payload.begin(), payload.end(), bytes.begin() + sizeof(TM_HEADER));
    return bytes;
}

inline Bytes chunk(bool is_first, bool is_last, unsigned int seq_no, std::string const& hex) {
    return chunk(is_first, is_last, seq_no, from_hex(hex));
}

/// The chunks of a message, with headers.
inline std::vector<Bytes> chunks_of(Message const& message, unsigned int seq_no, int chunk_size,
                                    Tm_chunk_sender::Names names = Tm_chunk_sender::Names::as_built) {
    std::vector<Bytes> chunks;
    auto const keep = [&](unsigned char const* data, std::size_t size) {
        chunks.emplace_back(data, data + size);
        return true;
    };
    EXPECT_TRUE(Tm_chunk_sender(chunk_size).send(message, seq_no, 3, keep, names));
    return chunks;
}

/// A receiver that keeps all it is told.
struct Receiver : Tm_chunk_receiver {
    /// By originator and number.
    std::map<std::pair<int, unsigned int>, std::unique_ptr<Message>> messages;
    Names errors;

    explicit Receiver(Tm_limits const& limits = {})
        : Tm_chunk_receiver(
              [this](std::unique_ptr<Message> message, int originator, Tm_header const& header) {
                  EXPECT_TRUE(header.get_last_chunk());
                  EXPECT_EQ(header.get_seq_no(), message->header.get_seq_no());
                  messages[{originator, header.get_seq_no()}] = std::move(message);
              },
              [this](int originator, unsigned int seq_no, std::string const& text) {
                  errors.push_back(std::to_string(originator) + "/" + std::to_string(seq_no) + " " + text);
              },
              limits) {}

    void take(int originator, Bytes const& bytes) { receive(originator, bytes.data(), bytes.size()); }
    void take_all(int originator, std::vector<Bytes> const& chunks) {
        for (Bytes const& bytes : chunks) take(originator, bytes);
    }
    void take_bytewise(int originator, Bytes const& bytes) {
        for (unsigned char const byte : bytes) receive(originator, &byte, 1);
    }
};

/// Sends one message in chunks, and returns the message that arrives.
inline std::unique_ptr<Message> deliver(Message const& message, int chunk_size = 100,
                                        Tm_chunk_sender::Names names = Tm_chunk_sender::Names::as_built) {
    Receiver receiver;
    receiver.take_all(1, chunks_of(message, 1, chunk_size, names));
    EXPECT_EQ(Names(), receiver.errors);
    return std::move(receiver.messages.at({1, 1}));
}
