/// A simple model of value trees, to compare the real ones with: a number, a text, or a list of
/// named children. An array's children have no names; a message has one child for each group, and
/// its kind as number.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "target.h"

struct Model {
    TMV type = TMV_STRUCT;
    int number = 0;
    std::string text;
    std::vector<std::string> names;
    std::vector<Model> children;

    static Model of_number(int number) { return {TMV_INT32, number, "", {}, {}}; }
    static Model of_text(std::string const& text) { return {TMV_STRING, 0, text, {}, {}}; }
    static Model empty_array() { return {TMV_ARRAY, 0, "", {}, {}}; }
    static Model empty_message() {
        return {TMV_MESSAGE, Message::TMT_RESPONSE, "", {"", ""}, {Model{}, Model{}}};
    }

    bool operator==(Model const& other) const {
        return type == other.type && number == other.number && text == other.text &&
               names == other.names && children == other.children;
    }

    void add(std::string const& name, Model child) {
        names.push_back(type == TMV_STRUCT ? name : "");
        children.push_back(std::move(child));
    }
    void clear() {
        names.clear();
        children.clear();
    }
    /// As if no message within had a table of its names.
    Model without_catalogs() const {
        Model result = *this;
        result.clear();
        for (std::size_t i = 0; i < children.size(); ++i) {
            if (names[i] == "catalog") continue;
            result.names.push_back(names[i]);
            result.children.push_back(children[i].without_catalogs());
        }
        return result;
    }
    /// How many values it has in all.
    std::size_t weight() const {
        std::size_t sum = 1;
        for (Model const& child : children) sum += child.weight();
        return sum;
    }
};

Model model_of(Tm_value const& value);

/// Reads each child with the getter of its type; for another type the getter throws.
template <class Container>
void read_children(Container const& container, Model& model) {
    for (int i = 0; i < container.get_member_count(); ++i) {
        TMV const type = container.get_member_value_type(i);
        if (type == TMV_INT32) {
            model.children.push_back(Model::of_number(container.get_member_int32(i)));
            continue;
        }
        bool has_thrown = false;
        try {
            container.get_member_int32(i);
        } catch (Tm_type_mismatch_exception const&) {
            has_thrown = true;
        }
        FUZZ_CHECK(has_thrown);
        model.children.push_back(type == TMV_STRING ? Model::of_text(container.get_member_string(i))
                                                    : model_of(*container.get_value(i)));
    }
}

/// Of a struct, an array or a message.
inline Model model_of(Tm_value const& value) {
    Model model;
    model.type = value.get_value_type();
    if (model.type == TMV_ARRAY) {
        read_children(static_cast<Tm_array const&>(value), model);
        model.names.resize(model.children.size());
    } else if (model.type == TMV_STRUCT) {
        auto const& members = static_cast<Tm_struct const&>(value);
        read_children(members, model);
        for (int i = 0; i < members.get_member_count(); ++i) {
            model.names.emplace_back(members.get_member_name(i));
        }
    } else {
        auto const& message = static_cast<Message const&>(value);
        model = Model::empty_message();
        model.number = message.get_msg_type();
        model.children[0] = model_of(message.get_const_struct(Message::TMG_META));
        model.children[1] = model_of(message.get_const_struct(Message::TMG_BODY));
    }
    return model;
}

/// A look-up by name finds a child of that name exactly where there is one.
inline void check_lookup(Tm_struct const& value, Model const& model, std::string const& name) {
    bool is_there = false;
    for (std::string const& known : model.names) is_there = is_there || known == name;
    int const position = value.get_member_index(name.c_str());
    FUZZ_CHECK((position >= 0) == is_there);
    if (is_there) FUZZ_CHECK(model.names[static_cast<std::size_t>(position)] == name);
}
