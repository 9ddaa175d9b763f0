#include "tmsg/value/tm_binary.h"

#include <ace/Refcounted_Auto_Ptr.h>
#include <ace/Thread_Mutex.h>

#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "tmsg/value/internal/tm_walk.h"

namespace {

std::vector<unsigned char> copy_bytes(unsigned char const* data, unsigned int size) {
    if (size == 0) return {};
    return std::vector<unsigned char>(data, data + size);
}

/// Returns whether `data` points into the vector, so that the bytes would move with it.
bool holds(std::vector<unsigned char> const& bytes, unsigned char const* data) {
    std::less<> const before;
    return !before(data, bytes.data()) && before(data, bytes.data() + bytes.size());
}

}  // namespace

/// Its count is atomic: an instruction where ACE knows one, as with g++ and clang++, else under the
/// lock.
class Tm_binary::Storage final
    : public ACE_Refcounted_Auto_Ptr<std::vector<unsigned char>, ACE_Thread_Mutex> {
public:
    explicit Storage(std::vector<unsigned char>&& bytes)
        : Storage(std::make_unique<std::vector<unsigned char>>(std::move(bytes))) {}

    Storage(Storage const&) = default;
    Storage& operator=(Storage const&) = default;

    /// Returns whether there is a vector, which another storage has not taken.
    bool is_there() const { return rep_ != nullptr; }
    void leave() noexcept {
        if (is_there()) release();
    }
    bool is_empty() const { return !is_there() || get()->empty(); }

private:
    explicit Storage(std::unique_ptr<std::vector<unsigned char>>&& owned)
        : ACE_Refcounted_Auto_Ptr(owned.get()) {
        static_cast<void>(owned.release());
    }
};

Tm_binary::Storage& Tm_binary::storage() {
    return *std::launder(reinterpret_cast<Storage*>(room_));
}

Tm_binary::Storage const& Tm_binary::storage() const {
    return *std::launder(reinterpret_cast<Storage const*>(room_));
}

Tm_binary::Tm_binary() : Tm_binary(std::vector<unsigned char>()) {}

Tm_binary::Tm_binary(unsigned char const* data, unsigned int size)
    : Tm_binary(copy_bytes(data, size)) {}

Tm_binary::Tm_binary(std::vector<unsigned char>&& bytes) {
    static_assert(sizeof(Storage) <= sizeof room_ && alignof(Storage) <= alignof(void*));
    new (room_) Storage(std::move(bytes));
}

Tm_binary::Tm_binary(Tm_binary const& other) noexcept : Tm_value(other) {
    new (room_) Storage(other.storage());
}

Tm_binary::~Tm_binary() { storage().~Storage(); }

Tm_binary* Tm_binary::clone() const { return new Tm_binary(*this); }

bool Tm_binary::equals(Tm_value const& other) const {
    if (other.get_value_type() != TMV_BINARY) return false;
    Storage const& left = storage();
    Storage const& right = static_cast<Tm_binary const&>(other).storage();
    if (left.is_empty() || right.is_empty()) return left.is_empty() == right.is_empty();
    return *left == *right;
}

TMV Tm_binary::get_value_type() const { return TMV_BINARY; }

bool Tm_binary::accept(Tm_visitor& visitor) const {
    return tm_walk_buffer<&Tm_visitor::visit_binary_begin, &Tm_visitor::visit_binary_continue>(
        reinterpret_cast<char const*>(get_buffer()), get_buffer_size(), visitor);
}

Tm_binary& Tm_binary::operator=(Tm_binary const& other) noexcept {
    storage() = other.storage();
    return *this;
}

Tm_binary::Tm_binary(Tm_binary&& other) noexcept : Tm_value(other) {
    new (room_) Storage(other.storage());
    other.storage().leave();
}

Tm_binary& Tm_binary::operator=(Tm_binary&& other) noexcept {
    if (this == &other) return *this;
    storage() = other.storage();
    other.storage().leave();
    return *this;
}

Tm_binary& Tm_binary::operator=(tm_binary_cstruct const& source) {
    if (!storage().is_there()) storage() = Storage(std::vector<unsigned char>());
    auto& bytes = *storage();
    if (holds(bytes, source.data)) {
        bytes = copy_bytes(source.data, source.size);
    } else {
        bytes.resize(source.size);
        if (source.size > 0) std::memcpy(bytes.data(), source.data, source.size);
    }
    return *this;
}

unsigned int Tm_binary::get_buffer_size() const {
    return storage().is_empty() ? 0 : static_cast<unsigned int>(storage()->size());
}

unsigned char const* Tm_binary::get_buffer() const {
    return storage().is_empty() ? nullptr : storage()->data();
}
