/// The creator of the library's own decoders. It takes a whole item in one step. An operation that
/// returns false has done nothing: the caller must then send the events of the item one by one.
#pragma once

#include <string_view>

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/creator/tm_creator.h"
#include "tmsg/value/internal/tm_layout.h"

/// The bytes that the allocator adds to each block, and the number of blocks of a layout.
constexpr std::size_t tm_block_overhead = 12;
constexpr std::size_t tm_layout_blocks = 3;

/// Records that the innermost open struct or array has one more value.
inline void Tm_creator::value_arrived() {
    Frame& frame = *frame_;
    if (frame.structure == nullptr) return;
    ++frame.structure->name_count_;
    frame.state = State::valued;
}

inline bool Tm_creator::make_room(Tm_value_container& values) {
    return !values.is_full() || grow(values);
}

/// The kinds of innermost open parts that the decoder of list text distinguishes.
enum class Tm_open { call, response, fault, array, member, other };

class Tm_own_creator final : public Tm_creator {
public:
    using Tm_creator::Tm_creator;

    Tm_open innermost() const;

    /// Takes the begin of a member and its name.
    bool take_whole_name(std::string_view name) {
        Frame& frame = *frame_;
        if (frame.state != State::structure || frame.by_index) return false;
        Tm_struct const* const target = frame.structure;
        bool const is_expected =
            target != nullptr && target->layout_ && target->layout_->has(target->name_count_, name);
        if (is_expected) {
            frame.state = State::named;
        } else {
            take_name({name, frame.place});
        }
        return true;
    }
    /// Does the same for a name in the name table of the message.
    bool take_whole_name_at(std::size_t index) {
        Frame& frame = *frame_;
        if (frame.state != State::structure || !frame.by_index) return false;
        if (index >= message().table->size()) return false;
        take_name(name_in_table(index));
        return true;
    }
    /// Returns whether a part of the message was refused by the limit on memory.
    bool is_exhausted() const { return is_exhausted_; }
    bool names_come_by_index() const { return frame_->by_index; }
    bool end_member() {
        Frame& frame = *frame_;
        if (frame.state != State::valued) return false;
        frame.state = State::structure;
        return true;
    }
    template <class Plain>
    bool take(Plain value) {
        Tm_value_container* const target = place_for_value();
        if (target == nullptr) return false;
        target->push(value);
        --values_left_;
        value_arrived();
        return true;
    }
    bool take_text(std::string_view text) {
        Tm_value_container* const target = place_for_value();
        if (target == nullptr || !take_memory(target->text_growth(text.size()))) return false;
        target->push_string(target->make_text(text));
        --values_left_;
        value_arrived();
        return true;
    }

private:
    /// Returns the container, with room for one more value, or null when no value may come.
    Tm_value_container* place_for_value() {
        Frame const& frame = *frame_;
        bool const is_expected = frame.state == State::named || frame.state == State::array;
        bool const may_come = is_expected && values_left_ > 0 && make_room(*frame.values);
        return may_come ? frame.values : nullptr;
    }
};
