#include "chunk_input.h"

#include <string>

#include "failure.h"

Chunk_input::Step Chunk_input::next() {
    Step step = reader_.next(data_, left_);
    while (step == Step::need_input && read_block()) step = reader_.next(data_, left_);
    if (step != Step::need_input) return step;
    std::string const place = "the chunk at byte " + std::to_string(reader_.offset());
    if (reader_.is_within_header()) throw Failure("input ends within the header of " + place);
    if (reader_.is_within_chunk()) throw Failure("input ends within " + place);
    return step;
}

/// False: the input has ended.
bool Chunk_input::read_block() {
    data_ = block_;
    left_ = input_.read(block_, sizeof block_);
    return left_ > 0;
}
