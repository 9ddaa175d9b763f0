/// One remote call, its answer, or a fault; a value itself, so messages nest. Its members stand in
/// two structs: group TMG_META for what describes the message, TMG_BODY for arguments, results or
/// the fault. The message owns both and everything in them; what getters return is its own, and is
/// valid as long as Tm_struct says. A group other than these two throws Tm_out_of_range_exception,
/// the label "tmg".
///
/// Message() makes one whose structs share their names; in a copy, and in a message made through
/// the other constructor, each struct owns its own. The two makes cannot be swapped with each
/// other.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_member_getters.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/value/tm_catalog.h"
#include "tmsg/value/tm_type_code.h"
#include "tmsg/value/tm_value.h"

struct Tm_index_plan;
/// The caller's own; it receives the 8 bytes of the chunk header.
struct message_context;

class TMSG_API Message : public Tm_value,
                         public Tm_message_kind,
                         public Tm_member_getters<Message, Tm_message_kind::TMG> {
public:
    /// An empty response.
    Message();
    /// Each group struct owns its names; the argument does not matter.
    explicit Message(Tm_catalog<std::string>* ignored);
    Message(Message const& other);

    /// The message that a list text (see Tm_tcl_decoder) describes; Tm_exception for any other
    /// text, Tm_out_of_range_exception for an empty one, and what the decoder throws.
    static Message from_string(std::string const& text);

    Message* clone() const override;
    ~Message() override;
    /// Kinds, groups, and for requests the request names; the names of others do not count.
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    void set_msg_type(TMT type) { type_ = type; }
    TMT get_msg_type() const { return type_; }

    /// "set.method" is split at the first dot; without one both parts are the whole name.
    void set_request_name(Tm_name name);
    std::string const& get_request_name() const { return request_name_; }
    std::string const& get_message_set_name() const { return message_set_name_; }
    std::string const& get_method_name() const { return method_name_; }
    /// Where the message-set name holds a "#", makes the request name anew from what stands before
    /// the "#", a dot and the method name.
    void fix_message_name();

    /// Each adds one member to the group; when it throws, the group is as before. A null pointer
    /// throws Tm_exception.
    void add_member(TMG group, Tm_name name, signed char value);
    void add_member(TMG group, Tm_name name, unsigned char value);
    void add_member(TMG group, Tm_name name, short value);
    void add_member(TMG group, Tm_name name, unsigned short value);
    void add_member(TMG group, Tm_name name, int value);
    void add_member(TMG group, Tm_name name, unsigned int value);
    void add_member(TMG group, Tm_name name, long value);
    void add_member(TMG group, Tm_name name, unsigned long value);
    void add_member(TMG group, Tm_name name, double value);
    void add_member(TMG group, Tm_name name, bool value);
    void add_member(TMG group, Tm_name name, char const* text);
    void add_member(TMG group, Tm_name name, std::string const& text);
    void add_member(TMG group, Tm_name name, std::string_view text);
    void add_member(TMG group, Tm_name name, Tm_binary const* bytes);
    void add_member(TMG group, Tm_name name, Tm_value const* value);
    void add_member(TMG group, Tm_name name, unsigned char const* data, unsigned int length);
    /// A file, always opened for reading: the last argument does not matter.
    void add_member(TMG group, Tm_name name, std::string const& path, unsigned int open_mode);
    /// Takes the value over, and frees it on failure.
    void add_member_and_own(TMG group, Tm_name name, Tm_value* value);

    int get_member_count(TMG group) const;
    TMV get_member_value_type(TMG group, int i) const;
    char const* get_member_name(TMG group, int i) const;
    Tm_struct& get_struct(TMG group);
    Tm_struct const& get_const_struct(TMG group) const;
    void clear(TMG group);

    /// Faults only; another kind throws Tm_type_mismatch_exception. Setting one of the two again
    /// moves it behind the other and drops every further member of the body.
    void set_fault_code(int code);
    void set_fault_string(char const* text);
    /// -1 when there is none.
    int get_fault_code() const;
    /// Empty when there is none.
    std::string get_fault_string() const;

    /// Names by index: while this is on, members added to the body record indexes, which are sent
    /// instead of their names. Stays off in a process in whose environment
    /// QEL_INIT_DISABLE_SEND_MEMBER_STRING was set when this was called first.
    void set_use_send_member_string(bool use);
    bool get_use_send_member_string() const { return use_send_names_; }
    /// The index catalogue of the body while the feature is on; null otherwise and for TMG_META.
    Tm_catalog<std::string>* get_send_member_string(TMG group);
    Tm_catalog<std::string> const* get_send_member_string(TMG group) const;
    /// Adds the table that a receiver needs to read the indexes, the array "catalog", to TMG_META,
    /// unless it is there or the feature is off.
    void create_send_member_string_meta();
    /// Turns the feature on for the whole message as it stands: records indexes for every struct
    /// of the body and puts a "catalog" of all names in place, unless the one there has them; the
    /// same for each nested message that has a "catalog", while all others are sent with their
    /// names. Nothing changes when the answer is false, as it is where the environment forbids the
    /// feature or one message has more than 65,536 names, or when a name over 65,535 bytes makes it
    /// throw Tm_out_of_range_exception. To be called again after members were added.
    bool index_member_names();
    /// Makes a received message ready to be sent on: the same, but without a "catalog" for a
    /// message that came with its names. Such a message alone needs no indexes; then the answer is
    /// true.
    bool restore_member_indexes();
    /// The member of TMG_META that a receiver takes for the table; -1 when there is none.
    int name_table_position() const;

    /// For callers that expect them; the library keeps no such data.
    int get_access_level() const { return 0; }
    int get_user_id() const { return 0; }
    bool need_response() const { return false; }

    /// Copies the 8 bytes of `header` to a context that is not null.
    void get_context(message_context* context) const;

    /// A new message of the same make with this one's content; this one is empty afterwards.
    std::unique_ptr<Message> take_content();
    /// Between messages of the same make, else Tm_exception and nothing is exchanged.
    void swap(Message& other);
    /// Every struct owns its names: this is a copy, or was made like one.
    bool is_clone() const { return groups_[TMG_META].is_string_catalog_from_internal(); }

    /// For structs within the message that share names as its own do:
    /// Tm_struct(message.shared_names()).
    /// It is only a tag and need not live as long as the struct.
    Tm_shared_names const& shared_names() const { return shared_names_; }

    /// The chunk header that the message came with, filled by whoever moves messages in chunks.
    Tm_header header;

private:
    friend class Tm_member_getters<Message, TMG>;

    template <class... Datum>
    void add(TMG group, Tm_name name, Datum const&... datum);
    template <class Result, class Key>
    Result read_member(TMG group, Key key) const {
        return get_const_struct(group).template read_member<Result>(key);
    }

    void place_name_table(std::unique_ptr<Tm_array> table);
    bool record_indexes(bool by_index);
    static void make_room(Tm_index_plan const& plan);
    static void carry_out(Tm_index_plan& plan);

    void check_is_fault() const;
    void set_fault_member(char const* name, Tm_new_value value, char const* other, TMV other_type);

    TMT type_ = TMT_RESPONSE;
    std::string request_name_;
    std::string message_set_name_;
    std::string method_name_;
    Tm_shared_names shared_names_;
    Tm_struct groups_[2];
    bool use_send_names_ = false;
    Tm_catalog<std::string> send_names_;
};

TMSG_API bool operator==(Message const& left, Message const& right);
