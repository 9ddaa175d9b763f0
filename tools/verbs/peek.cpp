/// The verb peek: prints the method name of a request in the wire form.
#include <tmsg/tmsg.h>

#include <algorithm>
#include <string>

#include "forms/reader.h"
#include "forms/writer.h"
#include "io/system.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Peek_options {
    std::string file;
};

/// Reads little more than the head of the input. Skips all request tags before the name.
int peek(Peek_options const& options) {
    constexpr char call_tag = 0;
    constexpr char name_tag = 1;
    Input input(options.file);
    std::string head;
    char block[4096];
    while (head.empty() || head.front() == name_tag) {
        std::size_t const got = input.read(block, sizeof block);
        if (got == 0) break;
        head.append(block, got);
        head.erase(0, std::min(head.find_first_not_of(call_tag), head.size()));
        Tm_message_peek_decoder decoder(reinterpret_cast<unsigned char const*>(head.data()),
                                        static_cast<long>(head.size()));
        if (!decoder.complete() || !decoder.decode()) continue;
        write_output(decoder.method_name() + "\n");
        flush_output();
        return exit_good;
    }
    throw Failure("no method name at the head of the input");
}

}  // namespace

void add_peek(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Peek_options>();
    CLI::App& verb =
        *app.add_subcommand("peek", "Print the method name of a request in the wire form");
    add_file(verb, chosen->file, "file with the request");
    set_work(verb, work, chosen, peek);
}
