/// tmsg, the program that shows and converts messages.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>

#include "command_line.h"
#include "failure.h"
#include "interrupt.h"

namespace {

/// A descriptor 0, 1 or 2 that is closed would be given to a file or socket of the program's own.
void occupy_standard_descriptors() {
    for (int const descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        bool const is_open = ::fcntl(descriptor, F_GETFD) != -1;
        if (!is_open) ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace

int main(int argc, char** argv) {
    occupy_standard_descriptors();
    // Both are errors of the call that meets them.
    for (int const number : {SIGPIPE, SIGXFSZ}) std::signal(number, SIG_IGN);
    Command const command = read_command_line(argc, argv);
    if (!command.run) return command.exit_status;
    watch_interrupts();
    try {
        command.run();
        return exit_good;
    } catch (Interrupted const&) {
        end_by_interrupt();
    } catch (std::exception const& error) {
        report(text_of(error));
    }
    return exit_failure;
}
