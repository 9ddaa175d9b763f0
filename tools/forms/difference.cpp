/// Compares two trees from the root down.
#include "forms/difference.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "forms/value_text.h"
#include "io/input.h"
#include "io/terminal.h"

namespace {

/// The bytes of a byte string that a line shows.
constexpr std::size_t shown_bytes = 32;

std::string_view bytes_of(Tm_binary const& binary) {
    return {reinterpret_cast<char const*>(binary.get_buffer()), binary.get_buffer_size()};
}

std::string head_of(Message const& message) {
    std::string kind = Message::tmt_to_string(message.get_msg_type());
    if (message.get_msg_type() != Message::TMT_REQUEST) return kind;
    return kind + ' ' + quoted(message.get_request_name(), std::string::npos);
}

/// The position of the first difference, or nothing.
using Place_of_change = std::optional<std::size_t>;

/// Compares texts of the same size.
Place_of_change find_difference(std::string_view left, std::string_view right) {
    auto const found = std::mismatch(left.begin(), left.end(), right.begin());
    if (found.first == left.end()) return {};
    return static_cast<std::size_t>(found.first - left.begin());
}

/// Compares files of the same size.
Place_of_change find_difference(Tm_file const& left_file, Tm_file const& right_file) {
    Input left(left_file.path());
    Input right(right_file.path());
    while (true) {
        std::size_t const size = std::min(left.peek().size(), right.peek().size());
        auto const found =
            find_difference(left.peek().substr(0, size), right.peek().substr(0, size));
        if (found) return left.offset() + *found;
        if (size == 0) return {};
        left.take(size);
        right.take(size);
    }
}

/// Returns the content of a value by itself, without what is below it.
std::string describe(Tm_value const& value) {
    return tm_visit(value, [&](auto const& content) -> std::string {
        using Content = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<Content, std::string_view>) {
            return quoted(content, std::string::npos);
        } else if constexpr (std::is_same_v<Content, Message>) {
            return head_of(content);
        } else if constexpr (std::is_same_v<Content, Tm_file>) {
            return "file of " + std::to_string(content.size()) + " bytes";
        } else if constexpr (std::is_same_v<Content, Tm_binary>) {
            std::string_view const bytes = bytes_of(content);
            std::string const size = "binary of " + std::to_string(bytes.size()) + " bytes";
            return bytes.empty() ? size : size + ' ' + hexadecimal(bytes, shown_bytes);
        } else if constexpr (std::is_same_v<Content, Tm_array> ||
                             std::is_same_v<Content, Tm_struct>) {
            return std::string(type_name(value.get_value_type()));
        } else {
            return plain_text(value);
        }
    });
}

std::string describe_with_type(Tm_value const& value) {
    TMV const type = value.get_value_type();
    bool const has_type = type > TMV_STRING;
    return (has_type ? "" : std::string(type_name(type)) + ' ') + describe(value);
}

/// Describes a value that the other message lacks.
std::string describe_lone(Tm_value const* value) {
    if (value == nullptr) return "absent";
    TMV const type = value->get_value_type();
    bool const looks_like_int32 = type < TMV_DOUBLE && type != TMV_INT32;
    return looks_like_int32 ? describe_with_type(*value) : describe(*value);
}

/// Returns the line for two values of the same type, without the path. Returns an empty text when
/// they do not differ by themselves.
std::string difference_of(Tm_value const& left, Tm_value const& right) {
    std::string const left_text = describe(left);
    std::string const right_text = describe(right);
    std::string change = left_text + " -> " + right_text;
    auto const from = [&](Place_of_change place) {
        return place ? change + " from byte " + std::to_string(*place) : "";
    };
    switch (left.get_value_type()) {
        case TMV_FILE: {
            auto const& left_file = static_cast<Tm_file const&>(left);
            auto const& right_file = static_cast<Tm_file const&>(right);
            if (left_file.size() != right_file.size()) return change;
            return from(find_difference(left_file, right_file));
        }
        case TMV_BINARY: {
            auto const left_bytes = bytes_of(static_cast<Tm_binary const&>(left));
            auto const right_bytes = bytes_of(static_cast<Tm_binary const&>(right));
            if (left_bytes.size() != right_bytes.size()) return change;
            return from(find_difference(left_bytes, right_bytes));
        }
        default:
            return left_text == right_text ? "" : change;
    }
}

/// A value below another one. The step leads to it: a name, or a position in brackets. The second
/// member of a name has "[#2]" behind the name, and so on.
struct Child {
    std::string step;
    Tm_value const* value;
};

std::vector<Child> children_of(Tm_value const* parent) {
    std::vector<Child> children;
    if (parent == nullptr) return children;
    bool const may_repeat = parent->get_value_type() == TMV_STRUCT;
    std::map<std::string, int> counts;
    tm_visit_children(*parent, [&](Tm_value const& value, auto add_step) {
        std::string step;
        add_step(step);
        int const number = may_repeat ? ++counts[step] : 1;
        if (number > 1) step += "[#" + std::to_string(number) + ']';
        children.push_back({std::move(step), &value});
        return true;
    });
    return children;
}

/// Returns the line for two values, without the path and what is below them. One of them may be
/// null. Returns an empty text when they do not differ by themselves.
std::string change_of(Tm_value const* left, Tm_value const* right) {
    if (left == nullptr || right == nullptr) {
        return describe_lone(left) + " -> " + describe_lone(right);
    }
    if (left->get_value_type() != right->get_value_type()) {
        return describe_with_type(*left) + " -> " + describe_with_type(*right);
    }
    return difference_of(*left, *right);
}

/// Values at the same place in both messages. One of them may be null.
struct Pair {
    std::string step;
    Tm_value const* left;
    Tm_value const* right;
};

/// Pairs the children by their steps: those on the left in their order, then those that are only on
/// the right. Looks for no step as long as both sides have the same order.
std::vector<Pair> paired(std::vector<Child>&& lefts, std::vector<Child>&& rights) {
    auto const ends = std::mismatch(lefts.begin(), lefts.end(), rights.begin(), rights.end(),
                                    [](auto const& a, auto const& b) { return a.step == b.step; });
    std::map<std::string_view, Tm_value const*> unmatched;
    for (auto right = ends.second; right != rights.end(); ++right) {
        unmatched[right->step] = right->value;
    }
    std::vector<Pair> pairs;
    auto same = rights.begin();
    for (auto left = lefts.begin(); left != lefts.end(); ++left) {
        Tm_value const* right = nullptr;
        if (left < ends.first) {
            right = (same++)->value;
        } else if (auto const found = unmatched.find(left->step); found != unmatched.end()) {
            right = found->second;
            unmatched.erase(found);
        }
        pairs.push_back({std::move(left->step), left->value, right});
    }
    for (auto right = ends.second; right != rights.end(); ++right) {
        if (unmatched.count(right->step) > 0) {
            pairs.push_back({right->step, nullptr, right->value});
        }
    }
    return pairs;
}

/// Pairs the children of two values. Children of values of different types have no counterparts.
std::vector<Pair> pairs_below(Pair const& parents) {
    Tm_value const* const left = parents.left;
    Tm_value const* const right = parents.right;
    bool const differ_in_type =
        left != nullptr && right != nullptr && left->get_value_type() != right->get_value_type();
    if (!differ_in_type) return paired(children_of(left), children_of(right));
    auto pairs = paired(children_of(left), {});
    for (auto& pair : paired({}, children_of(right))) pairs.push_back(std::move(pair));
    return pairs;
}

/// The pairs below one place.
struct Level {
    std::vector<Pair> pairs;
    std::size_t path_length;
    std::size_t next = 0;
};

void append_step(std::string& path, std::string const& step) {
    if (!path.empty() && !step.empty() && step.front() != '[') path += '.';
    path += step;
}

}  // namespace

/// Uses no recursion, because a level of the walk would take much of the stack.
bool find_differences(Message const& left, Message const& right, Line_sink const& sink) {
    bool found_none = true;
    std::string path;
    std::vector<Level> levels;
    levels.push_back({{{"", &left, &right}}, 0});
    while (!levels.empty()) {
        Level& level = levels.back();
        path.resize(level.path_length);
        if (level.next == level.pairs.size()) {
            levels.pop_back();
            continue;
        }
        Pair const& pair = level.pairs[level.next++];
        append_step(path, pair.step);
        std::string const change = change_of(pair.left, pair.right);
        if (!change.empty()) {
            sink((path.empty() ? "message" : printable(path)) + ": " + change + '\n');
            found_none = false;
        }
        auto below = pairs_below(pair);
        if (!below.empty()) levels.push_back({std::move(below), path.size()});
    }
    return found_none;
}
