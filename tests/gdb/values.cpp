/// A program that stops with values of all kinds, for the debugger.
#include <tmsg/tmsg.h>

#include <fstream>
#include <string>
#include <vector>

#ifdef KNOWS_LAYOUTS
#include "tmsg/value/internal/tm_layout.h"
// The program has the debug information of a class that it uses.
constexpr auto known_size = sizeof(Tm_layout);
#endif

// Not inlined, so that its arguments are there in optimised code, too.
extern "C" __attribute__((noinline)) void stop_here(Message const* message, Tm_value const* first) {
    asm volatile("" : : "r"(message), "r"(first) : "memory");
}

namespace {

class Day : public Tm_date {
public:
    using Tm_date::Tm_date;
    Day* clone() const override { return new Day(*this); }
    bool equals(Tm_value const&) const override { return false; }
    TMV get_value_type() const override { return TMV_DATE; }
    bool accept(Tm_visitor&) const override { return true; }
};

void stop_with(Message const& message, std::string const& path) {
    Tm_struct const nothing;
    Tm_string const text("a \"text\"");
    Tm_int8 const small(65);
    Tm_uint64 const large(18446744073709551615U);
    Tm_bool const yes(true);
    Tm_double const half(0.5);
    Tm_file const file(path, 0);
    Tm_binary const bytes(std::vector<unsigned char>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    Day const date(2026, 3, 9, 8, 7, 6);
    char const* const names[] = {"first", "second"};
    Tm_prenamed_struct prenamed(names, 2);
    prenamed.add_member(1, "set");
    Tm_value const* const values[] = {&nothing, &text, &small, &large, &yes, &half, &file, &bytes, &date, &prenamed};
    stop_here(&message, values[0]);
    for (Tm_value const* value : values) asm volatile("" : : "r"(value) : "memory");
}

}  // namespace

int main(int, char** arguments) {
    std::string const path = arguments[1];
    std::ofstream(path) << "12345";
    Message message = Message::request("stock.reserve");
    message.add_member(Message::TMG_META, "user", "\xC3\xA9");
    Tm_array list{1, 2.5, "x", Tm_struct{{"a", Tm_uint8(7)}, {"b\n", Tm_array()}}};
    list.add_member(Message::fault(5, "no"));
    message.add_member(Message::TMG_BODY, "list", list);
    message.add_member(Message::TMG_BODY, "count", 250);
    message.add_member(Message::TMG_BODY, "", false);
    stop_with(message, path);
    std::string bytes;
    tm_encode_into(bytes, message);
    Tm_bin_decoder decoder(4096);
    tm_decode(decoder, bytes);
    stop_with(*decoder.message(), path);
}
