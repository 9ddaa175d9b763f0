#include "verbs/options.h"

#include <limits>
#include <type_traits>

#include "nats/place.h"

namespace {

std::string names_of(Forms const& forms) {
    std::string names;
    for (auto const& form : forms) names += (names.empty() ? "" : ", ") + form.first;
    return names;
}

/// Adds the option of a limit from 1 to `most`.
template <class Number>
void add_limit(CLI::App& verb, std::string const& name, std::string const& what, Number& limit,
               Number most = std::numeric_limits<std::make_signed_t<Number>>::max()) {
    add_number(verb, name, what, limit, Number{1}, most);
}

/// Returns the error, or an empty text for HOST:PORT with both parts, or one subject over NATS.
std::string check_target(std::string const& text) {
    if (!is_nats(text)) return check_address(text);
    std::string const error = check_nats(text);
    bool const is_many = error.empty() && parse_nats(text).has_wildcard();
    return is_many ? "a subject with a wildcard: " + parse_nats(text).name() : error;
}

}  // namespace

std::string check_address(std::string const& text) {
    std::size_t const colon = text.rfind(':');
    bool const has_both = colon != std::string::npos && colon > 0;
    std::string const port = has_both ? text.substr(colon + 1) : "";
    bool const is_number = !port.empty() && port.size() <= 5 &&
                           port.find_first_not_of("0123456789") == std::string::npos;
    if (is_number && std::stoi(port) > 0 && std::stoi(port) <= 65535) return {};
    return "no address of the form HOST:PORT: " + text;
}

CLI::Option* add_form(CLI::App& verb, std::string const& name, std::string const& what, Form& form,
                      Forms const& forms) {
    std::string const long_name = name.substr(name.rfind(',') + 1);
    auto const read = [&form, &forms, long_name](std::string const& text) {
        auto const found = forms.find(text);
        if (found != forms.end()) {
            form = found->second;
        } else {
            throw CLI::ValidationError(
                long_name, "no such form: " + text + "; choose from " + names_of(forms));
        }
    };
    return verb.add_option_function<std::string>(name, read, what + ": " + names_of(forms))
        ->type_name("FORM");
}

CLI::Option* add_from(CLI::App& verb, Form& form) {
    return add_form(verb, "-f,--from",
                    "form of the input, by default auto, a guess by its first "
                    "bytes",
                    form, input_forms);
}

CLI::Option* add_to(CLI::App& verb, Form& form, Writing& writing, std::string const& usual) {
    constexpr int pretty = 2;
    verb.add_flag_callback(
        "--pretty", [&writing] { writing.indent = pretty; },
        "write typed JSON on several lines, indented");
    verb.add_flag("--force", writing.is_forced, "write bytes to a terminal, too");
    std::string const what = "form of the output" + (usual.empty() ? "" : ", by default " + usual);
    return add_form(verb, "-t,--to", what, form, output_forms);
}

void add_only_file(CLI::App& verb, std::string const& name, std::string& file) {
    verb.add_option(name, file, "file with one message; - is standard input")
        ->required()
        ->type_name("");
}

void add_files(CLI::App& verb, std::vector<std::string>& files, std::string const& what) {
    verb.add_option("FILE", files, what + "; reads standard input when FILE is missing or -")
        ->type_name("");
}

void add_address(CLI::App& verb, std::string& address, std::string const& what) {
    verb.add_option("HOST:PORT", address, what)->required()->type_name("")->check(check_target);
}

void add_seconds(CLI::App& verb, std::string const& name, std::string const& what,
                 double& seconds) {
    verb.add_option(name, seconds, what)
        ->check(CLI::Range(0.001, 1e6).description(""))
        ->capture_default_str()
        ->type_name("SECONDS");
}

CLI::Option* add_chunk_size(CLI::App& verb, Writing& writing) {
    int const largest = Tm_header::MAX_LENGTH;
    auto const set = [&writing](int size) { writing.chunk_size = writing.xml_piece_size = size; };
    std::string const what = "payload bytes of each chunk, 1 to " + std::to_string(largest) +
                             "; when given, also the bytes of each piece of XML";
    return verb.add_option_function<int>("--chunk-size", set, what)
        ->check(CLI::Range(1, largest).description(""))
        ->default_str(std::to_string(writing.chunk_size))
        ->type_name("N");
}

void add_limits(CLI::App& verb, Tm_limits& limits) {
    // The usual stack of 8 MiB has room for several times as many levels.
    constexpr unsigned int deepest = 10000;
    add_limit(verb, "--max-depth", "maximum depth of nesting in the input", limits.max_depth,
              deepest);
    add_limit(verb, "--max-bytes", "maximum bytes of one message in the input",
              limits.max_message_bytes);
    add_limit(verb, "--max-file", "maximum bytes of one file value in the input",
              limits.max_file_bytes);
    add_limit(verb, "--max-files", "maximum number of file values in one message",
              limits.max_files);
    add_limit(verb, "--max-values", "maximum number of values in one message", limits.max_values);
    add_limit(verb, "--max-memory", "maximum bytes of memory that one message takes",
              limits.max_memory);
    add_limit(verb, "--max-unfinished",
              "maximum number of unfinished messages in one input or connection",
              limits.max_unfinished);
    add_limit(verb, "--max-held",
              "maximum bytes that the unfinished messages of one connection hold",
              limits.max_held_bytes);
}

void add_max_text(CLI::App& verb, unsigned long& limit, std::string const& usual) {
    constexpr long longest = std::numeric_limits<long>::max();
    verb.add_option("--max-text", limit,
                    "maximum bytes of the text of one message; longer JSON and list text is cut, "
                    "longer XML and a longer dump are errors, 1 to " +
                        std::to_string(longest))
        ->check(CLI::Range(1L, longest).description(""))
        ->default_str(usual)
        ->type_name("BYTES");
}

void add_max_text_of_strangers(CLI::App& verb, unsigned long& limit) {
    limit = 1UL << 28;
    add_max_text(verb, limit, std::to_string(limit));
}
