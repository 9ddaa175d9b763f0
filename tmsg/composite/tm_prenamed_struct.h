/// A struct with a fixed list of member names. The caller owns the list, which must outlive the
/// struct and all its copies. The struct copies no name. Each name has a slot, which is empty at
/// first, and members are set by the position of their slot. Reading an empty slot throws
/// Tm_name_not_found_exception with the slot's name. equals() and accept() do the same. The
/// get_value() that gives write access returns null for an empty slot.
#pragma once

#include <string>

#include "tmsg/composite/tm_struct.h"

class TMSG_API Tm_prenamed_struct : public Tm_struct,
                                    public Tm_member_adders<Tm_prenamed_struct, int> {
public:
    using Index = Tm_catalog<std::string>;

    Tm_prenamed_struct();
    /// Makes `count` slots for the first `count` names.
    Tm_prenamed_struct(char const* const* names, int count);
    Tm_prenamed_struct(Tm_prenamed_struct const& other);
    Tm_prenamed_struct& operator=(Tm_prenamed_struct const& other);

    Tm_prenamed_struct* clone() const override;
    ~Tm_prenamed_struct() override;

    /// Empties all slots. Names, recorded wire indexes and the lookup hint stay.
    void clear() override;
    char const* get_member_name(int i) const override;
    /// Returns the position of an existing name. With an index catalogue it records the name's wire
    /// index.
    int add_name(std::string const& name, Index* index) override;
    /// Both replace what the slot held.
    void add_value_and_own(int i, Tm_value* value) override;
    void add_value_and_copy(int i, Tm_value const* value) override;
    unsigned int get_member_name_length(int i) const override;
    Tm_value const* get_value(int i) const override;
    using Tm_struct::get_value;

    /// Takes a new list of names, which ends with a null pointer, and makes an empty slot for each.
    void clear(char const* const* names);
    /// Returns the position of the member with that name. Throws Tm_name_not_found_exception when
    /// there is none.
    int add_name(std::string const& name) const;
    /// Records the wire index of member i. The list of indexes has the order of the calls.
    void add_name_index(int i, Index* index);

    using Tm_member_adders<Tm_prenamed_struct, int>::add_member;
    using Tm_member_adders<Tm_prenamed_struct, int>::add_member_and_own;

private:
    friend class Tm_member_adders<Tm_prenamed_struct, int>;

    void place(int i, Tm_new_value&& value, Index* index);
    void check_place(int i) const;

    char const* const* names_ = nullptr;
    int name_count_ = 0;
};
