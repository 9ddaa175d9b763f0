/// The dump of a message's wire form. It waits in a temporary file until all of it is there, for a
/// failed conversion prints nothing.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <cstdio>
#include <memory>

class Dump {
public:
    /// At most `max_text` bytes of dump. Throws Failure when there is no temporary file.
    Dump(Tm_limits const& limits, unsigned long max_text);

    /// The next bytes of the wire form. False: write() will throw.
    bool add(unsigned char const* data, std::size_t size);
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
