/// The verb convert: reads one message and writes it in another form.
#include "input.h"
#include "output.h"
#include "verbs.h"

namespace {

/// Dumps the input itself, not a message that was made from it.
void dump_wire(Input& input, Convert_options const& options) {
    Temporary_files files;
    Dump dump(options.limits, options.writing.max_text);
    read_message(input, Form::wire, files, options.limits, &dump);
    dump.write();
}

void convert_message(Input& input, Convert_options const& options) {
    Temporary_files files;
    auto const message = read_message(input, options.from, files, options.limits);
    if (!is_text(options.to)) prepare_names(*message, options.writing.names);
    write_message(*message, options.to, options.writing);
}

}  // namespace

void convert(Convert_options const& options) {
    Input input(options.file);
    if (options.from == Form::wire && options.to == Form::dump) {
        dump_wire(input, options);
    } else {
        convert_message(input, options);
    }
    end_output(options.to);
}
