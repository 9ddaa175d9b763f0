/// Loops and walks over trees, and look-ups by path:
///
///     for (auto const& [name, value] : tm_members(record)) print(name, tm_to_text(value));
///     for (Tm_value const& value : tm_elements(prices)) sum += tm_number<double>(value);
///
///     std::string kind = tm_visit(value, [](std::string_view) { return "text"; },
///                                 [](auto const&) { return "something else"; });
///
///     tm_walk(message, [](std::string_view path, Tm_value const& value) {
///         std::cout << path << '\n';  // "", "meta", "body", "body.server", ...
///         return true;
///     });
///     Tm_value const* port = tm_at(message, "body.server.ports[2]");
///
/// All views and references are valid until the tree changes.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tmsg/composite/tm_number.h"
#include "tmsg/export.h"
#include "tmsg/message/message.h"
#include "tmsg/value/tm_path.h"

/// A member in a loop over tm_members().
struct Tm_member_view {
    std::string_view name;
    Tm_value const& value;
};

/// The present values of a struct or an array, for a range-based loop.
template <class Container, class Item>
class Tm_items {
public:
    explicit Tm_items(Container const& container) : container_(container) {}

    class Iterator {
    public:
        Iterator(Container const& container, int i) : container_(&container), i_(i) { skip(); }
        Item operator*() const {
            if constexpr (std::is_same_v<Item, Tm_member_view>) {
                return {{container_->get_member_name(i_), container_->get_member_name_length(i_)},
                        *value_};
            } else {
                return *value_;
            }
        }
        Iterator& operator++() {
            ++i_;
            skip();
            return *this;
        }
        friend bool operator==(Iterator const& a, Iterator const& b) { return a.i_ == b.i_; }
        friend bool operator!=(Iterator const& a, Iterator const& b) { return a.i_ != b.i_; }

    private:
        /// Goes on to the next slot that has a value.
        void skip() {
            int const count = container_->get_member_count();
            while (i_ < count && (value_ = container_->find(i_)) == nullptr) ++i_;
        }

        Container const* container_;
        int i_;
        Tm_value const* value_ = nullptr;
    };

    Iterator begin() const { return Iterator(container_, 0); }
    Iterator end() const { return Iterator(container_, container_.get_member_count()); }

private:
    Container const& container_;
};

/// The container must live as long as the loop.
inline Tm_items<Tm_struct, Tm_member_view> tm_members(Tm_struct const& members) {
    return Tm_items<Tm_struct, Tm_member_view>(members);
}
inline Tm_items<Tm_array, Tm_value const&> tm_elements(Tm_array const& elements) {
    return Tm_items<Tm_array, Tm_value const&>(elements);
}
void tm_members(Tm_struct const&& temporary) = delete;
void tm_elements(Tm_array const&& temporary) = delete;

template <class... Functions>
struct Tm_overloads : Functions... {
    using Functions::operator()...;
};

template <class Function>
decltype(auto) tm_call_with_content(Tm_value const& value, Function& call) {
    // clang-format off
    switch (value.get_value_type()) {
        case TMV_BOOL:   return call(Tm_reading<bool>::read(&value));
        case TMV_STRING: return call(Tm_reading<std::string_view>::read(&value));
        case TMV_DATE:   return call(*Tm_reading<Tm_date const*>::read(&value));
        case TMV_BINARY: return call(*Tm_reading<Tm_binary const*>::read(&value));
        case TMV_FILE:   return call(*Tm_reading<Tm_file const*>::read(&value));
        case TMV_ARRAY:  return call(*Tm_reading<Tm_array const*>::read(&value));
        case TMV_STRUCT: return call(*Tm_reading<Tm_struct const*>::read(&value));
        case TMV_MESSAGE: return call(*Tm_reading<Message const*>::read(&value));
        default: return tm_visit_number(value, call);
    }
    // clang-format on
}

/// Calls the overload for the C++ type of the value, and returns what it returns: an integer type,
/// double, bool, std::string_view, or a reference to a const Tm_binary, Tm_file, Tm_date, Tm_array,
/// Tm_struct or Message. All overloads must return the same type. Several functions are copied, a
/// single one is not.
template <class... Functions>
decltype(auto) tm_visit(Tm_value const& value, Functions&&... functions) {
    if constexpr (sizeof...(Functions) == 1) {
        return tm_call_with_content(value, functions...);
    } else {
        Tm_overloads<std::decay_t<Functions>...> call{std::forward<Functions>(functions)...};
        return tm_call_with_content(value, call);
    }
}

/// Calls `visit(child, add_step)` with each value directly below a struct, an array or a message.
/// `add_step(path)` adds the child's step to a path. Stops and returns false when `visit` does.
template <class Visit>
bool tm_visit_children(Tm_value const& value, Visit visit) {
    auto const named = [&](std::string_view name, Tm_value const& child) {
        return visit(child, [name](std::string& path) { tm_append_name(path, name); });
    };
    auto const members = [&](Tm_struct const& all) {
        for (auto const& [name, child] : tm_members(all)) {
            if (!named(name, child)) return false;
        }
        return true;
    };
    auto const elements = [&](Tm_array const& all) {
        for (int i = 0; i < all.get_member_count(); ++i) {
            Tm_value const* const child = all.find(i);
            auto const add_step = [i](std::string& path) { tm_append_position(path, i); };
            if (child != nullptr && !visit(*child, add_step)) return false;
        }
        return true;
    };
    auto const groups = [&](Message const& message) {
        return named("meta", message.get_const_struct(Message::TMG_META)) &&
               named("body", message.get_const_struct(Message::TMG_BODY));
    };
    return tm_visit(value, members, elements, groups, [](auto const&) { return true; });
}

template <class Function>
bool tm_walk_from(std::string& path, Tm_value const& value, Function& function) {
    if (!function(std::string_view(path), value)) return false;
    return tm_visit_children(value, [&](Tm_value const& child, auto add_step) {
        std::size_t const length = path.size();
        add_step(path);
        bool const goes_on = tm_walk_from(path, child, function);
        path.resize(length);
        return goes_on;
    });
}

/// Calls `bool function(std::string_view path, Tm_value const&)` for the root, whose path is empty,
/// and for everything below it, parents first. The groups of a message are the structs "meta" and
/// "body". Stops when the function returns false, and then returns false.
template <class Function>
bool tm_walk(Tm_value const& root, Function&& function) {
    std::string path;
    return tm_walk_from(path, root, function);
}

/// Returns the value at the path below `value`, and `value` itself for the empty path. Where names
/// repeat, a path leads to the first member. Returns null for a path that does not parse or that
/// leads nowhere.
TMSG_API Tm_value const* tm_at(Tm_value const& value, std::string_view path);
