/// Addresses, as the user writes them.
#pragma once

#include <ace/INET_Addr.h>

#include <optional>
#include <string>

/// The place where a program listens.
struct Endpoint {
    std::string host;  ///< empty for the loopback address
    std::optional<unsigned short> port;
};

/// Reads PORT, HOST, HOST:PORT, [HOST] or [HOST]:PORT. Returns nothing when the text is none.
std::optional<Endpoint> parse_endpoint(std::string const& text);

// The address of a name is that of IPv4 if it has one, so that localhost is the same place for a
// program that listens there and for one that connects.

/// Returns the address of HOST:PORT. Throws Failure.
ACE_INET_Addr resolve(std::string const& text);
ACE_INET_Addr resolve(std::string const& host, unsigned short port);
/// Returns "HOST:PORT" in numbers.
std::string text_of(ACE_INET_Addr const& address);
