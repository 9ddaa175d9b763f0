/// A request, a response or a fault of a remote call. A message is a value, so messages nest.
/// Its members stand in two structs, its groups: TMG_META describes the message, TMG_BODY holds the
/// arguments, the results or the fault. Any other group throws Tm_out_of_range_exception with the
/// label "tmg".
/// The message owns both structs and everything in them. Pointers from getters are valid as long as
/// tm_struct.h says.
///
/// There are two makes of messages, which cannot be swapped with each other. The structs of a
/// Message() share names. In a copy, and in a message from the other constructor, each struct owns
/// its names.
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
/// A structure of the caller's own. It receives the 8 bytes of the chunk header.
struct message_context;

class TMSG_API Message : public Tm_value,
                         public Tm_message_kind,
                         public Tm_member_getters<Message, Tm_message_kind::TMG> {
public:
    /// Makes an empty response whose structs share names.
    Message();
    /// Makes an empty response whose structs own their names. The argument does not matter.
    explicit Message(Tm_catalog<std::string>* ignored);
    Message(Message const& other);

    /// Reads a message from list text (see Tm_tcl_decoder). Throws Tm_exception for any other text,
    /// Tm_out_of_range_exception for a text without values, and the exceptions of the decoder.
    static Message from_string(std::string const& text);

    Message* clone() const override;
    ~Message() override;
    /// Compares the kinds, both groups and, for requests only, the request names.
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    void set_msg_type(TMT type) { type_ = type; }
    TMT get_msg_type() const { return type_; }

    /// Splits "set.method" at the first dot. Without a dot both parts are the whole name.
    void set_request_name(Tm_name name);
    std::string const& get_request_name() const { return request_name_; }
    std::string const& get_message_set_name() const { return message_set_name_; }
    std::string const& get_method_name() const { return method_name_; }
    /// Does nothing unless the message-set name holds a "#". Then the new request name is the text
    /// before the "#", a dot and the method name.
    void fix_message_name();

    /// Each adds one member to the group, with a copy of the data. A null pointer throws
    /// Tm_exception. When a call throws, the group is as before.
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
    /// Adds a file, which is always opened for reading. The last argument does not matter.
    void add_member(TMG group, Tm_name name, std::string const& path, unsigned int open_mode);
    /// Takes the value over, and frees it when the call throws.
    void add_member_and_own(TMG group, Tm_name name, Tm_value* value);

    int get_member_count(TMG group) const;
    TMV get_member_value_type(TMG group, int i) const;
    char const* get_member_name(TMG group, int i) const;
    Tm_struct& get_struct(TMG group);
    Tm_struct const& get_const_struct(TMG group) const;
    void clear(TMG group);

    /// All four calls throw Tm_type_mismatch_exception unless the message is a fault.
    /// Setting the code or the string a second time moves it behind the other one and removes all
    /// further members of the body.
    void set_fault_code(int code);
    void set_fault_string(char const* text);
    /// Returns -1 when there is no code.
    int get_fault_code() const;
    /// Returns an empty text when there is no string.
    std::string get_fault_string() const;

    /// Switches names by index on or off. While it is on, each member added to the body records a
    /// wire index, which is sent instead of its name. It stays off when the environment variable
    /// QEL_INIT_DISABLE_SEND_MEMBER_STRING was set at the first call in the process.
    void set_use_send_member_string(bool use);
    bool get_use_send_member_string() const { return use_send_names_; }
    /// Returns the index catalogue of the body, which the message owns. Returns null while names by
    /// index are off, and for TMG_META.
    Tm_catalog<std::string>* get_send_member_string(TMG group);
    Tm_catalog<std::string> const* get_send_member_string(TMG group) const;
    /// Adds the name table, the array "catalog", to TMG_META. A receiver needs it to read the
    /// indexes. Does nothing when there is one already or names by index are off.
    void create_send_member_string_meta();
    /// Switches names by index on for the whole message as it stands:
    ///  - It records wire indexes for every struct of the body.
    ///  - It puts a name table in place, unless the one there has all names.
    ///  - It does the same for each nested message that has a name table. Other nested messages are
    ///    sent with their names.
    /// Returns false when the environment forbids indexes or one message has more than 65,536
    /// names. Throws Tm_out_of_range_exception for a name over 65,535 bytes. Neither changes the
    /// message. Call it again after members were added.
    bool index_member_names();
    /// Makes a received message ready to be sent on. Does the same as index_member_names() for a
    /// message that has a name table. In a message without one, it does so only for nested messages
    /// that have a table. Returns what index_member_names() returns, and true when there is no
    /// table.
    bool restore_member_indexes();
    /// Returns the position in TMG_META of the member that a receiver takes for the name table.
    /// Returns -1 when there is none.
    int name_table_position() const;

    /// These exist for callers that expect them. The library keeps no such data.
    int get_access_level() const { return 0; }
    int get_user_id() const { return 0; }
    bool need_response() const { return false; }

    /// Copies the 8 bytes of `header` to the context. Does nothing for null.
    void get_context(message_context* context) const;

    /// Moves the content into a new message of the same make. This message is empty afterwards.
    std::unique_ptr<Message> take_content();
    /// Exchanges the contents of two messages of the same make. Throws Tm_exception, and exchanges
    /// nothing, when their makes differ.
    void swap(Message& other);
    /// Returns the make: true when each struct owns its names, false when the structs share names.
    bool is_clone() const { return groups_[TMG_META].is_string_catalog_from_internal(); }

    /// Tm_struct(message.shared_names()) makes a struct that shares names, to be added to the
    /// message. The result is only a tag and need not live as long as the struct.
    Tm_shared_names const& shared_names() const { return shared_names_; }

    /// The chunk header with which the message came. Tm_chunk_receiver fills it in.
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
