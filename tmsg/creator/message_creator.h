#pragma once

#include <string>

#include "tmsg/creator/tm_branch_state.h"
#include "tmsg/creator/tm_build_context.h"
#include "tmsg/message/message.h"

/// Builds a message: its kind, its name if it is a request, its two structs. When the first struct
/// holds the array "catalog", the members of the second come by index into it.
class Message_creator : public Tm_branch_state {
public:
    /// Nested structs share `names`, or own theirs where it is null.
    Message_creator(Message* target, Tm_shared_names const& names,
                    Tm_received_files* received_files);

    bool visit_method_begin(bool is_request) override;
    bool visit_method_end(bool is_request) override;
    bool visit_fault_begin() override;
    bool visit_fault_end() override;
    bool visit_method_name_begin(unsigned int length) override;
    bool visit_method_name_continue(char const* data, unsigned int length) override;
    /// Throws Tm_type_mismatch_exception for a "catalog" that is no array of strings.
    bool visit_struct_begin() override;
    char const* get_name() const override;

    /// The message's end was seen.
    bool has_ended() const { return phase_ == Phase::ended; }

private:
    enum class Phase { not_begun, begun, in_first_struct, in_second_struct, ended };

    void read_name_table();

    Phase phase_ = Phase::not_begun;
    bool is_call_ = false;
    Message* target_;
    Tm_build_context context_;
    std::string name_;
    unsigned int name_length_ = 0;  ///< 0 until one is announced
};
