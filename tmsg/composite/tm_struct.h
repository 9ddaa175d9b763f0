/// A list of named members. The struct owns their values.
///
///     Tm_struct record{{"article", "bolt M8"}, {"weights", Tm_array{0.25, 1.5}}};
///     record.set_member("count", 250);  // replaces the first "count", or adds it
///     record.edit_array("weights")->set_value(0, 0.5);
///     record.rename_member(0, "item");
///     record.remove_member("count");
///
/// A look-up by name starts at the member that the last look-up found, and goes on at the first
/// member after the last. So reading members in their order takes one step each. When a name
/// repeats, a look-up finds the first member of that name from there on.
///
/// A member can have a wire index from an index catalogue, which is sent instead of its name.
///
/// Pointers to scalar and string values, and texts of names, are valid until the struct changes.
/// Pointers to all other values are valid until their member is removed or replaced. The texts of
/// strings are valid for the same time, but swap() may end it earlier.
///
/// Many threads may read, copy, walk and compare a struct while none changes it. They share the
/// position of the member found last, which matters only when names repeat.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "tmsg/composite/tm_finders.h"
#include "tmsg/composite/tm_member.h"
#include "tmsg/composite/tm_member_adders.h"
#include "tmsg/composite/tm_member_getters.h"
#include "tmsg/composite/tm_value_container.h"
#include "tmsg/value/tm_owners.h"
#include "tmsg/value/tm_value.h"

class Tm_layout;
class Tm_prenamed_struct;
struct Tm_next_name;

/// A tag for structs that share names, as the two structs of a Message() do (see
/// Message::shared_names()). The tag decides only which structs can be swapped with each other.
struct Tm_shared_names {};

class TMSG_API Tm_struct : public Tm_value,
                           public Tm_member_getters<Tm_struct>,
                           public Tm_finders<Tm_struct>,
                           public Tm_member_adders<Tm_struct, Tm_name> {
public:
    using Index = Tm_catalog<std::string>;

    /// Makes a struct that owns its names, with these members:
    ///
    ///     Tm_struct{{"article", "bolt M8"}, {"count", 250}, {"weights", Tm_array{0.25, 1.5}}}
    Tm_struct(std::initializer_list<Tm_member> members = {});
    /// With null, makes a struct that owns its names. With a catalogue, makes a struct that shares
    /// names: it adds each of its names to the catalogue, which must outlive it.
    explicit Tm_struct(Tm_catalog<std::string>* catalog);
    /// Makes a struct that shares names. It does not refer to the argument afterwards.
    explicit Tm_struct(Tm_shared_names const& shared);
    /// A copy owns its names, and has the same wire indexes.
    Tm_struct(Tm_struct const& other);
    explicit Tm_struct(Tm_prenamed_struct const& other);
    /// Keeps the catalogue that was given to the constructor. When copying throws, the members are
    /// as before.
    Tm_struct& operator=(Tm_struct const& other);
    /// Both take the members of `other`, which then has none, and keeps its sort and its catalogue.
    /// The new struct is of the same sort, without a catalogue. The assignment keeps the catalogue
    /// of this struct and adds the names to it, as far as there is memory. Neither takes the wire
    /// indexes of a struct with a catalogue.
    /// A class of your own is copied instead, because it may name its members in another way. If
    /// there is no memory for the copy, the constructor makes an empty struct, and the assignment
    /// changes nothing.
    Tm_struct(Tm_struct&& other) noexcept;
    Tm_struct& operator=(Tm_struct&& other) noexcept;

    Tm_struct* clone() const override;
    ~Tm_struct() override;
    /// Compares names and values in order. Catalogues and wire indexes do not count.
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    /// Removes and destroys all members.
    virtual void clear();
    /// Returns the name, which is zero-terminated. Throws Tm_out_of_range_exception for a position
    /// without a name.
    virtual char const* get_member_name(int i) const;
    /// The first step of adding a member: adds its name and, with an index catalogue, its wire
    /// index. Returns the position for the second step, one of the two operations below.
    virtual int add_name(std::string const& name, Index* index);
    /// The second step: appends the value, or a clone of it. The position has no effect. `..._own`
    /// takes ownership of the value, and deletes it when the call throws. Both throw
    /// Tm_out_of_range_exception when no name waits for a value, and Tm_exception for null.
    virtual void add_value_and_own(int position, Tm_value* value);
    virtual void add_value_and_copy(int position, Tm_value const* value);
    virtual unsigned int get_member_name_length(int i) const;
    /// Both return the value of a member, which the struct still owns. They throw
    /// Tm_out_of_range_exception for a position that does not exist.
    virtual Tm_value const* get_value(int i) const;
    virtual Tm_value* get_value(int i);

    /// Returns the number of members. A name that waits for its value does not count.
    int get_member_count() const { return values_.size(); }
    TMV get_member_value_type(int i) const;
    /// Returns what get_value() returns. Throws Tm_type_mismatch_exception when the value has
    /// another type than `type`.
    Tm_value const* get_member_value(TMV type, int i) const;

    using Tm_finders::get_number;
    /// Returns the value of the first member with that name, or null. find() starts at the member
    /// that the last look-up found.
    Tm_value const* find_first(std::string_view name) const {
        return find_value(first_position_of(name));
    }

    /// Replaces the value of the first member with that name, or adds a member. The value is
    /// converted as by add_member(). Returns the position. An empty optional removes the member and
    /// returns -1.
    template <class Value>
    int set_member(std::string_view name, Value&& value) {
        return set_any(name, std::forward<Value>(value), nullptr);
    }
    int set_member(std::string_view name, unsigned char const* data, unsigned int length) {
        return set(name, Tm_new_value(data, length), nullptr);
    }
    /// Takes ownership of the value, and deletes it when the call throws.
    int set_member_and_own(std::string_view name, Tm_value* value) {
        return set_member(name, std::unique_ptr<Tm_value>(value));
    }
    void replace_value(int i, std::unique_ptr<Tm_value> value);
    /// Removes the member and returns its value.
    std::unique_ptr<Tm_value> take_member(int i);
    void remove_member(int i);
    /// Removes the first member with that name. Returns false when there is none.
    bool remove_member(std::string_view name);
    void rename_member(int i, std::string_view name);
    /// Return the value for changes, and throw what the getters throw.
    template <class Key>
    Tm_struct* edit_struct(Key const& key) {
        return const_cast<Tm_struct*>(read_member<Tm_struct const*>(tm_key(key)));
    }
    template <class Key>
    Tm_array* edit_array(Key const& key) {
        return const_cast<Tm_array*>(read_member<Tm_array const*>(tm_key(key)));
    }
    template <class Key>
    Message* edit_message(Key const& key) {
        return const_cast<Message*>(read_member<Message const*>(tm_key(key)));
    }

    /// Both return the position of the member with that name. Without such a member get_number()
    /// throws Tm_name_not_found_exception, and get_member_index() returns -1.
    int get_number(char const* name) const;
    int get_member_index(char const* name) const;

    /// Returns true when the struct owns its names, false when it shares names.
    bool is_string_catalog_from_internal() const { return shares_names_ == 0; }

    /// Exchanges all members. Both structs must own their names, or both must share names.
    /// Otherwise, exchanges the values but not the names, and throws Tm_exception.
    void swap(Tm_struct& other);

private:
    friend class Message;
    friend class Tm_creator;
    friend class Tm_own_creator;
    friend class Tm_finders<Tm_struct>;
    friend class Tm_member_getters<Tm_struct>;
    friend class Tm_member_adders<Tm_struct, Tm_name>;
    friend class Tm_prenamed_struct;
    friend struct Tm_name_lengths;
    friend bool tm_is_exactly(Tm_struct const& value);

    /// Data that only few structs need.
    struct Extras {
        Tm_catalog<std::string>* catalog = nullptr;
        std::vector<unsigned short> indexes;
    };

    class Made;
    /// Makes a struct in a block of memory that also has room for `members` slots and for
    /// `text_bytes` bytes of the texts of strings.
    static std::unique_ptr<Tm_struct> make(Tm_counted_ptr<Tm_layout> layout, std::size_t members,
                                           std::size_t text_bytes);

    /// Returns the number of bytes that make() allocates.
    static std::size_t made_size(std::size_t members, std::size_t text_bytes);

    /// Returns whether the object is of one of the library's two classes that name their members as
    /// this class does. A derived class of a user may name them in another way.
    bool is_plain() const {
#ifdef __GXX_RTTI
        return is_made_ != 0 || &typeid(*this) == &typeid(Tm_struct);
#else
        return is_plain_without_rtti();
#endif
    }
    bool is_plain_without_rtti() const;
    bool equals_plain(Tm_struct const& right) const;
    std::string_view name_at(int i) const;
    unsigned int named_members() const;
    /// position_of() returns -1 for a name that no member has, and number_of() throws
    /// Tm_name_not_found_exception. A view of null is such a name.
    int position_of(std::string_view name) const;
    int first_position_of(std::string_view name) const;
    int find_far(std::string_view name) const;
    int find_plain(std::string_view name) const;
    int find_by_asking(std::string_view name) const;
    int number_of(std::string_view name) const;
    [[noreturn]] static void fail_name(std::string_view name);

    Tm_value const* find_value(int i) const;
    Tm_value const* find_value(std::string_view name) const;
    Tm_value const* typed_value(int i, TMV type) const;
    void add_path(Tm_exception& failure, int i) const noexcept;
    template <class T>
    T number_at(int i) const {
        try {
            return tm_number<T>(*tm_present(get_value(i)));
        } catch (Tm_exception& failure) {
            add_path(failure, i);
            throw;
        }
    }
    template <class T>
    T number_at(std::string_view name) const {
        return number_at<T>(number_of(name));
    }
    template <class Value>
    int set_any(std::string_view name, Value&& value, Index* index) {
        if constexpr (Tm_is_optional<std::decay_t<Value>>::value) {
            if (value) return set_any(name, *std::forward<Value>(value), index);
            remove_member(name);
            return -1;
        } else {
            return set(name, tm_make_value(std::forward<Value>(value)), index);
        }
    }
    int set(std::string_view name, Tm_new_value value, Index* index);
    void check_has_own_names(char const* operation) const;
    Tm_struct changed_names(int i, std::string_view const* new_name) const;
    void adopt_names(Tm_struct& names) noexcept;
    void forget_indexes() noexcept;

    void check_place(Tm_name const&) const {}
    template <class Plain>
    void place(std::string_view name, Plain value, Index* index) {
        if (!is_plain()) return place(name, Tm_new_value(value), index);
        values_.reserve_next();
        record_name(name, index);
        values_.push(value);
    }
    void place(std::string_view name, Tm_new_value&& value, Index* index);
    template <class Result>
    Result read_member(int i) const {
        using Reading = Tm_reading<Result>;
        bool const is_in_slot = is_plain() && values_.has(i, Reading::code);
        return is_in_slot ? values_.read_in_place<Result>(i)
                          : Reading::read(typed_value(i, Reading::code));
    }
    /// Inline, so that the compiler knows the length of a literal.
    template <class Result>
    Result read_member(char const* name) const {
        return read_member<Result>(number_of(tm_view(name)));
    }
    template <class Result>
    Result read_member(std::string_view name) const {
        return read_member<Result>(number_of(name));
    }

    Extras& extras();
    void set_member_indexes(std::vector<unsigned short>&& indexes);
    void copy_indexes(Tm_struct const& other);
    bool has_indexes() const;
    void record_name(std::string_view name, Index* index);
    void name_next(Tm_next_name name);
    void keep_layout() const noexcept;
    void note_extent() const noexcept;
    void copy_names(Tm_struct const& other);
    bool take_members(Tm_struct& other) noexcept;
    bool copy_members(Tm_struct const& other) noexcept;
    void drop_names() noexcept;
    void fill_catalog() noexcept;
    void swap_names(Tm_struct& other) noexcept;
    void swap_values(Tm_struct& other);
    void swap_indexes(Tm_struct& other);
    bool accept_name(int i, bool by_index, Tm_visitor& visitor, Tm_wire_room* room) const;
    bool accept_value(std::size_t i, Tm_visitor& visitor, Tm_wire_room* room) const;

    Tm_counted_ptr<Tm_layout> layout_;  ///< null while there is no name
    Tm_value_container values_;
    Tm_owned<Extras> extras_;
    std::uint32_t name_count_ : 30;  ///< one more than values while a name waits for its value
    std::uint32_t shares_names_ : 1;
    std::uint32_t is_made_ : 1;  ///< the object is a Made
    mutable std::atomic<std::uint32_t> hint_{0};
};
