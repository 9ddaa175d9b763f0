/// Wire indexes for all structs of a message and the table of their names, worked out first and put
/// in place at once, so that a failure on the way changes nothing. A nested message that has a
/// table gets a plan of its own; one that has none is sent with its names.
#pragma once

#include <memory>
#include <vector>

#include "tmsg/value/tm_catalog.h"

class Message;
class Tm_array;
class Tm_struct;
class Tm_value;

class Tm_index_plan {
public:
    explicit Tm_index_plan(Message& message);
    ~Tm_index_plan();

    /// No message has more names than a wire index tells apart.
    bool is_possible() const { return is_possible_; }
    /// Throws, before anything is changed, when there is no memory for a new "catalog" member.
    void carry_out();

private:
    struct Step {
        Tm_struct* target;
        std::vector<unsigned short> indexes;
    };

    void visit(Tm_value* value, bool by_index);
    void visit_struct(Tm_struct& target, bool by_index);
    void visit_message(Message& nested);

    Message& message_;
    Tm_catalog<std::string> names_;
    std::unique_ptr<Tm_array> table_;
    std::vector<Step> steps_;
    std::vector<std::unique_ptr<Tm_index_plan>> nested_;
    bool is_possible_ = true;
};
