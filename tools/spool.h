/// Texts that grow in turn and are written to standard output later. They wait in one temporary
/// file.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class Spool {
public:
    class Text {
        friend class Spool;

        struct Part {
            long offset;
            std::size_t size;
        };
        std::vector<Part> parts_;  ///< in the file
        std::string rest_;         ///< behind them
    };

    /// All throw Failure when the temporary file fails.
    void append(Text& text, std::string_view more);
    /// Nothing of the text stays in memory.
    void put_away(Text& text);
    void write(Text const& text);

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, Closer> file_;
    long size_ = 0;
};
