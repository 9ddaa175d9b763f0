/// Wire indexes for all structs of a message, worked out first and given to them at once, so that
/// a failure on the way changes nothing. Nested messages are left out: they carry their own.
#pragma once

#include <string>
#include <vector>

#include "tmsg/value/tm_catalog.h"

class Tm_struct;
class Tm_value;

class Tm_index_plan {
public:
    /// Indexes for a struct and all under it, in the order in which their names are sent.
    void number(Tm_struct& root) { visit_struct(root, true); }
    /// No indexes for a struct and all under it.
    void strip(Tm_struct& root) { visit_struct(root, false); }

    /// The names by index.
    Tm_catalog<std::string>& names() { return names_; }

    void carry_out() noexcept;

private:
    struct Step {
        Tm_struct* target;
        std::vector<unsigned short> indexes;
    };

    void visit(Tm_value* value, bool numbered);
    void visit_struct(Tm_struct& target, bool numbered);

    Tm_catalog<std::string> names_;
    std::vector<Step> steps_;
};
