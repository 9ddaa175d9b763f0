/// Reads list text and typed JSON.
#pragma once

#include <tmsg/tmsg.h>

#include <memory>
#include <string>

#include "forms/form_reader.h"
#include "io/input.h"

/// Reads messages of list text or typed JSON. Keeps the text of one message at a time.
class Text_reader : public Form_reader {
public:
    /// `form` is tcl or typed_json.
    Text_reader(Input& input, Form form, Tm_limits const& limits);

    std::unique_ptr<Message> next(Temporary_files& files, Wire_sink const& sink) override;

private:
    bool skip_blanks();
    void read_text();
    template <class Decoder>
    std::unique_ptr<Message> decode(Temporary_files& files) const;
    Place place_of(int line, int column) const;

    Input& input_;
    Form form_;
    Tm_limits limits_;
    Place place_ = at_line(1, 1);  ///< of the next byte
    std::string text_;
};
