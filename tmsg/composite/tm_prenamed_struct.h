/// A struct with a fixed list of member names:
///
///     static char const* const names[] = {"article", "count"};
///     Tm_prenamed_struct record(names, 2);
///     record.add_member(1, 250);  // sets "count"
///
/// The caller owns the list and its texts, which must outlive the struct and all its copies. The
/// struct copies no name.
/// Each name has a slot, which is empty at first. A member is set by the position of its slot.
/// Getters, equals() and accept() throw Tm_name_not_found_exception, with the name of the slot,
/// when they reach an empty slot. Only the get_value() that is not const returns null for it.
/// A position without a slot throws Tm_out_of_range_exception.
#pragma once

#include <string>

#include "tmsg/composite/tm_struct.h"

class TMSG_API Tm_prenamed_struct : public Tm_struct,
                                    public Tm_member_adders<Tm_prenamed_struct, int> {
public:
    using Index = Tm_catalog<std::string>;

    /// Makes a struct without slots.
    Tm_prenamed_struct();
    /// Makes a slot for each of the first `count` names. A negative count makes no slots.
    Tm_prenamed_struct(char const* const* names, int count);
    Tm_prenamed_struct(Tm_prenamed_struct const& other);
    /// When copying throws, the struct is as before.
    Tm_prenamed_struct& operator=(Tm_prenamed_struct const& other);
    /// Both take the values of `other`, which keeps its names. Its slots are empty then. If there
    /// is no memory for them, it has no slots until clear(names) makes some.
    Tm_prenamed_struct(Tm_prenamed_struct&& other) noexcept;
    Tm_prenamed_struct& operator=(Tm_prenamed_struct&& other) noexcept;

    Tm_prenamed_struct* clone() const override;
    ~Tm_prenamed_struct() override;

    /// Empties all slots. The names, the recorded wire indexes and the member at which the next
    /// look-up starts stay.
    void clear() override;
    char const* get_member_name(int i) const override;
    /// Returns the position of a name of the list, and throws Tm_name_not_found_exception for any
    /// other name. With an index catalogue, does what add_name_index() does for that position.
    int add_name(std::string const& name, Index* index) override;
    /// Both replace the value in the slot and destroy the old one. `..._own` takes ownership of the
    /// value, and deletes it when the call throws. `..._copy` stores a clone. With null, `..._own`
    /// empties the slot, and `..._copy` throws Tm_exception.
    void add_value_and_own(int i, Tm_value* value) override;
    void add_value_and_copy(int i, Tm_value const* value) override;
    unsigned int get_member_name_length(int i) const override;
    Tm_value const* get_value(int i) const override;
    using Tm_struct::get_value;

    /// Replaces the list of names, which must end with a null pointer, and makes an empty slot for
    /// each new name. Null makes a struct without slots. Recorded wire indexes stay.
    void clear(char const* const* names);
    /// Returns the position of the slot with that name. Throws Tm_name_not_found_exception when
    /// there is none.
    int add_name(std::string const& name) const;
    /// Adds the name of slot i to the index catalogue and appends its wire index to the list of
    /// wire indexes. Call it for each slot in order, because the first index is sent for slot 0.
    /// Does nothing when `index` is null.
    void add_name_index(int i, Index* index);

    using Tm_member_adders<Tm_prenamed_struct, int>::add_member;
    using Tm_member_adders<Tm_prenamed_struct, int>::add_member_and_own;

private:
    friend class Tm_member_adders<Tm_prenamed_struct, int>;

    void place(int i, Tm_new_value&& value, Index* index);
    void check_place(int i) const;
    void take_slots(Tm_prenamed_struct& other) noexcept;

    char const* const* names_ = nullptr;
    int name_count_ = 0;
};
