#include "tmsg/creator/tm_struct_creator.h"

#include "tmsg/creator/tm_member_creator.h"

namespace {

std::unique_ptr<Tm_struct> make_struct(Tm_shared_names const& names) {
    if (names == nullptr) return std::make_unique<Tm_struct>(nullptr);
    return std::make_unique<Tm_struct>(names);
}

}  // namespace

Tm_struct_creator::Tm_struct_creator(Tm_struct* in_place, Tm_build_context const* context)
    : target_(in_place), context_(context) {}

Tm_struct_creator::Tm_struct_creator(Tm_destination destination, Tm_build_context const* context)
    : owned_(make_struct(context->names)),
      target_(owned_.get()),
      destination_(destination),
      context_(context) {}

bool Tm_struct_creator::visit_member_begin(unsigned int length) {
    return descend<Tm_member_creator>(target_, length, context_);
}

bool Tm_struct_creator::visit_member_begin_with_index(unsigned short index) {
    if (context_->table == nullptr) return Tm_creator_state::visit_member_begin_with_index(index);
    return visit_member_begin(static_cast<unsigned int>(context_->table->at(index).size()));
}

bool Tm_struct_creator::visit_struct_end() {
    if (destination_.has_value()) destination_->add(owned_);
    return finish();
}
