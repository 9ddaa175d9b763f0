/// Rebuilds a message, or fills an array with values, from events. Each event goes to the state on
/// top of a stack with one state for every value that is open. The target stays its owner's, must
/// outlive the creator and is not changed by others before it is complete. After a failure the
/// error text stays. Events beyond the limits on depth and files are refused.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/creator/tm_creator_state.h"
#include "tmsg/creator/tm_limits.h"

class Message;
class Message_creator;
class Tm_array;
struct Tm_build_context;

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

    char const* get_current_state_name() const;

    /// The paths of all files that were received completely so far.
    std::vector<std::string> const& received_files() const { return received_files_; }

    /// After an event that the current state answered with false: pushes, pops or fails.
    bool process_state();

private:
    bool has_room();
    bool enter(bool begun);
    bool leave(bool ended);

    Tm_limits limits_;
    unsigned int depth_ = 0;  ///< open structs, arrays and messages
    std::vector<std::string> received_files_;
    std::unique_ptr<Tm_build_context> array_context_;  ///< null when a message is built
    std::vector<std::unique_ptr<Tm_creator_state>> states_;
    Tm_creator_state* current_ = nullptr;
    Message_creator const* root_ = nullptr;  ///< null when an array is filled
};
