/// tmsg, the program that shows and converts messages.
#include <csignal>
#include <exception>
#include <new>

#include "command_line.h"
#include "failure.h"
#include "interrupt.h"

int main(int argc, char** argv) {
    Command const command = read_command_line(argc, argv);
    if (!command.run) return command.exit_status;
    std::signal(SIGPIPE, SIG_IGN);
    watch_interrupts();
    try {
        command.run();
        return exit_good;
    } catch (Interrupted const&) {
        end_by_interrupt();
    } catch (std::bad_alloc const&) {
        report("out of memory");
    } catch (std::exception const& error) {
        report(error.what());
    }
    return exit_failure;
}
