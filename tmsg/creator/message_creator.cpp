#include "tmsg/creator/message_creator.h"

#include "tmsg/creator/tm_struct_creator.h"
#include "tmsg/value/tm_string.h"

Message_creator::Message_creator(Message* target, Tm_shared_names const& names,
                                 Tm_received_files* received_files)
    : target_(target), context_{names, {}, received_files} {}

char const* Message_creator::get_name() const {
    if (phase_ == Phase::not_begun) return "method";
    switch (target_->get_msg_type()) {
        case Message::TMT_REQUEST:
            return "method call";
        case Message::TMT_FAULT:
            return "fault";
        default:
            return "method response";
    }
}

bool Message_creator::visit_method_begin(bool is_request) {
    if (phase_ != Phase::not_begun) return Tm_creator_state::visit_method_begin(is_request);
    target_->set_msg_type(is_request ? Message::TMT_REQUEST : Message::TMT_RESPONSE);
    is_call_ = is_request;
    phase_ = Phase::begun;
    return true;
}

bool Message_creator::visit_method_end(bool is_request) {
    char const* missing = nullptr;
    if (phase_ == Phase::begun) missing = " (no structs found)";
    if (phase_ == Phase::in_first_struct) missing = " (only one struct found)";
    if (missing != nullptr) {
        return fail(std::string("unexpected method ") + (is_request ? "call" : "response") +
                    " end in " + get_name() + missing);
    }
    if (phase_ != Phase::in_second_struct || is_request != is_call_) {
        return Tm_creator_state::visit_method_end(is_request);
    }
    phase_ = Phase::ended;
    return true;
}

bool Message_creator::visit_fault_begin() {
    if (phase_ != Phase::begun) return Tm_creator_state::visit_fault_begin();
    target_->set_msg_type(Message::TMT_FAULT);
    return true;
}

bool Message_creator::visit_fault_end() {
    bool const is_open = phase_ != Phase::not_begun && phase_ != Phase::ended;
    if (!is_open || target_->get_msg_type() != Message::TMT_FAULT) {
        return Tm_creator_state::visit_fault_end();
    }
    return true;
}

bool Message_creator::visit_method_name_begin(unsigned int length) {
    if (name_length_ != 0 || length > Tm_string::MAX_LENGTH || phase_ != Phase::begun) {
        return Tm_creator_state::visit_method_name_begin(length);
    }
    if (!is_call_) return fail("method name found in method response");
    name_length_ = length;
    return true;
}

bool Message_creator::visit_method_name_continue(char const* data, unsigned int length) {
    if (name_length_ == 0) return Tm_creator_state::visit_method_name_continue(data, length);
    if (length > name_length_ - name_.size()) return fail("method name longer than given length");
    name_.append(data, length);
    if (name_.size() == name_length_) target_->set_request_name(name_);
    return true;
}

bool Message_creator::visit_struct_begin() {
    if (phase_ == Phase::begun) {
        descend<Tm_struct_creator>(&target_->get_struct(Message::TMG_META), &context_);
        phase_ = Phase::in_first_struct;
        return false;
    }
    if (phase_ == Phase::in_first_struct) {
        read_name_table();
        descend<Tm_struct_creator>(&target_->get_struct(Message::TMG_BODY), &context_);
        phase_ = Phase::in_second_struct;
        return false;
    }
    return Tm_creator_state::visit_struct_begin();
}

/// Without a "catalog" there is no table.
void Message_creator::read_name_table() {
    Tm_struct const& meta = target_->get_const_struct(Message::TMG_META);
    int const position = meta.get_member_index("catalog");
    if (position < 0) return;
    Tm_array const& catalog = *meta.get_member_array(position);
    int const count = catalog.get_member_count();
    auto const table = std::make_shared<Tm_name_table>();
    table->reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        auto const* const name =
            static_cast<Tm_string const*>(catalog.get_member_value(TMV_STRING, i));
        table->push_back(name->value());
    }
    context_.table = table;
}
