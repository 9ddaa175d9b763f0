/// Member names sent by index: recording the indexes and the table that a receiver reads them by.
#include <cstdlib>
#include <string_view>

#include "tmsg/message/message.h"
#include "tmsg/message/tm_index_plan.h"

namespace {

char const table_name[] = "catalog";
/// What a 16-bit index on the wire can tell apart.
constexpr unsigned int most_names = 65536;

bool is_forbidden_by_environment() {
    static bool const forbidden = std::getenv("QEL_INIT_DISABLE_SEND_MEMBER_STRING") != nullptr;
    return forbidden;
}

/// The names in index order.
std::unique_ptr<Tm_array> make_table(Tm_catalog<std::string> const& names) {
    auto table = std::make_unique<Tm_array>();
    table->reserve(static_cast<int>(names.size()));
    for (std::size_t i = 0; i < names.size(); ++i) table->add_member(names[i].first);
    return table;
}

/// The first member of that name, where a receiver looks it up; -1 for none.
int first_position(Tm_struct const& group, std::string_view name) {
    for (int i = 0; i < group.get_member_count(); ++i) {
        if (std::string_view(group.get_member_name(i), group.get_member_name_length(i)) == name) {
            return i;
        }
    }
    return -1;
}

}  // namespace

void Message::set_use_send_member_string(bool use) {
    if (!is_forbidden_by_environment()) use_send_names_ = use;
}

Tm_catalog<std::string>* Message::get_send_member_string(TMG group) {
    return use_send_names_ && group == TMG_BODY ? &send_names_ : nullptr;
}

void Message::create_send_member_string_meta() {
    Tm_struct& meta = groups_[TMG_META];
    if (!use_send_names_ || first_position(meta, table_name) >= 0) return;
    meta.add_member_and_own(table_name, make_table(send_names_).release());
}

bool Message::index_member_names() {
    if (is_forbidden_by_environment()) return false;
    Tm_struct& meta = groups_[TMG_META];
    Tm_index_plan plan;
    plan.number(groups_[TMG_BODY]);
    plan.strip(meta);
    if (plan.names().size() > most_names) return false;

    auto table = make_table(plan.names());
    int const position = first_position(meta, table_name);
    if (position >= 0) {
        meta.values_.set_and_own(position, table.release());
    } else {
        meta.add_member_and_own(table_name, table.release());
    }
    plan.carry_out();
    send_names_.swap(plan.names());
    use_send_names_ = true;
    return true;
}
