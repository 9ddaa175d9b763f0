// Sends and receives structs of your own.
#include <tmsg/tmsg.h>

#include <iostream>
#include <optional>
#include <string>
#include <vector>

struct Line {
    std::string article;
    int count = 0;
};
TM_FIELDS(Line, article, count)

struct Order {
    long number = 0;
    std::vector<Line> lines;
    std::optional<double> discount;  // is not sent while it is empty
};
TM_FIELDS(Order, number, lines, discount)

int main() {
    Order const order{4711, {{"bolt M8", 250}, {"nut M8", 30}}, {}};
    Message request = Message::request("stock.order");
    request.add_member(Message::TMG_BODY, "order", tm_to_struct(order));
    std::cout << request << '\n';

    auto const received =
        tm_from_struct<Order>(*request.get_member_struct(Message::TMG_BODY, "order"));
    for (Line const& line : received.lines) {
        std::cout << line.count << " of " << line.article << '\n';
    }

    // A wrong type, or a field that is missing, is an exception with the place.
    request.edit_struct(Message::TMG_BODY, "order")
        ->edit_array("lines")
        ->edit_struct(1)
        ->set_member("count", "many");
    try {
        tm_from_struct<Order>(*request.get_member_struct(Message::TMG_BODY, "order"));
    } catch (Tm_exception const& error) {
        std::cout << error.what() << '\n';
    }
}
