/// What a server does with a request, over TCP and over NATS.
#pragma once

#include <tmsg/tmsg.h>

#include <functional>
#include <optional>

#include "forms/writer.h"

/// Returns the answer to a request that it may change. An exception becomes a fault. A
/// Tm_fault_exception has the code of the fault. Any other one is reported, and the code is 1.
using Answer_method = std::function<Message(Message& request)>;

/// The code of the fault that is sent when a reply cannot be made.
constexpr int no_answer = 1;

/// Makes the request a response without group 0.
Message echo(Message& request);

/// Calls the method. Throws only Tm_fault_exception.
Message call_method(Answer_method const& method, Message& request);

/// Prints the messages that arrive.
class Message_printer {
public:
    /// Makes it print each message in this form. Without this call it prints none.
    void print_as(Form form, Writing const& writing);
    /// Writes a line feed also after a text that fails halfway. Throws what write_message() throws.
    void print(Message& message, Tm_header const& header);

private:
    void end_message() const;

    std::optional<Form> form_;
    Writing writing_;
};
