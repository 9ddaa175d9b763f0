/// The verb inspect: shows the chunks and messages of files, and the place of any damage.
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "forms/capture.h"
#include "forms/page_view.h"
#include "forms/reader.h"
#include "forms/text_view.h"
#include "forms/tree.h"
#include "forms/view.h"
#include "forms/wire_reader.h"
#include "forms/writer.h"
#include "io/output.h"
#include "io/system.h"
#include "verbs/files.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Inspect_options {
    std::vector<std::string> files;
    Form from = Form::automatic;
    bool is_page = false;
    Tm_limits limits;
};

std::optional<Damage> feed_message(Tree_decoder& decoder, Byte_source& source) {
    try {
        bool is_complete = false;
        while (!is_complete && decoder.error().empty()) {
            std::string_view const bytes = source.peek();
            if (bytes.empty()) break;
            source.take(decoder.feed_message(bytes));
            is_complete = decoder.is_complete();
        }
    } catch (Damage const& damage) {
        return damage;
    }
    return {};
}

/// Shows the next message of the wire form as its bytes arrive. Returns the damage, if there is
/// any.
std::optional<Damage> show_wire_message(Byte_source& source, Tm_limits const& limits, View& view) {
    std::size_t const begin = source.offset();
    Tree_decoder decoder(view.begin_wire_message(begin), limits);
    auto damage = feed_message(decoder, source);
    decoder.finish();
    std::size_t const place = begin + decoder.error_offset();
    if (!damage && !decoder.error().empty()) damage = Damage(at_byte(place), decoder.error());
    if (damage) {
        view.damage(place, "damaged at byte " + std::to_string(place) + ": " + damage->what());
    }
    return damage;
}

/// The result of showing an input.
struct Shown {
    std::optional<Damage> damage;
    bool has_sound_message = false;
};

Shown show_wire(Byte_source& source, Tm_limits const& limits, View& view) {
    Shown shown;
    source.watch([&view](std::string_view taken) { view.bytes(taken); });
    while (!source.peek().empty()) {
        shown.damage = show_wire_message(source, limits, view);
        if (shown.damage) break;
        shown.has_sound_message = true;
    }
    return shown;
}

Shown show_chunks(Input& input, Tm_limits const& limits, View& view) {
    input.watch([&view](std::string_view taken) { view.bytes(taken); });
    Capture capture(input, limits, view);
    auto const damage = capture.show();
    return {damage, capture.has_sound_message()};
}

/// Shows the trees of messages in a text form. Their bytes are not in the input, so there are no
/// offsets.
void show_texts(Input& input, Inspect_options const& options, View& view) {
    Message_reader reader(input, options.from, options.limits);
    while (auto const message = reader.next()) {
        reader.use_message([&] {
            prepare_names(*message, Names::as_received);
            Tree_decoder decoder(view.begin_text_message(), no_limits());
            tm_encode(*message, [&](unsigned char const* data, std::size_t size) {
                std::string_view const bytes(reinterpret_cast<char const*>(data), size);
                decoder.feed(bytes);
                view.bytes(bytes);
                return true;
            });
            decoder.finish();
        });
    }
}

Shown show_bytes(Input& input, Form form, Tm_limits const& limits, View& view) {
    if (form == Form::chunks) return show_chunks(input, limits, view);
    if (form == Form::wire) return show_wire(input, limits, view);
    Hex_source bytes(input);
    return show_wire(bytes, limits, view);
}

void show_file(Input& input, Input_form const& form, Inspect_options const& options, View& view) {
    if (form.form() == Form::tcl || form.form() == Form::typed_json) {
        return show_texts(input, options, view);
    }
    auto const [damage, has_sound_message] = show_bytes(input, form.form(), options.limits, view);
    std::string const hint = has_sound_message ? "" : form.hint();
    if (damage) throw Damage(damage->place(), damage->what() + hint);
}

void inspect_file(Input& input, Inspect_options const& options, View& view) {
    Input_form const form(input, options.from);
    try {
        show_file(input, form, options, view);
    } catch (Damage const& damage) {
        throw failure_at(input, damage.place(), damage.what());
    }
}

std::unique_ptr<View> make_view(Inspect_options const& options) {
    if (options.is_page) return std::make_unique<Page_view>(options.files.size());
    return std::make_unique<Text_view>(options.files.size() > 1);
}

int inspect(Inspect_options const& options) {
    auto const view = make_view(options);
    int const status = for_each_file(options.files, [&](Input& input) {
        view->begin_input(input.name());
        try {
            inspect_file(input, options, *view);
        } catch (std::exception const& error) {
            view->end_input(text_of(error));
            throw;
        }
        view->end_input("");
    });
    view->finish();
    flush_output();
    return status;
}

void add_view(CLI::App& verb, bool& is_page) {
    auto const choose = [&is_page](std::string const& form) {
        if (form != "text" && form != "html") {
            throw CLI::ValidationError("--to",
                                       "no such form: " + form + "; choose from html, text");
        }
        is_page = form == "html";
    };
    verb.add_option_function<std::string>("-t,--to", choose,
                                          "form of the output, by default text: html, text")
        ->type_name("FORM");
}

}  // namespace

void add_inspect(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Inspect_options>();
    CLI::App& verb =
        *app.add_subcommand("inspect", "Show the chunks and messages of captures and other files");
    add_from(verb, chosen->from);
    add_view(verb, chosen->is_page);
    add_limits(verb, chosen->limits);
    add_files(verb, chosen->files, "files to show");
    set_work(verb, work, chosen, inspect);
}
