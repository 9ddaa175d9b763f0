#include "tmsg/text/tm_json_comma_check.h"

bool Tm_json_comma_check::needs_comma() {
    if (stack_.empty() || stack_.back() == in_none) return false;
    bool const is_first = stack_.back() == in_first;
    stack_.back() = in_rest;
    return !is_first;
}
