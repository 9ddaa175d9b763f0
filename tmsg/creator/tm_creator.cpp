#include "tmsg/creator/tm_creator.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

#include "tmsg/creator/internal/tm_own_creator.h"
#include "tmsg/message/message.h"
#include "tmsg/value/internal/tm_bulk.h"
#include "tmsg/value/internal/tm_limit_error.h"
#include "tmsg/value/internal/tm_received_file.h"
#include "tmsg/value/tm_exception.h"

namespace {

/// The bytes that may be reserved for each byte that has arrived.
constexpr std::size_t most_growth = 4;

/// Returns the room to reserve when `arrived` of `announced` bytes are there. The steps end at the
/// full room, so that the last step copies at most a fourth of it.
std::size_t announced_room(std::size_t arrived, std::size_t announced) {
    std::size_t room = announced;
    while (room / most_growth > arrived) room /= most_growth;
    return std::max(room, arrived);
}

/// The bytes of the object that counts the owners of a byte string.
constexpr std::size_t shared_count = 16;

/// Returns the bytes of a file value, its path, its descriptor and its mapping, and of the path in
/// the list of received files.
std::size_t file_value_size(std::string const& path) {
    constexpr std::size_t blocks = 5;
    constexpr std::size_t small_objects = 2 * sizeof(void*) + sizeof(int);
    return sizeof(Tm_file) + small_objects + sizeof(std::string) + 2 * (path.size() + 1) +
           blocks * tm_block_overhead;
}

}  // namespace

Tm_creator::Tm_creator(Message* target, Tm_limits const& limits) : limits_(limits) {
    root_.target = target;
    begin_counting();
    outermost_.state = State::method;
    outermost_.shares_names = true;
}

Tm_creator::Tm_creator(Tm_array* target, Tm_limits const& limits) : limits_(limits) {
    if (typeid(*target) != typeid(Tm_array)) user_array_ = target;
    begin_counting();
    outermost_.values = &target->values_;
}

/// Frees the frames in a loop: nested destructor calls could overflow the stack.
Tm_creator::~Tm_creator() {
    while (outermost_.within != nullptr) outermost_.within = std::move(outermost_.within->within);
}

// The checks of what may come next

bool Tm_creator::expects_value() const {
    State const state = frame_->state;
    return leaf_ == State::none &&
           (state == State::named || state == State::array || state == State::base_array);
}

bool Tm_creator::is_in_message() const {
    return leaf_ == State::none && frame_->state == State::method;
}

bool Tm_creator::is_in_member() const {
    State const state = frame_->state;
    return leaf_ == State::none &&
           (state == State::naming || state == State::named || state == State::valued);
}

char const* Tm_creator::get_current_state_name() const {
    State const state = leaf_ != State::none ? leaf_ : frame_->state;
    return state == State::method ? message_state_name() : name_of(state);
}

char const* Tm_creator::name_of(State state) {
    switch (state) {
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
    if (!is_outermost() || leaf_ != State::none) return false;
    return root_.target == nullptr || root_.phase == Phase::ended;
}

bool Tm_creator::support_member_with_index() {
    Frame const& frame = *frame_;
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

// The checks of the limits

void Tm_creator::begin_counting() {
    values_left_ = limits_.max_values;
    memory_ = 0;
    files_ = 0;
}

bool Tm_creator::refuse_level() {
    return depth_ >= limits_.max_depth ? fail(tm_too_deep(limits_)) : refuse_value();
}

bool Tm_creator::refuse_value() {
    return memory_ > limits_.max_memory ? fail_memory() : fail(tm_too_many_values(limits_));
}

bool Tm_creator::fail_memory() {
    is_exhausted_ = true;
    return fail(tm_too_much_memory(limits_));
}

void Tm_creator::count_memory(std::size_t bytes) {
    memory_ += bytes;
    if (memory_ > limits_.max_memory) values_left_ = 0;
}

bool Tm_creator::take_memory(std::size_t bytes) {
    if (bytes == 0) return true;
    if (bytes > limits_.max_memory || memory_ > limits_.max_memory - bytes) return false;
    memory_ += bytes + tm_block_overhead;
    return true;
}

/// Counts both the old and the new slots, because both exist while values move.
bool Tm_creator::grow(Tm_value_container& values) {
    std::size_t const before = values.slot_bytes();
    if (!take_memory(values.grown_slot_bytes())) return false;
    values.reserve_next();
    memory_ -= before;
    return true;
}

/// Appends to the buffer of the open string or byte string. Returns false when that takes too much
/// memory.
template <class Buffer>
bool Tm_creator::append_announced(Buffer& buffer, char const* data, std::size_t length) {
    std::size_t const needed = buffer.size() + length;
    std::size_t const before = buffer.capacity();
    if (needed > before) {
        std::size_t const room = announced_room(needed, expected_);
        if (!take_memory(room)) return false;
        tm_reserve_bulk(buffer, room);
        memory_ -= before;
    }
    buffer.insert(buffer.end(), data, data + length);
    return true;
}

// Values that arrive

void Tm_creator::place(Tm_new_value&& value) {
    bool const is_complete = is_outermost();
    if (is_complete && user_array_ != nullptr) {
        user_array_->add_member_and_own(value.release().release());
    } else {
        Tm_value_container& target = *frame_->values;
        target.prepare(value);
        target.push(std::move(value));
        value_arrived();
    }
    if (is_complete) begin_counting();
}

bool Tm_creator::put(Tm_new_value value, char const* event) {
    if (!expects_value()) return reject(event);
    if (values_left_ == 0) return refuse_value();
    if (!make_room(*frame_->values)) return fail_memory();
    --values_left_;
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

bool Tm_creator::begin_leaf(State leaf, unsigned int length) {
    if (!expects_value()) return reject(std::string(name_of(leaf)) + " begin");
    if (values_left_ == 0) return refuse_value();
    --values_left_;
    leaf_ = leaf;
    expected_ = length;
    received_ = 0;
    text_.clear();
    return true;
}

/// Returns whether that kind is open and `length` more bytes may come. If not, sets the error text.
bool Tm_creator::may_continue(State leaf, unsigned int length) {
    if (leaf_ == leaf && length <= expected_ - received_) return true;
    std::string const name = name_of(leaf);
    if (leaf_ != leaf) return reject(name + " continue");
    return fail(name + (leaf == State::string ? "" : " string") + " longer than given length");
}

bool Tm_creator::visit_string_begin(unsigned int length) {
    return begin_leaf(State::string, length);
}

bool Tm_creator::visit_string_continue(char const* data, unsigned int length) {
    if (!may_continue(State::string, length)) return false;
    bool const has_failed = received_ > 0 && received_ == expected_;
    if (has_failed) return false;
    bool const is_whole = length == expected_;
    if (!is_whole && !append_announced(text_, data, length)) return fail_memory();
    if (received_ + length == expected_) {
        Tm_value_container& target = *frame_->values;
        if (!make_room(target) || !take_memory(target.text_growth(expected_))) return fail_memory();
        try {
            place(Tm_new_value(is_whole ? std::string_view(data, length) : text_));
        } catch (Tm_out_of_range_exception const& too_long) {
            received_ = expected_;
            return fail(too_long.what());
        } catch (...) {
            text_.resize(received_);
            throw;
        }
        leaf_ = State::none;
    }
    received_ += length;
    return true;
}

bool Tm_creator::visit_binary_begin(unsigned int length) {
    bool const is_taken = begin_leaf(State::binary, length);
    if (is_taken) bytes_ = {};
    return is_taken;
}

bool Tm_creator::visit_binary_continue(char const* data, unsigned int length) {
    if (!may_continue(State::binary, length)) return false;
    if (!append_announced(bytes_, data, length)) return fail_memory();
    received_ += length;
    if (received_ < expected_) return true;
    if (!make_room(*frame_->values)) return fail_memory();
    count_memory(sizeof(Tm_binary) + sizeof(std::vector<unsigned char>) + shared_count +
                 3 * tm_block_overhead);
    place(Tm_new_value(std::make_unique<Tm_binary>(std::move(bytes_))));
    leaf_ = State::none;
    return true;
}

bool Tm_creator::visit_file_begin(unsigned int length) {
    if (length > limits_.max_file_bytes) return fail(tm_file_too_long(limits_));
    if (!expects_value()) return reject("file begin");
    if (files_ >= limits_.max_files) return fail(tm_too_many_files(limits_));
    if (values_left_ == 0) return refuse_value();
    if (!make_room(*frame_->values)) return fail_memory();
    file_ = std::make_unique<Tm_received_file>(length);
    ++files_;
    begin_leaf(State::file, length);
    count_memory(file_value_size(file_->path()));
    return true;
}

bool Tm_creator::visit_file_continue(char const* data, unsigned int length) {
    if (!may_continue(State::file, length)) return false;
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
    leaf_ = State::none;
    return true;
}

// Frames

Tm_creator::Frame& Tm_creator::open(State state) {
    Frame& around = *frame_;
    if (around.within == nullptr) {
        around.within = std::make_unique<Frame>();
        around.within->around = &around;
        count_memory(sizeof(Frame) + tm_block_overhead);
    }
    Frame& frame = *around.within;
    frame.state = state;
    frame.shares_names = around.shares_names;
    frame.by_index = around.by_index;
    frame.structure = nullptr;
    frame.values = nullptr;
    frame.place = around.place;
    if (around.structure != nullptr) {
        frame.place = reinterpret_cast<std::uintptr_t>(around.structure->layout_.get());
        around.state = State::valued;
    }
    frame_ = &frame;
    ++depth_;
    return frame;
}

/// Gives the complete value of the innermost frame to the frame around it. Returns false when that
/// takes too much memory.
bool Tm_creator::close(unsigned char kind) {
    if (!make_room(*frame_->around->values)) return fail_memory();
    Tm_new_value value(std::move(frame_->owned), kind);
    leave();
    place(std::move(value));
    return true;
}

/// Frees the spare room of a complete struct or array, unless there is no memory to move to.
void Tm_creator::trim(Tm_value_container& values) {
    if (!values.has_spare()) return;
    std::size_t const before = values.slot_bytes();
    try {
        values.give_up_spare();
    } catch (std::bad_alloc const&) {
        return;
    }
    memory_ -= before - values.slot_bytes();
}

bool Tm_creator::visit_array_begin() {
    if (!may_nest()) return refuse_level();
    if (!expects_value()) return reject("array begin");
    auto array = std::make_unique<Tm_array>();
    --values_left_;
    Frame& frame = open(State::array);
    frame.values = &array->values_;
    frame.owned = std::move(array);
    count_memory(sizeof(Tm_array) + tm_block_overhead);
    return true;
}

bool Tm_creator::visit_array_end() {
    Frame const& frame = *frame_;
    if (leaf_ != State::none || frame.state != State::array) {
        return reject("array end");
    }
    trim(*frame.values);
    return close(tm_on_heap);
}
