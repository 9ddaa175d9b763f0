/// Named members in order, each an owned value. Names may repeat: a lookup by name starts at the
/// member found last and wraps around, so reading members in their order costs one step each.
/// Names are interned in a catalogue, the struct's own or one shared with other structs.
/// Besides, a member can carry a wire index from an index catalogue, sent instead of its name.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tmsg/composite/tm_member_adders.h"
#include "tmsg/composite/tm_member_getters.h"
#include "tmsg/composite/tm_member_names.h"
#include "tmsg/composite/tm_value_container.h"
#include "tmsg/value/tm_value.h"

class Tm_name_lookup;
class Tm_prenamed_struct;

class TMSG_API Tm_struct : public Tm_value,
                           public Tm_member_getters<Tm_struct>,
                           public Tm_member_adders<Tm_struct, std::string const&> {
public:
    using Index = Tm_catalog<std::string>;

    /// Null: the struct has a catalogue of its own. Another must outlive the struct.
    explicit Tm_struct(Tm_catalog<std::string>* shared);
    /// Shares a catalogue and keeps it alive; not null.
    explicit Tm_struct(Tm_shared_names const& shared);
    /// A copy always has a catalogue of its own.
    Tm_struct(Tm_struct const& other);
    explicit Tm_struct(Tm_prenamed_struct const& other);
    /// Keeps the catalogue in use. When copying fails, this struct is as before.
    Tm_struct& operator=(Tm_struct const& other);

    Tm_struct* clone() const override;
    ~Tm_struct() override;
    /// Names and values in order; neither catalogues nor wire indexes count.
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    virtual void clear();
    virtual char const* get_member_name(int i) const;
    /// The first half of adding a member: its name, and its wire index when there is an index
    /// catalogue. Answers the position for the second half, one of the two operations below.
    virtual int add_name(std::string const& name, Index* index);
    virtual void add_value_and_own(int position, Tm_value* value);
    virtual void add_value_and_copy(int position, Tm_value const* value);
    virtual unsigned int get_member_name_length(int i) const;
    virtual Tm_value const* get_value(int i) const;
    virtual Tm_value* get_value(int i);

    int get_member_count() const { return values_.size(); }
    TMV get_member_value_type(int i) const;
    Tm_value const* get_member_value(TMV type, int i) const;

    /// The position of the member with that name; Tm_name_not_found_exception, or -1.
    int get_number(char const* name) const;
    int get_member_index(char const* name) const;

    bool is_string_catalog_from_internal() const { return names_.owns_catalog(); }

    /// Both must own, or both must share their catalogues; else Tm_exception, and then the values
    /// have been exchanged but the names have not.
    void swap(Tm_struct& other);

    /// Stores a name in the catalogue in use; the answer lives as long as this struct's names.
    std::string const& intern_name(std::string_view name) { return names_.intern(name); }
    /// The same for a name that `keeper` keeps alive: a struct that owns its catalogue may read it
    /// where it stands, so that many structs with one name do not copy it.
    std::string const& borrow_name(std::string const& name,
                                   std::shared_ptr<void const> const& keeper) {
        return names_.borrow(name, keeper);
    }
    /// Adds a member under a name that one of these two answered; cannot fail after reserve_next().
    void add_interned(std::string const& name, Tm_value* value);
    /// Room for one more member.
    void reserve_next();

    /// Replaces the wire indexes: one per member, or none.
    void set_member_indexes(std::vector<unsigned short>&& indexes) noexcept;

protected:
    explicit Tm_struct(Tm_member_names&& names);

    Tm_value_container values_;
    std::vector<unsigned short> indexes_;
    mutable int hint_ = 0;

    /// To be called when names change other than by adding.
    void forget_lookup() noexcept;

private:
    friend class Message;
    friend class Tm_member_getters<Tm_struct>;
    friend class Tm_member_adders<Tm_struct, std::string const&>;

    Tm_value const* find_member(int i) const { return get_value(i); }
    Tm_value const* find_member(char const* name) const { return get_value(get_number(name)); }
    void check_place(std::string const&) const {}
    void place_member(std::string const& name, std::unique_ptr<Tm_value> value, Index* index);

    std::string const& listed_name(int i) const;
    std::string_view name_at(int i) const;
    int find(std::string_view name) const;
    int find_far(std::string_view name, int from) const;
    int scan(std::string_view name, int from) const;
    bool has_listed_names() const;
    void list_names_of(Tm_struct const& other);
    bool accept_name(int i, bool by_index, Tm_visitor& visitor) const;
    void swap_all(Tm_struct& other) noexcept;
    void swap_members(Tm_struct& other) noexcept;

    Tm_member_names names_;
    mutable std::unique_ptr<Tm_name_lookup> lookup_;
    mutable long scanned_ = 0;  ///< members scanned so far, until a table pays
};
