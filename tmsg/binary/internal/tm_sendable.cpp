#include "tmsg/binary/internal/tm_sendable.h"

#include <algorithm>

#include "tmsg/message/message.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/value/internal/tm_layout.h"
#include "tmsg/value/tm_exception.h"

namespace {

void check_length(std::size_t length) {
    if (length > Tm_string::MAX_LENGTH) {
        throw Tm_out_of_range_exception("String length", static_cast<int>(length), 0,
                                        static_cast<int>(Tm_string::MAX_LENGTH));
    }
}

/// Removes the name tables of a message and of all messages in it.
void remove_tables(Tm_value& value) {
    if (value.get_value_type() == TMV_MESSAGE) {
        auto& message = static_cast<Message&>(value);
        for (int i = 0; (i = message.name_table_position()) >= 0;) {
            message.remove_member(Message::TMG_META, i);
        }
    }
    tm_for_each_child(value,
                      [](Tm_value const& child) { remove_tables(const_cast<Tm_value&>(child)); });
}

}  // namespace

/// Looks only at names, and at values on the heap, because other values have no names. `table` is
/// null where a receiver reads names instead of indexes.
struct Tm_name_lengths {
    /// The name table of a message, and the last struct whose indexes are right. Many structs of a
    /// message have the same names.
    struct Table {
        Tm_value_container const* names = nullptr;  ///< null when a receiver cannot read the table
        Tm_struct const* right = nullptr;
    };

    void check(Tm_value const& value, Table* table = nullptr) {
        switch (value.get_value_type()) {
            case TMV_STRUCT:
                return check_struct(static_cast<Tm_struct const&>(value), table);
            case TMV_ARRAY:
                return check_values(static_cast<Tm_array const&>(value).values_, table);
            case TMV_MESSAGE:
                return check_message(static_cast<Message const&>(value));
            default:
                return;
        }
    }
    bool are_indexes_right() const { return are_indexes_right_; }

private:
    void check_message(Message const& message) {
        bool const has_name = message.get_msg_type() == Message::TMT_REQUEST;
        if (has_name) check_length(message.get_request_name().size());
        check_struct(message.get_const_struct(Message::TMG_META), nullptr);
        Tm_struct const& body = message.get_const_struct(Message::TMG_BODY);
        int const position = message.name_table_position();
        if (position < 0) return check_struct(body, nullptr);
        Table table = read_table(message.get_const_struct(Message::TMG_META).get_value(position));
        check_struct(body, &table);
    }
    static Table read_table(Tm_value const* value) {
        Table table;
        if (value == nullptr || value->get_value_type() != TMV_ARRAY) return table;
        Tm_value_container const& names = static_cast<Tm_array const&>(*value).values_;
        auto const is_string = [](unsigned char kind) { return kind == TMV_STRING; };
        if (std::all_of(names.kinds(), names.kinds() + names.size_, is_string))
            table.names = &names;
        return table;
    }
    void check_struct(Tm_struct const& members, Table* table) {
        bool const are_short = members.is_plain() && members.layout_ &&
                               members.layout_->longest() <= Tm_string::MAX_LENGTH;
        int const count = are_short ? 0 : members.get_member_count();
        for (int i = 0; i < count; ++i) check_length(members.get_member_name_length(i));
        if (are_indexes_right_) are_indexes_right_ = has_right_indexes(members, table);
        if (members.is_plain()) return check_values(members.values_, table);
        for (int i = 0; i < members.get_member_count(); ++i) {
            if (Tm_value const* const value = members.get_value(i)) check(*value, table);
        }
    }
    /// A struct sends indexes when it has one for each member.
    static bool has_right_indexes(Tm_struct const& members, Table* table) {
        if (table == nullptr && members.extras_ == nullptr) return true;
        auto const count = static_cast<std::size_t>(members.get_member_count());
        if (count == 0) return true;
        bool const by_index = members.has_indexes() && members.extras_->indexes.size() >= count;
        if (table == nullptr || !by_index) return by_index == (table != nullptr);
        if (table->right != nullptr && are_alike(members, *table->right)) return true;
        for (std::size_t i = 0; i < count; ++i) {
            std::string_view const name = members.name_at(static_cast<int>(i));
            if (!has_name(*table, members.extras_->indexes[i], name)) return false;
        }
        table->right = &members;
        return true;
    }
    static bool has_name(Table const& table, std::size_t index, std::string_view name) {
        bool const is_there = table.names != nullptr && index < table.names->size_;
        return is_there && table.names->in_place<Tm_string const>(index)->value() == name;
    }
    static bool are_alike(Tm_struct const& left, Tm_struct const& right) {
        return left.is_plain() && right.is_plain() && left.layout_.get() == right.layout_.get() &&
               left.get_member_count() == right.get_member_count() &&
               left.extras_->indexes == right.extras_->indexes;
    }
    void check_values(Tm_value_container const& values, Table* table) {
        for (std::size_t i = 0; i < values.size_; ++i) {
            bool const is_on_heap = values.kinds()[i] >= tm_on_heap;
            Tm_value const* const value = is_on_heap ? values.at(i) : nullptr;
            if (value != nullptr) check(*value, table);
        }
    }

    bool are_indexes_right_ = true;
};

void tm_check_name_lengths(Tm_value const& value) { Tm_name_lengths().check(value); }

std::unique_ptr<Message> tm_corrected_copy(Message const& message) {
    Tm_name_lengths names;
    names.check(message);
    if (names.are_indexes_right()) return nullptr;
    auto copy = std::make_unique<Message>(message);
    if (!copy->restore_member_indexes()) {
        remove_tables(*copy);
        copy->restore_member_indexes();
    }
    return copy;
}

Tm_whole_file_encoder::Tm_whole_file_encoder(int chunk_size, int header_size)
    : Tm_bin_encoder(chunk_size, header_size) {
    // The override below is no operation on bytes in memory.
    take_wire_room(typeid(Tm_whole_file_encoder));
}

bool Tm_whole_file_encoder::visit_file_continue(int fd, std::string const& path,
                                                unsigned int length) {
    int const before = fill_position();
    if (!Tm_bin_encoder::visit_file_continue(fd, path, length)) return false;
    bool const is_whole = fill_position() - before == static_cast<int>(length);
    if (!is_whole) throw Tm_file_read_exception(path);
    return true;
}
