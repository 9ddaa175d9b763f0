#include <string>

#include "capture.h"
#include "output.h"
#include "style.h"
#include "tree_decoder.h"
#include "verbs.h"

namespace {

/// Answers the error text.
std::string inspect_wire(Input& input, Tm_limits const& limits) {
    Tree_decoder decoder(Tree_lines::Offsets::shown, write_output, limits);
    unsigned char block[input_block];
    for (std::size_t got = 0;
         decoder.error().empty() && (got = input.read(block, sizeof block)) != 0;) {
        decoder.feed(block, got);
    }
    decoder.finish();
    if (decoder.error().empty()) return {};
    std::string const offset = std::to_string(decoder.error_offset());
    write_output(painted(Colour::red, "damaged at byte " + offset + ": " + decoder.error()) + "\n");
    return decoder.error();
}

std::string inspect_chunks(Input& input, Tm_limits const& limits) {
    Capture capture(limits);
    capture.read(input);
    capture.write_trees();
    return capture.error();
}

}  // namespace

void inspect(Inspect_options const& options) {
    Input input(options.file);
    std::string const error = options.from == Form::wire ? inspect_wire(input, options.limits)
                                                         : inspect_chunks(input, options.limits);
    flush_output();
    if (!error.empty()) throw Failure(error);
}
