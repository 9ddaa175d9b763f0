/// Makes requests from arguments.
#include "verbs/request.h"

#include <sys/stat.h>

#include <utility>

#include "forms/reader.h"
#include "forms/value_text.h"
#include "io/input.h"
#include "io/system.h"
#include "verbs/assignments.h"

namespace {

bool is_file(std::string const& word) {
    struct stat status = {};
    if (word.empty() || word == "-") return true;
    return ::stat(word.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

/// With arguments or data, a single word is a method name, also when a file has this name.
void take_arguments(std::vector<Assignment> arguments, Request_source& source) {
    if (source.data && source.first_word.empty()) {
        throw CLI::ValidationError("--data", "no METHOD given");
    }
    source.is_file = !source.data && arguments.empty() && is_file(source.first_word);
    source.assignments = std::move(arguments);
}

std::unique_ptr<Message> read_from(std::string const& path, Form form, Temporary_files& files,
                                   Tm_limits const& limits) {
    Input input(path);
    return read_message(input, form, files, limits);
}

std::unique_ptr<Tm_value> read_data(std::string const& data, Temporary_files& files,
                                    Tm_limits const& limits) {
    if (data.substr(0, 1) != "@") return read_typed_json("--data", data, files, limits);
    std::string const path = data.substr(1);
    std::string const json = Input(path).read_all(limits.max_message_bytes);
    return read_typed_json(path, json, files, limits);
}

void set_body(Message& request, std::unique_ptr<Tm_value> data) {
    TMV const type = data->get_value_type();
    if (type != TMV_STRUCT) {
        throw Failure("--data takes an object, not a value of type " +
                      std::string(type_name(type)));
    }
    request.get_struct(Message::TMG_BODY) = std::move(static_cast<Tm_struct&>(*data));
}

}  // namespace

void add_request(CLI::App& verb, Request_source& source) {
    verb.add_option("FILE|METHOD", source.first_word,
                    "file with the message; reads standard input when FILE is missing or -; or a "
                    "method name, and then arguments: name=value, name:TYPE=value, name:=JSON")
        ->type_name("");
    verb.add_option("-d,--data", source.data,
                    "body of the request as typed JSON, or @FILE with it; the arguments change it")
        ->type_name("JSON");
    add_further_assignments(verb, [&source](std::vector<Assignment> arguments) {
        take_arguments(std::move(arguments), source);
    });
}

std::unique_ptr<Message> make_request(Request_source const& source, Form form,
                                      Temporary_files& files, Tm_limits const& limits) {
    if (source.is_file) return read_from(source.first_word, form, files, limits);
    auto request = std::make_unique<Message>(Message::request(source.first_word));
    if (source.data) set_body(*request, read_data(*source.data, files, limits));
    Tm_struct& body = request->get_struct(Message::TMG_BODY);
    for (auto const& assignment : source.assignments) assignment.apply(body, files, limits);
    return request;
}
