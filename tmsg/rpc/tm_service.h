/// Calls the method that a request names, and makes an answer of what it returns or throws. The
/// service sends and receives nothing itself:
///
///     Tm_service service;
///     service.on("stock.reserve", [&](Message const& request) {
///         int const count = request.get_member_int32(Message::TMG_BODY, "count");
///         if (count > stock) throw Tm_fault_exception(7, "out of stock");
///         Message answer;
///         answer.add_member(Message::TMG_BODY, "reserved", count);
///         return answer;
///     });
///     // in the message handler of a Tm_chunk_receiver:
///     Message answer = service.answer(*request);
///     sender.send(answer, header.get_seq_no(), port, sink);
///
/// Any number of threads may call answer() at a time if the methods allow it and no thread calls
/// on().
#pragma once

#include <functional>
#include <map>
#include <string>

#include "tmsg/export.h"
#include "tmsg/message/message.h"
#include "tmsg/value/tm_exception.h"

/// A method throws it to answer with a fault that has this code and this text.
class TMSG_API Tm_fault_exception : public Tm_exception {
public:
    Tm_fault_exception(int code, std::string text);
    Tm_fault_exception(Tm_fault_exception const&) = default;
    Tm_fault_exception& operator=(Tm_fault_exception const&) = default;
    ~Tm_fault_exception() override;

    int code() const { return code_; }
    /// Returns all bytes of the text, also behind a zero byte, where what() ends.
    std::string const& text() const { return message_; }

private:
    int code_;
};

class TMSG_API Tm_service {
public:
    using Method = std::function<Message(Message const& request)>;

    /// The codes of the faults that the service makes itself.
    static constexpr int NO_METHOD = 1;
    static constexpr int METHOD_FAILED = 2;

    Tm_service();
    Tm_service(Tm_service const&);
    Tm_service& operator=(Tm_service const&);
    ~Tm_service();

    /// Sets the method for requests of this name, in the place of an earlier one. Throws
    /// Tm_exception for an empty function.
    void on(std::string name, Method method);
    /// Sets the method for requests of every name that has no method of its own, in the place of an
    /// earlier one. Throws Tm_exception for an empty function.
    ///
    ///     service.on_any([](Message const& request) -> Message {
    ///         throw Tm_fault_exception(7, request.get_request_name() + " is closed today");
    ///     });
    void on_any(Method method);

    /// Returns the answer of the method, a fault with the code and the text of a
    /// Tm_fault_exception, a fault of code 2 with the text of any other std::exception, or a fault
    /// of code 1 when there is no such method. Its header has the sequence number and the port of
    /// the header of the request. A fault has at most the first 65,535 bytes of its text.
    /// Throws only std::bad_alloc, and what a method throws that is no std::exception.
    Message answer(Message const& request) const;

private:
    Message call(Message const& request) const;
    Method const* method_for(std::string const& name) const;

    std::map<std::string, Method> methods_;
    Method any_;  ///< empty until on_any()
};
