#include "tmsg/message/tm_index_plan.h"

#include <string_view>
#include <utility>

#include "tmsg/message/message.h"
#include "tmsg/value/tm_string.h"

namespace {

/// What a 16-bit index on the wire can tell apart.
constexpr unsigned int most_names = 65536;

}  // namespace

Tm_index_plan::Tm_index_plan(Message& message, Tableless tableless)
    : message_(message),
      by_index_(tableless == Tableless::gets_table || message.name_table_position() >= 0) {
    keeps_table_ = read_table();
    if (!keeps_table_) names_ = {};
    visit_groups();
    if (table_lacks_name_) {
        keeps_table_ = false;
        is_second_visit_ = true;
        names_ = {};
        steps_.clear();
        visit_groups();
    }
    if (!by_index_ || keeps_table_) return;
    if (names_.size() > most_names) is_possible_ = false;
    if (is_possible_) new_table_ = Message::make_name_table(names_);
}

Tm_index_plan::~Tm_index_plan() = default;

/// False: there is none, or none that a receiver could read.
bool Tm_index_plan::read_table() {
    int const position = message_.name_table_position();
    if (position < 0) return false;
    Tm_value const* const table = message_.get_const_struct(Message::TMG_META).get_value(position);
    if (table == nullptr || table->get_value_type() != TMV_ARRAY) return false;
    auto const& names = static_cast<Tm_array const&>(*table);
    for (int i = 0; i < names.get_member_count(); ++i) {
        Tm_value const* const name = names.get_value(i);
        if (name == nullptr || name->get_value_type() != TMV_STRING) return false;
        names_.add(static_cast<Tm_string const&>(*name).value());
        if (names_.size() > places_.size()) places_.push_back(static_cast<std::size_t>(i));
    }
    return true;
}

/// Leaves out a table that will be replaced, with all that is in it.
void Tm_index_plan::visit_groups() {
    bool const goes_away = by_index_ && !keeps_table_;
    visit_struct(message_.get_struct(Message::TMG_META), false,
                 goes_away ? message_.name_table_position() : -1);
    visit_struct(message_.get_struct(Message::TMG_BODY), by_index_);
}

unsigned short Tm_index_plan::number_of(std::string_view name) {
    if (!keeps_table_) return static_cast<unsigned short>(names_.add(name)->second);
    auto const* const entry = names_.find(name);
    std::size_t const place = entry != nullptr ? places_[entry->second] : most_names;
    if (place >= most_names) table_lacks_name_ = true;
    return static_cast<unsigned short>(place);
}

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
void Tm_index_plan::visit_struct(Tm_struct& target, bool by_index, int left_out) {
    std::vector<unsigned short> indexes;
    int const count = target.get_member_count();
    for (int i = 0; i < count; ++i) {
        if (by_index) {
            std::string_view const name(target.get_member_name(i),
                                        target.get_member_name_length(i));
            indexes.push_back(number_of(name));
        }
        if (i != left_out) visit(target.get_value(i), by_index);
    }
    // Made now, so that carrying the plan out cannot fail.
    if (by_index) target.extras();
    steps_.push_back({&target, std::move(indexes)});
}

void Tm_index_plan::visit_message(Message& nested) {
    if (nested.name_table_position() < 0) {
        visit_struct(nested.get_struct(Message::TMG_META), false);
        visit_struct(nested.get_struct(Message::TMG_BODY), false);
        return;
    }
    if (is_second_visit_) return;
    nested_.push_back(std::make_unique<Tm_index_plan>(nested, Tableless::keeps_names));
    if (!nested_.back()->is_possible_) is_possible_ = false;
}

void Tm_index_plan::carry_out() {
    if (new_table_ != nullptr) message_.place_name_table(std::move(new_table_));
    for (Step& step : steps_) step.target->set_member_indexes(std::move(step.indexes));
    for (auto const& plan : nested_) plan->carry_out();
    if (!by_index_) return;
    message_.send_names_.swap(names_);
    message_.use_send_names_ = true;
}
