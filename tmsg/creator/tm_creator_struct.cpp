/// Structs, their members and names. A struct shares the layout of a struct near it, or a layout
/// that the process has kept, while its names are the same.
#include <algorithm>
#include <utility>

#include "tmsg/creator/internal/tm_own_creator.h"
#include "tmsg/message/message.h"
#include "tmsg/value/internal/tm_limit_error.h"
#include "tmsg/value/tm_path.h"

bool Tm_creator::visit_struct_begin() {
    if (!may_nest()) return refuse_level();
    if (expects_value()) {
        --values_left_;
        open(State::structure);
        return true;
    }
    return (is_in_message() && begin_group()) || reject("struct begin");
}

bool Tm_creator::visit_struct_end() {
    if (leaf_ != State::none || frame_->state != State::structure) {
        return reject("struct end");
    }
    bool const is_group = frame_->around->state == State::method;
    if (frame_->structure == nullptr) make_struct({});
    Frame const& frame = *frame_;
    finish_layout(frame);
    trim(*frame.values);
    if (!is_group) return close(tm_plain_struct);
    leave();
    return true;
}

bool Tm_creator::visit_member_begin(unsigned int length) {
    Frame& frame = *frame_;
    if (leaf_ != State::none || frame.state != State::structure) {
        return reject("member begin");
    }
    frame.state = State::naming;
    frame.name_length = length;
    text_.clear();
    return true;
}

bool Tm_creator::visit_member_continue(char const* data, unsigned int length) {
    if (!is_in_member()) {
        return reject("member continue");
    }
    Frame const& frame = *frame_;
    bool const is_naming = frame.state == State::naming;
    std::size_t const received = is_naming ? text_.size() : frame.name_length;
    if (length > frame.name_length - received) return fail("member name longer than given length");
    if (!is_naming) return true;
    if (length == frame.name_length) {
        take_name({std::string_view(data, length), frame.place});
    } else {
        text_.append(data, length);
        if (text_.size() == frame.name_length) take_name({text_, frame.place});
    }
    return true;
}

bool Tm_creator::visit_member_begin_with_index(unsigned short index) {
    if (!support_member_with_index()) {
        return reject("member begin with index");
    }
    return visit_member_begin(tm_text_length(message().table->at(index)));
}

bool Tm_creator::visit_member_continue_with_index(unsigned short index) {
    if (!is_in_member() || !frame_->by_index) {
        return reject("member continue with index");
    }
    char const* const name = message().table->at(index);
    Frame const& frame = *frame_;
    bool const is_whole =
        frame.state == State::naming && text_.empty() && frame.name_length == tm_text_length(name);
    if (!is_whole) return visit_member_continue(name, tm_text_length(name));
    take_name(name_in_table(index));
    return true;
}

bool Tm_creator::visit_member_end() {
    if (!is_in_member()) return reject("member end");
    if (frame_->state != State::valued) return fail("no values found in member");
    frame_->state = State::structure;
    return true;
}

Tm_next_name Tm_creator::name_in_table(std::size_t index) const {
    Open_message const& open_message = message();
    Layout_ref const& table = open_message.table;
    return {tm_text_view(table->at(index)), frame_->place, &table, &open_message.layouts};
}

/// Makes a nested struct only at its first name, which decides what layout the struct may share.
void Tm_creator::take_name(Tm_next_name const& name) {
    Frame& frame = *frame_;
    if (frame.structure == nullptr) {
        Layout_ref layout = layout_around(name);
        if (!layout) layout = name.recall(nullptr, 0);
        make_struct(layout ? std::move(layout) : Tm_layout::make());
    }
    Tm_struct& target = *frame.structure;
    if (!target.layout_ || !target.layout_->has(target.name_count_, name)) {
        Tm_layout const* const before = target.layout_.get();
        target.name_next(name);
        count_name(target, before);
    }
    frame.state = State::named;
}

/// Counts the memory that the struct's next name has taken in a layout of its own.
void Tm_creator::count_name(Tm_struct const& target, Tm_layout const* before) {
    constexpr std::size_t pointer_and_spare = 12;
    Tm_layout const& layout = *target.layout_;
    if (target.name_count_ == 0) count_memory(target.values_.slot_bytes());
    if (layout.is_sealed()) return;
    bool const is_new = &layout != before || layout.size() == 1;
    if (is_new) return count_memory(layout.bytes() + tm_layout_blocks * tm_block_overhead);
    bool const is_in_table = layout.table() != nullptr;
    char const* const name = layout[layout.size() - 1];
    count_memory(pointer_and_spare + (is_in_table ? 0 : tm_text_size(tm_text_length(name))));
}

/// Returns a sealed layout with that first name: the layout of the struct before it in the same
/// array, else the layout of the struct around it, else null.
Tm_creator::Layout_ref Tm_creator::layout_around(Tm_next_name const& name) const {
    auto const fits = [&](Tm_struct const* known) {
        return known != nullptr && known->layout_ && known->layout_->is_sealed() &&
               known->layout_->has(0, name);
    };
    Frame const* around = frame_->around;
    if (around->state == State::array || around->state == State::base_array) {
        Tm_struct const* const last = around->values->last_struct();
        if (fits(last)) return last->layout_;
        if (around->around != nullptr) around = around->around;
    }
    return fits(around->structure) ? around->structure->layout_ : Layout_ref();
}

/// Makes the struct of the innermost frame, with the room that structs of that layout usually need.
void Tm_creator::make_struct(Layout_ref layout) {
    constexpr unsigned int usual_depth = 4;
    constexpr std::uint32_t deep_members = 4;
    Tm_layout::Extent extent;
    if (layout) extent = layout->usual_extent();
    // Many structs may be open at a time. Each must not reserve as much as a large one needed.
    if (depth_ > usual_depth) extent = {std::min(extent.members, deep_members), 0};
    count_memory(Tm_struct::made_size(extent.members, extent.text) + tm_block_overhead);
    auto made = Tm_struct::make(std::move(layout), extent.members, extent.text);
    Frame& frame = *frame_;
    made->shares_names_ = frame.shares_names ? 1 : 0;
    frame.structure = made.get();
    frame.values = &made->values_;
    frame.owned = std::move(made);
}

/// Notes the struct's size in its layout, and keeps a layout that it has built.
void Tm_creator::finish_layout(Frame const& frame) {
    constexpr std::size_t most_recent = 8;
    Layout_ref const& layout = frame.structure->layout_;
    if (!layout) return;
    frame.structure->note_extent();
    if (layout->is_sealed()) return;
    tm_keep_layout(frame.place, layout);
    if (layout->table() == nullptr) return;
    auto& recent = message().layouts;
    if (recent.size() == most_recent) recent.pop_back();
    recent.insert(recent.begin(), layout);
}

std::string Tm_creator::path() const {
    std::string path;
    for (Frame const* frame = &outermost_; frame != nullptr && frame != frame_;
         frame = frame->within.get()) {
        add_step(path, *frame, frame->within.get());
    }
    add_step(path, *frame_, nullptr);
    return path;
}

/// Adds the step from a frame to the open value within it.
void Tm_creator::add_step(std::string& path, Frame const& frame, Frame const* within) const {
    if (frame.state == State::array || frame.state == State::base_array) {
        return tm_append_position(path, frame.values->size());
    }
    if (frame.state == State::method) {
        if (within == nullptr) return;
        auto const* const message =
            frame.around == nullptr ? root_.target : static_cast<Message const*>(frame.owned.get());
        bool const is_meta = message != nullptr &&
                             within->structure == &message->get_const_struct(Message::TMG_META);
        return tm_append_name(path, is_meta ? "meta" : "body");
    }
    bool const has_value = within == nullptr && frame.state == State::valued;
    bool const is_in_member = within != nullptr || has_value || frame.state == State::named;
    if (!is_in_member || frame.structure == nullptr) return;
    unsigned int const position = frame.structure->name_count_ - (has_value ? 1U : 0U);
    tm_append_name(path, tm_text_view((*frame.structure->layout_)[position]));
}
