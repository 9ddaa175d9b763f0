/// The input as a program of calls on structs, arrays and messages, beside a simple model of them.
#include <utility>

#include "target.h"

namespace {

/// A struct is its members in order; an array has no names.
using Model = std::vector<std::pair<std::string, int>>;

constexpr unsigned int slots = 3;

struct Machine {
    std::vector<Tm_struct> structs;
    Model struct_models[slots];
    Tm_array arrays[slots];
    Model array_models[slots];
    Message messages[slots];
    Model message_models[slots];

    Machine() {
        for (unsigned int i = 0; i < slots; ++i) structs.emplace_back(nullptr);
    }
};

std::string name_of(unsigned int number) { return std::string(number % 5, 'n') + "x"; }

/// A lookup by name finds a member of that name, or none.
void check_lookup(Tm_struct const& value, Model const& model, std::string const& name) {
    int const position = value.get_member_index(name.c_str());
    bool is_there = false;
    for (auto const& member : model) is_there = is_there || member.first == name;
    FUZZ_CHECK((position >= 0) == is_there);
    if (is_there) FUZZ_CHECK(model[static_cast<std::size_t>(position)].first == name);
}

void check_struct(Tm_struct const& value, Model const& model) {
    FUZZ_CHECK(value.get_member_count() == static_cast<int>(model.size()));
    for (std::size_t i = 0; i < model.size(); ++i) {
        int const position = static_cast<int>(i);
        FUZZ_CHECK(value.get_member_name(position) == model[i].first);
        FUZZ_CHECK(value.get_member_int32(position) == model[i].second);
    }
}

void check(Machine const& machine) {
    for (unsigned int i = 0; i < slots; ++i) {
        check_struct(machine.structs[i], machine.struct_models[i]);
        check_struct(machine.messages[i].get_const_struct(Message::TMG_BODY),
                     machine.message_models[i]);
        Model const& model = machine.array_models[i];
        FUZZ_CHECK(machine.arrays[i].get_member_count() == static_cast<int>(model.size()));
        for (std::size_t at = 0; at < model.size(); ++at) {
            FUZZ_CHECK(machine.arrays[i].get_member_int32(static_cast<int>(at)) ==
                       model[at].second);
        }
    }
}

void call_struct(Machine& machine, unsigned int call, unsigned int a, unsigned int b,
                 Fuzz_input& input) {
    Tm_struct& left = machine.structs[a];
    std::string const name = name_of(input.byte());
    switch (call) {
        case 0:
            left.add_member(name, static_cast<int>(b));
            machine.struct_models[a].emplace_back(name, static_cast<int>(b));
            break;
        case 1:
            left = machine.structs[b];
            machine.struct_models[a] = Model(machine.struct_models[b]);
            break;
        case 2:
            left.swap(machine.structs[b]);
            std::swap(machine.struct_models[a], machine.struct_models[b]);
            break;
        case 3:
            left.clear();
            machine.struct_models[a].clear();
            break;
        default:
            check_lookup(left, machine.struct_models[a], name);
            FUZZ_CHECK((left == machine.structs[b]) ==
                       (machine.struct_models[a] == machine.struct_models[b]));
    }
}

void call_array(Machine& machine, unsigned int call, unsigned int a, unsigned int b) {
    switch (call) {
        case 0:
        case 1:
            machine.arrays[a].add_member(static_cast<int>(b));
            machine.array_models[a].emplace_back("", static_cast<int>(b));
            break;
        case 2:
            machine.arrays[a] = machine.arrays[b];
            machine.array_models[a] = Model(machine.array_models[b]);
            break;
        case 3:
            machine.arrays[a].clear();
            machine.array_models[a].clear();
            break;
        default:
            FUZZ_CHECK((machine.arrays[a] == machine.arrays[b]) ==
                       (machine.array_models[a] == machine.array_models[b]));
    }
}

void call_message(Machine& machine, unsigned int call, unsigned int a, unsigned int b,
                  Fuzz_input& input) {
    Message& left = machine.messages[a];
    std::string const name = name_of(input.byte());
    switch (call) {
        case 0:
            left.add_member(Message::TMG_BODY, name, static_cast<int>(b));
            machine.message_models[a].emplace_back(name, static_cast<int>(b));
            break;
        case 1:
            left.swap(machine.messages[b]);
            std::swap(machine.message_models[a], machine.message_models[b]);
            break;
        case 2: {
            auto const content = left.take_content();
            check_struct(content->get_const_struct(Message::TMG_BODY), machine.message_models[a]);
            machine.message_models[a].clear();
            break;
        }
        case 3: {
            FUZZ_CHECK(left.index_member_names());
            auto const bytes = encode(left, 1 + static_cast<int>(b));
            Fuzz_result const decoded = decode_whole(bytes.data(), bytes.size());
            FUZZ_CHECK(decoded.error.empty() && *decoded.message == left);
            break;
        }
        default:
            left.get_struct(Message::TMG_BODY) = machine.structs[b];
            machine.message_models[a] = machine.struct_models[b];
            check_lookup(left.get_const_struct(Message::TMG_BODY), machine.message_models[a], name);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    constexpr std::size_t most_bytes = 300;
    Fuzz_input input(data, size < most_bytes ? size : most_bytes);
    Machine machine;
    while (!input.empty()) {
        unsigned int const kind = input.below(3);
        unsigned int const call = input.below(5);
        unsigned int const a = input.below(slots);
        unsigned int const b = input.below(slots);
        if (kind == 0) call_struct(machine, call, a, b, input);
        if (kind == 1) call_array(machine, call, a, b);
        if (kind == 2) call_message(machine, call, a, b, input);
        check(machine);
    }
    return 0;
}
