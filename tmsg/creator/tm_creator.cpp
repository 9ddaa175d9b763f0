#include "tmsg/creator/tm_creator.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

#include "tmsg/creator/tm_own_creator.h"
#include "tmsg/message/message.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_limit_error.h"
#include "tmsg/value/tm_name_hash.h"
#include "tmsg/value/tm_received_file.h"

namespace {

/// Bytes that are reserved because they were announced; more only when they arrive.
constexpr std::size_t reserved_on_promise = 4096;

/// Appends to a buffer that shall hold `announced` bytes in the end.
template <class Buffer>
void append_announced(Buffer& buffer, char const* data, std::size_t length, std::size_t announced) {
    std::size_t const needed = buffer.size() + length;
    if (needed > buffer.capacity()) {
        std::size_t const room = std::max({reserved_on_promise, needed, buffer.capacity() * 2});
        buffer.reserve(std::max(needed, std::min(room, announced)));
    }
    buffer.insert(buffer.end(), data, data + length);
}

}  // namespace

char const* Tm_creator::Open_message::state_name() const {
    if (phase == Phase::not_begun) return "method";
    switch (target->get_msg_type()) {
        case Message::TMT_REQUEST:
            return "method call";
        case Message::TMT_FAULT:
            return "fault";
        default:
            return "method response";
    }
}

Tm_creator::Tm_creator(Message* target, Tm_limits const& limits) : limits_(limits) {
    root_.target = target;
    open(State::method).shares_names = true;
}

Tm_creator::Tm_creator(Tm_array* target, Tm_limits const& limits)
    : limits_(limits), target_is_plain_(typeid(*target) == typeid(Tm_array)) {
    open(State::base_array).array = target;
}

Tm_creator::~Tm_creator() {
    while (!frames_.empty()) frames_.pop_back();
}

// What may come next

bool Tm_creator::expects_value() const {
    State const state = frames_.back().state;
    return leaf_ == State::none &&
           (state == State::named || state == State::array || state == State::base_array);
}

bool Tm_creator::is_in_message() const {
    return leaf_ == State::none && frames_.back().state == State::method;
}

bool Tm_creator::is_in_member() const {
    State const state = frames_.back().state;
    return leaf_ == State::none &&
           (state == State::naming || state == State::named || state == State::valued);
}

char const* Tm_creator::get_current_state_name() const {
    State const state = leaf_ != State::none ? leaf_ : frames_.back().state;
    switch (state) {
        case State::method:
            return message().state_name();
        case State::structure:
            return "struct";
        case State::array:
            return "array";
        case State::base_array:
            return "base array";
        case State::string:
            return "string";
        case State::binary:
            return "binary";
        case State::file:
            return "file";
        default:
            return "member";
    }
}

bool Tm_creator::done() {
    if (frames_.size() > 1 || leaf_ != State::none) return false;
    return root_.target == nullptr || root_.phase == Phase::ended;
}

bool Tm_creator::support_member_with_index() {
    Frame const& frame = frames_.back();
    return leaf_ == State::none && frame.state == State::structure && frame.by_index;
}

bool Tm_creator::process_state() {
    if (error_.empty()) error_ = "internal error in Tm_creator";
    return false;
}

bool Tm_creator::fail(std::string text) {
    error_ = std::move(text);
    return false;
}

bool Tm_creator::reject(std::string const& event) {
    return fail("unexpected " + event + " in " + get_current_state_name());
}

/// There are as many open structs, arrays and messages as may be.
bool Tm_creator::refuse_depth() {
    return depth_ >= limits_.max_depth && !fail(tm_too_deep(limits_));
}

// Values that arrive

Tm_value_container* Tm_creator::values(Frame const& frame) {
    return frame.structure != nullptr ? &frame.structure->values_ : &frame.array->values_;
}

void Tm_creator::place(Tm_new_value value) {
    if (frames_.size() == 1 && !target_is_plain_) {
        return frames_.back().array->add_member_and_own(value.release().release());
    }
    Tm_value_container& target = *values(frames_.back());
    target.prepare(value);
    target.push(std::move(value));
    value_arrived();
}

bool Tm_creator::put(Tm_new_value value, char const* event) {
    if (!expects_value()) return reject(event);
    place(std::move(value));
    return true;
}

// clang-format off
bool Tm_creator::visit_bool(bool value) { return put(Tm_new_value(value), "bool"); }
bool Tm_creator::visit_int8(signed char value) { return put(Tm_new_value(value), "int8"); }
bool Tm_creator::visit_uint8(unsigned char value) { return put(Tm_new_value(value), "uint8"); }
bool Tm_creator::visit_int16(short value) { return put(Tm_new_value(value), "int16"); }
bool Tm_creator::visit_uint16(unsigned short value) { return put(Tm_new_value(value), "uint16"); }
bool Tm_creator::visit_int32(int value) { return put(Tm_new_value(value), "int32"); }
bool Tm_creator::visit_uint32(unsigned int value) { return put(Tm_new_value(value), "uint32"); }
bool Tm_creator::visit_int64(long value) { return put(Tm_new_value(value), "int64"); }
bool Tm_creator::visit_uint64(unsigned long value) { return put(Tm_new_value(value), "uint64"); }
bool Tm_creator::visit_double(double value) { return put(Tm_new_value(value), "double"); }
// clang-format on

// Strings, byte strings and files

bool Tm_creator::begin_leaf(State state, unsigned int length) {
    leaf_ = state;
    expected_ = length;
    received_ = 0;
    text_.clear();
    return true;
}

bool Tm_creator::visit_string_begin(unsigned int length) {
    if (!expects_value()) return reject("string begin");
    return begin_leaf(State::string, length);
}

bool Tm_creator::visit_string_continue(char const* data, unsigned int length) {
    if (leaf_ != State::string) {
        return reject("string continue");
    }
    if (!fits(length)) return fail("string longer than given length");
    bool const has_failed = received_ > 0 && received_ == expected_;
    if (has_failed) return false;
    bool const is_whole = length == expected_;
    if (!is_whole) append_announced(text_, data, length, expected_);
    if (received_ + length == expected_) {
        try {
            place(Tm_new_value(is_whole ? std::string_view(data, length) : text_));
        } catch (Tm_out_of_range_exception const& too_long) {
            received_ = expected_;
            return fail(too_long.what());
        }
        end_leaf();
    }
    received_ += length;
    return true;
}

bool Tm_creator::visit_binary_begin(unsigned int length) {
    if (!expects_value()) return reject("binary begin");
    bytes_ = {};
    return begin_leaf(State::binary, length);
}

bool Tm_creator::visit_binary_continue(char const* data, unsigned int length) {
    if (leaf_ != State::binary) {
        return reject("binary continue");
    }
    if (!fits(length)) return fail("binary string longer than given length");
    append_announced(bytes_, data, length, expected_);
    received_ += length;
    if (received_ < expected_) return true;
    place(Tm_new_value(std::make_unique<Tm_binary>(std::move(bytes_))));
    end_leaf();
    return true;
}

bool Tm_creator::visit_file_begin(unsigned int length) {
    if (length > limits_.max_file_bytes) return fail(tm_file_too_long(limits_));
    if (!expects_value()) return reject("file begin");
    file_ = std::make_unique<Tm_received_file>(length);
    return begin_leaf(State::file, length);
}

bool Tm_creator::visit_file_continue(char const* data, unsigned int length) {
    if (leaf_ != State::file) {
        return reject("file continue");
    }
    if (!fits(length)) return fail("file string longer than given length");
    bool const has_bytes = data != nullptr || length == 0;
    if (!has_bytes || !file_->write(data, length)) {
        return fail("failed to write to " + file_->path());
    }
    received_ += length;
    file_bytes_ += length;
    if (received_ < expected_) return true;
    Tm_new_value value(file_->path(), 0U);
    received_files_.push_back(file_->path());
    place(std::move(value));
    file_->keep();
    file_.reset();
    end_leaf();
    return true;
}

// Frames

Tm_creator::Frame& Tm_creator::open(State state) {
    constexpr std::size_t usual_depth = 4;
    if (frames_.capacity() == 0) frames_.reserve(usual_depth);
    Frame& frame = frames_.emplace_back();
    frame.state = state;
    if (frames_.size() == 1) return frame;
    Frame& around = frames_[frames_.size() - 2];
    frame.shares_names = around.shares_names;
    frame.by_index = around.by_index;
    frame.place = around.place;
    if (around.structure != nullptr) {
        frame.place = reinterpret_cast<std::uintptr_t>(around.structure->layout_.get());
        around.state = State::valued;
    }
    return frame;
}

/// Hands the complete value of the innermost frame to the frame around it.
void Tm_creator::close() {
    if (target_is_plain_ || frames_.size() > 2) values(frames_[frames_.size() - 2])->reserve_next();
    Tm_new_value value(std::move(frames_.back().owned));
    frames_.pop_back();
    place(std::move(value));
    --depth_;
}

bool Tm_creator::visit_array_begin() {
    if (refuse_depth()) return false;
    if (!expects_value()) return reject("array begin");
    auto array = std::make_unique<Tm_array>();
    Frame& frame = open(State::array);
    frame.array = array.get();
    frame.owned = std::move(array);
    ++depth_;
    return true;
}

bool Tm_creator::visit_array_end() {
    Frame const& frame = frames_.back();
    if (leaf_ != State::none || frame.state != State::array) {
        return reject("array end");
    }
    frame.array->values_.give_up_spare();
    close();
    return true;
}

// Messages

bool Tm_creator::visit_method_begin(bool is_request) {
    if (refuse_depth()) return false;
    bool const is_root = leaf_ == State::none && frames_.back().state == State::method &&
                         message().phase == Phase::not_begun;
    if (!is_root) {
        if (!expects_value()) {
            return reject(is_request ? "method call begin" : "method response begin");
        }
        // As in a copy, each struct within owns its names.
        auto nested = std::make_unique<Message>(nullptr);
        nested_.reserve(nested_.size() + 1);
        Frame& frame = open(State::method);
        frame.shares_names = false;
        frame.by_index = false;
        nested_.emplace_back().target = nested.get();
        frame.owned = std::move(nested);
    }
    Open_message& open_message = message();
    open_message.target->set_msg_type(is_request ? Message::TMT_REQUEST : Message::TMT_RESPONSE);
    open_message.is_call = is_request;
    open_message.phase = Phase::begun;
    ++depth_;
    return true;
}

bool Tm_creator::visit_method_end(bool is_request) {
    char const* const event = is_request ? "method call end" : "method response end";
    if (!is_in_message()) return reject(event);
    Open_message& open_message = message();
    char const* missing = nullptr;
    if (open_message.phase == Phase::begun) missing = " (no structs found)";
    if (open_message.phase == Phase::in_first_struct) missing = " (only one struct found)";
    if (missing != nullptr) {
        reject(event);
        return fail(error_ + missing);
    }
    if (open_message.phase != Phase::in_second_struct || is_request != open_message.is_call) {
        return reject(event);
    }
    if (frames_.size() > 1) {
        close();
        nested_.pop_back();
    } else {
        open_message.phase = Phase::ended;
        --depth_;
    }
    return true;
}

bool Tm_creator::visit_fault_begin() {
    if (!is_in_message() || message().phase != Phase::begun) {
        return reject("fault begin");
    }
    message().target->set_msg_type(Message::TMT_FAULT);
    return true;
}

bool Tm_creator::visit_fault_end() {
    bool const is_taken = is_in_message() && message().phase != Phase::not_begun &&
                          message().phase != Phase::ended &&
                          message().target->get_msg_type() == Message::TMT_FAULT;
    return is_taken || reject("fault end");
}

bool Tm_creator::visit_method_name_begin(unsigned int length) {
    if (!is_in_message()) return reject("method name begin");
    Open_message& open_message = message();
    if (open_message.name_length != 0 || length > Tm_string::MAX_LENGTH ||
        open_message.phase != Phase::begun) {
        return reject("method name begin");
    }
    if (!open_message.is_call) return fail("method name found in method response");
    open_message.name_length = length;
    return true;
}

/// An empty name is refused here: none was announced.
bool Tm_creator::visit_method_name_continue(char const* data, unsigned int length) {
    if (!is_in_message() || message().name_length == 0) {
        return reject("method name continue");
    }
    Open_message& open_message = message();
    std::string& pieces = open_message.name;
    if (length > open_message.name_length - pieces.size()) {
        return fail("method name longer than given length");
    }
    pieces.append(data, length);
    if (pieces.size() == open_message.name_length) {
        open_message.target->set_request_name(pieces);
        open_message.place = tm_hash_name(pieces);
    }
    return true;
}

/// The names in the array "catalog" of the first struct; null without one.
Tm_creator::Layout_ref Tm_creator::read_name_table() const {
    Tm_struct const& meta = message().target->get_const_struct(Message::TMG_META);
    int const position = meta.get_member_index("catalog");
    if (position < 0) return {};
    Tm_array const& catalog = *meta.get_member_array(position);
    Layout_ref table = Tm_layout::make();
    for (int i = 0; i < catalog.get_member_count(); ++i) table->append(catalog.get_member_text(i));
    return table;
}

// Structs

bool Tm_creator::visit_struct_begin() {
    if (refuse_depth()) return false;
    if (expects_value()) {
        open(State::structure);
    } else if (!is_in_message() || !begin_group()) {
        return reject("struct begin");
    }
    ++depth_;
    return true;
}

/// Opens the next one of a message's own structs, which is filled in place. False: it has both.
bool Tm_creator::begin_group() {
    Open_message& open_message = message();
    bool const is_first = open_message.phase == Phase::begun;
    if (!is_first && open_message.phase != Phase::in_first_struct) return false;
    Message::TMG const group = is_first ? Message::TMG_META : Message::TMG_BODY;
    Layout_ref table = is_first ? Layout_ref() : read_name_table();
    Frame& frame = open(State::structure);
    frame.structure = &open_message.target->get_struct(group);
    frame.place = tm_mix(open_message.place, static_cast<std::uint64_t>(group));
    frame.by_index = static_cast<bool>(table);
    open_message.table = std::move(table);
    open_message.phase = is_first ? Phase::in_first_struct : Phase::in_second_struct;
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
    frame.structure->values_.give_up_spare();
    if (is_group) {
        frames_.pop_back();
        --depth_;
    } else {
        close();
    }
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

// Names

/// A nested struct is made when its first name has come, which says what struct it may be like.
void Tm_creator::take_name(std::string_view name) {
    Frame& frame = frames_.back();
    if (frame.structure == nullptr) {
        Tm_layout* const near =
            layout_around([&](Tm_layout const& known) { return known.has(0, name); });
        make_struct(near != nullptr ? Layout_ref::share(near)
                                    : tm_recall_layout(frame.place, name));
    }
    Tm_struct& target = *frame.structure;
    if (!target.layout_ || !target.layout_->has(target.name_count_, name)) {
        target.name_next(name, frame.place);
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
        make_struct(Layout_ref::share(
            layout_around([&](Tm_layout const& known) { return is_like(known, 0); })));
    }
    Tm_struct& target = *frame.structure;
    Tm_layout const* const before = target.layout_.get();
    if (before != nullptr && before->table() != table.get()) {
        target.name_next(tm_text_view(name), frame.place);
    } else if (before == nullptr || !is_like(*before, target.name_count_)) {
        bool const is_open =
            before != nullptr && !before->is_sealed() && before->size() == target.name_count_;
        Layout_ref layout = target.layout_;
        if (!is_open) {
            layout =
                before == nullptr ? Tm_layout::make() : before->fork_in_table(target.name_count_);
        }
        layout->append_from(table, index);
        target.layout_ = std::move(layout);
    }
    frame.state = State::named;
}

/// A sealed layout near the innermost frame: that of the struct before it in the same array, or of
/// the struct around it, if it fits; else null.
template <class Fits>
Tm_layout* Tm_creator::layout_around(Fits fits) const {
    auto const is_usable = [](Layout_ref const& layout, Fits const& suits) {
        return layout && layout->is_sealed() && suits(*layout);
    };
    Frame const* around = &frames_[frames_.size() - 2];
    if (around->array != nullptr) {
        Tm_struct const* const last = around->array->last_struct();
        if (last != nullptr && is_usable(last->layout_, fits)) return last->layout_.get();
        if (frames_.size() > 2) --around;
    }
    Tm_struct const* const enclosing = around->structure;
    return enclosing != nullptr && is_usable(enclosing->layout_, fits) ? enclosing->layout_.get()
                                                                       : nullptr;
}

/// Makes the innermost frame's struct, with room for what structs of that layout usually hold.
void Tm_creator::make_struct(Layout_ref layout) {
    constexpr std::size_t usual_depth = 16;
    constexpr std::uint32_t deep_members = 4;
    Tm_layout::Extent extent;
    if (layout) extent = layout->usual_extent();
    // Structs that stay open for long must not each hold what a large one needed.
    if (frames_.size() > usual_depth) extent = {std::min(extent.members, deep_members), 0};
    auto made = Tm_struct::make(std::move(layout), extent.members, extent.text);
    Frame& frame = frames_.back();
    made->shares_names_ = frame.shares_names ? 1 : 0;
    frame.structure = made.get();
    frame.owned = std::move(made);
}

/// A layout that is not sealed is the struct's own.
void Tm_creator::finish_layout(Frame const& frame) {
    if (!frame.structure->layout_) return;
    frame.structure->note_extent();
    if (!frame.structure->layout_->is_sealed()) {
        tm_keep_layout(frame.place, frame.structure->layout_);
    }
}
