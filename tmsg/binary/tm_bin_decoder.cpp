#include "tmsg/binary/tm_bin_decoder.h"

#include "tmsg/composite/tm_array.h"
#include "tmsg/creator/internal/tm_own_creator.h"
#include "tmsg/message/message.h"

Tm_bin_decoder::Tm_bin_decoder(long capacity, Tm_limits const& limits)
    : Tm_bin_decoder_base(capacity, limits) {
    Tm_bin_decoder::init();
}

Tm_bin_decoder::~Tm_bin_decoder() { creator_.reset(); }

void Tm_bin_decoder::init() {
    auto message = std::make_unique<Message>();
    auto creator = std::make_unique<Tm_own_creator>(message.get(), limits());
    Tm_bin_decoder_base::init();
    build(std::move(creator));
    message_ = std::move(message);
}

Message* Tm_bin_decoder::release_msg() {
    seal();
    return message_.release();
}

std::vector<std::string> const& Tm_bin_decoder::received_files() const {
    return static_cast<Tm_creator const&>(*creator_).received_files();
}

unsigned long Tm_bin_decoder::memory() const {
    return static_cast<Tm_creator const&>(*creator_).memory();
}

unsigned long Tm_bin_decoder::file_bytes() const {
    return static_cast<Tm_creator const&>(*creator_).file_bytes();
}

Tm_bin_array_decoder::Tm_bin_array_decoder(long capacity, Tm_limits const& limits)
    : Tm_bin_decoder_base(capacity, limits) {
    limit_each_value();
    Tm_bin_array_decoder::init();
}

Tm_bin_array_decoder::~Tm_bin_array_decoder() { creator_.reset(); }

void Tm_bin_array_decoder::init() {
    auto array = std::make_unique<Tm_array>();
    auto creator = std::make_unique<Tm_own_creator>(array.get(), limits());
    Tm_bin_decoder_base::init();
    build(std::move(creator));
    array_ = std::move(array);
}

std::vector<std::string> const& Tm_bin_array_decoder::received_files() const {
    return static_cast<Tm_creator const&>(*creator_).received_files();
}
