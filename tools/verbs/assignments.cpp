/// Takes assignments from the command line.
#include "verbs/assignments.h"

#include <utility>

#include "io/system.h"

/// An option for many texts would split a text in brackets at its commas.
void add_further_assignments(CLI::App& verb,
                             std::function<void(std::vector<Assignment> further)> take) {
    verb.allow_extras();
    verb.parse_complete_callback([&verb, take = std::move(take)] {
        std::vector<Assignment> further;
        for (auto const& text : verb.remaining()) {
            if (text == "--") continue;
            if (text.substr(0, 1) == "-") throw CLI::ExtrasError({text});
            further.push_back(read_assignment(text));
        }
        take(std::move(further));
    });
}

Assignment read_assignment(std::string const& text) {
    try {
        return Assignment(text);
    } catch (Failure const& failure) {
        throw CLI::ValidationError(failure.what());
    }
}
