/// The base class of creators, and a base class for creators of your own that keep a stack of
/// states.
#pragma once

#include <string>

#include "tmsg/export.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_visitor.h"

/// A visitor to which a decoder sends the events that it reads. In addition to the events of a
/// visitor, it takes members whose names are sent by index. Decoders ignore the results of the
/// events and look only at the error text: the creator has failed when it is not empty.
class TMSG_API Tm_creator_base : public Tm_visitor {
public:
    Tm_creator_base();
    ~Tm_creator_base() override;

    /// Returns whether the top-level value is complete.
    virtual bool done() = 0;
    /// Returns whether the next member comes by index. The decoder then calls the two operations
    /// below with the wire index, in place of the two events of a name.
    virtual bool support_member_with_index() = 0;
    /// By default both return false.
    virtual bool visit_member_begin_with_index(unsigned short index);
    virtual bool visit_member_continue_with_index(unsigned short index);

    /// Returns the error text, which is empty when there is no error.
    std::string const& error() const { return error_; }

protected:
    std::string error_;
};

/// One level of a tree of values that is being built, for a creator of your own that keeps a stack
/// of such states. An event returns true when the state took it. When it returns false, the creator
/// asks the state in this order:
///  1. next_state() is not null when the event began a nested value.
///  2. done() is true when the value is complete and its container owns it.
///  3. Otherwise error() says why the state refused the event.
/// By default every event is refused.
class TMSG_API Tm_creator_state : public Tm_folded_events<Tm_creator_state> {
public:
    Tm_creator_state();
    Tm_creator_state(Tm_creator_state const&) = delete;
    Tm_creator_state& operator=(Tm_creator_state const&) = delete;
    ~Tm_creator_state() override;

    virtual bool visit_member_begin_with_index(unsigned short index);
    virtual bool visit_member_continue_with_index(unsigned short index);

    /// Returns the name of the state in error texts.
    virtual char const* get_name() const = 0;
    /// Returns the state of the nested value that the last event began, or null. A creator that
    /// takes ownership of the state calls clear_next_state().
    virtual Tm_creator_state* next_state() = 0;
    virtual void clear_next_state() = 0;
    /// Returns whether the value of the state is complete.
    virtual bool done() const = 0;
    /// Returns whether the next member comes by index. By default returns false.
    virtual bool support_member_with_index() const;

    std::string const& error() const { return error_; }

protected:
    /// Sets the error text. Always returns false.
    bool fail(std::string text);
    /// Sets the error text "unexpected EVENT in NAME". Always returns false.
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
