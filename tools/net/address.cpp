/// Reads and writes addresses.
#include "net/address.h"

#include <algorithm>

#include "io/system.h"

namespace {

bool is_number(std::string const& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// Returns nothing when the text is no number from 0 to 65535.
std::optional<unsigned short> parse_port(std::string const& text) {
    if (!is_number(text) || text.size() > 5 || std::stoi(text) > 65535) return {};
    return static_cast<unsigned short>(std::stoi(text));
}

}  // namespace

std::optional<Endpoint> parse_endpoint(std::string const& text) {
    if (is_number(text)) {
        auto const port = parse_port(text);
        if (!port) return {};
        return Endpoint{"", port};
    }
    // An address with more colons is one of IPv6. A port can follow it in brackets only.
    bool const has_brackets = text.find("]:") != std::string::npos;
    bool const has_port = has_brackets || std::count(text.begin(), text.end(), ':') == 1;
    std::size_t const end = has_port ? text.rfind(':') : text.size();
    Endpoint result{text.substr(0, end), {}};
    if (has_port) result.port = parse_port(text.substr(end + 1));
    if (result.host.empty() || (has_port && !result.port)) return {};
    if (result.host.front() == '[' && result.host.back() == ']') {
        result.host = result.host.substr(1, result.host.size() - 2);
    }
    return result;
}

ACE_INET_Addr resolve(std::string const& text) {
    ACE_INET_Addr address;
    if (address.set(text.c_str(), AF_INET) == 0 || address.set(text.c_str()) == 0) return address;
    throw Failure("unknown address " + text);
}

ACE_INET_Addr resolve(std::string const& host, unsigned short port) {
    constexpr int encode = 1;
    ACE_INET_Addr address;
    bool const is_known = address.set(port, host.c_str(), encode, AF_INET) == 0 ||
                          address.set(port, host.c_str()) == 0;
    if (!is_known) throw Failure("unknown address " + host);
    return address;
}

std::string text_of(ACE_INET_Addr const& address) {
    char text[128] = "";
    address.addr_to_string(text, sizeof text);
    return text;
}
