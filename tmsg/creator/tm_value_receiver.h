/// A state at whose place any value may come: an array between its elements, a member after its
/// name. What a value event does is written once, here.
#pragma once

#include "tmsg/creator/tm_branch_state.h"
#include "tmsg/creator/tm_build_context.h"
#include "tmsg/creator/tm_destination.h"

class Tm_value_receiver : public Tm_branch_state {
public:
    bool visit_method_begin(bool is_request) override;
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
    bool visit_binary_begin(unsigned int length) override;
    bool visit_struct_begin() override;
    bool visit_array_begin() override;
    using Tm_branch_state::visit_file_begin;
    bool visit_file_begin(unsigned int length) override;

protected:
    explicit Tm_value_receiver(Tm_build_context const* context) : context_(context) {}

    /// A value may come now.
    virtual bool expects_value() const = 0;
    /// A value has come, or a nested one has begun.
    virtual void value_begun() = 0;
    virtual Tm_destination destination() const = 0;

    Tm_build_context const* context() const { return context_; }

private:
    template <class Plain>
    bool place(Plain value);
    template <class State, class... Arguments>
    bool begin(Arguments&&... arguments);

    Tm_build_context const* context_;
};
