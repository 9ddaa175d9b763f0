/// Member names sent by index: recording the indexes and the table that a receiver reads them by.
#include <cstdlib>
#include <string_view>

#include "tmsg/message/message.h"
#include "tmsg/message/tm_index_plan.h"

namespace {

char const table_name[] = "catalog";
bool is_forbidden_by_environment() {
    static bool const forbidden = std::getenv("QEL_INIT_DISABLE_SEND_MEMBER_STRING") != nullptr;
    return forbidden;
}

}  // namespace

void Message::set_use_send_member_string(bool use) {
    if (!is_forbidden_by_environment()) use_send_names_ = use;
}

Tm_catalog<std::string>* Message::get_send_member_string(TMG group) {
    return use_send_names_ && group == TMG_BODY ? &send_names_ : nullptr;
}

Tm_catalog<std::string> const* Message::get_send_member_string(TMG group) const {
    return const_cast<Message*>(this)->get_send_member_string(group);
}

void Message::create_send_member_string_meta() {
    if (use_send_names_ && name_table_position() < 0) {
        place_name_table(make_name_table(send_names_));
    }
}

bool Message::index_member_names() {
    if (is_forbidden_by_environment()) return false;
    Tm_index_plan plan(*this, Tm_index_plan::Tableless::gets_table);
    if (!plan.is_possible()) return false;
    plan.carry_out();
    return true;
}

bool Message::restore_member_indexes() {
    Tm_index_plan plan(*this, Tm_index_plan::Tableless::keeps_names);
    if (!plan.is_possible() || (plan.needs_indexes() && is_forbidden_by_environment()))
        return false;
    plan.carry_out();
    return true;
}

/// Where a receiver looks the table up: the first member of its name.
int Message::name_table_position() const {
    Tm_struct const& meta = groups_[TMG_META];
    for (int i = 0; i < meta.get_member_count(); ++i) {
        std::string_view const name(meta.get_member_name(i), meta.get_member_name_length(i));
        if (name == table_name) return i;
    }
    return -1;
}

/// The names in index order.
std::unique_ptr<Tm_array> Message::make_name_table(Tm_catalog<std::string> const& names) {
    auto table = std::make_unique<Tm_array>();
    table->reserve(static_cast<int>(names.size()));
    for (std::size_t i = 0; i < names.size(); ++i) table->add_member(names[i].first);
    return table;
}

void Message::place_name_table(std::unique_ptr<Tm_array> table) {
    Tm_struct& meta = groups_[TMG_META];
    int const position = name_table_position();
    if (position >= 0) {
        meta.values_.set_and_own(position, table.release());
    } else {
        meta.add_member_and_own(table_name, table.release());
    }
}
