/// What all connections to NATS servers have in common.
#pragma once

#include <tmsg/nats/tm_nats.h>

#include "nats/place.h"

/// Sets the server, and the user of the address.
inline void set_place(Nats_place const& place, Tm_nats_connection& options) {
    options.servers = {place.server};
    options.name = "tmsg";
    if (place.password.empty()) {
        options.token = place.user;
    } else {
        options.user = place.user;
        options.password = place.password;
    }
}
