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

/// One level of a value tree under construction, for builders that keep a stack of such states. An
/// event returns true when the state took it. When it returns false, the builder asks in this
/// order: next_state() is not null when the event began a nested value, done() is true when the
/// value is complete and its container has it, and otherwise error() says why the event was
/// rejected. By default every event is rejected.
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
    /// Returns the state of the nested value that the last event began, or null. A builder that
    /// takes the state over calls clear_next_state().
    virtual Tm_creator_state* next_state() = 0;
    virtual void clear_next_state() = 0;
    virtual bool done() const = 0;
    virtual bool support_member_with_index() const;

    std::string const& error() const { return error_; }

protected:
    /// Sets the error text. Always returns false.
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
