/// Runs the input as a program that builds structs, arrays and messages out of each other. Checks
/// that the messages at the end come back equal from the wire form and from list text.
#include <algorithm>

#include "building.h"

namespace {

constexpr std::size_t most_bytes = 100;
constexpr std::size_t most_values = 60;

class Builder {
public:
    void step(Fuzz_input& input) {
        unsigned int const call = input.below(4);
        if (call <= 1) {
            change(pick_struct(input), input);
        } else if (call == 2) {
            change(arrays_[input.below(slots)], input);
        } else {
            messages_[input.below(slots)].set_msg_type(Message::TMT_FAULT);
        }
    }

    void check(int chunk_size) const {
        for (unsigned int i = 0; i < slots; ++i) {
            if (gets_check(2 * i, 2 * slots)) check_wire_form(messages_[i], chunk_size);
            if (gets_check(2 * i + 1, 2 * slots)) check_list_text(messages_[i]);
        }
    }

private:
    static constexpr unsigned int slots = 3;

    /// Returns one of structs_, or a group of a message.
    Tm_struct& pick_struct(Fuzz_input& input) {
        unsigned int const choice = input.below(3 * slots);
        unsigned int const i = choice % slots;
        if (choice < slots) return structs_[i];
        return messages_[i].get_struct(choice < 2 * slots ? Message::TMG_META : Message::TMG_BODY);
    }
    /// Returns one of the values or a value within one. It may be a part of the value that is being
    /// changed.
    Tm_value const& pick_any(Fuzz_input& input) {
        unsigned int const kind = input.below(3);
        if (kind == 1) return arrays_[input.below(slots)];
        if (kind == 2) return messages_[input.below(slots)];
        Tm_struct const& picked = pick_struct(input);
        int const count = picked.get_member_count();
        if (count == 0 || input.below(2) == 0) return picked;
        return *picked.get_value(static_cast<int>(input.byte()) % count);
    }

    void change(Tm_struct& target, Fuzz_input& input) {
        unsigned int const call = input.below(6);
        std::string const& name = name_of(input.byte());
        bool const is_full = weight_of(target) >= most_values;
        if (call == 4 || (is_full && call < 4)) {
            target.clear();
        } else if (call == 5) {
            unsigned int const first = input.byte();
            for (unsigned int i = 0; i < 4; ++i) check_lookup(target, name_of(first + 7 * i));
        } else if (call == 0) {
            add_several(target, input.byte());
        } else if (call == 1) {
            // In list text, no blank comes after an empty string, so it joins the next word.
            target.add_member(name, std::string(1 + input.byte(), 't'));
        } else {
            Tm_value const& child = pick_any(input);
            if (weight_of(child) > most_values) return;
            if (call == 2) {
                target.add_member(name, &child);
            } else {
                target.add_member_and_own(name, child.clone());
            }
        }
    }

    void change(Tm_array& target, Fuzz_input& input) {
        unsigned int const call = input.below(3);
        if (call == 2 || weight_of(target) >= most_values) {
            target.clear();
        } else if (call == 0) {
            target.add_member(static_cast<int>(input.byte()));
        } else {
            Tm_value const& child = pick_any(input);
            if (weight_of(child) <= most_values) target.add_member(&child);
        }
    }

    Tm_struct structs_[slots] = {Tm_struct(nullptr), Tm_struct(nullptr), Tm_struct(nullptr)};
    Tm_array arrays_[slots];
    Message messages_[slots];
};

}  // namespace

void run_target(Fuzz_input input) {
    int const chunk_size = 1 + static_cast<int>(input.byte());
    input = Fuzz_input(input.data(), std::min(input.size(), most_bytes));
    Builder builder;
    while (!input.empty()) builder.step(input);
    builder.check(chunk_size);
}
