/// One level of a value tree under construction, for builders with a stack. An event returns true
/// when the state absorbed it. False means, in this order: next_state() is the state of a nested
/// value that the event began; done(), the value is complete and with its container; or the event
/// is rejected, and error() says why. The default of every event is to reject it.
#pragma once

#include <string>

#include "tmsg/export.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_plain.h"

class TMSG_API Tm_creator_state : public Tm_folded_events<Tm_creator_state> {
public:
    Tm_creator_state();
    Tm_creator_state(Tm_creator_state const&) = delete;
    Tm_creator_state& operator=(Tm_creator_state const&) = delete;
    ~Tm_creator_state() override;

    virtual bool visit_member_begin_with_index(unsigned short index);
    virtual bool visit_member_continue_with_index(unsigned short index);

    /// The state's name in error texts.
    virtual char const* get_name() const = 0;
    /// The state of the nested value that the last event began; null for none. The creator that
    /// takes it over calls clear_next_state().
    virtual Tm_creator_state* next_state() = 0;
    virtual void clear_next_state() = 0;
    virtual bool done() const = 0;
    virtual bool support_member_with_index() const;

    std::string const& error() const { return error_; }

protected:
    /// Sets the error text; always false.
    bool fail(std::string text);
    /// "unexpected EVENT in NAME"
    bool reject(std::string const& event);

private:
    friend class Tm_folded_events<Tm_creator_state>;

    bool open(Tm_bracket bracket);
    bool close(Tm_bracket bracket);
    template <class Plain>
    bool put(Plain) {
        return reject_value(Tm_plain<Plain>::code);
    }
    bool reject_value(TMV type);
    bool begin(Tm_bytes bytes, unsigned int length);
    bool piece(Tm_bytes bytes, char const* data, unsigned int length);

    std::string error_;
};
