#include <cstdio>
#include <memory>

#include "chunk_input.h"
#include "output.h"
#include "read_message.h"
#include "verbs.h"

namespace {

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// Nothing may be printed before all is read, so the dump waits in a file.
void dump_wire(Input& input) {
    std::unique_ptr<std::FILE, Closer> const dump(std::tmpfile());
    if (dump == nullptr) throw Failure::of_system("failed to make a temporary file");
    Temporary_files files;
    {
        Tm_bin_decoder_to_text decoder(input_block, dump.get());
        read_message(input, Form::wire, files, &decoder);
        decoder.finalize();
        if (!decoder.error().empty()) throw Failure(decoder.error());
    }
    std::rewind(dump.get());
    char block[input_block];
    for (std::size_t got = 0; (got = std::fread(block, 1, sizeof block, dump.get())) != 0;) {
        write_output({block, got});
    }
    if (std::ferror(dump.get()) != 0) throw Failure::of_system("failed to read a temporary file");
}

void convert_message(Input& input, Convert_options const& options) {
    Temporary_files files;
    auto const message = read_message(input, options.from, files);
    if (!is_text(options.to)) prepare_names(*message, options.writing.names);
    write_message(*message, options.to, options.writing);
}

}  // namespace

void convert(Convert_options const& options) {
    Input input(options.file);
    if (options.from == Form::wire && options.to == Form::dump) {
        dump_wire(input);
    } else {
        convert_message(input, options);
    }
    if (is_text(options.to)) {
        end_text_output();
    } else {
        flush_output();
    }
}
