/// The receiving end of the event stream: what decoders drive. To a visitor's events it adds
/// members that come by index, an error text and done(). Decoders judge by the error text alone:
/// not empty means that the build has failed.
#pragma once

#include <string>

#include "tmsg/export.h"
#include "tmsg/value/tm_visitor.h"

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
