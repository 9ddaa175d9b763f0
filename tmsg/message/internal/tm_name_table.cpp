#include "tmsg/message/internal/tm_name_table.h"

#include <string_view>

#include "tmsg/message/message.h"
#include "tmsg/value/internal/tm_layout.h"

constexpr char table_name[] = "catalog";

bool Message::is_name_table(std::string_view name) { return name == table_name; }

int Message::name_table_position() const {
    Tm_struct const& meta = groups_[TMG_META];
    for (int i = 0; i < meta.get_member_count(); ++i) {
        std::string_view const name(meta.get_member_name(i), meta.get_member_name_length(i));
        if (is_name_table(name)) return i;
    }
    return -1;
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

Tm_array const* tm_find_name_table(Message const& message) {
    int const position = message.name_table_position();
    if (position < 0) return nullptr;
    Tm_value const* const table = message.get_const_struct(Message::TMG_META).get_value(position);
    if (table == nullptr || table->get_value_type() != TMV_ARRAY) return nullptr;
    auto const& names = static_cast<Tm_array const&>(*table);
    for (int i = 0; i < names.get_member_count(); ++i) {
        Tm_value const* const name = names.get_value(i);
        if (name == nullptr || name->get_value_type() != TMV_STRING) return nullptr;
    }
    return &names;
}

/// Uses a look-up by name, which moves the place where the struct's next look-up starts.
Tm_counted_ptr<Tm_layout> tm_receive_name_table(Message const& message) {
    Tm_struct const& meta = message.get_const_struct(Message::TMG_META);
    int const position = meta.get_member_index(table_name);
    if (position < 0) return {};
    Tm_array const& array = *meta.get_member_array(position);
    Tm_counted_ptr<Tm_layout> names = Tm_layout::make();
    for (int i = 0; i < array.get_member_count(); ++i) names->append({array.get_member_text(i)});
    return names;
}

std::unique_ptr<Tm_array> tm_make_name_table(Tm_catalog<std::string> const& names) {
    auto table = std::make_unique<Tm_array>();
    table->reserve(static_cast<int>(names.size()));
    for (std::size_t i = 0; i < names.size(); ++i) table->add_member(names[i].first);
    return table;
}
