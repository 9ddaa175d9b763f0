/// An ordered list of values of any types, the elements. The array owns them.
///
///     Tm_array weights;
///     weights.add_member(0.25);
///     weights.add_member("unknown");
///     double first = weights.get_member_double(0);
///
/// A position outside 0 to get_member_count() - 1 throws Tm_out_of_range_exception.
/// A getter throws Tm_type_mismatch_exception when the element has another type.
/// Pointers to scalar and string elements are valid until the array changes, like iterators of a
/// vector. Texts of strings, and pointers to all other elements, are valid until their element is
/// removed.
#pragma once

#include <string>
#include <string_view>

#include "tmsg/composite/tm_value_container.h"
#include "tmsg/value/tm_value.h"

class TMSG_API Tm_array : public Tm_value {
public:
    /// Makes an array without elements.
    Tm_array();
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
    friend class Tm_own_creator;
    friend struct Tm_name_lengths;

    /// Returns whether the object is of the class Tm_array, not of a derived one.
    bool is_plain() const;
    template <class Plain>
    void append_plain(Plain value);
    void append(Tm_new_value value);
    template <class Result>
    Result read(int i) const {
        return values_.read<Result>(values_.checked(i));
    }

    Tm_value_container values_;
};
