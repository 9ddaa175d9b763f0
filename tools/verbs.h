/// The verbs of the program, one function for each. All throw Failure, and what the library throws.
/// They write nothing after an exception.
#pragma once

#include <string>

#include "output.h"

struct Convert_options {
    std::string file;
    Form from = Form::tcl;
    Form to = Form::tcl;
    Writing writing;
    Tm_limits limits;
};

struct Inspect_options {
    std::string file;
    Form from = Form::chunks;
    Tm_limits limits;
};

struct Call_options {
    std::string address;
    std::string file;
    Form from = Form::tcl;
    Form to = Form::tcl;
    Writing writing;
    Tm_limits limits;
    double timeout = 10;  ///< seconds for the whole call
};

struct Serve_options {
    unsigned short port = 0;
    Form to = Form::tcl;
    Writing writing;
    std::string reply;
    Tm_limits limits;
    double idle = 60;  ///< seconds
};

void convert(Convert_options const& options);
void inspect(Inspect_options const& options);
void peek(std::string const& file);
void call(Call_options const& options);
/// Returns when SIGINT, SIGTERM or SIGHUP comes. Prints nothing when there is no standard output.
void serve(Serve_options const& options);
