/// Shows captures as one page of HTML, which needs nothing from elsewhere.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "forms/view.h"

/// Writes the bytes and the records of the items as data. The script of the page shows them.
///
/// The data of an input is in elements `script`, which no browser runs. Those of the class "bytes"
/// hold the bytes in base64, in order. Those of the class "records" hold a record on each line. A
/// TEXT is a string of JSON. Places count the bytes of the input, all other positions those of the
/// message.
///
///     c PLACE TEXT                     a chunk, and what is wrong with its header
///     m SEQUENCE TEXT                  a message in chunks has ended: its heading
///     w PLACE                          a message of the wire form begins
///     t PLACE                          a message of a text begins
///     r DEPTH BEGIN NAME SIZE TEXT     a row; NAME is the number of bytes before the value, SIZE
///                                      is - or the number of all bytes; TEXT is the label, the
///                                      type and the rest with tabs between them
///     e END                            ends the innermost row that has no end
///     x END                            ends the message, and all rows that have no end
///     d PLACE TEXT                     damage
class Page_view : public View {
public:
    /// `inputs` is the number of inputs.
    explicit Page_view(std::size_t inputs) : inputs_(inputs) {}

    void begin_input(std::string const& name) override;
    void end_input(std::string_view failure) override;
    void finish() override;
    void bytes(std::string_view bytes) override;
    std::unique_ptr<Tree_sink> begin_wire_message(std::size_t offset) override;
    std::unique_ptr<Tree_sink> begin_text_message() override;
    void chunk(std::size_t offset, Tm_header const& header, std::string const& error) override;
    std::unique_ptr<Tree_sink> collect(std::string& rows) override;
    void end_message(Ended_message const& message) override;
    void damage(std::size_t place, std::string const& text) override;

private:
    void begin_page(std::string const& name) const;
    std::unique_ptr<Tree_sink> begin_message(char kind, std::size_t place);
    void write_records(std::string_view records);
    void end_records();
    void write_bytes();

    std::size_t inputs_;
    bool has_begun_ = false;
    bool in_records_ = false;
    std::size_t size_ = 0;  ///< bytes of the input so far
    std::string waiting_;   ///< bytes that are not written yet
};
