/// A worker or a client in a process of its own, which a test may kill.
///     peer worker URL SUBJECT      works until it is killed; prints a line when it is ready
///     peer client URL SUBJECT FILE calls test.size with the file and its content
///     peer download URL SUBJECT N  calls test.give for an answer of N bytes
#include <unistd.h>

#include <cstdio>

#include "methods.h"

namespace {

using namespace std::chrono_literals;

void serve(Tm_nats_service_options options) {
    options.window = 2;
    options.chunk_size = 16384;
    Tm_nats_service service(options);
    add_methods(service);
    service.start();
    std::puts("ready");
    std::fflush(stdout);
    while (true) ::pause();
}

int call(Tm_nats_caller_options const& options, bool is_download, std::string const& what) {
    Tm_nats_caller caller(options);
    Message request = is_download ? give_request(string_to_uint32(what.c_str())) : size_request(content_of(what), what);
    auto const answer = caller.call(request, std::chrono::steady_clock::now() + 20s);
    return answer != nullptr ? 0 : 1;
}

}  // namespace

int main(int, char** words) {
    std::string const mode = words[1];
    if (mode == "worker") {
        Tm_nats_service_options options;
        options.servers = {words[2]};
        options.subject = words[3];
        serve(options);
    }
    Tm_nats_caller_options options;
    options.servers = {words[2]};
    options.subject = words[3];
    options.chunk_size = 16384;
    options.window = 2;
    return call(options, mode == "download", words[4]);
}
