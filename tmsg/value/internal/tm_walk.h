/// A resumable walk: the steps of one value's accept(), numbered in order. A refused step is
/// recorded in the visitor, and the next walk skips what came before it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "tmsg/value/tm_visitor.h"
#include "tmsg/value/tm_wire.h"

class Tm_walk {
public:
    /// Takes the step at which the last walk of this value stopped, if it did, from the visitor.
    explicit Tm_walk(Tm_visitor& visitor)
        : visitor_(visitor), resume_(visitor.has_memento() ? visitor.pop_memento() : 0) {}

    /// Performs a step unless an earlier walk has done it. Returns false when the visitor refuses.
    template <class Event>
    bool step(int number, Event&& event) {
        if (number < resume_ || event()) return true;
        visitor_.push_memento(number);
        return false;
    }

    /// Returns whether an earlier walk stopped at this step, perhaps within it.
    bool repeats(int number) const { return number == resume_; }

    /// Returns the first of `count` items to walk. Item i takes `steps` steps from 1 + i * steps
    /// on.
    int first_item(int count, int steps = 1) const {
        return resume_ <= 1 ? 0 : std::min((resume_ - 1) / steps, count);
    }

    /// Returns the room to which the library's own values may write, or null when there is none.
    Tm_wire_room* room() const { return visitor_.wire_room(); }

private:
    Tm_visitor& visitor_;
    int resume_;
};

/// Byte sequences are sent in pieces of this many bytes. The last piece may be shorter.
constexpr unsigned int tm_piece_size = 128;

/// Walks a byte sequence: calls `begin()`, then `piece(size)` until all is sent. Before the first
/// piece, `take_many(index, full_pieces)` may take some pieces at once. It returns the index of the
/// next piece.
template <class Begin, class Many, class Piece>
bool tm_walk_bytes(unsigned int length, Tm_visitor& visitor, Begin begin, Many take_many,
                   Piece piece) {
    Tm_walk walk(visitor);
    if (!walk.step(0, begin)) return false;

    int const full_pieces = static_cast<int>(length / tm_piece_size);
    int index = take_many(walk.first_item(full_pieces), full_pieces);
    for (; index < full_pieces; ++index) {
        if (!walk.step(index + 1, [&] { return piece(tm_piece_size); })) return false;
    }

    unsigned int const tail = length % tm_piece_size;
    return tail == 0 || walk.step(index + 1, [&] { return piece(tail); });
}

/// Returns how many of the pieces from `index` on fit into the chunk.
inline int tm_pieces_that_fit(int index, int full_pieces, Tm_wire_room const& room) {
    long const taken = (room.left() + tm_piece_size - 1) / tm_piece_size;
    return static_cast<int>(std::clamp<long>(taken, 0, full_pieces - index));
}

/// Writes the pieces from `index` on that fit into the chunk. Returns the next index.
inline int tm_write_pieces(char const* data, int index, int full_pieces, Tm_wire_room& room) {
    int const count = tm_pieces_that_fit(index, full_pieces, room);
    room.put_bytes(data + std::size_t{tm_piece_size} * static_cast<unsigned int>(index),
                   std::size_t{tm_piece_size} * static_cast<unsigned int>(count));
    return index + count;
}

/// Walks bytes in memory: calls `begin()`, then `piece(data, size)` until all is sent.
template <class Begin, class Piece>
bool tm_walk_memory(char const* data, unsigned int length, Tm_visitor& visitor, Begin begin,
                    Piece piece) {
    Tm_walk walk(visitor);
    if (!walk.step(0, begin)) return false;

    int const full_pieces = static_cast<int>(length / tm_piece_size);
    int index = walk.first_item(full_pieces);
    Tm_wire_room* const room = walk.room();
    if (room != nullptr) index = tm_write_pieces(data, index, full_pieces, *room);
    data += std::size_t{tm_piece_size} * static_cast<unsigned int>(index);
    for (; index < full_pieces; ++index, data += tm_piece_size) {
        if (!walk.step(index + 1, [&] { return piece(data, tm_piece_size); })) return false;
    }
    unsigned int const tail = length % tm_piece_size;
    return tail == 0 || walk.step(index + 1, [&] { return piece(data, tail); });
}

/// Does the same with events that are known at compile time.
template <auto Begin_event, auto Piece_event>
bool tm_walk_buffer(char const* data, unsigned int length, Tm_visitor& visitor) {
    return tm_walk_memory(
        data, length, visitor, [&] { return (visitor.*Begin_event)(length); },
        [&](char const* piece, unsigned int size) { return (visitor.*Piece_event)(piece, size); });
}

/// Writes a whole item if the chunk has room for all of it.
inline bool tm_write_bytes(unsigned char tag, std::string_view bytes, Tm_wire_room& room) {
    constexpr long head = 3;
    if (room.left() <= static_cast<long>(bytes.size()) + head) return false;
    room.put(tag, static_cast<unsigned short>(bytes.size()));
    room.put_bytes(bytes.data(), bytes.size());
    return true;
}

inline bool tm_write_name(std::string_view name, Tm_wire_room& room) {
    constexpr long head = 4;
    if (room.left() <= static_cast<long>(name.size()) + head) return false;
    room.put_member(static_cast<unsigned int>(name.size()));
    room.put_bytes(name.data(), name.size());
    return true;
}
