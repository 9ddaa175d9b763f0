/// Reads messages from a file or from standard input in any form:
///
///     Input input(path);
///     Message_reader reader(input, Form::automatic, limits);
///     while (auto const message = reader.next()) use(*message);
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <memory>
#include <string>

#include "forms/chunk_reader.h"
#include "forms/form.h"
#include "forms/form_reader.h"
#include "forms/place.h"
#include "io/input.h"
#include "io/output.h"

/// Tells the forms apart by the first bytes of the input. Takes no bytes. Throws Failure for an
/// empty input, and what Input::peek() throws.
Form guess_form(Input& input);

/// The form of an input.
class Input_form {
public:
    /// Guesses the form if it is automatic. Throws Failure for an empty input, and what
    /// Input::peek() throws.
    Input_form(Input& input, Form form);

    Form form() const { return form_; }
    /// Returns the text that an error gets. It is empty unless the form was guessed.
    std::string hint() const;

private:
    Form form_;
    bool is_guessed_;
};

/// Returns the error at that place of the input, with the name of the input.
Failure failure_at(Input const& input, Place const& place, std::string const& text);

/// Reads the messages of an input, one after another.
class Message_reader {
public:
    /// The input must outlive the reader. Guesses the form if it is automatic. Throws what
    /// Input_form throws.
    Message_reader(Input& input, Form form, Tm_limits const& limits);

    /// Returns the form of the input, which is not automatic.
    Form form() const { return form_.form(); }

    /// Returns the next message, or null at the end. Removes the files that the last message
    /// brought. `sink`, if there is one, gets the bytes of an input in the wire form. Throws
    /// Failure with the name of the input and the place, also for an input without any message.
    std::unique_ptr<Message> next(Wire_sink const& sink = {});

    /// Calls `use`, which uses the last message. Adds the name of the input and the place of the
    /// message to an error. Output_failure passes unchanged.
    template <class Use>
    void use_message(Use use) const {
        try {
            use();
        } catch (std::exception const& error) {
            throw failure(text_of(error));
        }
    }
    /// Returns an error in the last message, with the name of the input and the place of the
    /// message.
    Failure failure(std::string const& text) const;
    /// Returns the owner of the files of the last message.
    Temporary_files& files() { return files_; }

private:
    Input& input_;
    Input_form form_;
    Temporary_files files_;
    std::unique_ptr<Form_reader> reader_;
    bool is_empty_ = true;
};

/// Reads the whole input, which must hold one message and nothing else. Adds the files that it
/// brings to `files`. Throws what Message_reader throws.
std::unique_ptr<Message> read_message(Input& input, Form form, Temporary_files& files,
                                      Tm_limits const& limits);
