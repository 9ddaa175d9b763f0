/// The forms in which the program reads and writes messages, and their names.
#pragma once

#include <map>
#include <string>

enum class Form { tcl, wire, chunks, json, xml, dump };

using Forms = std::map<std::string, Form>;

inline Forms const input_forms = {
    {"tcl", Form::tcl}, {"wire", Form::wire}, {"chunks", Form::chunks}};

inline Forms const output_forms = {{"tcl", Form::tcl},       {"wire", Form::wire},
                                   {"chunks", Form::chunks}, {"json", Form::json},
                                   {"xml", Form::xml},       {"dump", Form::dump}};

/// Returns whether the form is for people, not bytes.
inline bool is_text(Form form) { return form != Form::wire && form != Form::chunks; }
