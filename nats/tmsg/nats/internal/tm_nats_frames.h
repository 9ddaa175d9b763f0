/// What the payloads and the subjects of the protocol look like. docs/scaling.md describes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tmsg/message/tm_header.h"

/// The payloads that are no chunk.
enum class Tm_nats_kind : unsigned char {
    claim = 1,    ///< a caller looks for a service that takes a large request
    credit = 2,   ///< so many chunks may be sent, counted from the first one
    working = 3,  ///< a sign of life of a service that has the request
    refused = 4   ///< the sender gives up; the text says why
};

struct Tm_nats_control {
    Tm_nats_kind kind;
    std::uint32_t number;
    std::string_view text;
};

std::string tm_nats_control(Tm_nats_kind kind, std::uint32_t number = 0,
                            std::string_view text = {});
/// Returns nothing for other payloads.
std::optional<Tm_nats_control> tm_nats_read_control(std::string_view payload);

/// Returns the header when the payload is one whole chunk, else nothing.
std::optional<Tm_header> tm_nats_read_chunk(std::string_view payload);
/// The same for a message of one chunk.
std::optional<Tm_header> tm_nats_read_whole(std::string_view payload);
inline std::string_view tm_nats_content(std::string_view chunk) {
    return chunk.substr(sizeof(TM_HEADER));
}

/// The part of a subject after the inbox: the number of a call or a transfer, and for a chunk of a
/// large message also its position.
struct Tm_nats_place {
    std::uint64_t number;
    std::optional<std::uint32_t> position;
};

std::string tm_nats_subject(std::string const& before, std::uint64_t number);
std::optional<Tm_nats_place> tm_nats_read_place(std::string_view subject, std::size_t inbox_size);

/// Returns the sequence number of a call, the low part of the last number in its reply subject.
unsigned int tm_nats_seq_no(std::string_view reply);
