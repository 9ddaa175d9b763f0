/// The dump of a message's wire form. It waits in a temporary file until all of it is there, for a
/// failed conversion prints nothing.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <cstdio>
#include <memory>

class Dump {
public:
    /// Throws Failure when there is no temporary file.
    explicit Dump(Tm_limits const& limits);

    /// The next bytes of the wire form.
    void add(unsigned char const* data, std::size_t size);
    /// Writes the dump to standard output. Throws Failure for bytes that are no wire form and when
    /// reading or writing fails.
    void write();

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, Closer> file_;
    Tm_bin_decoder_to_text decoder_;
};
