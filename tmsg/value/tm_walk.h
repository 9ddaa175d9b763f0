/// A resumable walk: the steps of one value's accept(), numbered in order. A refused step is
/// recorded in the visitor, and the next walk skips what came before it.
#pragma once

#include <algorithm>

#include "tmsg/value/tm_visitor.h"

class Tm_walk {
public:
    /// Takes the step at which the last walk of this value stopped, if it did, from the visitor.
    explicit Tm_walk(Tm_visitor& visitor)
        : visitor_(visitor), resume_(visitor.has_memento() ? visitor.pop_memento() : 0) {}

    /// Performs a step unless an earlier walk has done it. False: the visitor refused.
    template <class Event>
    bool step(int number, Event&& event) {
        if (number < resume_ || event()) return true;
        visitor_.push_memento(number);
        return false;
    }

    /// The first of `count` items to walk, when item i takes `steps` steps from 1 + i * steps on.
    int first_item(int count, int steps = 1) const {
        return resume_ <= 1 ? 0 : std::min((resume_ - 1) / steps, count);
    }

private:
    Tm_visitor& visitor_;
    int resume_;
};

/// Byte sequences are sent in pieces of this many bytes, the last one excepted.
constexpr unsigned int tm_piece_size = 128;

/// The walk of a byte sequence: `begin()`, then `piece(offset, size)` until all is sent.
template <class Begin, class Piece>
bool tm_walk_bytes(unsigned int length, Tm_visitor& visitor, Begin begin, Piece piece) {
    Tm_walk walk(visitor);
    if (!walk.step(0, begin)) return false;

    int const full_pieces = static_cast<int>(length / tm_piece_size);
    int index = walk.first_item(full_pieces);
    unsigned int offset = static_cast<unsigned int>(index) * tm_piece_size;
    for (; index < full_pieces; ++index, offset += tm_piece_size) {
        if (!walk.step(index + 1, [&] { return piece(offset, tm_piece_size); })) return false;
    }

    unsigned int const tail = length % tm_piece_size;
    return tail == 0 || walk.step(index + 1, [&] { return piece(offset, tail); });
}

/// The walk of bytes in memory, with the events known when it is compiled.
template <auto Begin_event, auto Piece_event>
bool tm_walk_buffer(char const* data, unsigned int length, Tm_visitor& visitor) {
    return tm_walk_bytes(
        length, visitor, [&] { return (visitor.*Begin_event)(length); },
        [&](unsigned int offset, unsigned int size) {
            return (visitor.*Piece_event)(data + offset, size);
        });
}
