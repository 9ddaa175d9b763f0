/// Writes values as texts, and looks them up.
#include "forms/value_text.h"

#include <cmath>

#include "io/system.h"

namespace {

std::string typed_json(Tm_value const& value) {
    Tm_typed_json_encoder json;
    value.accept(json);
    return json.get_string();
}

}  // namespace

std::string plain_text(Tm_value const& value) {
    return tm_visit(value, [&](auto const& content) -> std::string {
        using Content = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<Content, double>) {
            if (std::isnan(content)) return "NaN";
            if (std::isinf(content)) return content < 0 ? "-Infinity" : "Infinity";
        } else if constexpr (std::is_integral_v<Content> && !std::is_same_v<Content, bool>) {
            return std::to_string(content);
        }
        return typed_json(value);
    });
}

std::string_view type_name(TMV type) {
    return type == TMV_MESSAGE ? "message" : Tm_value::tmv_to_string(type);
}

bool is_path(std::string_view path) {
    bool is_good = true;
    for (bool is_first = true; is_good && !path.empty(); is_first = false) {
        is_good = tm_take_step(path, is_first).has_value();
    }
    return is_good;
}

Tm_value const& value_at(Tm_value const& root, std::string_view path) {
    Tm_value const* value = &root;
    std::string_view rest = path;
    while (!rest.empty() && tm_take_step(rest, rest.size() == path.size())) {
        std::string_view const front = path.substr(0, path.size() - rest.size());
        value = tm_at(root, front);
        if (value == nullptr) throw Failure("no value at " + std::string(front));
    }
    return *value;
}
