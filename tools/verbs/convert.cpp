/// The verb convert: reads messages and writes them in another form.
#include "forms/reader.h"
#include "forms/writer.h"
#include "verbs/files.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Convert_options {
    std::vector<std::string> files;
    Form from = Form::automatic;
    Form to = Form::tcl;
    Writing writing;
    Tm_limits limits;
};

/// Dumps the input itself, not messages that were made from it.
void dump_wire(Message_reader& reader, Convert_options const& options, Message_writer& writer) {
    while (true) {
        Dump dump(options.limits, options.writing.max_text);
        if (!reader.next([&](auto... bytes) { dump.add(bytes...); })) return;
        reader.use_message([&] { writer.write(dump); });
    }
}

void convert_messages(Message_reader& reader, Convert_options const& options,
                      Message_writer& writer) {
    while (auto const message = reader.next()) {
        reader.use_message([&] {
            if (has_wire_names(options.to)) prepare_names(*message, options.writing.names);
            writer.write(*message);
        });
    }
}

void convert_file(Input& input, Convert_options const& options, Message_writer& writer) {
    Message_reader reader(input, options.from, options.limits);
    bool const is_dumped = options.to == Form::dump && reader.form() == Form::wire;
    (is_dumped ? dump_wire : convert_messages)(reader, options, writer);
}

int convert(Convert_options const& options) {
    Message_writer writer(options.to, options.writing);
    int const status =
        for_each_file(options.files, [&](Input& input) { convert_file(input, options, writer); });
    writer.finish();
    return status;
}

}  // namespace

void add_convert(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Convert_options>();
    CLI::App& verb = *app.add_subcommand("convert", "Read messages and write them in another form");
    Writing& writing = chosen->writing;
    add_from(verb, chosen->from);
    add_to(verb, chosen->to, writing)->required();
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
    add_files(verb, chosen->files, "files with messages");
    set_work(verb, work, chosen, convert);
}
