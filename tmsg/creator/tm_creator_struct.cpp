/// Structs, their members and names. A struct shares the layout of a struct near it, or a layout
/// that the process has kept, as long as its names are the same.
#include <algorithm>
#include <utility>

#include "tmsg/creator/tm_own_creator.h"
#include "tmsg/message/message.h"
#include "tmsg/value/tm_limit_error.h"

bool Tm_creator::visit_struct_begin() {
    if (refuse_level()) return false;
    if (expects_value()) {
        open(State::structure);
        --values_left_;
    } else if (!is_in_message() || !begin_group()) {
        return reject("struct begin");
    }
    ++depth_;
    return true;
}

bool Tm_creator::visit_struct_end() {
    if (leaf_ != State::none || frames_.back().state != State::structure) {
        return reject("struct end");
    }
    bool const is_group = frames_[frames_.size() - 2].state == State::method;
    if (frames_.back().structure == nullptr) make_struct({});
    Frame const& frame = frames_.back();
    finish_layout(frame);
    trim(*frame.values);
    if (!is_group) return close();
    frames_.pop_back();
    --depth_;
    return true;
}

bool Tm_creator::visit_member_begin(unsigned int length) {
    Frame& frame = frames_.back();
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
    Frame const& frame = frames_.back();
    bool const is_naming = frame.state == State::naming;
    std::size_t const received = is_naming ? text_.size() : frame.name_length;
    if (length > frame.name_length - received) return fail("member name longer than given length");
    if (!is_naming) return true;
    if (length == frame.name_length) {
        take_name(std::string_view(data, length));
    } else {
        text_.append(data, length);
        if (text_.size() == frame.name_length) take_name(text_);
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
    if (!is_in_member() || !frames_.back().by_index) {
        return reject("member continue with index");
    }
    char const* const name = message().table->at(index);
    Frame const& frame = frames_.back();
    bool const is_whole =
        frame.state == State::naming && text_.empty() && frame.name_length == tm_text_length(name);
    if (!is_whole) return visit_member_continue(name, tm_text_length(name));
    take_name_at(index);
    return true;
}

bool Tm_creator::visit_member_end() {
    if (!is_in_member()) return reject("member end");
    if (frames_.back().state != State::valued) return fail("no values found in member");
    frames_.back().state = State::structure;
    return true;
}

/// Makes a nested struct at its first name, which tells what layout it may share.
void Tm_creator::take_name(std::string_view name) {
    Frame& frame = frames_.back();
    if (frame.structure == nullptr) {
        Layout_ref near = layout_around([&](Tm_layout const& known) { return known.has(0, name); });
        make_struct(near ? std::move(near) : tm_recall_layout(frame.place, name));
    }
    Tm_struct& target = *frame.structure;
    if (!target.layout_ || !target.layout_->has(target.name_count_, name)) {
        Tm_layout const* const before = target.layout_.get();
        target.name_next(name, frame.place);
        count_name(target, before);
    }
    frame.state = State::named;
}

/// The same for a name in the message's table: all structs of the message share its text.
void Tm_creator::take_name_at(std::size_t index) {
    Frame& frame = frames_.back();
    Layout_ref const& table = message().table;
    char const* const name = table->at(index);
    auto const is_like = [&](Tm_layout const& known, std::size_t at) {
        return known.table() == table.get() && at < known.size() && known[at] == name;
    };
    if (frame.structure == nullptr) {
        Layout_ref near = layout_around([&](Tm_layout const& known) { return is_like(known, 0); });
        make_struct(near ? std::move(near) : recent_layout({}, 0, name));
    }
    Tm_struct& target = *frame.structure;
    Layout_ref const before = target.layout_;
    if (before && before->table() != table.get()) {
        target.name_next(tm_text_view(name), frame.place);
        count_name(target, before.get());
    } else if (!before || !is_like(*before, target.name_count_)) {
        bool const is_open = before && !before->is_sealed() && before->size() == target.name_count_;
        Layout_ref layout = before;
        if (!is_open) layout = recent_layout(before, target.name_count_, name);
        if (!layout)
            layout = before ? before->fork_in_table(target.name_count_) : Tm_layout::make();
        if (!is_like(*layout, target.name_count_)) layout->append_from(table, index);
        target.layout_ = std::move(layout);
        count_name(target, before.get());
    }
    frame.state = State::named;
}

/// The layout of a recent struct of the message with the first `count` names of `before` and then
/// this one, a text in the table; else null.
Tm_creator::Layout_ref Tm_creator::recent_layout(Layout_ref const& before, unsigned int count,
                                                 char const* name) const {
    for (Layout_ref const& known : message().layouts) {
        bool const fits = count < known->size() && (*known)[count] == name &&
                          (count == 0 || known->begins_like(*before, count));
        if (fits) return known;
    }
    return {};
}

/// The memory that the struct's next name has taken: in its own layout, or in one made for it.
void Tm_creator::count_name(Tm_struct const& target, Tm_layout const* before) {
    constexpr std::size_t pointer_and_spare = 12;
    Tm_layout const& layout = *target.layout_;
    if (target.name_count_ == 0) count_memory(target.values_.slot_bytes());
    if (layout.is_sealed()) return;
    if (&layout != before)
        return count_memory(layout.bytes() + tm_layout_blocks * tm_block_overhead);
    bool const is_in_table = layout.table() != nullptr;
    char const* const name = layout[layout.size() - 1];
    count_memory(pointer_and_spare + (is_in_table ? 0 : tm_text_size(tm_text_length(name))));
}

/// A sealed layout near the innermost frame: that of the struct before it in the same array, or of
/// the struct around it, if it fits; else null.
template <class Fits>
Tm_creator::Layout_ref Tm_creator::layout_around(Fits fits) const {
    auto const is_usable = [&](Tm_struct const* known) {
        return known != nullptr && known->layout_ && known->layout_->is_sealed() &&
               fits(*known->layout_);
    };
    Frame const* around = &frames_[frames_.size() - 2];
    if (around->state == State::array || around->state == State::base_array) {
        Tm_struct const* const last = around->values->last_struct();
        if (is_usable(last)) return last->layout_;
        if (frames_.size() > 2) --around;
    }
    return is_usable(around->structure) ? around->structure->layout_ : Layout_ref();
}

/// That of the struct around the innermost frame, or around its array; null for none.
Tm_layout const* Tm_creator::enclosing_layout() const {
    for (std::size_t i = frames_.size() - 1; i > 0 && i + 2 >= frames_.size(); --i) {
        Tm_struct const* const around = frames_[i - 1].structure;
        if (around != nullptr) return around->layout_.get();
    }
    return nullptr;
}

/// Makes the innermost frame's struct, with room for what structs of that layout usually hold.
void Tm_creator::make_struct(Layout_ref layout) {
    constexpr std::size_t usual_depth = 4;
    constexpr std::uint32_t deep_members = 4;
    Tm_layout::Extent extent;
    if (layout) extent = layout->usual_extent();
    // Structs within others like them, or that stay open for long, must not each hold what a large
    // one needed.
    bool const is_within = frames_.size() > usual_depth || layout.get() == enclosing_layout();
    if (is_within) extent = {std::min(extent.members, deep_members), 0};
    count_memory(Tm_struct::made_size(extent.members, extent.text) + tm_block_overhead);
    auto made = Tm_struct::make(std::move(layout), extent.members, extent.text);
    Frame& frame = frames_.back();
    made->shares_names_ = frame.shares_names ? 1 : 0;
    frame.structure = made.get();
    frame.values = &made->values_;
    frame.owned = std::move(made);
}

/// A layout that is not sealed is the struct's own.
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
