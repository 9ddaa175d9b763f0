/// An ordered list of values of any types. The array owns them. A position outside 0 to
/// get_member_count() - 1 throws Tm_out_of_range_exception. A getter of another type than the
/// element's throws Tm_type_mismatch_exception.
///
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
    Tm_array();
    /// Takes the heap-allocated container and its values over.
    explicit Tm_array(Tm_value_container* values);
    Tm_array(Tm_array const& other);
    /// Destroys its own elements first. A copy that fails leaves the elements copied so far.
    Tm_array& operator=(Tm_array const& other);

    Tm_array* clone() const override;
    ~Tm_array() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    virtual void clear();
    virtual void reserve(int count);

    /// Each appends one element. It appends nothing when it throws. A null pointer throws
    /// Tm_exception.
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
    /// Shares the given byte string's storage.
    virtual void add_member(Tm_binary const* bytes);
    virtual void add_member(unsigned char const* data, unsigned int length);
    virtual void add_member(std::string const& path, unsigned int open_mode);
    virtual void add_member(Tm_value const* value);
    /// Takes the value over, and frees it on failure.
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
    /// Returns the element itself. Throws Tm_type_mismatch_exception unless it has that type.
    Tm_value const* get_member_value(TMV type, int i) const;
    /// Returns the element itself, of any type.
    Tm_value const* get_value(int i) const { return values_.get_value(i); }
    Tm_value* get_value(int i) { return values_.get_value(i); }

private:
    friend class Tm_creator;
    friend class Tm_own_creator;
    friend struct Tm_name_lengths;

    /// Returns whether the object's class is Tm_array itself. A derived class may override
    /// add_member_and_own(), which is then called for each element.
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
