#include "read_message.h"

#include <tmsg/tmsg.h>

#include "chunk_input.h"
#include "dump.h"
#include "failure.h"

namespace {

/// Takes note of the files that a decoder has made, however its use ends.
template <class Decoder, std::vector<std::string> const& (Decoder::*Paths)() const>
class Files_of {
public:
    Files_of(Decoder const& decoder, Temporary_files& files) : decoder_(decoder), files_(files) {}
    ~Files_of() { files_.add((decoder_.*Paths)()); }
    Files_of(Files_of const&) = delete;
    Files_of& operator=(Files_of const&) = delete;

private:
    Decoder const& decoder_;
    Temporary_files& files_;
};

void throw_if(std::string const& error) {
    if (!error.empty()) throw Failure(error);
}

std::unique_ptr<Message> read_list_text(Input& input, Temporary_files& files,
                                        Tm_limits const& limits) {
    std::string const text = input.read_all(limits.max_message_bytes);
    Tm_tcl_decoder decoder(limits);
    Files_of<Tm_tcl_decoder, &Tm_tcl_decoder::received_files> const guard(decoder, files);
    decoder.decode(text);
    throw_if(decoder.error());
    Tm_value const& value = *decoder.get_value();
    if (value.get_value_type() != TMV_MESSAGE) {
        throw Failure("message expected but not found in: " + text);
    }
    if (decoder.values()->get_member_count() > 1) throw Failure("text follows the message");
    return std::make_unique<Message>(static_cast<Message const&>(value));
}

std::unique_ptr<Message> read_wire(Input& input, Temporary_files& files, Tm_limits const& limits,
                                   Dump* dump) {
    // What is left undecoded fits into the room that a decoder has beyond its capacity.
    Tm_bin_decoder decoder(input_block, limits);
    Files_of<Tm_bin_decoder, &Tm_bin_decoder::received_files> const guard(decoder, files);
    unsigned char block[input_block];
    for (std::size_t got = 0; (got = input.read(block, sizeof block)) != 0;) {
        decoder.add_to_buffer(block, static_cast<long>(got));
        decoder.decode();
        throw_if(decoder.error());
        if (dump != nullptr) dump->add(block, got);
    }
    decoder.finalize();
    throw_if(decoder.error());
    return std::unique_ptr<Message>(decoder.release_msg());
}

/// The chunk goes on with the one message that is read, or begins it.
void check_order(Chunk const& chunk, MessageChunk const* message) {
    bool const is_first = chunk.header.get_first_chunk();
    if (message == nullptr && !is_first) throw Failure("chunk continues no known message");
    if (message == nullptr) return;
    if (chunk.header.get_seq_no() != message->getSeqNo()) {
        throw Failure("another message in the chunk at byte " + std::to_string(chunk.offset));
    }
    if (is_first) throw Failure("message without a last chunk");
}

std::unique_ptr<Message> read_chunks(Input& input, Temporary_files& files,
                                     Tm_limits const& limits) {
    std::unique_ptr<MessageChunk> message;
    using Guard = Files_of<MessageChunk, &MessageChunk::receivedFiles>;
    std::unique_ptr<Guard> guard;
    for (Chunk chunk; read_chunk_header(input, chunk);) {
        check_order(chunk, message.get());
        if (message == nullptr) {
            message = std::make_unique<MessageChunk>(chunk.header.get_seq_no(), 0, limits);
            guard = std::make_unique<Guard>(*message, files);
        }
        read_chunk_payload(input, chunk, [&](unsigned char const* data, std::size_t size) {
            message->addBuffer(data, static_cast<unsigned int>(size));
            throw_if(message->error());
        });
        if (!chunk.header.get_last_chunk()) continue;
        message->finalize();
        throw_if(message->error());
        unsigned char next = 0;
        std::string const end = std::to_string(input.offset());
        if (input.read(&next, 1) != 0) throw Failure("data follows the message at byte " + end);
        message->getMessage()->header = chunk.header;
        return std::unique_ptr<Message>(message->releaseMessage());
    }
    throw Failure("message without a last chunk");
}

}  // namespace

std::unique_ptr<Message> read_message(Input& input, Form form, Temporary_files& files,
                                      Tm_limits const& limits, Dump* dump) {
    switch (form) {
        case Form::tcl:
            return read_list_text(input, files, limits);
        case Form::wire:
            return read_wire(input, files, limits, dump);
        default:
            return read_chunks(input, files, limits);
    }
}
