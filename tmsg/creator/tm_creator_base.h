/// Creators, which decoders drive, and the states of creators that keep a stack of them.
#pragma once

#include <string>

#include "tmsg/export.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_visitor.h"

/// The receiving end of the event stream. Decoders drive it. It adds members that come by index, an
/// error text and done() to the events of a visitor. Decoders look at the error text alone: the
/// build has failed when it is not empty.
class TMSG_API Tm_creator_base : public Tm_visitor {
public:
    Tm_creator_base();
    ~Tm_creator_base() override;

    /// A complete top-level value has been built.
    virtual bool done() = 0;
    /// The next member begin carries an index instead of a name length.
    virtual bool support_member_with_index() = 0;
    virtual bool visit_member_begin_with_index(unsigned short index);
    virtual bool visit_member_continue_with_index(unsigned short index);

    std::string const& error() const { return error_; }

protected:
    std::string error_;
};

/// One level of a value tree under construction, for builders with a stack. An event returns true
/// when the state absorbed it. False means, in this order: next_state() is the state of a nested
/// value that the event began; done(), the value is complete and with its container; or the event
/// is rejected, and error() says why. The default of every event is to reject it.
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
