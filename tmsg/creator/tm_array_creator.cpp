#include "tmsg/creator/tm_array_creator.h"

#include <utility>

Tm_base_array_creator::Tm_base_array_creator(Tm_array* target, Tm_build_context const* context)
    : Tm_value_receiver(context), target_(target) {}

Tm_array_creator::Tm_array_creator(Tm_destination destination, Tm_build_context const* context)
    : Tm_array_creator(destination, context, std::make_unique<Tm_array>()) {}

Tm_array_creator::Tm_array_creator(Tm_destination destination, Tm_build_context const* context,
                                   std::unique_ptr<Tm_array> array)
    : Tm_base_array_creator(array.get(), context), place_(destination), array_(std::move(array)) {}

bool Tm_array_creator::visit_array_end() {
    place_.add(array_);
    return finish();
}
