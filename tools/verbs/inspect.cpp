/// The verb inspect: shows the chunks and messages of files, and the place of any damage.
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "forms/capture.h"
#include "forms/reader.h"
#include "forms/tree.h"
#include "forms/wire_reader.h"
#include "forms/writer.h"
#include "io/terminal.h"
#include "verbs/files.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Inspect_options {
    std::vector<std::string> files;
    Form from = Form::automatic;
    Tm_limits limits;
};

/// Shows the next message of the wire form as its bytes arrive. Returns the damage, if there is
/// any.
std::optional<Damage> show_wire_message(Byte_source& source, Tm_limits const& limits) {
    std::size_t const begin = source.offset();
    Tree_decoder decoder(Tree_lines::Offsets::shown, write_output, limits, begin);
    bool is_complete = false;
    while (!is_complete && decoder.error().empty()) {
        std::string_view const bytes = source.peek();
        if (bytes.empty()) break;
        source.take(decoder.feed_message(bytes));
        is_complete = decoder.is_complete();
    }
    decoder.finish();
    if (decoder.error().empty()) return {};
    std::size_t const place = begin + decoder.error_offset();
    write_output(
        painted(Colour::red, "damaged at byte " + std::to_string(place) + ": " + decoder.error()) +
        "\n");
    return Damage(at_byte(place), decoder.error());
}

std::optional<Damage> show_wire(Byte_source& source, Tm_limits const& limits) {
    std::optional<Damage> damage;
    for (bool is_first = true; !damage && !source.peek().empty(); is_first = false) {
        if (!is_first) write_output("\n");
        damage = show_wire_message(source, limits);
    }
    return damage;
}

/// Shows the trees of messages in a text form. Their bytes are not in the input, so there are no
/// offsets.
void show_texts(Input& input, Inspect_options const& options) {
    Message_reader reader(input, options.from, options.limits);
    Tm_limits none;  // the message was within its limits when it was read
    none.max_depth = ~0U;
    none.max_message_bytes = ~0UL;
    for (bool is_first = true; auto const message = reader.next(); is_first = false) {
        if (!is_first) write_output("\n");
        reader.use_message([&] {
            prepare_names(*message, Names::as_received);
            Tree_decoder decoder(Tree_lines::Offsets::hidden, write_output, none);
            tm_encode(*message, [&](unsigned char const* data, std::size_t size) {
                decoder.feed({reinterpret_cast<char const*>(data), size});
                return true;
            });
            decoder.finish();
        });
    }
}

std::optional<Damage> show_bytes(Input& input, Form form, Tm_limits const& limits) {
    if (form == Form::chunks) return Capture(input, limits).show();
    if (form == Form::wire) return show_wire(input, limits);
    Hex_source bytes(input);
    return show_wire(bytes, limits);
}

void inspect_file(Input& input, Inspect_options const& options) {
    Input_form const form(input, options.from);
    if (form.form() == Form::tcl || form.form() == Form::typed_json) {
        return show_texts(input, options);
    }
    auto const damage = show_bytes(input, form.form(), options.limits);
    if (damage) throw failure_at(input, damage->place(), damage->what() + form.hint());
}

int inspect(Inspect_options const& options) {
    bool is_first = true;
    int const status = for_each_file(options.files, [&](Input& input) {
        if (options.files.size() > 1) {
            write_output((is_first ? "==> " : "\n==> ") + printable(input.name()) + " <==\n");
        }
        is_first = false;
        inspect_file(input, options);
    });
    flush_output();
    return status;
}

}  // namespace

void add_inspect(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Inspect_options>();
    CLI::App& verb =
        *app.add_subcommand("inspect", "Show the chunks and messages of captures and other files");
    add_from(verb, chosen->from);
    add_limits(verb, chosen->limits);
    add_files(verb, chosen->files, "files to show");
    set_work(verb, work, chosen, inspect);
}
