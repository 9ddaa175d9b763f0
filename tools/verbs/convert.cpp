/// The verb convert: reads one message and writes it in another form.
#include "forms/reader.h"
#include "forms/writer.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Convert_options {
    std::string file;
    Form from = Form::tcl;
    Form to = Form::tcl;
    Writing writing;
    Tm_limits limits;
};

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

int convert(Convert_options const& options) {
    Input input(options.file);
    if (options.from == Form::wire && options.to == Form::dump) {
        dump_wire(input, options);
    } else {
        convert_message(input, options);
    }
    end_output(options.to);
    return exit_good;
}

}  // namespace

void add_convert(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Convert_options>();
    CLI::App& verb =
        *app.add_subcommand("convert", "Read one message and write it in another form");
    Writing& writing = chosen->writing;
    add_form(verb, "--from", "form of the input", chosen->from, input_forms)->required();
    add_form(verb, "--to", "form of the output", chosen->to, output_forms)->required();
    add_chunk_size(verb, writing);
    add_number(verb, "--limit", "bytes after which JSON and list text are cut", writing.limit, 0U,
               ~0U);
    add_number(verb, "--seq", "sequence number in the chunk headers", writing.seq_no, 0U,
               Tm_header::MAX_SEQ_NO);
    add_number(verb, "--port", "port byte in the chunk headers", writing.port, 0U, 255U);
    auto* const by_index = verb.add_flag_callback(
        "--names-by-index", [&writing] { writing.names = Names::by_index; },
        "write member names by index");
    verb.add_flag_callback(
            "--names", [&writing] { writing.names = Names::as_text; },
            "write all member names as text")
        ->excludes(by_index);
    add_max_text(verb, writing.max_text, "none");
    add_limits(verb, chosen->limits);
    add_file(verb, chosen->file, "file with the message");
    set_work(verb, work, chosen, convert);
}
