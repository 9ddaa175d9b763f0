#include "tmsg/creator/tm_member_creator.h"

#include <string_view>

#include "tmsg/composite/tm_struct.h"

Tm_member_creator::Tm_member_creator(Tm_struct* target, unsigned int name_length,
                                     Tm_build_context const* context)
    : Tm_value_receiver(context), target_(target), expected_(name_length) {}

bool Tm_member_creator::visit_member_continue(char const* data, unsigned int length) {
    std::size_t const received = name_ != nullptr ? expected_ : collected_.size();
    if (length > expected_ - received) return fail("member name longer than given length");
    if (name_ != nullptr) return true;

    if (length == expected_) {
        name_ = &target_->intern_name(std::string_view(data, length));
        return true;
    }
    collected_.append(data, length);
    if (collected_.size() == expected_) name_ = &target_->intern_name(collected_);
    return true;
}

bool Tm_member_creator::visit_member_continue_with_index(unsigned short index) {
    if (context()->table == nullptr)
        return Tm_creator_state::visit_member_continue_with_index(index);
    std::string const& name = context()->table->at(index);
    bool const is_whole = name_ == nullptr && collected_.empty() && name.size() == expected_;
    if (is_whole) {
        name_ = &target_->borrow_name(name, context()->table);
        return true;
    }
    return visit_member_continue(name.data(), static_cast<unsigned int>(name.size()));
}

bool Tm_member_creator::visit_member_end() {
    if (!has_value_) return fail("no values found in member");
    return finish();
}
