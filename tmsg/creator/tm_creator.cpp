#include "tmsg/creator/tm_creator.h"

#include "tmsg/creator/message_creator.h"
#include "tmsg/creator/tm_array_creator.h"
#include "tmsg/creator/tm_build_context.h"
#include "tmsg/creator/tm_limit_error.h"
#include "tmsg/message/message.h"

namespace {

/// Most messages nest less deep than this many states.
constexpr std::size_t usual_depth = 16;

}  // namespace

Tm_creator::Tm_creator(Message* target, Tm_limits const& limits) : limits_(limits) {
    states_.reserve(usual_depth);
    auto root = std::make_unique<Message_creator>(target, target->shared_names(), &received_files_);
    root_ = root.get();
    states_.push_back(std::move(root));
    current_ = states_.back().get();
}

Tm_creator::Tm_creator(Tm_array* target, Tm_limits const& limits) : limits_(limits) {
    states_.reserve(usual_depth);
    // The values of an array stand in no message: their structs own their names.
    array_context_ = std::make_unique<Tm_build_context>();
    array_context_->received_files = &received_files_;
    states_.push_back(std::make_unique<Tm_base_array_creator>(target, array_context_.get()));
    current_ = states_.back().get();
}

Tm_creator::~Tm_creator() {
    while (!states_.empty()) states_.pop_back();
}

bool Tm_creator::process_state() {
    if (Tm_creator_state* const next = current_->next_state()) {
        states_.emplace_back();
        states_.back().reset(next);
        current_->clear_next_state();
        current_ = next;
        return true;
    }
    if (current_->done()) {
        states_.pop_back();
        current_ = states_.back().get();
        return true;
    }
    error_ = current_->error().empty() ? "internal error in Tm_creator" : current_->error();
    return false;
}

/// For one more open struct, array or message.
bool Tm_creator::has_room() {
    if (depth_ < limits_.max_depth) return true;
    error_ = tm_too_deep(limits_);
    return false;
}

bool Tm_creator::enter(bool begun) {
    if (begun) ++depth_;
    return begun;
}

bool Tm_creator::leave(bool ended) {
    if (ended) --depth_;
    return ended;
}

bool Tm_creator::visit_file_begin(unsigned int length) {
    if (length > limits_.max_file_bytes) {
        error_ = tm_file_too_long(limits_);
        return false;
    }
    return current_->visit_file_begin(length) || process_state();
}

bool Tm_creator::done() { return states_.size() == 1 && (root_ == nullptr || root_->has_ended()); }

bool Tm_creator::support_member_with_index() { return current_->support_member_with_index(); }

char const* Tm_creator::get_current_state_name() const { return current_->get_name(); }

// clang-format off
bool Tm_creator::visit_method_begin(bool is_request) { return has_room() && enter(current_->visit_method_begin(is_request) || process_state()); }
bool Tm_creator::visit_method_end(bool is_request) { return leave(current_->visit_method_end(is_request) || process_state()); }
bool Tm_creator::visit_fault_begin() { return current_->visit_fault_begin() || process_state(); }
bool Tm_creator::visit_fault_end() { return current_->visit_fault_end() || process_state(); }
bool Tm_creator::visit_method_name_begin(unsigned int length) { return current_->visit_method_name_begin(length) || process_state(); }
bool Tm_creator::visit_method_name_continue(char const* data, unsigned int length) { return current_->visit_method_name_continue(data, length) || process_state(); }
bool Tm_creator::visit_bool(bool value) { return current_->visit_bool(value) || process_state(); }
bool Tm_creator::visit_int8(signed char value) { return current_->visit_int8(value) || process_state(); }
bool Tm_creator::visit_uint8(unsigned char value) { return current_->visit_uint8(value) || process_state(); }
bool Tm_creator::visit_int16(short value) { return current_->visit_int16(value) || process_state(); }
bool Tm_creator::visit_uint16(unsigned short value) { return current_->visit_uint16(value) || process_state(); }
bool Tm_creator::visit_int32(int value) { return current_->visit_int32(value) || process_state(); }
bool Tm_creator::visit_uint32(unsigned int value) { return current_->visit_uint32(value) || process_state(); }
bool Tm_creator::visit_int64(long value) { return current_->visit_int64(value) || process_state(); }
bool Tm_creator::visit_uint64(unsigned long value) { return current_->visit_uint64(value) || process_state(); }
bool Tm_creator::visit_double(double value) { return current_->visit_double(value) || process_state(); }
bool Tm_creator::visit_string_begin(unsigned int length) { return current_->visit_string_begin(length) || process_state(); }
bool Tm_creator::visit_string_continue(char const* data, unsigned int length) { return current_->visit_string_continue(data, length) || process_state(); }
bool Tm_creator::visit_binary_begin(unsigned int length) { return current_->visit_binary_begin(length) || process_state(); }
bool Tm_creator::visit_binary_continue(char const* data, unsigned int length) { return current_->visit_binary_continue(data, length) || process_state(); }
bool Tm_creator::visit_struct_begin() { return has_room() && enter(current_->visit_struct_begin() || process_state()); }
bool Tm_creator::visit_struct_end() { return leave(current_->visit_struct_end() || process_state()); }
bool Tm_creator::visit_member_begin(unsigned int length) { return current_->visit_member_begin(length) || process_state(); }
bool Tm_creator::visit_member_continue(char const* data, unsigned int length) { return current_->visit_member_continue(data, length) || process_state(); }
bool Tm_creator::visit_member_end() { return current_->visit_member_end() || process_state(); }
bool Tm_creator::visit_array_begin() { return has_room() && enter(current_->visit_array_begin() || process_state()); }
bool Tm_creator::visit_array_end() { return leave(current_->visit_array_end() || process_state()); }
bool Tm_creator::visit_file_continue(char const* data, unsigned int length) { return current_->visit_file_continue(data, length) || process_state(); }
bool Tm_creator::visit_member_begin_with_index(unsigned short index) { return current_->visit_member_begin_with_index(index) || process_state(); }
bool Tm_creator::visit_member_continue_with_index(unsigned short index) { return current_->visit_member_continue_with_index(index) || process_state(); }
// clang-format on
