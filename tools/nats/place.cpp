/// Reads addresses of subjects.
#include "nats/place.h"

#include <algorithm>

#include "net/address.h"

namespace {

std::string const scheme = "nats://";

std::string host_of(Nats_place const& place) { return place.server.substr(scheme.size()); }

}  // namespace

bool Nats_place::has_wildcard() const {
    std::string const text = "." + subject + ".";
    return text.find(".*.") != std::string::npos || text.find(".>.") != std::string::npos;
}

bool is_nats(std::string const& address) { return address.compare(0, scheme.size(), scheme) == 0; }

std::string check_nats(std::string const& address) {
    Nats_place const place = parse_nats(address);
    auto const server = parse_endpoint(host_of(place));
    bool const has_server = server && !server->host.empty() && server->port.value_or(0) != 0;
    if (has_server && is_subject(place.subject)) return {};
    return "no address of the form nats://HOST:PORT/SUBJECT: " + place.name();
}

Nats_place parse_nats(std::string const& address) {
    std::string const rest = is_nats(address) ? address.substr(scheme.size()) : address;
    std::size_t const slash = std::min(rest.find('/'), rest.size());
    std::size_t const at = rest.rfind('@', slash);
    std::string const user = at == std::string::npos ? "" : rest.substr(0, at);
    std::size_t const host = at == std::string::npos ? 0 : at + 1;
    std::size_t const colon = std::min(user.find(':'), user.size());
    Nats_place place;
    place.server = scheme + rest.substr(host, slash - host);
    place.user = user.substr(0, colon);
    if (colon < user.size()) place.password = user.substr(colon + 1);
    if (slash < rest.size()) place.subject = rest.substr(slash + 1);
    return place;
}

bool is_subject(std::string const& text) {
    bool const has_empty_word = ("." + text + ".").find("..") != std::string::npos;
    return !has_empty_word && std::all_of(text.begin(), text.end(), [](unsigned char character) {
        return character > ' ' && character != 0x7F;
    });
}
