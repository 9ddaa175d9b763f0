// A user's program with libtmsg-nats, which needs no header of libnats.
#include <cstdio>
#include <string>

#include "tmsg/nats/tm_nats.h"

int main() {
    Tm_nats_caller_options options;
    options.subject = "shop";
    options.servers = {"nats://127.0.0.1:1"};
    try {
        Tm_nats_caller const caller(options);
    } catch (Tm_nats_exception const& error) {
        return std::string(error.what()).rfind("cannot connect to nats://127.0.0.1:1: ", 0) == 0 ? 0 : 1;
    }
    return std::puts("connected to nothing"), 1;
}
