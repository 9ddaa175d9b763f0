// Looks up values: with exceptions, without exceptions, and by path.
#include <tmsg/tmsg.h>

#include <iostream>
#include <string>

constexpr auto body = Message::TMG_BODY;

int main() {
    Message request = Message::request("stock.reserve");
    request.add_member(body, "article", "bolt M8");
    request.add_member(body, "count", 250);
    request.add_member(body, "lines", Tm_array{Tm_struct{{"hall", 4}}, Tm_struct{{"hall", 5}}});

    // A getter needs the exact type, and throws when the value is not there.
    std::cout << request.get_member_int32(body, "count") << '\n';
    try {
        request.get_member_int64(body, "count");
    } catch (Tm_exception const& error) {
        std::cout << error.path() << ": " << error.what() << '\n';
    }

    // These do not throw when the value is absent or has another type.
    std::cout << request.get_or<std::string>(body, "note", "no note") << '\n';
    if (auto const count = request.get_if<int>(body, "count")) std::cout << *count << '\n';
    std::cout << (request.has_member(body, "price") ? "a price" : "no price") << '\n';

    // This converts numbers, and throws when the type cannot hold the number.
    std::cout << request.get_number<double>(body, "count") / 100 << '\n';

    // A path leads through structs, arrays and messages.
    Tm_value const* const hall = tm_at(request, "body.lines[1].hall");
    if (hall != nullptr) std::cout << "hall " << tm_number<int>(*hall) << '\n';
}
