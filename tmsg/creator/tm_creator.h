/// Builds a message, or fills an array with values, from events. The caller owns the target. The
/// target must outlive the creator, and nobody else may change it before it is complete. After a
/// failure the error text stays. Events beyond the limits are refused.
///
/// Each open message, struct or array has a frame. The state of the innermost frame says which
/// event may come next. While a string, byte string or file is open in it, the state of that one
/// does.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_owners.h"

class Message;
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
    explicit Tm_creator(Message* target, Tm_limits const& limits = {});
    /// Every top-level value that arrives is appended.
    explicit Tm_creator(Tm_array* target, Tm_limits const& limits = {});
    Tm_creator(Tm_creator const&) = delete;
    Tm_creator& operator=(Tm_creator const&) = delete;
    ~Tm_creator() override;

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

    bool done() override;
    bool support_member_with_index() override;
    bool visit_member_begin_with_index(unsigned short index) override;
    bool visit_member_continue_with_index(unsigned short index) override;

    /// Returns the name of the current state, as error texts use it.
    char const* get_current_state_name() const;

    /// The paths of all files that were received completely so far.
    std::vector<std::string> const& received_files() const { return received_files_; }

    /// The bytes of files taken so far, those of unfinished ones included.
    unsigned long file_bytes() const { return file_bytes_; }

    /// The bytes of memory that the current message, or top-level value, takes so far.
    unsigned long memory() const { return memory_; }

    /// For code that passes an event to this creator and gets false: sets an error text if there is
    /// none yet. Always returns false.
    bool process_state();

private:
    friend class Tm_own_creator;

    using Layout_ref = Tm_counted_ptr<Tm_layout>;

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

    struct Frame {
        State state = State::base_array;
        bool shares_names = false;  ///< structs in it share names, like those of a message
        bool by_index = false;      ///< names come as positions in the message's table
        std::uint32_t name_length = 0;
        Tm_struct* structure = nullptr;        ///< null until the first name, in a nested struct
        Tm_value_container* values = nullptr;  ///< of the open struct or array
        std::unique_ptr<Tm_value> owned;       ///< a nested value, until it is complete
        std::uint64_t place = 0;               ///< where its structs stand, for tm_recall_layout()
        Frame* around = nullptr;
        std::unique_ptr<Frame> within;  ///< kept for the next nested value
    };
    enum class Phase : unsigned char { not_begun, begun, in_first_struct, in_second_struct, ended };

    struct Open_message {
        Message* target = nullptr;
        Phase phase = Phase::not_begun;
        bool is_call = false;
        unsigned int name_length = 0;     ///< 0 until a request name is announced
        unsigned int name_received = 0;   ///< bytes of it
        std::string name;                 ///< its pieces, while there are several
        std::uint64_t place = 0;          ///< where its structs stand, for tm_recall_layout()
        Layout_ref table;                 ///< the names of members that come by index
        std::vector<Layout_ref> layouts;  ///< with names in the table, of recent structs
    };
    static char const* name_of(State state);
    Open_message& message() { return nested_.empty() ? root_ : nested_.back(); }
    Open_message const& message() const { return nested_.empty() ? root_ : nested_.back(); }
    char const* message_state_name() const;

    bool expects_value() const;
    bool is_in_message() const;
    bool is_in_member() const;
    bool may_nest() const { return depth_ < limits_.max_depth && values_left_ > 0; }
    bool refuse_level();
    bool refuse_value();
    bool make_room(Tm_value_container& values);
    bool grow(Tm_value_container& values);
    bool take_memory(std::size_t bytes);
    void count_memory(std::size_t bytes);
    void count_name(Tm_struct const& target, Tm_layout const* before);
    template <class Buffer>
    bool append_announced(Buffer& buffer, char const* data, std::size_t length);
    void begin_counting();
    /// "unexpected EVENT in STATE"
    bool reject(std::string const& event);
    /// Both set the error text and return false.
    bool fail(std::string text);
    bool fail_memory();

    bool put(Tm_new_value value, char const* event);
    void place(Tm_new_value&& value);
    void value_arrived();

    bool begin_leaf(State leaf, unsigned int length);
    bool may_continue(State leaf, unsigned int length);

    bool is_outermost() const { return frame_->around == nullptr; }
    Frame& open(State state);
    void leave() {
        frame_ = frame_->around;
        --depth_;
    }
    bool close(unsigned char kind);
    void trim(Tm_value_container& values);
    void begin_nested_message();
    bool begin_group();
    Layout_ref read_name_table();

    Tm_next_name name_in_table(std::size_t index) const;
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
