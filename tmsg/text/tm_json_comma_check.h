/// Whether the next item needs a comma in front of it, for lists within lists.
#pragma once

#include <vector>

#include "tmsg/export.h"

class TMSG_API Tm_json_comma_check {
public:
    enum in_type_e {
        in_none = 0,   ///< in no list: there are no commas
        in_first = 1,  ///< in a list that has no item yet
        in_rest = 2    ///< in a list that has items
    };

    Tm_json_comma_check() : stack_{in_none} {}

    void push_in_type(bool in_list) { stack_.push_back(in_list ? in_first : in_none); }
    void pop_in_type() {
        if (!stack_.empty()) stack_.pop_back();
    }
    /// Asked once for each item, before it.
    bool needs_comma() {
        if (stack_.empty() || stack_.back() == in_none) return false;
        bool const is_first = stack_.back() == in_first;
        stack_.back() = in_rest;
        return !is_first;
    }

private:
    std::vector<in_type_e> stack_;
};
