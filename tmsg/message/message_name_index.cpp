/// Member names by index. A plan first computes the indexes of all structs of a message and the
/// name table. Then it puts them in place without a step that can fail, so that a failure changes
/// nothing. A table that has all the names stays as it is. A nested message that has a table gets a
/// plan of its own. A nested message without one is sent with its names.
#include <algorithm>
#include <cstdlib>
#include <list>
#include <string_view>
#include <utility>
#include <vector>

#include "tmsg/message/internal/tm_name_table.h"
#include "tmsg/message/message.h"

struct Tm_index_plan {
    struct Target {
        Tm_struct* where;
        std::vector<unsigned short> indexes;  ///< empty when names are sent
    };

    Tm_index_plan(Message& whose, bool sends_indexes) : message(whose), by_index(sends_indexes) {}

    Message& message;
    bool by_index;
    Tm_catalog<std::string> names;
    std::vector<Target> targets;
    std::unique_ptr<Tm_array> new_table;
    std::list<Tm_index_plan> nested;
};

namespace {

/// The number of names that a 16-bit wire index can distinguish.
constexpr int most_names = 65536;

bool is_forbidden_by_environment() {
    static bool const forbidden = std::getenv("QEL_INIT_DISABLE_SEND_MEMBER_STRING") != nullptr;
    return forbidden;
}

void collect(Tm_index_plan& plan, Tm_value* value, bool by_index);

/// Numbers the names in the order in which they are sent.
void collect_struct(Tm_index_plan& plan, Tm_struct& target, bool by_index, int left_out = -1) {
    std::vector<unsigned short> indexes;
    int const count = target.get_member_count();
    for (int i = 0; i < count; ++i) {
        if (by_index) {
            std::string_view const name(target.get_member_name(i),
                                        target.get_member_name_length(i));
            indexes.push_back(static_cast<unsigned short>(plan.names.add(name)->second));
        }
        if (i != left_out) collect(plan, target.get_value(i), by_index);
    }
    plan.targets.push_back({&target, std::move(indexes)});
}

/// Does not collect within the table: it holds no structs, or the new table replaces it.
void collect_groups(Tm_index_plan& plan, Message& message, bool by_index) {
    int const table = message.name_table_position();
    collect_struct(plan, message.get_struct(Message::TMG_META), false, table);
    collect_struct(plan, message.get_struct(Message::TMG_BODY), by_index);
}

void collect(Tm_index_plan& plan, Tm_value* value, bool by_index) {
    if (value == nullptr) return;
    switch (value->get_value_type()) {
        case TMV_STRUCT:
            return collect_struct(plan, static_cast<Tm_struct&>(*value), by_index);
        case TMV_ARRAY: {
            auto& array = static_cast<Tm_array&>(*value);
            for (int i = 0; i < array.get_member_count(); ++i) {
                collect(plan, array.get_value(i), by_index);
            }
            return;
        }
        case TMV_MESSAGE: {
            auto& message = static_cast<Message&>(*value);
            bool const has_table = message.name_table_position() >= 0;
            Tm_index_plan& its = has_table ? plan.nested.emplace_back(message, true) : plan;
            return collect_groups(its, message, has_table);
        }
        default:
            return;
    }
}

/// Turns the numbers of names into their first positions in the table of the message. Returns
/// false, and changes nothing, when the table lacks a name.
bool keep_table(Tm_index_plan& plan) {
    Tm_array const* const table = tm_find_name_table(plan.message);
    if (table == nullptr) return false;
    Tm_catalog<std::string> names;
    std::vector<int> positions(plan.names.size(), most_names);
    for (int i = 0; i < table->get_member_count(); ++i) {
        std::string_view const name = table->get_member_text(i);
        names.add(name);
        auto const* const entry = plan.names.find(name);
        if (entry != nullptr) positions[entry->second] = std::min(positions[entry->second], i);
    }
    for (int const position : positions) {
        if (position == most_names) return false;
    }
    for (Tm_index_plan::Target& target : plan.targets) {
        for (auto& index : target.indexes) index = static_cast<unsigned short>(positions[index]);
    }
    plan.names.swap(names);
    return true;
}

/// Decides which table each message gets. Returns false when one has more than most_names names.
bool decide(Tm_index_plan& plan) {
    bool is_possible = true;
    for (Tm_index_plan& nested : plan.nested) {
        if (!decide(nested)) is_possible = false;
    }
    if (!plan.by_index || keep_table(plan)) return is_possible;
    if (!is_possible || static_cast<int>(plan.names.size()) > most_names) return false;
    plan.new_table = tm_make_name_table(plan.names);
    return true;
}

}  // namespace

void Message::make_room(Tm_index_plan const& plan) {
    for (Tm_index_plan::Target const& target : plan.targets) {
        if (!target.indexes.empty()) target.where->extras();
    }
    for (Tm_index_plan const& nested : plan.nested) make_room(nested);
}

void Message::carry_out(Tm_index_plan& plan) {
    if (plan.new_table != nullptr) plan.message.place_name_table(std::move(plan.new_table));
    for (Tm_index_plan::Target& target : plan.targets) {
        target.where->set_member_indexes(std::move(target.indexes));
    }
    for (Tm_index_plan& nested : plan.nested) carry_out(nested);
    if (!plan.by_index) return;
    plan.message.send_names_.swap(plan.names);
    plan.message.use_send_names_ = true;
}

bool Message::record_indexes(bool by_index) {
    Tm_index_plan plan(*this, by_index);
    collect_groups(plan, *this, by_index);
    if (!decide(plan)) return false;
    bool const needs_indexes = by_index || !plan.nested.empty();
    if (needs_indexes && is_forbidden_by_environment()) return false;
    make_room(plan);
    carry_out(plan);
    return true;
}

bool Message::index_member_names() {
    return !is_forbidden_by_environment() && record_indexes(true);
}

bool Message::restore_member_indexes() { return record_indexes(name_table_position() >= 0); }

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
        place_name_table(tm_make_name_table(send_names_));
    }
}
