/// The verb inspect: shows the chunks and messages of a capture, and the place of any damage.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "forms/reader.h"
#include "forms/tree.h"
#include "forms/writer.h"
#include "io/system.h"
#include "io/terminal.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Inspect_options {
    std::string file;
    Form from = Form::chunks;
    Tm_limits limits;
};

/// Holds texts that grow in turn, and writes them to standard output later. They wait in one
/// temporary file.
class Spool {
public:
    class Text {
        friend class Spool;

        struct Part {
            long offset;
            std::size_t size;
        };
        std::vector<Part> parts_;  ///< the parts in the file
        std::string rest_;         ///< the text after them
    };

    /// All throw Failure when the temporary file cannot be made, written or read.
    void append(Text& text, std::string_view more);
    /// Moves the text from memory to the file.
    void put_away(Text& text);
    void write(Text const& text);

private:
    Temporary_file file_;
    long size_ = 0;
};

/// A text with this many bytes in memory moves to the file.
constexpr std::size_t most_in_memory = 4096;

void expect(bool is_done) {
    if (!is_done) throw Failure::of_system("failed to use a temporary file");
}

void Spool::append(Text& text, std::string_view more) {
    text.rest_ += more;
    if (text.rest_.size() >= most_in_memory) put_away(text);
}

void Spool::put_away(Text& text) {
    if (text.rest_.empty()) return;
    if (!file_) file_ = open_temporary_file();
    std::size_t const size = text.rest_.size();
    text.parts_.push_back({size_, size});
    expect(std::fwrite(text.rest_.data(), 1, size, file_.get()) == size);
    size_ += static_cast<long>(size);
    std::string().swap(text.rest_);
}

void Spool::write(Text const& text) {
    char block[most_in_memory];
    for (auto const& part : text.parts_) {
        expect(std::fseek(file_.get(), part.offset, SEEK_SET) == 0);
        for (std::size_t left = part.size; left > 0;) {
            std::size_t const size = std::min(left, sizeof block);
            expect(std::fread(block, 1, size, file_.get()) == size);
            write_output({block, size});
            left -= size;
        }
    }
    write_output(text.rest_);
}

/// The captured chunks of any number of messages. It prints a table of the chunks as it reads them,
/// then each message as a tree.
class Capture {
public:
    explicit Capture(Tm_limits const& limits) : limits_(limits) {}

    /// Reads all chunks and writes the table. Notes the first damage as error().
    void read(Input& input);
    void write_trees();
    /// Returns the text of the first error, which is empty when there was none.
    std::string const& error() const { return error_; }

private:
    /// The texts that are printed for a message. Messages are in the order of their first chunks.
    struct Tree {
        std::string title;
        Spool::Text lines;
        std::string damage;
    };
    struct Unfinished {
        std::unique_ptr<Tree_decoder> decoder;
        Tree* tree = nullptr;
        std::size_t chunks = 0;
        std::size_t bytes = 0;
        std::size_t last_offset = 0;  ///< the offset of the last chunk that was decoded
    };
    using Messages = std::map<unsigned int, Unfinished>;
    using Step = Tm_chunk_reader::Step;

    void take(Step step, Tm_chunk_reader const& chunk);
    void begin_chunk(Tm_chunk_reader const& chunk);
    void add_payload(Unfinished& message, Tm_chunk_reader const& chunk);
    void begin_message(unsigned int seq_no);
    /// Ends the tree of a message. Notes the error that the decoder had before, or else `error`.
    void end_message(Messages::iterator message, std::string const& error);
    void note(std::string const& error);

    Tm_limits limits_;
    Spool lines_;  ///< the lines of all trees
    Messages unfinished_;
    std::vector<std::unique_ptr<Tree>> trees_;
    std::size_t row_ = 0;
    std::string error_;
};

void write_row(std::size_t row, Tm_chunk_reader const& chunk, std::string const& error) {
    if (row == 1) write_output(" chunk     offset   length  first  last  port   sequence\n");
    Tm_header const& header = chunk.header();
    char text[160];
    std::snprintf(text, sizeof text, "%6zu %10zu %8u  %-5s  %-4s %5u %10u", row, chunk.offset(),
                  header.get_length(), header.get_first_chunk() ? "first" : "-",
                  header.get_last_chunk() ? "last" : "-", header.get_tmport(), header.get_seq_no());
    write_output(text);
    if (!error.empty()) write_output(painted(Colour::red, "  " + error));
    write_output("\n");
}

void Capture::note(std::string const& error) {
    if (error_.empty()) error_ = error;
}

void Capture::read(Input& input) {
    std::string missing = Tm_chunk_reader::NO_LAST_CHUNK;
    try {
        Chunk_input chunks(input);
        for (Step step; (step = chunks.next()) != Step::need_input;) take(step, chunks.reader());
    } catch (Failure const& failure) {
        missing = failure.what();
        note(missing);
        write_output(painted(Colour::red, missing) + "\n");
    }
    while (!unfinished_.empty()) end_message(unfinished_.begin(), missing);
}

void Capture::take(Step step, Tm_chunk_reader const& chunk) {
    if (step == Step::header) begin_chunk(chunk);
    auto const found = unfinished_.find(chunk.header().get_seq_no());
    if (found == unfinished_.end()) return;
    if (step == Step::payload) add_payload(found->second, chunk);
    if (step == Step::end && chunk.header().get_last_chunk()) end_message(found, "");
}

void Capture::begin_chunk(Tm_chunk_reader const& chunk) {
    Tm_header const& header = chunk.header();
    unsigned int const seq_no = header.get_seq_no();
    auto const found = unfinished_.find(seq_no);
    bool const is_known = found != unfinished_.end();
    bool const is_first = header.get_first_chunk();
    if (is_first && is_known) end_message(found, Tm_chunk_reader::NO_LAST_CHUNK);
    std::string const error = tm_chunk_error(header, is_known, unfinished_.size(), limits_);
    write_row(++row_, chunk, error);
    note(error);
    if (!error.empty()) return;
    if (is_first) begin_message(seq_no);
    ++unfinished_[seq_no].chunks;
}

void Capture::add_payload(Unfinished& message, Tm_chunk_reader const& chunk) {
    message.bytes += chunk.payload_size();
    if (!message.decoder->error().empty()) return;
    message.last_offset = chunk.offset();
    message.decoder->feed(chunk.payload(), chunk.payload_size());
    note(message.decoder->error());
}

void Capture::begin_message(unsigned int seq_no) {
    trees_.push_back(std::make_unique<Tree>());
    Unfinished& message = unfinished_[seq_no];
    message.tree = trees_.back().get();
    message.decoder = std::make_unique<Tree_decoder>(
        Tree_lines::Offsets::hidden,
        [this, tree = message.tree](std::string_view text) { lines_.append(tree->lines, text); },
        limits_);
}

void Capture::end_message(Messages::iterator message, std::string const& error) {
    Unfinished& ended = message->second;
    Tree& tree = *ended.tree;
    bool const is_damaged = !ended.decoder->error().empty();
    ended.decoder->finish();
    tree.title = "message " + std::to_string(message->first) + ": " + std::to_string(ended.bytes) +
                 " bytes in " + std::to_string(ended.chunks) +
                 (ended.chunks == 1 ? " chunk" : " chunks");
    tree.damage = error.empty() || is_damaged ? ended.decoder->error() : error;
    if (!tree.damage.empty()) {
        note(tree.damage);
        tree.damage = "damaged at byte " + std::to_string(ended.decoder->error_offset()) +
                      " of the message, chunk at byte " + std::to_string(ended.last_offset) + ": " +
                      tree.damage;
    }
    unfinished_.erase(message);
    lines_.put_away(tree.lines);
}

void Capture::write_trees() {
    for (auto const& tree : trees_) {
        write_output("\n" + tree->title + "\n");
        lines_.write(tree->lines);
        if (!tree->damage.empty()) write_output(painted(Colour::red, tree->damage) + "\n");
    }
}

/// Returns the error text, which is empty when there is no error.
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

int inspect(Inspect_options const& options) {
    Input input(options.file);
    std::string const error = options.from == Form::wire ? inspect_wire(input, options.limits)
                                                         : inspect_chunks(input, options.limits);
    flush_output();
    if (!error.empty()) throw Failure(error);
    return exit_good;
}

}  // namespace

void add_inspect(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Inspect_options>();
    CLI::App& verb = *app.add_subcommand("inspect", "Show the chunks and messages of a capture");
    Forms static const forms = {{"wire", Form::wire}, {"chunks", Form::chunks}};
    add_form(verb, "--from", "form of the input, by default chunks", chosen->from, forms);
    add_limits(verb, chosen->limits);
    add_file(verb, chosen->file, "file with the capture");
    set_work(verb, work, chosen, inspect);
}
