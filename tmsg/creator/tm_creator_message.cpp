/// Messages: their request names, their own two structs and their name tables.
#include <utility>

#include "tmsg/creator/internal/tm_own_creator.h"
#include "tmsg/message/internal/tm_name_table.h"
#include "tmsg/message/message.h"
#include "tmsg/value/internal/tm_name_hash.h"

char const* Tm_creator::message_state_name() const {
    if (message().phase == Phase::not_begun) return "method";
    switch (message().target->get_msg_type()) {
        case Message::TMT_REQUEST:
            return "method call";
        case Message::TMT_FAULT:
            return "fault";
        default:
            return "method response";
    }
}

Tm_open Tm_own_creator::innermost() const {
    if (is_in_member()) return Tm_open::member;
    if (leaf_ == State::none && frame_->state == State::array) return Tm_open::array;
    if (!is_in_message() || message().phase == Phase::not_begun) return Tm_open::other;
    if (message().target->get_msg_type() == Message::TMT_FAULT) return Tm_open::fault;
    return message().is_call ? Tm_open::call : Tm_open::response;
}

bool Tm_creator::visit_method_begin(bool is_request) {
    if (!may_nest()) return refuse_level();
    bool const is_root = leaf_ == State::none && frame_->state == State::method &&
                         message().phase == Phase::not_begun;
    if (!is_root && !expects_value()) {
        return reject(is_request ? "method call begin" : "method response begin");
    }
    if (is_root) {
        ++depth_;
    } else {
        begin_nested_message();
    }
    Open_message& open_message = message();
    open_message.target->set_msg_type(is_request ? Message::TMT_REQUEST : Message::TMT_RESPONSE);
    open_message.is_call = is_request;
    open_message.phase = Phase::begun;
    return true;
}

/// Each struct within it owns its names, as in a copy.
void Tm_creator::begin_nested_message() {
    auto nested = std::make_unique<Message>(nullptr);
    --values_left_;
    if (nested_.size() == nested_.capacity()) {
        std::size_t const more = nested_.size() + 1;
        nested_.reserve(nested_.size() + more);
        count_memory(more * sizeof(Open_message));
    }
    Frame& frame = open(State::method);
    frame.shares_names = false;
    frame.by_index = false;
    nested_.emplace_back().target = nested.get();
    count_memory(sizeof(Message) + tm_block_overhead);
    frame.owned = std::move(nested);
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
    if (!is_outermost()) {
        if (!make_room(*frame_->around->values)) return fail_memory();
        nested_.pop_back();
        return close(tm_on_heap);
    }
    open_message.phase = Phase::ended;
    --depth_;
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

/// Refuses the piece of an empty name, too: its length announces no piece.
bool Tm_creator::visit_method_name_continue(char const* data, unsigned int length) {
    if (!is_in_message() || message().name_length == 0) {
        return reject("method name continue");
    }
    Open_message& open_message = message();
    if (length > open_message.name_length - open_message.name_received) {
        return fail("method name longer than given length");
    }
    bool const was_complete = open_message.name_received == open_message.name_length;
    if (was_complete) return true;
    std::string& pieces = open_message.name;
    bool const is_whole = length == open_message.name_length;
    if (!is_whole) pieces.append(data, length);
    open_message.name_received += length;
    if (open_message.name_received < open_message.name_length) return true;
    std::string_view const name = is_whole ? std::string_view(data, length) : pieces;
    open_message.target->set_request_name(name);
    count_memory(2 * name.size());
    open_message.place = tm_hash_name(name);
    return true;
}

Tm_creator::Layout_ref Tm_creator::read_name_table() {
    Layout_ref table = tm_receive_name_table(*message().target);
    if (table) count_memory(table->bytes());
    return table;
}

/// Opens the next group of a message, which is filled in place. Returns false when it has both.
bool Tm_creator::begin_group() {
    Open_message& open_message = message();
    bool const is_first = open_message.phase == Phase::begun;
    if (!is_first && open_message.phase != Phase::in_first_struct) return false;
    Message::TMG const group = is_first ? Message::TMG_META : Message::TMG_BODY;
    Layout_ref table = is_first ? Layout_ref() : read_name_table();
    Frame& frame = open(State::structure);
    frame.structure = &open_message.target->get_struct(group);
    frame.values = &frame.structure->values_;
    frame.place = tm_mix(open_message.place, static_cast<std::uint64_t>(group));
    frame.by_index = static_cast<bool>(table);
    open_message.table = std::move(table);
    open_message.phase = is_first ? Phase::in_first_struct : Phase::in_second_struct;
    return true;
}
