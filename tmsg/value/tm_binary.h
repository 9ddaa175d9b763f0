/// A byte string. Copies, clones and assignments share one storage and copy no bytes.
/// There is no copy-on-write: bytes assigned to one holder show in all holders of the storage.
/// The storage counts its holders atomically. No lock guards the bytes.
#pragma once

#include <vector>

#include "tmsg/value/tm_value.h"

/// Bytes exchanged with callers. It does not own them, unless the function that filled it says so.
struct tm_binary_cstruct {
    unsigned int size;
    unsigned char* data;
};

class TMSG_API Tm_binary : public Tm_value {
public:
    Tm_binary();
    /// Copies `size` bytes. `data` may be null when `size` is 0.
    Tm_binary(unsigned char const* data, unsigned int size);
    /// Takes the bytes over. There must be fewer than 2^32 of them.
    explicit Tm_binary(std::vector<unsigned char>&& bytes);
    Tm_binary(Tm_binary const& other) noexcept;

    Tm_binary* clone() const override;
    ~Tm_binary() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    /// Shares the other's storage.
    Tm_binary& operator=(Tm_binary const& other) noexcept;
    /// Copies the bytes into the shared storage, so that every holder sees them.
    Tm_binary& operator=(tm_binary_cstruct const& source);

    unsigned int get_buffer_size() const;
    /// Returns null when there are no bytes. The pointer is valid until bytes are assigned to the
    /// storage or its last holder is destroyed.
    unsigned char const* get_buffer() const;

private:
    /// A pointer to the bytes that counts its holders.
    class Storage;

    Storage& storage();
    Storage const& storage() const;

    /// Holds the Storage. Its class is hidden, so that users do not need its header.
    alignas(void*) unsigned char room_[2 * sizeof(void*)];
};
