// Changes a message that exists already.
#include <tmsg/tmsg.h>

#include <iostream>
#include <memory>
#include <utility>

constexpr auto body = Message::TMG_BODY;

int main() {
    Message order = Message::request("stock.reserve");
    order.add_member(body, "article", "bolt M8");
    order.add_member(body, "count", 250);
    order.add_member(body, "halls", Tm_array{4, 5, 6});
    order.add_member(body, "buyer", Tm_struct{{"name", "Miller"}, {"mail", "m@example.org"}});

    order.set_member(body, "count", 300);    // replaces the value
    order.set_member(body, "urgent", true);  // adds a member, as there is none
    order.remove_member(body, "article");    // returns false when there is none
    order.rename_member(body, 0, "number");  // by position

    Tm_array& halls = *order.edit_array(body, "halls");
    halls.set_value(0, 40);
    halls.remove_values(1);
    halls.insert_value(0, std::make_unique<Tm_string>("north"));

    Tm_struct& buyer = *order.edit_struct(body, "buyer");
    buyer.set_member("name", "Mueller");
    std::unique_ptr<Tm_value> mail = buyer.take_member(1);  // moves the value out
    order.set_member(body, "mail", std::move(mail));        // and in again

    std::cout << order << '\n';
}
