/// The input as a program of calls on structs, arrays and messages, beside a model of them.
#include <utility>

#include "model.h"

namespace {

constexpr unsigned int slots = 3;
constexpr std::size_t most_children = 60;

/// A value and what it should be.
template <class Value>
struct Register {
    Value* value;
    Model* model;
};

constexpr unsigned int names = 24;

std::string name_of(unsigned int number) {
    return number % 8 == 7 ? std::string(200, 'l') : "n" + std::to_string(number % names);
}

class Machine {
public:
    Machine() {
        for (unsigned int i = 0; i < slots; ++i) {
            structs_.emplace_back(nullptr);
            array_models_[i] = Model::empty_array();
            message_models_[i] = Model::empty_message();
        }
    }

    void step(Fuzz_input& input) {
        switch (input.below(4)) {
            case 0:
            case 1:
                call_struct(pick_struct(input), input);
                break;
            case 2:
                call_array(pick_array(input), input);
                break;
            default:
                call_message(pick_message(input), input);
        }
    }

    void check() const {
        for (unsigned int i = 0; i < slots; ++i) {
            FUZZ_CHECK(model_of(structs_[i]) == struct_models_[i]);
            FUZZ_CHECK(model_of(arrays_[i]) == array_models_[i]);
            FUZZ_CHECK(model_of(messages_[i]) == message_models_[i]);
        }
    }

private:
    /// One of its own, or the group of a message.
    Register<Tm_struct> pick_struct(Fuzz_input& input) {
        unsigned int const choice = input.below(3 * slots);
        unsigned int const i = choice % slots;
        if (choice < slots) return {&structs_[i], &struct_models_[i]};
        bool const is_body = choice >= 2 * slots;
        auto const group = is_body ? Message::TMG_BODY : Message::TMG_META;
        return {&messages_[i].get_struct(group), &message_models_[i].children[is_body ? 1 : 0]};
    }
    Register<Tm_array> pick_array(Fuzz_input& input) {
        unsigned int const i = input.below(slots);
        return {&arrays_[i], &array_models_[i]};
    }
    Register<Message> pick_message(Fuzz_input& input) {
        unsigned int const i = input.below(slots);
        return {&messages_[i], &message_models_[i]};
    }
    /// Any of them, or a value within, maybe of the one that is being changed.
    Register<Tm_value const> pick_any(Fuzz_input& input) {
        Register<Tm_value const> any{};
        unsigned int const kind = input.below(3);
        if (kind == 0) {
            auto const [value, model] = pick_struct(input);
            any = {value, model};
            if (!model->children.empty() && input.below(2) == 1) {
                std::size_t const i = input.byte() % model->children.size();
                any = {value->get_value(static_cast<int>(i)), &model->children[i]};
            }
        } else if (kind == 1) {
            auto const [value, model] = pick_array(input);
            any = {value, model};
        } else {
            auto const [value, model] = pick_message(input);
            any = {value, model};
        }
        return any;
    }

    void call_struct(Register<Tm_struct> target, Fuzz_input& input) {
        auto const [value, model] = target;
        unsigned int const call = input.below(9);
        std::string const name = name_of(input.byte());
        if (call <= 3) {
            if (model->children.size() < most_children) add_member(target, call, name, input);
        } else if (call == 4) {
            value->clear();
            model->clear();
        } else if (call == 5) {
            auto const other = pick_struct(input);
            *value = *other.value;
            *model = Model(*other.model);
        } else if (call == 6) {
            swap(target, pick_struct(input));
        } else if (call == 7) {
            unsigned int const first = input.byte();
            for (unsigned int i = 0; i < names; ++i)
                check_lookup(*value, *model, name_of(first + 7 * i));
        } else {
            auto const other = pick_struct(input);
            FUZZ_CHECK((*value == *other.value) == (*model == *other.model));
        }
    }

    static void swap(Register<Tm_struct> left, Register<Tm_struct> right) {
        bool const owns = left.value->is_string_catalog_from_internal();
        if (owns != right.value->is_string_catalog_from_internal()) return;
        left.value->swap(*right.value);
        std::swap(*left.model, *right.model);
    }

    void add_member(Register<Tm_struct> target, unsigned int call, std::string const& name,
                    Fuzz_input& input) {
        auto const [value, model] = target;
        if (call == 0) {
            unsigned int const first = input.byte();
            for (unsigned int i = first; i < first + names; ++i) {
                value->add_member(name_of(i), static_cast<int>(i));
                model->add(name_of(i), Model::of_number(static_cast<int>(i)));
            }
        } else if (call == 1) {
            // List text of an empty string runs into the value behind it.
            std::string const text(1 + input.byte(), 't');
            value->add_member(name, text);
            model->add(name, Model::of_text(text));
        } else {
            auto const child = pick_any(input);
            if (child.model->weight() > most_children) return;
            Model copy(*child.model);
            if (call == 2) {
                value->add_member(name, child.value);
            } else {
                value->add_member_and_own(name, child.value->clone());
            }
            model->add(name, std::move(copy));
        }
    }

    void call_array(Register<Tm_array> target, Fuzz_input& input) {
        auto const [value, model] = target;
        unsigned int const call = input.below(5);
        if (call <= 1) {
            if (model->children.size() < most_children) add_element(target, call, input);
        } else if (call == 2) {
            auto const other = pick_array(input);
            *value = *other.value;
            *model = Model(*other.model);
        } else if (call == 3) {
            value->clear();
            model->clear();
        } else {
            auto const other = pick_array(input);
            FUZZ_CHECK((*value == *other.value) == (*model == *other.model));
        }
    }

    void add_element(Register<Tm_array> target, unsigned int call, Fuzz_input& input) {
        auto const [value, model] = target;
        if (call == 0) {
            int const number = static_cast<int>(input.byte());
            value->add_member(number);
            model->add("", Model::of_number(number));
            return;
        }
        auto const child = pick_any(input);
        if (child.model->weight() > most_children) return;
        Model copy(*child.model);
        value->add_member(child.value);
        model->add("", std::move(copy));
    }

    void call_message(Register<Message> target, Fuzz_input& input) {
        auto const [value, model] = target;
        switch (input.below(6)) {
            case 0: {
                auto const other = pick_message(input);
                value->swap(*other.value);
                std::swap(*model, *other.model);
                break;
            }
            case 1: {
                auto const content = value->take_content();
                FUZZ_CHECK(model_of(*content) == *model);
                *model = Model::empty_message();
                break;
            }
            case 2:
                index_names(target);
                break;
            case 3:
                check_forms(*value, 1 + static_cast<int>(input.byte()));
                break;
            case 4: {
                auto const other = pick_message(input);
                FUZZ_CHECK((*value == *other.value) == (*model == *other.model));
                break;
            }
            default:
                value->set_msg_type(Message::TMT_FAULT);
                model->number = Message::TMT_FAULT;
        }
    }

    static void index_names(Register<Message> target) {
        FUZZ_CHECK(target.value->index_member_names());
        FUZZ_CHECK(encode(*target.value, 64) == encode(Message(*target.value), 64));
        Model indexed = model_of(*target.value);
        FUZZ_CHECK(indexed.without_catalogs() == target.model->without_catalogs());
        *target.model = std::move(indexed);
    }

    /// A struct may have come with the table of another message: the names must fit it first.
    static void check_forms(Message const& message, int chunk_size) {
        Message sent(message);
        FUZZ_CHECK(sent.restore_member_indexes());
        auto const bytes = encode(sent, chunk_size);
        Fuzz_result const decoded = decode_whole(bytes);
        FUZZ_CHECK(decoded.error.empty() && *decoded.message == sent);
        Tm_tcl_encoder list;
        message.accept(list);
        FUZZ_CHECK(Message::from_string(list.get_string()) == message);
    }

    std::vector<Tm_struct> structs_;
    Model struct_models_[slots];
    Tm_array arrays_[slots];
    Model array_models_[slots];
    Message messages_[slots];
    Model message_models_[slots];
};

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    constexpr std::size_t most_bytes = 400;
    Fuzz_input input(data, size < most_bytes ? size : most_bytes);
    Machine machine;
    // To compare everything takes far longer than a step.
    constexpr unsigned int steps_between_checks = 8;
    for (unsigned int step = 1; !input.empty(); ++step) {
        machine.step(input);
        if (step % steps_between_checks == 0) machine.check();
    }
    machine.check();
    return 0;
}
