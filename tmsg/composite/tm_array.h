/// An ordered list of values of any types, the elements. The array owns them.
///
///     Tm_array weights;
///     weights.add_member(0.25);
///     weights.add_member("unknown");
///     double first = weights.get_member_double(0);
///
///     Tm_array ports{80, 81, 82};
///     ports.set_value(0, 8080);
///     ports.insert_value(1, std::make_unique<Tm_int32>(8081));
///     ports.remove_values(2, 2);
///
/// A position outside 0 to get_member_count() - 1 throws Tm_out_of_range_exception.
/// A getter throws Tm_type_mismatch_exception when the element has another type.
/// Pointers to scalar and string elements are valid until the array changes, like iterators of a
/// vector. Texts of strings, and pointers to all other elements, are valid until their element is
/// removed.
#pragma once

#include <string>
#include <string_view>

#include "tmsg/composite/tm_finders.h"
#include "tmsg/composite/tm_make_value.h"
#include "tmsg/composite/tm_value_container.h"
#include "tmsg/value/tm_value.h"

class TMSG_API Tm_array : public Tm_value, public Tm_finders<Tm_array> {
public:
    /// Makes an array without elements.
    Tm_array();
    /// Makes an array of these elements, which are converted as by add_member(). A single Tm_array
    /// is copied instead; use of() for an array whose only element is an array.
    template <class First, class = std::enable_if_t<tm_is_only_element<First>>>
    explicit Tm_array(First&& first) {
        add_member_of(std::forward<First>(first));
    }
    template <class First, class Second, class... More>
    Tm_array(First&& first, Second&& second, More&&... more) {
        add_members_of(std::forward<First>(first), std::forward<Second>(second),
                       std::forward<More>(more)...);
    }
    template <class... Elements>
    static Tm_array of(Elements&&... elements) {
        Tm_array made;
        made.add_members_of(std::forward<Elements>(elements)...);
        return made;
    }
    /// Moves the values out of the container, and deletes the container, which must have been made
    /// with new. Null makes an array without elements.
    explicit Tm_array(Tm_value_container* values);
    /// Clones every element, as clone() does.
    Tm_array(Tm_array const& other);
    /// When copying throws, the array is as before.
    Tm_array& operator=(Tm_array const& other);
    /// Both take the elements of `other`, which then has none.
    Tm_array(Tm_array&& other) noexcept;
    Tm_array& operator=(Tm_array&& other) noexcept;

    Tm_array* clone() const override;
    ~Tm_array() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    /// Removes and destroys all elements.
    virtual void clear();
    /// Makes room for `count` elements in all.
    virtual void reserve(int count);

    /// Each appends one element with a copy of the data. When it throws, the array is as before.
    /// A null pointer throws Tm_exception. More than 65,535 bytes of text throw
    /// Tm_out_of_range_exception.
    /// In an object of a derived class, each passes the new element to add_member_and_own().
    virtual void add_member(signed char value);
    virtual void add_member(unsigned char value);
    virtual void add_member(short value);
    virtual void add_member(unsigned short value);
    virtual void add_member(int value);
    virtual void add_member(unsigned int value);
    virtual void add_member(long value);
    virtual void add_member(unsigned long value);
    virtual void add_member(double value);
    virtual void add_member(bool value);
    virtual void add_member(char const* text);
    virtual void add_member(std::string const& text);
    /// Appends a byte string that shares the storage of `bytes`.
    virtual void add_member(Tm_binary const* bytes);
    /// Appends a byte string. `data` may be null when `length` is 0.
    virtual void add_member(unsigned char const* data, unsigned int length);
    /// Appends a file. Opens it as the constructor of Tm_file does, and throws the same exceptions.
    virtual void add_member(std::string const& path, unsigned int open_mode);
    /// Appends a clone of the value.
    virtual void add_member(Tm_value const* value);
    /// Takes ownership of the value, and deletes it when the call throws.
    virtual void add_member_and_own(Tm_value* value);
    void add_member(std::string_view text);
    void add_member(long long value) { add_member(static_cast<long>(value)); }
    void add_member(unsigned long long value) { add_member(static_cast<unsigned long>(value)); }
    /// Appends a copy of an lvalue and moves an rvalue: a value, the elements of a std::vector as
    /// an array (unsigned char: as a byte string), a value that a std::unique_ptr owns, or what a
    /// std::optional has. An empty optional appends nothing.
    template <class Compound, class = std::enable_if_t<tm_is_compound<Compound>>>
    void add_member(Compound&& value) {
        add_member_of(std::forward<Compound>(value));
    }
    /// No pointer becomes a bool.
    template <class Unlisted, class = std::enable_if_t<tm_is_unlisted<Unlisted>>>
    void add_member(Unlisted const* pointer) = delete;
    template <class Code, class = std::enable_if_t<tm_is_code<Code>>, class = void>
    void add_member(Code pointer) = delete;
    /// Appends a file, which is opened for reading.
    void add_file(std::string const& path) { add_member(path, 0U); }

    /// Each changes one element. When it throws, the array is as before. A null value throws
    /// Tm_exception.
    /// set_value() converts as add_member() does. With an empty optional, it removes the element.
    template <class Value>
    void set_value(int i, Value&& value) {
        if constexpr (Tm_is_optional<std::decay_t<Value>>::value) {
            value ? set_value(i, *std::forward<Value>(value)) : remove_values(i);
        } else {
            values_.replace(i, tm_make_value(std::forward<Value>(value)));
        }
    }
    void replace_value(int i, std::unique_ptr<Tm_value> value) { set_value(i, std::move(value)); }
    /// Moves the elements from i on up by one. The position get_member_count() is allowed, too.
    void insert_value(int i, std::unique_ptr<Tm_value> value) {
        values_.insert(i, tm_make_value(std::move(value)));
    }
    /// Removes the element and returns it. An empty slot returns null.
    std::unique_ptr<Tm_value> take_value(int i) { return values_.take(i); }
    void remove_values(int first, int count = 1) { values_.remove(first, count); }
    /// Return the element for changes, and throw what the getters throw.
    Tm_struct* edit_struct(int i) { return const_cast<Tm_struct*>(get_member_struct(i)); }
    Tm_array* edit_array(int i) { return const_cast<Tm_array*>(get_member_array(i)); }
    Message* edit_message(int i) { return const_cast<Message*>(get_member_message(i)); }

    // clang-format off
    virtual int get_member_count() const { return values_.size(); }
    virtual TMV get_member_value_type(int i) const;

    virtual signed char      get_member_int8(int i) const { return read<signed char>(i); }
    virtual unsigned char    get_member_uint8(int i) const { return read<unsigned char>(i); }
    virtual short            get_member_int16(int i) const { return read<short>(i); }
    virtual unsigned short   get_member_uint16(int i) const { return read<unsigned short>(i); }
    virtual int              get_member_int32(int i) const { return read<int>(i); }
    virtual unsigned int     get_member_uint32(int i) const { return read<unsigned int>(i); }
    virtual long             get_member_int64(int i) const { return read<long>(i); }
    virtual unsigned long    get_member_uint64(int i) const { return read<unsigned long>(i); }
    virtual double           get_member_double(int i) const { return read<double>(i); }
    virtual bool             get_member_bool(int i) const { return read<bool>(i); }
    virtual char const*      get_member_string(int i) const { return read<char const*>(i); }
    virtual Tm_array const*  get_member_array(int i) const;
    virtual Tm_struct const* get_member_struct(int i) const;
    virtual Tm_date const*   get_member_date(int i) const;
    virtual Tm_binary const* get_member_binary(int i) const;
    virtual Tm_file const*   get_member_file(int i) const;
    virtual Message const*   get_member_message(int i) const;

    /// Returns a string with its length. The string may contain zero bytes.
    std::string_view get_member_text(int i) const { return read<std::string_view>(i); }
    // clang-format on
    /// Returns the element, which the array still owns. Throws Tm_type_mismatch_exception when it
    /// has another type than `type`.
    Tm_value const* get_member_value(TMV type, int i) const;
    /// Both return the element, which the array still owns, of any type. They return null for an
    /// empty slot, which a container that was given to the constructor may have.
    Tm_value const* get_value(int i) const { return values_.get_value(i); }
    Tm_value* get_value(int i) { return values_.get_value(i); }

private:
    friend class Tm_creator;
    friend class Tm_finders<Tm_array>;
    friend class Tm_own_creator;
    friend struct Tm_name_lengths;

    /// Returns whether the object is of the class Tm_array, not of a derived one.
    bool is_plain() const;
    template <class Plain>
    void append_plain(Plain value);
    void append(Tm_new_value value);
    Tm_value const* find_value(int i) const {
        return i < 0 || i >= values_.size() ? nullptr : values_.get_value(i);
    }
    template <class T>
    T number_at(int i) const {
        try {
            return tm_number<T>(*tm_present(values_.get_value(i)));
        } catch (Tm_exception& failure) {
            add_path(failure, i);
            throw;
        }
    }
    Tm_value const* typed_value(int i, TMV type) const;
    void add_path(Tm_exception& failure, int i) const noexcept;

    template <class... Elements>
    void add_members_of(Elements&&... elements) {
        Tm_array::reserve(static_cast<int>(sizeof...(elements)));
        (add_member_of(std::forward<Elements>(elements)), ...);
    }
    template <class Element>
    void add_member_of(Element&& element) {
        if constexpr (Tm_is_optional<std::decay_t<Element>>::value) {
            if (element) add_member_of(*std::forward<Element>(element));
        } else {
            append(tm_make_value(std::forward<Element>(element)));
        }
    }
    template <class Result>
    Result read(int i) const {
        using Reading = Tm_reading<Result>;
        return values_.has(i, Reading::code) ? values_.read_in_place<Result>(i)
                                             : Reading::read(typed_value(i, Reading::code));
    }

    Tm_value_container values_;
};

/// Makes an array of the elements, or a byte string of unsigned chars.
template <class Vector>
std::unique_ptr<Tm_value> tm_own_elements(Vector&& elements) {
    using Plain = std::decay_t<Vector>;
    if constexpr (std::is_same_v<typename Plain::value_type, unsigned char>) {
        return std::make_unique<Tm_binary>(
            std::vector<unsigned char>(std::forward<Vector>(elements)));
    } else {
        auto array = std::make_unique<Tm_array>();
        array->reserve(static_cast<int>(elements.size()));
        for (auto&& element : elements) {
            if constexpr (std::is_lvalue_reference_v<Vector>) {
                array->add_member(element);
            } else {
                array->add_member(std::move(element));
            }
        }
        return array;
    }
}
