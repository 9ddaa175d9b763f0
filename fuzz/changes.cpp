/// Runs the input as a program of changes: builds, assigns, swaps, moves and indexes structs of
/// each kind, an array and messages. For thorough inputs, keeps a list of the members of each
/// struct as a model, with the values as text.
#include <algorithm>
#include <utility>

#include "building.h"

namespace {

constexpr std::size_t most_bytes = 100;
constexpr std::size_t most_values = 40;
constexpr int most_names = 4;
char const* const few_names[] = {"n1", "n2", "catalog", "n2", nullptr};
char const* const other_names[] = {"", "n3", "n4", nullptr};

using Members = std::vector<std::pair<std::string, std::string>>;

struct Register {
    Tm_struct* value;
    Members* members;
    Tm_prenamed_struct* prenamed;  ///< the value, or null
};

std::string describe(Tm_value const* value, bool has_catalogs = true);

/// Checks that the getter of a type throws for a value of any other type.
template <class Container>
void check_getters(Container& container) {
    for (int i = 0; i < container.get_member_count(); ++i) {
        if (container.get_value(i) == nullptr) continue;
        TMV const type = container.get_member_value_type(i);
        if (type == TMV_STRING) container.get_member_string(i);
        bool has_thrown = false;
        try {
            container.get_member_int32(i);
        } catch (Tm_type_mismatch_exception const&) {
            has_thrown = true;
        }
        FUZZ_CHECK(has_thrown == (type != TMV_INT32));
    }
}

/// Returns the names and values of a struct. Only the get_value() that is not const returns null
/// for an empty slot.
Members members_of(Tm_struct const& value, bool has_catalogs = true) {
    Members members;
    for (int i = 0; i < value.get_member_count(); ++i) {
        std::string const name = value.get_member_name(i);
        if (!has_catalogs && name == "catalog") continue;
        Tm_value const* const member = const_cast<Tm_struct&>(value).get_value(i);
        members.emplace_back(name, describe(member, has_catalogs));
    }
    return members;
}

/// Returns the value as text. Null means an empty slot.
std::string describe(Tm_value const* value, bool has_catalogs) {
    if (value == nullptr) return "none";
    std::string text = std::to_string(value->get_value_type()) + '{';
    switch (value->get_value_type()) {
        case TMV_INT32:
            text += std::to_string(static_cast<Tm_int32 const&>(*value).value());
            break;
        case TMV_STRING:
            text += static_cast<Tm_string const&>(*value).value();
            break;
        case TMV_STRUCT:
            for (auto const& [name, member] :
                 members_of(static_cast<Tm_struct const&>(*value), has_catalogs)) {
                text.append(name).append(1, ' ').append(member);
            }
            break;
        default:
            tm_for_each_child(
                *value, [&](Tm_value const& child) { text += describe(&child, has_catalogs); });
    }
    return text + '}';
}

/// Returns false when the struct has empty slots. Such a struct can be neither compared nor sent.
bool is_whole(Tm_struct& value) {
    for (int i = 0; i < value.get_member_count(); ++i) {
        if (value.get_value(i) == nullptr) return false;
    }
    return true;
}

std::string name_from(Fuzz_input& input) {
    unsigned int const number = input.byte();
    return number == 1 ? "catalog" : name_of(number);
}

class Machine {
public:
    Machine() { note_from(0); }

    void step(Fuzz_input& input) {
        static constexpr void (Machine::*calls[])(Fuzz_input&) = {
            &Machine::add,          &Machine::add_in_halves,  &Machine::add_own_part,
            &Machine::add_value,    &Machine::assign,         &Machine::swap,
            &Machine::clear,        &Machine::look_up,        &Machine::compare,
            &Machine::fill_slot,    &Machine::rename_slots,   &Machine::use_base,
            &Machine::change_array, &Machine::move_message,   &Machine::index_message,
            &Machine::send_message, &Machine::change_catalogs};
        (this->*calls[input.below(std::size(calls))])(input);
    }

    void check() {
        if (!is_thorough()) return;
        check_getters(array_);
        for (unsigned int i = 0; i < registers; ++i) {
            check_getters(*at(i).value);
            FUZZ_CHECK(members_of(*at(i).value) == *at(i).members);
        }
        FUZZ_CHECK(describe(&array_) == array_text_);
    }

private:
    static constexpr unsigned int registers = 10;
    static constexpr unsigned int first_of_messages = 6;

    Register at(unsigned int number) {
        Members* const members = &members_[number];
        if (number < 4) return {&structs_[number], members, nullptr};
        unsigned int const i = number % 2;
        if (number < first_of_messages) return {&prenamed_[i], members, &prenamed_[i]};
        auto const group = number < 8 ? Message::TMG_META : Message::TMG_BODY;
        return {&messages_[i].get_struct(group), members, nullptr};
    }
    Register pick(Fuzz_input& input) { return at(input.below(registers)); }
    Register pick_prenamed(Fuzz_input& input) { return at(4 + input.below(2)); }
    /// Returns a struct to which members can be added.
    Register pick_growing(Fuzz_input& input) {
        Register const picked = pick(input);
        Register const target = picked.prenamed == nullptr ? picked : at(0);
        if (weight_of(*target.value) >= most_values) {
            target.value->clear();
            target.members->clear();
        }
        return target;
    }
    Tm_catalog<std::string>* pick_index(Fuzz_input& input) {
        unsigned int const choice = input.below(4);
        if (choice == 0) return &index_;
        return choice < 3 ? messages_[choice - 1].get_send_member_string(Message::TMG_BODY)
                          : nullptr;
    }

    // These operations record a change of a struct's members in the model.

    static void note(Register target, std::string const& name, Tm_value const& value) {
        if (is_thorough()) target.members->emplace_back(name, describe(&value));
    }
    void note_from(unsigned int first) {
        if (!is_thorough()) return;
        for (unsigned int i = first; i < registers; ++i) *at(i).members = members_of(*at(i).value);
    }

    void add(Fuzz_input& input) {
        Register const target = pick_growing(input);
        auto* const index = pick_index(input);
        unsigned int const first = input.byte();
        if (first % 16 == 0) {
            add_several(*target.value, first);
            *target.members = members_of(*target.value);
        } else {
            target.value->add_member(name_of(first), static_cast<int>(first), index);
            note(target, name_of(first), Tm_int32(static_cast<int>(first)));
        }
    }

    /// Checks that a copy does not have a name that waits for its value.
    void add_in_halves(Fuzz_input& input) {
        Register const target = pick_growing(input);
        std::string const name = name_from(input);
        int const position = target.value->add_name(name, pick_index(input));
        Tm_struct const copy(*target.value);
        FUZZ_CHECK(!is_thorough() || members_of(copy) == *target.members);
        target.value->add_value_and_own(position, new Tm_string(name));
        note(target, name, Tm_string(name));
    }

    /// Adds a member with a name and a text that the struct itself owns.
    void add_own_part(Fuzz_input& input) {
        Register const target = pick_growing(input);
        int const count = target.value->get_member_count();
        if (count == 0) return;
        int const i = static_cast<int>(input.byte()) % count;
        char const* const name = target.value->get_member_name(i);
        bool const is_text = target.value->get_member_value_type(i) == TMV_STRING;
        char const* const text = is_text ? target.value->get_member_string(i) : name;
        // In list text, no blank comes after an empty string, so it joins the next word.
        if (*text == 0) return;
        note(target, name, Tm_string(text));
        target.value->add_member(name, text, pick_index(input));
    }

    void add_value(Fuzz_input& input) {
        Register const target = pick_growing(input);
        std::string const name = name_from(input);
        auto* const index = pick_index(input);
        Tm_value const* const value = pick_value(input);
        if (value == nullptr) return;
        note(target, name, *value);
        if (input.below(2) == 0) {
            target.value->add_member(name, value, index);
        } else {
            target.value->add_member_and_own(name, value->clone(), index);
        }
    }

    /// Picks a value to add, which may be a part of the value that is changed. Returns null when
    /// the picked value is too large or has empty slots.
    Tm_value const* pick_value(Fuzz_input& input) {
        Tm_struct& picked = *pick(input).value;
        int const count = picked.get_member_count();
        unsigned int const kind = input.below(4);
        int const i = static_cast<int>(input.byte());
        Tm_value const* value = nullptr;
        if (kind == 0) {
            value = &array_;
        } else if (kind == 1) {
            value = &messages_[i % 2];
        } else if (kind == 2 && count > 0) {
            value = picked.get_value(i % count);
        } else if (is_whole(picked)) {
            value = &picked;
        }
        return value != nullptr && weight_of(*value) < most_values ? value : nullptr;
    }

    /// Assigns a struct to another one or to itself. A prenamed struct takes the names of another
    /// prenamed struct.
    void assign(Fuzz_input& input) {
        Register const target = pick(input);
        Register const source = target.prenamed != nullptr ? pick_prenamed(input) : pick(input);
        if (target.prenamed != nullptr) {
            *target.prenamed = *source.prenamed;
        } else if (is_whole(*source.value)) {
            *target.value = *source.value;
        } else {
            return;
        }
        *target.members = Members(*source.members);
    }

    void swap(Fuzz_input& input) {
        Register const left = pick(input);
        Register const right = pick(input);
        bool const are_alike = left.prenamed == nullptr && right.prenamed == nullptr &&
                               left.value->is_string_catalog_from_internal() ==
                                   right.value->is_string_catalog_from_internal();
        if (!are_alike) return;
        left.value->swap(*right.value);
        std::swap(*left.members, *right.members);
    }

    void clear(Fuzz_input& input) {
        Register const target = pick(input);
        target.value->clear();
        if (target.prenamed == nullptr) target.members->clear();
        for (auto& member : *target.members) member.second = describe(nullptr);
    }

    void look_up(Fuzz_input& input) {
        Register const target = pick(input);
        unsigned int const first = input.byte();
        for (unsigned int i = first; i < first + 4; ++i) check_lookup(*target.value, name_of(i));
    }

    void compare(Fuzz_input& input) {
        Register const left = pick(input);
        Register const right = pick(input);
        if (!is_whole(*left.value) || !is_whole(*right.value)) return;
        bool const are_equal = left.value->equals(*right.value);
        FUZZ_CHECK(!is_thorough() || are_equal == (*left.members == *right.members));
    }

    /// Fills a slot with any value, with a copy of its own value, or with its own value itself.
    void fill_slot(Fuzz_input& input) {
        Register const target = pick_prenamed(input);
        int const i = static_cast<int>(input.byte()) % target.value->get_member_count();
        auto* const index = pick_index(input);
        unsigned int const way = input.below(4);
        Tm_value* const there = target.value->get_value(i);
        Tm_value const* const value = way == 0 || there == nullptr ? pick_value(input) : there;
        if (value == nullptr) return;
        auto const place = static_cast<std::size_t>(i);
        if (is_thorough()) (*target.members)[place].second = describe(value);
        if (value != there || way == 1) {
            target.prenamed->add_member(i, value, index);
        } else if (way == 2) {
            target.prenamed->add_member_and_own(i, there, index);
        } else {
            target.prenamed->add_value_and_own(i, there);
        }
    }

    void rename_slots(Fuzz_input& input) {
        Register const target = pick_prenamed(input);
        auto const* const names = input.below(2) == 0 ? few_names : other_names;
        target.prenamed->clear(names);
        target.members->clear();
        for (int i = 0; is_thorough() && names[i] != nullptr; ++i) {
            target.members->emplace_back(names[i], describe(nullptr));
        }
    }

    /// Changes a copy of a prenamed struct through its base, so that values and names no longer
    /// match.
    void use_base(Fuzz_input& input) {
        Tm_prenamed_struct copy(*pick_prenamed(input).prenamed);
        Tm_struct other(*pick(input).value);
        Tm_struct& base = copy;
        bool const is_swapped = input.below(2) == 0;
        for (int i = -1; i <= most_names; ++i) {
            try {
                if (i < 0 && is_swapped) base.swap(other);
                if (i < 0 && !is_swapped) base = other;
                copy.add_member(i, i, pick_index(input));
            } catch (Tm_exception const&) {
                // The structs cannot be swapped, or the slot or its name does not exist.
            }
        }
    }

    void change_array(Fuzz_input& input) {
        Tm_value const* const value = pick_value(input);
        if (weight_of(array_) >= most_values) {
            array_.clear();
        } else if (value != nullptr) {
            array_.add_member(value);
        } else {
            array_ = Tm_array(array_);
        }
        array_text_ = is_thorough() ? describe(&array_) : "";
    }

    void move_message(Fuzz_input& input) {
        Message& message = messages_[input.below(2)];
        std::string const before = is_thorough() ? describe(&message) : "";
        auto const content = message.take_content();
        FUZZ_CHECK(!is_thorough() || describe(content.get()) == before);
        if (input.below(2) == 0) message.swap(*content);
        note_from(first_of_messages);
    }

    /// Checks that indexing a message changes only name tables.
    void index_message(Fuzz_input& input) {
        Message& message = messages_[input.below(2)];
        std::string const before = is_thorough() ? describe(&message, false) : "";
        unsigned int const call = input.below(4);
        if (call == 0) message.set_use_send_member_string(!message.get_use_send_member_string());
        if (call == 1) message.create_send_member_string_meta();
        if (call == 2) {
            FUZZ_CHECK(message.index_member_names());
            FUZZ_CHECK(encode(message, 64) == encode(Message(message), 64));
        }
        if (call == 3) FUZZ_CHECK(message.restore_member_indexes());
        FUZZ_CHECK(!is_thorough() || describe(&message, false) == before);
        note_from(first_of_messages);
    }

    void send_message(Fuzz_input& input) {
        Message sent(messages_[input.below(2)]);
        int const chunk_size = static_cast<int>(input.byte());
        if (chunk_size > 0) return check_wire_form(sent, chunk_size);
        FUZZ_CHECK(sent.index_member_names());
        check_list_text(sent);
    }

    void change_catalogs(Fuzz_input& input) {
        std::string const name = name_from(input);
        auto const* const entry = index_.add(name);
        FUZZ_CHECK(index_.find(name) == entry && entry == index_.add(entry->first));
        unsigned int const change = input.below(4);
        if (change == 0) index_.clear();
        if (change == 1) index_.swap(catalog_);
        if (change == 2) index_ = catalog_;
    }

    Tm_catalog<std::string> catalog_;
    Tm_catalog<std::string> index_;
    Tm_struct structs_[4] = {Tm_struct(nullptr), Tm_struct(nullptr), Tm_struct(Tm_shared_names()),
                             Tm_struct(&catalog_)};
    Tm_prenamed_struct prenamed_[2] = {Tm_prenamed_struct(few_names, most_names),
                                       Tm_prenamed_struct(few_names, most_names)};
    Tm_array array_;
    Message messages_[2] = {Message(), Message(nullptr)};
    Members members_[registers];
    std::string array_text_ = describe(&array_);
};

}  // namespace

void run_target(Fuzz_input input) {
    input = Fuzz_input(input.data(), std::min(input.size(), most_bytes));
    Machine machine;
    // Comparing all members takes far longer than a step.
    constexpr unsigned int steps_between_checks = 8;
    for (unsigned int step = 1; !input.empty(); ++step) {
        machine.step(input);
        if (step % steps_between_checks == 0) machine.check();
    }
    machine.check();
}
