/// Prints and answers requests.
#include "net/answering.h"

#include <exception>
#include <utility>

#include "forms/reader.h"
#include "io/output.h"
#include "io/system.h"
#include "io/terminal.h"

Message echo(Message& request) {
    request.set_msg_type(Message::TMT_RESPONSE);
    request.clear(Message::TMG_META);
    prepare_names(request, Names::as_received);
    return std::move(request);
}

Message call_method(Answer_method const& method, Message& request) {
    try {
        return method(request);
    } catch (Tm_fault_exception const&) {
        throw;
    } catch (std::exception const& error) {
        report(text_of(error));
        throw Tm_fault_exception(no_answer, text_of(error));
    }
}

void Message_printer::print_as(Form form, Writing const& writing) {
    form_ = form;
    writing_ = writing;
}

void Message_printer::print(Message& message, Tm_header const& header) {
    if (!form_) return;
    writing_.seq_no = header.get_seq_no();
    writing_.port = header.get_tmport();
    if (has_wire_names(*form_)) prepare_names(message, Names::as_received);
    std::size_t const before = output_size();
    try {
        write_message(message, *form_, writing_);
    } catch (std::exception const&) {
        if (output_size() != before) end_message();
        throw;
    }
    end_message();
}

void Message_printer::end_message() const {
    if (is_text(*form_)) write_output("\n");
    flush_output();
}
