// Shows how a service makes faults, and how a client reads them.
#include <tmsg/tmsg.h>

#include <iostream>
#include <string>

constexpr auto body = Message::TMG_BODY;
constexpr int out_of_stock = 7;  // codes are yours; the service itself uses 1 and 2

Message reserve(Message const& request) {
    int const count = request.get_member_int32(body, "count");  // throws when it is not there
    if (count > 100) throw Tm_fault_exception(out_of_stock, "out of stock");
    Message answer;
    answer.add_member(body, "reserved", count);
    return answer;
}

void show(Message const& answer) {
    if (answer.get_msg_type() == Message::TMT_FAULT) {
        std::cout << "fault " << answer.get_fault_code() << ": " << answer.get_fault_string();
    } else {
        std::cout << "reserved " << answer.get_member_int32(body, "reserved");
    }
    std::cout << '\n';
}

int main() {
    Tm_service service;
    service.on("stock.reserve", reserve);

    Message request = Message::request("stock.reserve");
    request.add_member(body, "count", 25);
    show(service.answer(request));

    request.set_member(body, "count", 250);
    show(service.answer(request));  // the method throws Tm_fault_exception

    request.remove_member(body, "count");
    show(service.answer(request));  // the method throws another exception

    show(service.answer(Message::request("stock.count")));  // there is no such method
}
