/// The forms in which the program reads and writes messages.
#pragma once

#include <map>
#include <string>

enum class Form { tcl, wire, chunks, json, xml, dump };

inline std::map<std::string, Form> const input_forms = {
    {"tcl", Form::tcl}, {"wire", Form::wire}, {"chunks", Form::chunks}};

inline std::map<std::string, Form> const output_forms = {
    {"tcl", Form::tcl},   {"wire", Form::wire}, {"chunks", Form::chunks},
    {"json", Form::json}, {"xml", Form::xml},   {"dump", Form::dump}};
