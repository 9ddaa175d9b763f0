#pragma once

#include <string>

#include "tmsg/creator/tm_value_receiver.h"

class Tm_struct;

/// Builds one member: its name, then exactly one value.
class Tm_member_creator : public Tm_value_receiver {
public:
    Tm_member_creator(Tm_struct* target, unsigned int name_length, Tm_build_context const* context);

    bool visit_member_continue(char const* data, unsigned int length) override;
    /// Throws std::out_of_range for an index that the name table does not have.
    bool visit_member_continue_with_index(unsigned short index) override;
    bool visit_member_end() override;
    char const* get_name() const override { return "member"; }

protected:
    bool expects_value() const override { return name_ != nullptr && !has_value_; }
    void value_begun() override { has_value_ = true; }
    Tm_destination destination() const override { return Tm_destination(target_, name_); }

private:
    Tm_struct* target_;
    unsigned int expected_;
    std::string collected_;              ///< the name's pieces, while there are several
    std::string const* name_ = nullptr;  ///< the complete name, stored in the struct's catalogue
    bool has_value_ = false;
};
