/// A byte string. Its copies share one storage: copying, cloning and assigning copy no bytes.
/// There is no copy-on-write: assigning a tm_binary_cstruct to one copy changes all copies.
/// The storage counts its owners atomically. No lock guards the bytes.
#pragma once

#include <vector>

#include "tmsg/value/tm_value.h"

/// Bytes exchanged with callers. The structure does not own the bytes, unless the function that
/// filled it says so.
struct tm_binary_cstruct {
    unsigned int size;
    unsigned char* data;
};

class TMSG_API Tm_binary : public Tm_value {
public:
    /// Makes a storage without bytes.
    Tm_binary();
    /// Copies `size` bytes. `data` may be null when `size` is 0.
    Tm_binary(unsigned char const* data, unsigned int size);
    /// Moves the bytes out of the vector. There must be fewer than 2^32 of them.
    explicit Tm_binary(std::vector<unsigned char>&& bytes);
    /// Shares the storage of `other`, as clone() and the assignment below do.
    Tm_binary(Tm_binary const& other) noexcept;

    Tm_binary* clone() const override;
    ~Tm_binary() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    Tm_binary& operator=(Tm_binary const& other) noexcept;
    /// Both take the storage of `other`, which then has no bytes and shares no storage.
    Tm_binary(Tm_binary&& other) noexcept;
    Tm_binary& operator=(Tm_binary&& other) noexcept;
    /// Copies the bytes into the shared storage, and so changes all copies. `source.data` may be
    /// null when `source.size` is 0, and may point into the storage itself.
    Tm_binary& operator=(tm_binary_cstruct const& source);

    /// Returns the number of bytes.
    unsigned int get_buffer_size() const;
    /// Returns null when there are no bytes. The pointer is valid until bytes are assigned to any
    /// copy, or the last copy is destroyed.
    unsigned char const* get_buffer() const;

private:
    /// A pointer to the bytes that counts their owners.
    class Storage;

    Storage& storage();
    Storage const& storage() const;

    /// Holds the Storage. Its class is hidden, so that users do not need its header.
    alignas(void*) unsigned char room_[2 * sizeof(void*)];
};
