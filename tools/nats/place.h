/// Addresses of subjects: nats://HOST:PORT/SUBJECT.
#pragma once

#include <string>

/// A subject at a server.
struct Nats_place {
    std::string server;    ///< nats://HOST:PORT
    std::string user;      ///< empty, or the user or the token before @
    std::string password;  ///< empty for a token
    std::string subject;

    /// Returns the address without the user.
    std::string name() const { return server + "/" + subject; }
    bool has_wildcard() const;
};

/// Returns whether the text is meant as such an address.
bool is_nats(std::string const& address);
/// Returns the error, or an empty text for nats://[USER[:PASSWORD]@]HOST:PORT/SUBJECT.
std::string check_nats(std::string const& address);
/// Reads an address that check_nats() finds good.
Nats_place parse_nats(std::string const& address);
/// Returns whether the text is a subject, or a queue group: words with dots between them.
bool is_subject(std::string const& text);
