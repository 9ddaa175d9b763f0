/// The forms in which the program reads and writes messages, and their names.
#pragma once

#include <map>
#include <string>

enum class Form { automatic, tcl, wire, chunks, json, xml, dump, typed_json, hex };

using Forms = std::map<std::string, Form>;

inline Forms const input_forms = {{"auto", Form::automatic},
                                  {"tcl", Form::tcl},
                                  {"wire", Form::wire},
                                  {"chunks", Form::chunks},
                                  {"typed-json", Form::typed_json},
                                  {"hex", Form::hex}};

inline Forms const output_forms = {{"tcl", Form::tcl},
                                   {"wire", Form::wire},
                                   {"chunks", Form::chunks},
                                   {"json", Form::json},
                                   {"xml", Form::xml},
                                   {"dump", Form::dump},
                                   {"typed-json", Form::typed_json},
                                   {"hex", Form::hex}};

/// Returns the name of a form that is read.
inline std::string name_of(Form form) {
    for (auto const& [name, each] : input_forms) {
        if (each == form) return name;
    }
    return {};
}

/// Returns whether the form is text, not bytes.
inline bool is_text(Form form) { return form != Form::wire && form != Form::chunks; }

/// Returns whether names by index can stand in the form.
inline bool has_wire_names(Form form) { return !is_text(form) || form == Form::hex; }

/// Returns whether a line feed ends each message in this form.
inline bool ends_with_line(Form form) { return form == Form::typed_json || form == Form::hex; }
