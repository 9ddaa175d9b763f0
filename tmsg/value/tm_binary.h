/// A byte string. Copies, clones and assignments share one storage by atomic reference count and
/// copy no bytes; there is no copy-on-write, so bytes assigned to one holder show in all of them.
/// The count is thread-safe, the bytes are not guarded.
#pragma once

#include <vector>

#include "tmsg/value/tm_value.h"

/// Bytes exchanged with callers; does not own them unless the function that filled it says so.
struct tm_binary_cstruct {
    unsigned int size;
    unsigned char* data;
};

class TMSG_API Tm_binary : public Tm_value {
public:
    Tm_binary();
    /// Copies the bytes; `data` may be null when `size` is 0.
    Tm_binary(unsigned char const* data, unsigned int size);
    /// Takes the bytes over; fewer than 2^32 of them.
    explicit Tm_binary(std::vector<unsigned char>&& bytes);
    Tm_binary(Tm_binary const& other) noexcept;

    Tm_binary* clone() const override;
    ~Tm_binary() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    /// Shares the other's storage.
    Tm_binary& operator=(Tm_binary const& other) noexcept;
    /// Writes into the shared storage, seen by every holder.
    Tm_binary& operator=(tm_binary_cstruct const& source);

    unsigned int get_buffer_size() const;
    /// Null when empty; valid until the storage is assigned bytes or its last holder goes.
    unsigned char const* get_buffer() const;

private:
    /// The counted pointer to the bytes.
    class Storage;

    Storage& storage();
    Storage const& storage() const;

    /// Where the Storage is. Its class is not known here, so that users need not have its header.
    alignas(void*) unsigned char room_[2 * sizeof(void*)];
};
