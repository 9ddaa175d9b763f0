/// A request, a response or a fault of a remote call. A message is a value, so messages nest.
///
///     Message request = Message::request("stock.reserve");
///     request.add_member(Message::TMG_BODY, "count", 250);
///     int count = request.get_member_int32(Message::TMG_BODY, "count");
///     request.set_member(Message::TMG_BODY, "count", count + 1);
///
///     std::vector<Message> waiting;
///     waiting.push_back(std::move(request));  // copies nothing; request is an empty response
///
/// A message has two structs, its groups: TMG_META describes the message, TMG_BODY has the
/// arguments, the results or the fault. Any other group throws Tm_out_of_range_exception with the
/// label "tmg".
/// The message owns both structs and everything in them. tm_struct.h says how long pointers from
/// getters are valid.
///
/// There are two sorts of messages, which cannot be swapped with each other. In a Message(), the
/// two structs share names. In a copy, and in a message from the other constructor, each struct
/// owns its names.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_member_getters.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/fwd.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/value/tm_catalog.h"
#include "tmsg/value/tm_type_code.h"
#include "tmsg/value/tm_value.h"

struct Tm_index_plan;
/// A structure that the caller defines. It has room for the 8 bytes of the chunk header.
struct message_context;

class TMSG_API Message : public Tm_value,
                         public Tm_message_kind,
                         public Tm_member_getters<Message, Tm_message_kind::TMG>,
                         public Tm_finders<Message, Tm_message_kind::TMG> {
public:
    /// Make a message of that type.
    static Message request(Tm_name name);
    static Message response();
    static Message fault(int code, std::string_view text);

    /// Makes an empty response whose structs share names.
    Message();
    /// Makes an empty response whose structs own their names. The argument has no effect.
    explicit Message(Tm_catalog<std::string>* ignored);
    /// Copies everything but `header`, as clone() does. Opens the files of `other` again.
    Message(Message const& other);
    /// Copies `header`, too. When copying throws, the message is as before.
    Message& operator=(Message const& other);
    /// Both take the content of `other`, `header` included. `other` is an empty response then. The
    /// new message is of the same sort. The assignment keeps the sort of this message.
    Message(Message&& other) noexcept;
    Message& operator=(Message&& other) noexcept;

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
    /// When the message-set name has a "#", sets the request name to the text before the "#", a dot
    /// and the method name. Otherwise does nothing.
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
    /// Adds a file, which is opened for reading. The open mode has no effect.
    void add_member(TMG group, Tm_name name, std::string const& path, unsigned int open_mode);
    void add_member(TMG group, Tm_name name, long long value);
    void add_member(TMG group, Tm_name name, unsigned long long value);
    /// Does what add_member() of Tm_struct does with values, vectors, owners and optionals.
    template <class Compound, class = std::enable_if_t<tm_is_compound<Compound>>>
    void add_member(TMG group, Tm_name name, Compound&& value) {
        get_struct(group).add_member(name, std::forward<Compound>(value),
                                     get_send_member_string(group));
    }
    template <class Unlisted, class = std::enable_if_t<tm_is_unlisted<Unlisted>>>
    void add_member(TMG group, Tm_name name, Unlisted const* pointer) = delete;
    template <class Code, class = std::enable_if_t<tm_is_code<Code>>, class = void>
    void add_member(TMG group, Tm_name name, Code pointer) = delete;
    void add_file(TMG group, Tm_name name, std::string const& path);
    /// Takes ownership of the value, and deletes it when the call throws.
    void add_member_and_own(TMG group, Tm_name name, Tm_value* value);

    /// Each does what the operation of Tm_struct with that name does, in the group.
    template <class Value>
    int set_member(TMG group, std::string_view name, Value&& value) {
        return get_struct(group).set_any(name, std::forward<Value>(value),
                                         get_send_member_string(group));
    }
    int set_member(TMG group, std::string_view name, unsigned char const* data,
                   unsigned int length);
    int set_member_and_own(TMG group, std::string_view name, Tm_value* value);
    void replace_value(TMG group, int i, std::unique_ptr<Tm_value> value);
    std::unique_ptr<Tm_value> take_member(TMG group, int i);
    void remove_member(TMG group, int i);
    bool remove_member(TMG group, std::string_view name);
    void rename_member(TMG group, int i, std::string_view name);
    template <class Key>
    Tm_struct* edit_struct(TMG group, Key const& key) {
        return const_cast<Tm_struct*>(read_member<Tm_struct const*>(group, tm_key(key)));
    }
    template <class Key>
    Tm_array* edit_array(TMG group, Key const& key) {
        return const_cast<Tm_array*>(read_member<Tm_array const*>(group, tm_key(key)));
    }
    template <class Key>
    Message* edit_message(TMG group, Key const& key) {
        return const_cast<Message*>(read_member<Message const*>(group, tm_key(key)));
    }

    int get_member_count(TMG group) const;
    TMV get_member_value_type(TMG group, int i) const;
    char const* get_member_name(TMG group, int i) const;
    Tm_struct& get_struct(TMG group);
    Tm_struct const& get_const_struct(TMG group) const;
    void clear(TMG group);

    /// The code is the int32 "faultCode" of the body, and the string is the string "faultString".
    /// All four operations throw Tm_type_mismatch_exception unless the message is a fault, and when
    /// they read a member of another type.
    /// When the code or the string is set a second time, it moves after the other one, and all
    /// other members of the body are removed.
    void set_fault_code(int code);
    void set_fault_string(char const* text);
    /// Returns -1 when there is no code.
    int get_fault_code() const;
    /// Returns an empty text when there is no string.
    std::string get_fault_string() const;

    /// Switches names by index on or off. While they are on, each member that is added to the body
    /// gets a wire index, which is sent instead of its name.
    /// Does nothing when the environment forbids indexes. It forbids them when the variable
    /// QEL_INIT_DISABLE_SEND_MEMBER_STRING is set, to any value. The process reads the variable
    /// only once: at the first call of this operation or of one of the two operations below that
    /// index names.
    void set_use_send_member_string(bool use);
    bool get_use_send_member_string() const { return use_send_names_; }
    /// Returns the index catalogue of the body, which the message owns. Returns null while names by
    /// index are off, and for TMG_META.
    Tm_catalog<std::string>* get_send_member_string(TMG group);
    Tm_catalog<std::string> const* get_send_member_string(TMG group) const;
    /// Adds the name table, the array "catalog", to TMG_META. A receiver needs it to read the
    /// indexes. Does nothing when there is a table already or names by index are off.
    void create_send_member_string_meta();
    /// Switches names by index on for all members that the message has now:
    ///  - It records wire indexes for every struct of the body.
    ///  - It adds or replaces the name table, unless there is one that has all names.
    ///  - It does both for each nested message that has a name table. Other nested messages are
    ///    sent with their names.
    /// Returns false when the environment forbids indexes or one message has more than 65,536
    /// names. Throws Tm_out_of_range_exception for a name longer than 65,535 bytes. In both cases
    /// the message is as before. Call it again after members were added.
    bool index_member_names();
    /// Makes a received message ready to be sent on. Does what index_member_names() does, but only
    /// for messages that have a name table: this one, and those nested in it. Returns true when
    /// there is no table, and otherwise what index_member_names() returns.
    bool restore_member_indexes();
    /// Returns whether the name is "catalog", the name of the name table in TMG_META. When several
    /// members have this name, only the first one is the table.
    static bool is_name_table(std::string_view name);
    /// Returns the position in TMG_META of the name table. Returns -1 when there is none.
    int name_table_position() const;

    /// These exist for callers that expect them. The library has no such data.
    int get_access_level() const { return 0; }
    int get_user_id() const { return 0; }
    bool need_response() const { return false; }

    /// Copies the 8 bytes of `header` to the context. Does nothing for null.
    void get_context(message_context* context) const;

    /// Returns a new message of the same sort with the content of this one, `header` included. This
    /// message is an empty response afterwards.
    std::unique_ptr<Message> take_content();
    /// Exchanges the contents of two messages of the same sort, `header` included. Throws
    /// Tm_exception, and exchanges nothing, when they are of different sorts.
    void swap(Message& other);
    /// Returns the sort: true when each struct owns its names, false when the structs share names.
    bool is_clone() const { return groups_[TMG_META].is_string_catalog_from_internal(); }

    /// Returns a tag: Tm_struct(message.shared_names()) makes a struct that shares names. The
    /// struct does not refer to the tag or the message afterwards.
    Tm_shared_names const& shared_names() const { return shared_names_; }

    /// The header of the last chunk of a received message. Tm_chunk_receiver sets it.
    Tm_header header;

private:
    friend class Tm_finders<Message, TMG>;
    friend class Tm_member_getters<Message, TMG>;

    template <class... Datum>
    void add(TMG group, Tm_name name, Datum const&... datum);
    template <class Key>
    Tm_value const* find_value(TMG group, Key key) const {
        return get_const_struct(group).find_value(key);
    }
    template <class T, class Key>
    T number_at(TMG group, Key key) const {
        return in_group(
            group, [&](Tm_struct const& members) { return members.template number_at<T>(key); });
    }
    template <class Result, class Key>
    Result read_member(TMG group, Key key) const {
        return in_group(group, [&](Tm_struct const& members) {
            return members.template read_member<Result>(key);
        });
    }
    /// Adds the group to the path of an exception.
    template <class Operation>
    auto in_group(TMG group, Operation operation) const {
        Tm_struct const& members = get_const_struct(group);
        try {
            return operation(members);
        } catch (Tm_exception& failure) {
            failure.add_name_before(group == TMG_META ? "meta" : "body");
            throw;
        }
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
    static Tm_struct empty_like(Tm_struct const& group);
    void take(Message& other) noexcept;

    Tm_shared_names shared_names_;
    Tm_struct groups_[2];
    bool use_send_names_ = false;
    Tm_catalog<std::string> send_names_;
};

TMSG_API bool operator==(Message const& left, Message const& right);
