/// Builds a message, or fills an array with values, from events:
///
///     Message copy;
///     Tm_creator creator(&copy);
///     original.accept(creator);
///     if (!creator.error().empty()) report(creator.error());
///
/// The caller owns the target, which must outlive the creator. Nobody else may change the target
/// before it is complete.
/// An event that may not come next, or that is beyond the limits, returns false and sets the error
/// text. The creator never clears the error text, and undoes nothing.
/// The events throw std::bad_alloc and the exceptions that tm_bin_decoder_base.h names.
///
/// Each open message, struct or array has a frame. The state of the innermost frame says which
/// event may come next. While a string, byte string or file is open, its own state says so.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/fwd.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_owners.h"

class Tm_array;
class Tm_layout;
class Tm_new_value;
class Tm_received_file;
class Tm_struct;
class Tm_value;
class Tm_value_container;
struct Tm_next_name;

class TMSG_API Tm_creator : public Tm_creator_base {
public:
    /// Builds one message in `target`, which must be empty.
    explicit Tm_creator(Message* target, Tm_limits const& limits = {});
    /// Appends each top-level value to the array. The limits start again with each of them.
    explicit Tm_creator(Tm_array* target, Tm_limits const& limits = {});
    Tm_creator(Tm_creator const&) = delete;
    Tm_creator& operator=(Tm_creator const&) = delete;
    ~Tm_creator() override;

    /// Each event returns true when the creator took it.
    bool visit_method_begin(bool is_request) override;
    bool visit_method_end(bool is_request) override;
    bool visit_fault_begin() override;
    bool visit_fault_end() override;
    bool visit_method_name_begin(unsigned int length) override;
    bool visit_method_name_continue(char const* data, unsigned int length) override;
    bool visit_bool(bool value) override;
    bool visit_int8(signed char value) override;
    bool visit_uint8(unsigned char value) override;
    bool visit_int16(short value) override;
    bool visit_uint16(unsigned short value) override;
    bool visit_int32(int value) override;
    bool visit_uint32(unsigned int value) override;
    bool visit_int64(long value) override;
    bool visit_uint64(unsigned long value) override;
    bool visit_double(double value) override;
    bool visit_string_begin(unsigned int length) override;
    bool visit_string_continue(char const* data, unsigned int length) override;
    bool visit_binary_begin(unsigned int length) override;
    bool visit_binary_continue(char const* data, unsigned int length) override;
    bool visit_struct_begin() override;
    bool visit_struct_end() override;
    bool visit_member_begin(unsigned int length) override;
    bool visit_member_continue(char const* data, unsigned int length) override;
    bool visit_member_end() override;
    bool visit_array_begin() override;
    bool visit_array_end() override;
    using Tm_visitor::visit_file_begin;
    bool visit_file_begin(unsigned int length) override;
    using Tm_visitor::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override;

    /// Returns true when the message is complete or, for an array, no value is open.
    bool done() override;
    /// Returns true between the members of a struct whose names come by index.
    bool support_member_with_index() override;
    /// Both throw std::out_of_range for an index that the name table does not have.
    bool visit_member_begin_with_index(unsigned short index) override;
    bool visit_member_continue_with_index(unsigned short index) override;

    /// Returns the name of the current state, as error texts use it.
    char const* get_current_state_name() const;

    /// Returns the paths of all files that were received completely so far.
    std::vector<std::string> const& received_files() const { return received_files_; }

    /// Returns the bytes of files received so far, also of files that are not complete.
    unsigned long file_bytes() const { return file_bytes_; }

    /// Returns the bytes of memory that the current message, or top-level value, takes so far.
    unsigned long memory() const { return memory_; }

    /// Returns the path of the value that is open, or that comes next in an array (see tm_path.h).
    /// After an error it is the path of the refused value.
    std::string path() const;

    /// Call it when an event has returned false. It sets an error text if there is none yet. Always
    /// returns false.
    bool process_state();

private:
    friend class Tm_own_creator;

    using Layout_ref = Tm_counted_ptr<Tm_layout>;

    /// The states of a frame. The last three are leaves, which have no frame.
    enum class State : unsigned char {
        none,
        method,     ///< in a message, outside its structs
        structure,  ///< in a struct, between members
        naming,     ///< in a member whose name is not complete
        named,      ///< in a member that has no value yet
        valued,     ///< in a member that has its value
        array,
        base_array,
        string,
        binary,
        file
    };

    /// An open message, struct or array.
    struct Frame {
        State state = State::base_array;
        bool shares_names = false;  ///< structs in it share names, as those of a message do
        bool by_index = false;      ///< names come as positions in the message's name table
        std::uint32_t name_length = 0;
        Tm_struct* structure = nullptr;        ///< null until the first name, in a nested struct
        Tm_value_container* values = nullptr;  ///< of the open struct or array
        std::unique_ptr<Tm_value> owned;       ///< a nested value, until it is complete
        std::uint64_t place = 0;               ///< the place of its structs, for tm_recall_layout()
        Frame* around = nullptr;
        std::unique_ptr<Frame> within;  ///< kept for the next nested value
    };
    /// The part of a message that has arrived.
    enum class Phase : unsigned char { not_begun, begun, in_first_struct, in_second_struct, ended };

    /// A message whose end has not come.
    struct Open_message {
        Message* target = nullptr;
        Phase phase = Phase::not_begun;
        bool is_call = false;
        unsigned int name_length = 0;     ///< 0 until a request name is announced
        unsigned int name_received = 0;   ///< bytes of it
        std::string name;                 ///< its pieces, while there are several
        std::uint64_t place = 0;          ///< the place of its structs, for tm_recall_layout()
        Layout_ref table;                 ///< the names of members that come by index
        std::vector<Layout_ref> layouts;  ///< with names in the table, of recent structs
    };
    static char const* name_of(State state);
    void add_step(std::string& path, Frame const& frame, Frame const* within) const;
    /// Returns the innermost open message.
    Open_message& message() { return nested_.empty() ? root_ : nested_.back(); }
    Open_message const& message() const { return nested_.empty() ? root_ : nested_.back(); }
    char const* message_state_name() const;

    /// Returns whether a value may come next.
    bool expects_value() const;
    /// Returns whether the innermost open part is a message, outside of its structs.
    bool is_in_message() const;
    /// Returns whether the innermost open part is a member.
    bool is_in_member() const;
    /// Returns whether the limits allow one more struct, array or message.
    bool may_nest() const { return depth_ < limits_.max_depth && values_left_ > 0; }
    /// Both set the error text of the limit that refuses the next value. They always return false.
    bool refuse_level();
    bool refuse_value();
    /// Makes room for one more value. Returns false when that takes too much memory.
    bool make_room(Tm_value_container& values);
    bool grow(Tm_value_container& values);
    /// Counts memory before it is allocated. Returns false when it is too much.
    bool take_memory(std::size_t bytes);
    /// Counts memory that was allocated already. When it is too much, the next value is refused.
    void count_memory(std::size_t bytes);
    void count_name(Tm_struct const& target, Tm_layout const* before);
    template <class Buffer>
    bool append_announced(Buffer& buffer, char const* data, std::size_t length);
    /// Starts the limits of a message, or of a top-level value, again.
    void begin_counting();
    /// Sets the error text "unexpected EVENT in STATE". Always returns false.
    bool reject(std::string const& event);
    /// Both set the error text. They always return false.
    bool fail(std::string text);
    bool fail_memory();

    /// Puts a value into the innermost open part. Refuses it when no value may come next.
    bool put(Tm_new_value value, char const* event);
    /// Puts a value there without a check.
    void place(Tm_new_value&& value);
    void value_arrived();

    /// Both are for the leaves: strings, byte strings and files.
    bool begin_leaf(State leaf, unsigned int length);
    bool may_continue(State leaf, unsigned int length);

    bool is_outermost() const { return frame_->around == nullptr; }
    /// Makes a frame the innermost one.
    Frame& open(State state);
    /// Makes the frame around the innermost one the innermost one.
    void leave() {
        frame_ = frame_->around;
        --depth_;
    }
    bool close(unsigned char kind);
    void trim(Tm_value_container& values);
    void begin_nested_message();
    bool begin_group();
    /// Returns the names for indexes, or null when names come as text.
    Layout_ref read_name_table();

    /// Returns the name at a position of the name table.
    Tm_next_name name_in_table(std::size_t index) const;
    /// Gives the open member its complete name.
    void take_name(Tm_next_name const& name);
    Layout_ref layout_around(Tm_next_name const& name) const;
    void make_struct(Layout_ref layout);
    void finish_layout(Frame const& frame);

    Tm_limits limits_;
    unsigned long values_left_ = 0;  ///< how many may come; also 0 when memory is exhausted
    unsigned long memory_ = 0;
    unsigned int files_ = 0;
    bool is_exhausted_ = false;   ///< the limit on memory has refused something
    unsigned int depth_ = 0;      ///< open structs, arrays and messages
    State leaf_ = State::none;    ///< string, binary or file while one is open
    std::uint32_t expected_ = 0;  ///< bytes of the open string, byte string or file
    std::uint32_t received_ = 0;
    Tm_array* user_array_ = nullptr;  ///< the array to fill, where its class is a user's own
    Frame outermost_;
    Frame* frame_ = &outermost_;  ///< the innermost open one
    Open_message root_;           ///< without a target where an array is filled
    std::vector<Open_message> nested_;
    std::string text_;                  ///< pieces of a name or string, while there are several
    std::vector<unsigned char> bytes_;  ///< of the open byte string
    Tm_owned<Tm_received_file> file_;
    std::vector<std::string> received_files_;
    unsigned long file_bytes_ = 0;
};
