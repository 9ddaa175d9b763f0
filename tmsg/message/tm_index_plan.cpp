#include "tmsg/message/tm_index_plan.h"

#include <string_view>
#include <utility>

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_struct.h"

void Tm_index_plan::visit(Tm_value* value, bool numbered) {
    if (value == nullptr) return;
    if (value->get_value_type() == TMV_STRUCT) {
        visit_struct(static_cast<Tm_struct&>(*value), numbered);
    } else if (value->get_value_type() == TMV_ARRAY) {
        auto& array = static_cast<Tm_array&>(*value);
        for (int i = 0; i < array.get_member_count(); ++i) visit(array.get_value(i), numbered);
    }
}

void Tm_index_plan::visit_struct(Tm_struct& target, bool numbered) {
    std::vector<unsigned short> indexes;
    int const count = target.get_member_count();
    if (numbered) indexes.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        if (numbered) {
            std::string_view const name(target.get_member_name(i),
                                        target.get_member_name_length(i));
            indexes.push_back(static_cast<unsigned short>(names_.add(name)->second));
        }
        visit(target.get_value(i), numbered);
    }
    steps_.push_back({&target, std::move(indexes)});
}

void Tm_index_plan::carry_out() noexcept {
    for (Step& step : steps_) step.target->set_member_indexes(std::move(step.indexes));
}
