/// The work of the verbs over NATS. Where libtmsg-nats is not built, without_nats.cpp takes the
/// place of the files that need it.
#pragma once

#include <tmsg/tmsg.h>

#include <chrono>
#include <memory>
#include <string>

#include "forms/form_reader.h"
#include "forms/writer.h"
#include "nats/place.h"
#include "net/answering.h"
#include "net/load.h"
#include "net/traffic_lines.h"

/// Throws Failure when the program is built without NATS.
void check_nats_is_built(std::string const& address);

/// Makes one call and returns the answer. Adds the files that it brings to `files`. Throws Failure
/// when there is no answer in time, and Interrupted.
std::unique_ptr<Message> call_over_nats(Load_plan const& plan, Temporary_files& files);

/// Does what Load does, over one connection. Throws what call_over_nats() throws.
Load_result load_over_nats(Load_plan const& plan);

struct Nats_serving {
    Nats_place place;
    std::string group;  ///< the usual one of the library when empty
    Answer_method method = echo;
    Message_printer printer;
    std::chrono::milliseconds delay{0};
    Tm_limits limits;
};

/// Serves until SIGINT, SIGTERM or SIGHUP comes, and then finishes the requests that it has. Throws
/// Failure when it cannot connect or standard output fails.
void serve_over_nats(Nats_serving& serving);

struct Nats_watching {
    Nats_place place;
    std::string inboxes;   ///< what the names of all inboxes begin with
    std::string captures;  ///< a folder, or empty
    Traffic_lines lines;
    Tm_limits limits;
};

/// Shows the traffic of the subject until SIGINT, SIGTERM or SIGHUP comes. Throws what
/// serve_over_nats() throws.
void watch_nats(Nats_watching& watching);
