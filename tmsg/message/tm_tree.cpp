#include "tmsg/message/tm_tree.h"

namespace {

Tm_value const* child_at(Tm_value const& value, Tm_path_step const& step) {
    bool const is_name = step.position < 0;
    return tm_visit(
        value,
        [&](Tm_struct const& members) { return is_name ? members.find_first(step.name) : nullptr; },
        [&](Tm_array const& elements) { return is_name ? nullptr : elements.find(step.position); },
        [&](Message const& message) -> Tm_value const* {
            bool const is_meta = is_name && step.name == "meta";
            bool const is_body = is_name && step.name == "body";
            if (!is_meta && !is_body) return nullptr;
            return &message.get_const_struct(is_meta ? Message::TMG_META : Message::TMG_BODY);
        },
        [](auto const&) -> Tm_value const* { return nullptr; });
}

}  // namespace

Tm_value const* tm_at(Tm_value const& value, std::string_view path) {
    Tm_value const* at = &value;
    for (bool is_first = true; at != nullptr && !path.empty(); is_first = false) {
        auto const step = tm_take_step(path, is_first);
        at = step ? child_at(*at, *step) : nullptr;
    }
    return at;
}
