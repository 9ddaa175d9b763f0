#include "tmsg/value/tm_binary.h"

#include <cstring>
#include <functional>
#include <memory>
#include <utility>

#include "tmsg/value/tm_walk.h"

namespace {

std::vector<unsigned char> copy_bytes(unsigned char const* data, unsigned int size) {
    if (size == 0) return {};
    return std::vector<unsigned char>(data, data + size);
}

/// The bytes at `data` are part of the vector, and would move with it.
bool holds(std::vector<unsigned char> const& bytes, unsigned char const* data) {
    std::less<> const before;
    return !before(data, bytes.data()) && before(data, bytes.data() + bytes.size());
}

}  // namespace

Tm_binary::Storage Tm_binary::store(std::vector<unsigned char>&& bytes) {
    auto owned = std::make_unique<std::vector<unsigned char>>(std::move(bytes));
    Storage storage(owned.get());
    static_cast<void>(owned.release());
    return storage;
}

Tm_binary::Tm_binary() : bytes_(store({})) {}

Tm_binary::Tm_binary(unsigned char const* data, unsigned int size)
    : bytes_(store(copy_bytes(data, size))) {}

Tm_binary::Tm_binary(std::vector<unsigned char>&& bytes) : bytes_(store(std::move(bytes))) {}

Tm_binary::Tm_binary(Tm_binary const& other) = default;

Tm_binary::~Tm_binary() = default;

Tm_binary* Tm_binary::clone() const { return new Tm_binary(*this); }

bool Tm_binary::equals(Tm_value const& other) const {
    return other.get_value_type() == TMV_BINARY &&
           *static_cast<Tm_binary const&>(other).bytes_ == *bytes_;
}

TMV Tm_binary::get_value_type() const { return TMV_BINARY; }

bool Tm_binary::accept(Tm_visitor& visitor) const {
    return tm_walk_buffer<&Tm_visitor::visit_binary_begin, &Tm_visitor::visit_binary_continue>(
        reinterpret_cast<char const*>(get_buffer()), get_buffer_size(), visitor);
}

Tm_binary& Tm_binary::operator=(Tm_binary const& other) {
    bytes_ = other.bytes_;
    return *this;
}

Tm_binary& Tm_binary::operator=(tm_binary_cstruct const& source) {
    if (holds(*bytes_, source.data)) {
        *bytes_ = copy_bytes(source.data, source.size);
    } else {
        bytes_->resize(source.size);
        if (source.size > 0) std::memcpy(bytes_->data(), source.data, source.size);
    }
    return *this;
}

unsigned int Tm_binary::get_buffer_size() const {
    return static_cast<unsigned int>(bytes_->size());
}

unsigned char const* Tm_binary::get_buffer() const {
    return bytes_->empty() ? nullptr : bytes_->data();
}
