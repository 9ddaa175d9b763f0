/// One of the workers of the demo of a cluster. It tells what each parcel has in it.
#include <unistd.h>

#include <iostream>
#include <thread>

#include "../arguments.h"
#include "../stop_signals.h"
#include "parcel.h"
#include "seen.h"

namespace {

/// Stands for the time that real work takes.
constexpr std::chrono::milliseconds work{20};

char const usage[] =
    "Usage: tmsg_nats_worker [--name NAME] SERVER...\n"
    "Answers parcel.receive for the callers at the servers, nats://HOST:PORT. Prints \"ready\", "
    "and\n"
    "then a line for each request: \"ran\", or \"again\" for a repeated request that gets its "
    "first\n"
    "answer again; its identity; and its bytes. SIGINT and SIGTERM end it. Also: --help,\n"
    "--version.\n";

/// Writes the line as a whole, so that a process that is killed leaves whole lines.
void print(std::string const& line) {
    if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) std::cerr << "cannot write\n";
}

unsigned long bytes_of(Message const& answer) {
    auto const receipt = tm_from_struct<Receipt>(answer.get_const_struct(Message::TMG_BODY));
    return receipt.numbers.bytes + receipt.texts.bytes + receipt.blob.bytes + receipt.file.bytes;
}

void run(Tm_nats_service_options const& options, std::string const& name) {
    sigset_t const signals = block_stop_signals();
    // The answers may be large.
    Seen_requests seen(200, std::chrono::minutes(1));
    Tm_nats_service service(options);
    service.on("parcel.receive", [&](Message const& request, Tm_nats_request const& about) {
        bool is_first = false;
        auto const receive = [&](Message const& parcel) {
            is_first = true;
            std::this_thread::sleep_for(work);
            Message answer;
            answer.get_struct(Message::TMG_BODY) = tm_to_struct(receive_parcel(parcel, name));
            return answer;
        };
        Message answer = seen.once(receive)(request, about);
        print((is_first ? "ran " : "again ") + std::string(about.id) + ' ' +
              std::to_string(bytes_of(answer)) + '\n');
        return answer;
    });
    service.start();
    print("ready\n");
    int signal = 0;
    ::sigwait(&signals, &signal);
    service.drain(std::chrono::seconds(5));
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = read_arguments(argc, argv, "name", usage);
    if (arguments.rest.empty()) refuse_arguments("a server is needed");
    try {
        Tm_nats_service_options options;
        options.servers.assign(arguments.rest.begin(), arguments.rest.end());
        options.subject = "demo.parcels";
        options.threads = 4;
        run(options, arguments.value == nullptr ? "" : arguments.value);
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "tmsg_nats_worker: " << error.what() << '\n';
        return 1;
    }
}
