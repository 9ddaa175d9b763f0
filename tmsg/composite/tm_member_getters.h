/// The typed getters by position and by name, written once for structs and messages. The getters of
/// a message have the group as the first argument:
///
///     int count = record.get_member_int32("count");
///     int same = message.get_member_int32(Message::TMG_BODY, "count");
///     int first = message.get_member_int32(Message::TMG_BODY, 0);
///
/// A getter converts nothing: the member must have exactly the type that the getter names.
/// A getter throws
///  - Tm_type_mismatch_exception when the member has another type,
///  - Tm_out_of_range_exception for a position or a group that does not exist,
///  - Tm_name_not_found_exception for a name that does not exist, and for a null name.
/// get_member_string() returns a zero-terminated text, and get_member_text() one with its length.
/// The container owns the texts and objects. They are valid until their member is removed or
/// replaced.
/// The library casts an object to the class that belongs to its type code. A class of your own must
/// derive from that class.
#pragma once

#include <string_view>

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_read_member.h"
#include "tmsg/value/tm_binary.h"
#include "tmsg/value/tm_date.h"
#include "tmsg/value/tm_file.h"

class Tm_struct;

template <class Owner, class... Group>
class Tm_member_getters {
public:
    // clang-format off
    signed char      get_member_int8(Group... group, int i) const { return read<signed char>(group..., i); }
    unsigned char    get_member_uint8(Group... group, int i) const { return read<unsigned char>(group..., i); }
    short            get_member_int16(Group... group, int i) const { return read<short>(group..., i); }
    unsigned short   get_member_uint16(Group... group, int i) const { return read<unsigned short>(group..., i); }
    int              get_member_int32(Group... group, int i) const { return read<int>(group..., i); }
    unsigned int     get_member_uint32(Group... group, int i) const { return read<unsigned int>(group..., i); }
    long             get_member_int64(Group... group, int i) const { return read<long>(group..., i); }
    unsigned long    get_member_uint64(Group... group, int i) const { return read<unsigned long>(group..., i); }
    double           get_member_double(Group... group, int i) const { return read<double>(group..., i); }
    bool             get_member_bool(Group... group, int i) const { return read<bool>(group..., i); }
    char const*      get_member_string(Group... group, int i) const { return read<char const*>(group..., i); }
    Tm_date const*   get_member_date(Group... group, int i) const { return read<Tm_date const*>(group..., i); }
    Tm_binary const* get_member_binary(Group... group, int i) const { return read<Tm_binary const*>(group..., i); }
    Tm_file const*   get_member_file(Group... group, int i) const { return read<Tm_file const*>(group..., i); }
    Tm_array const*  get_member_array(Group... group, int i) const { return read<Tm_array const*>(group..., i); }
    Tm_struct const* get_member_struct(Group... group, int i) const { return read<Tm_struct const*>(group..., i); }
    Message const*   get_member_message(Group... group, int i) const { return read<Message const*>(group..., i); }
    /// Returns a string with its length. The string may contain zero bytes.
    std::string_view get_member_text(Group... group, int i) const { return read<std::string_view>(group..., i); }

    signed char      get_member_int8(Group... group, char const* name) const { return read<signed char>(group..., name); }
    unsigned char    get_member_uint8(Group... group, char const* name) const { return read<unsigned char>(group..., name); }
    short            get_member_int16(Group... group, char const* name) const { return read<short>(group..., name); }
    unsigned short   get_member_uint16(Group... group, char const* name) const { return read<unsigned short>(group..., name); }
    int              get_member_int32(Group... group, char const* name) const { return read<int>(group..., name); }
    unsigned int     get_member_uint32(Group... group, char const* name) const { return read<unsigned int>(group..., name); }
    long             get_member_int64(Group... group, char const* name) const { return read<long>(group..., name); }
    unsigned long    get_member_uint64(Group... group, char const* name) const { return read<unsigned long>(group..., name); }
    double           get_member_double(Group... group, char const* name) const { return read<double>(group..., name); }
    bool             get_member_bool(Group... group, char const* name) const { return read<bool>(group..., name); }
    char const*      get_member_string(Group... group, char const* name) const { return read<char const*>(group..., name); }
    Tm_date const*   get_member_date(Group... group, char const* name) const { return read<Tm_date const*>(group..., name); }
    Tm_binary const* get_member_binary(Group... group, char const* name) const { return read<Tm_binary const*>(group..., name); }
    Tm_file const*   get_member_file(Group... group, char const* name) const { return read<Tm_file const*>(group..., name); }
    Tm_array const*  get_member_array(Group... group, char const* name) const { return read<Tm_array const*>(group..., name); }
    Tm_struct const* get_member_struct(Group... group, char const* name) const { return read<Tm_struct const*>(group..., name); }
    Message const*   get_member_message(Group... group, char const* name) const { return read<Message const*>(group..., name); }
    std::string_view get_member_text(Group... group, char const* name) const { return read<std::string_view>(group..., name); }
    std::string_view get_member_text(Group... group, std::string_view name) const { return read<std::string_view>(group..., name); }
    // clang-format on

protected:
    ~Tm_member_getters() = default;

private:
    template <class Result, class Key>
    Result read(Group... group, Key key) const {
        return static_cast<Owner const&>(*this).template read_member<Result>(group..., key);
    }
};
