// Reads settings that a person wrote as typed JSON, changes them and writes them back.
#include <tmsg/tmsg.h>

#include <iostream>
#include <string>

int main() {
    std::string const text = R"({
  "name": "north",
  "port": 7007,
  "limit": {"$uint64": "18446744073709551615"},
  "halls": [4, 5]
})";
    Tm_typed_json_decoder decoder;
    if (!decoder.decode_value(text)) {
        std::cerr << decoder.error_line() << ':' << decoder.error_column() << ": "
                  << decoder.error() << '\n';
        return 1;
    }
    auto const* const read = dynamic_cast<Tm_struct const*>(decoder.get_value());
    if (read == nullptr) {
        std::cerr << "settings are an object in braces\n";
        return 1;
    }
    Tm_struct settings(*read);  // a copy, because the decoder owns the value
    settings.set_member("port", settings.get_member_int32("port") + 1);
    settings.edit_array("halls")->add_member(6);

    Tm_typed_json_encoder json(2);  // indents by two blanks
    settings.accept(json);
    std::cout << json.get_string() << '\n';

    if (!decoder.decode_value("{\"port\": 70o7}")) {
        std::cout << "line " << decoder.error_line() << ", column " << decoder.error_column()
                  << ": " << decoder.error() << '\n';
    }
}
