#include "tmsg/nats/internal/tm_nats_frames.h"

#include <charconv>
#include <cstring>

namespace {

/// The first byte of a control payload. That of a chunk is 0.
constexpr char mark = 'N';
constexpr char protocol_version = 1;
constexpr std::size_t control_size = 8;

/// Takes a number and the dot behind it. Returns false for anything else.
template <class Number>
bool take_number(std::string_view& text, Number& number) {
    char const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || (rest != end && *rest != '.')) return false;
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()) + (rest == end ? 0 : 1));
    return true;
}

}  // namespace

std::string tm_nats_control(Tm_nats_kind kind, std::uint32_t number, std::string_view text) {
    std::string payload = {mark, protocol_version, static_cast<char>(kind), 0};
    for (int shift = 24; shift >= 0; shift -= 8) {
        payload += static_cast<char>(static_cast<unsigned char>(number >> shift));
    }
    return payload.append(text);
}

std::optional<Tm_nats_control> tm_nats_read_control(std::string_view payload) {
    if (payload.size() < control_size || payload[0] != mark || payload[1] != protocol_version) {
        return {};
    }
    auto const kind = static_cast<unsigned char>(payload[2]);
    if (kind < static_cast<unsigned char>(Tm_nats_kind::claim) ||
        kind > static_cast<unsigned char>(Tm_nats_kind::refused)) {
        return {};
    }
    std::uint32_t number = 0;
    for (std::size_t i = 4; i < control_size; ++i) {
        number = number << 8U | static_cast<unsigned char>(payload[i]);
    }
    return Tm_nats_control{static_cast<Tm_nats_kind>(kind), number, payload.substr(control_size)};
}

std::optional<Tm_header> tm_nats_read_chunk(std::string_view payload) {
    if (payload.size() < sizeof(TM_HEADER) || payload[0] != 0) return {};
    TM_HEADER record;
    std::memcpy(record.bytes, payload.data(), sizeof record.bytes);
    Tm_header header;
    header = record;
    if (header.get_length() != payload.size() - sizeof(TM_HEADER)) return {};
    return header;
}

std::optional<Tm_header> tm_nats_read_whole(std::string_view payload) {
    auto const header = tm_nats_read_chunk(payload);
    if (!header || !header->get_first_chunk() || !header->get_last_chunk()) return {};
    return header;
}

std::string tm_nats_subject(std::string const& before, std::uint64_t number) {
    char digits[20];
    char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    std::string subject;
    subject.reserve(before.size() + 1 + sizeof digits);
    return subject.append(before).append(1, '.').append(digits, end);
}

std::optional<Tm_nats_place> tm_nats_read_place(std::string_view subject, std::size_t inbox_size) {
    if (subject.size() <= inbox_size) return {};
    subject.remove_prefix(inbox_size + 1);
    Tm_nats_place place = {};
    if (!take_number(subject, place.number)) return {};
    if (subject.empty()) return place;
    std::uint32_t position = 0;
    if (!take_number(subject, position) || !subject.empty()) return {};
    place.position = position;
    return place;
}

unsigned int tm_nats_seq_no(std::string_view reply) {
    std::size_t const dot = reply.rfind('.');
    auto const place = tm_nats_read_place(reply, dot == std::string_view::npos ? 0 : dot);
    return place ? static_cast<unsigned int>(place->number & Tm_header::MAX_SEQ_NO) : 0;
}
