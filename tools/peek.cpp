/// The verb peek: prints the method name of a request in the wire form.
#include <tmsg/tmsg.h>

#include <algorithm>
#include <string>

#include "input.h"
#include "output.h"
#include "system.h"
#include "verbs.h"

/// Reads little more than the head of the input. Skips all request tags before the name.
void peek(std::string const& file) {
    constexpr char call_tag = 0;
    constexpr char name_tag = 1;
    Input input(file);
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
        return flush_output();
    }
    throw Failure("no method name at the head of the input");
}
