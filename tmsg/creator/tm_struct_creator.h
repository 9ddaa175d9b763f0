#pragma once

#include <memory>
#include <optional>

#include "tmsg/composite/tm_struct.h"
#include "tmsg/creator/tm_branch_state.h"
#include "tmsg/creator/tm_build_context.h"
#include "tmsg/creator/tm_destination.h"

/// Builds a nested struct, or fills one of a message's own in place.
class Tm_struct_creator : public Tm_branch_state {
public:
    Tm_struct_creator(Tm_struct* in_place, Tm_build_context const* context);
    Tm_struct_creator(Tm_destination destination, Tm_build_context const* context);

    bool visit_member_begin(unsigned int length) override;
    /// Throws std::out_of_range for an index that the name table does not have.
    bool visit_member_begin_with_index(unsigned short index) override;
    bool visit_struct_end() override;
    bool support_member_with_index() const override { return context_->table != nullptr; }
    char const* get_name() const override { return "struct"; }

private:
    std::unique_ptr<Tm_struct> owned_;
    Tm_struct* target_;
    std::optional<Tm_destination> destination_;
    Tm_build_context const* context_;
};
