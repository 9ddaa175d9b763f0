/// tmsg, the program that shows and converts messages.
#include <csignal>
#include <exception>

#include "command_line.h"
#include "failure.h"
#include "interrupt.h"

int main(int argc, char** argv) {
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
