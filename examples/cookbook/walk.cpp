// Goes through all values of a message, whatever they are.
#include <tmsg/tmsg.h>

#include <iostream>
#include <string_view>

int main() {
    Message request = Message::request("stock.reserve");
    request.add_member(Message::TMG_BODY, "article", "bolt M8");
    request.add_member(Message::TMG_BODY, "counts", Tm_array{250, 30L});
    request.add_member(Message::TMG_BODY, "place", Tm_struct{{"hall", 4}, {"is_cold", false}});

    // One level: the members of a struct.
    for (auto const& [name, value] : tm_members(request.get_const_struct(Message::TMG_BODY))) {
        std::cout << name << ": " << Tm_value::tmv_to_string(value.get_value_type()) << '\n';
    }

    // All levels, with the path of each value. Return false to stop.
    tm_walk(request, [](std::string_view path, Tm_value const& value) {
        tm_visit(
            value, [&](std::string_view text) { std::cout << path << " = " << text << '\n'; },
            [&](int number) { std::cout << path << " = " << number << '\n'; },
            [&](bool truth) { std::cout << path << " = " << (truth ? "yes" : "no") << '\n'; },
            [](auto const&) {});  // every other type
        return true;
    });
}
