/// Wire indexes for all structs of a message and the table of their names, worked out first and put
/// in place at once, so that a failure on the way changes nothing. A table that is there and has
/// all the names stays as it is. A nested message that has a table gets a plan of its own; one that
/// has none is sent with its names.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "tmsg/value/tm_catalog.h"

class Message;
class Tm_array;
class Tm_struct;
class Tm_value;

class Tm_index_plan {
public:
    /// What becomes of the message itself when it has no table.
    enum class Tableless { gets_table, keeps_names };

    Tm_index_plan(Message& message, Tableless tableless);
    ~Tm_index_plan();

    /// The message or one within it is sent by index.
    bool needs_indexes() const { return by_index_ || !nested_.empty(); }
    /// No message has more names than a wire index tells apart.
    bool is_possible() const { return is_possible_; }
    /// Throws, before anything is changed, when there is no memory for a new "catalog" member.
    void carry_out();

private:
    struct Step {
        Tm_struct* target;
        std::vector<unsigned short> indexes;
    };

    bool read_table();
    void visit_groups();
    void visit(Tm_value* value, bool by_index);
    void visit_struct(Tm_struct& target, bool by_index, int left_out = -1);
    void visit_message(Message& nested);
    unsigned short number_of(std::string_view name);

    Message& message_;
    bool by_index_;
    bool keeps_table_ = false;
    bool table_lacks_name_ = false;
    Tm_catalog<std::string> names_;
    std::vector<std::size_t> places_;  ///< in the table that stays, of each name
    std::unique_ptr<Tm_array> new_table_;
    std::vector<Step> steps_;
    std::vector<std::unique_ptr<Tm_index_plan>> nested_;
    bool is_possible_ = true;
    bool is_second_visit_ = false;
};
