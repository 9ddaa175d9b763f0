/// Reads a message in the wire form, in chunks or as list text.
#include "forms/reader.h"

#include <optional>
#include <utility>

namespace {

/// Adds the files that a decoder has made to `files`, also when an exception ends its use.
template <class Decoder>
class Files_of {
public:
    Files_of(Decoder const& decoder, Temporary_files& files) : decoder_(decoder), files_(files) {}
    ~Files_of() { files_.add(decoder_.received_files()); }
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
    Files_of const guard(decoder, files);
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
    // The bytes that wait for the next block fit into the room that a decoder has beyond its
    // capacity.
    Tm_bin_decoder decoder(input_block, limits);
    Files_of const guard(decoder, files);
    unsigned char block[input_block];
    for (std::size_t got = 0; (got = input.read(block, sizeof block)) != 0;) {
        tm_feed(decoder, block, got);
        throw_if(decoder.error());
        if (dump != nullptr) dump->add(block, got);
    }
    decoder.finalize();
    throw_if(decoder.error());
    return std::unique_ptr<Message>(decoder.release_msg());
}

/// Throws Failure unless a chunk after the first one continues the message of the first one.
void check_continues(Tm_chunk_reader const& chunk, unsigned int seq_no) {
    if (chunk.header().get_seq_no() != seq_no) {
        throw Failure("another message in the chunk at byte " + std::to_string(chunk.offset()));
    }
    if (chunk.header().get_first_chunk()) throw Failure(Tm_chunk_reader::NO_LAST_CHUNK);
}

std::unique_ptr<Message> read_chunks(Input& input, Temporary_files& files, Tm_limits limits) {
    // The input is one message, so the limits on unfinished messages do not apply.
    limits.max_unfinished = 1;
    limits.max_held_bytes = ~0UL;
    std::unique_ptr<Message> message;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message> received, int, Tm_header const&) {
            files.add(*received);
            message = std::move(received);
        },
        [](int, unsigned int, std::string const& text) { throw Failure(text); }, limits);
    Chunk_input chunks(input);
    Tm_chunk_reader const& chunk = chunks.reader();
    using Step = Chunk_input::Step;
    std::optional<unsigned int> seq_no;
    for (Step step; message == nullptr && (step = chunks.next()) != Step::need_input;) {
        if (step == Step::payload) receiver.receive(0, chunk.payload(), chunk.payload_size());
        if (step != Step::header) continue;
        if (seq_no) check_continues(chunk, *seq_no);
        seq_no = chunk.header().get_seq_no();
        receiver.receive(0, chunk.header().record().bytes, sizeof(TM_HEADER));
    }
    if (message == nullptr) throw Failure(Tm_chunk_reader::NO_LAST_CHUNK);
    chunks.next();  // takes the end of the last chunk, which needs no input
    if (chunks.is_at_end()) return message;
    throw Failure("data follows the message at byte " + std::to_string(chunk.offset()));
}

}  // namespace

Chunk_input::Step Chunk_input::next() {
    Step step = reader_.next(data_, left_);
    while (step == Step::need_input && read_block()) step = reader_.next(data_, left_);
    if (step != Step::need_input) return step;
    std::string const place = "the chunk at byte " + std::to_string(reader_.offset());
    if (reader_.is_within_header()) throw Failure("input ends within the header of " + place);
    if (reader_.is_within_chunk()) throw Failure("input ends within " + place);
    return step;
}

/// Returns false when the input has ended.
bool Chunk_input::read_block() {
    data_ = block_;
    left_ = input_.read(block_, sizeof block_);
    return left_ > 0;
}

Temporary_files::~Temporary_files() { tm_remove_received_files(paths_); }

void Temporary_files::add(std::vector<std::string> const& paths) {
    paths_.insert(paths_.end(), paths.begin(), paths.end());
}

void Temporary_files::add(Message const& received) {
    tm_for_each_file(received, [&](Tm_file const& file) { paths_.push_back(file.path()); });
}

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
