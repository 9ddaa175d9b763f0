#include "tmsg/message/tm_index_plan.h"

#include <string_view>
#include <utility>

#include "tmsg/message/message.h"

namespace {

/// What a 16-bit index on the wire can tell apart.
constexpr unsigned int most_names = 65536;

}  // namespace

Tm_index_plan::Tm_index_plan(Message& message) : message_(message) {
    visit_struct(message.get_struct(Message::TMG_META), false);
    visit_struct(message.get_struct(Message::TMG_BODY), true);
    if (names_.size() > most_names) is_possible_ = false;
    if (is_possible_) table_ = Message::make_name_table(names_);
}

Tm_index_plan::~Tm_index_plan() = default;

void Tm_index_plan::visit(Tm_value* value, bool by_index) {
    if (value == nullptr) return;
    switch (value->get_value_type()) {
        case TMV_STRUCT:
            visit_struct(static_cast<Tm_struct&>(*value), by_index);
            break;
        case TMV_MESSAGE:
            visit_message(static_cast<Message&>(*value));
            break;
        case TMV_ARRAY: {
            auto& array = static_cast<Tm_array&>(*value);
            for (int i = 0; i < array.get_member_count(); ++i) visit(array.get_value(i), by_index);
            break;
        }
        default:
            break;
    }
}

/// The names in the order in which they are sent.
void Tm_index_plan::visit_struct(Tm_struct& target, bool by_index) {
    std::vector<unsigned short> indexes;
    int const count = target.get_member_count();
    for (int i = 0; i < count; ++i) {
        if (by_index) {
            std::string_view const name(target.get_member_name(i),
                                        target.get_member_name_length(i));
            indexes.push_back(static_cast<unsigned short>(names_.add(name)->second));
        }
        visit(target.get_value(i), by_index);
    }
    steps_.push_back({&target, std::move(indexes)});
}

void Tm_index_plan::visit_message(Message& nested) {
    if (nested.name_table_position() < 0) {
        visit_struct(nested.get_struct(Message::TMG_META), false);
        visit_struct(nested.get_struct(Message::TMG_BODY), false);
        return;
    }
    nested_.push_back(std::make_unique<Tm_index_plan>(nested));
    if (!nested_.back()->is_possible_) is_possible_ = false;
}

void Tm_index_plan::carry_out() {
    message_.place_name_table(std::move(table_));
    for (Step& step : steps_) step.target->set_member_indexes(std::move(step.indexes));
    for (auto const& plan : nested_) plan->carry_out();
    message_.send_names_.swap(names_);
    message_.use_send_names_ = true;
}
