#include "forms/page_view.h"

#include <functional>
#include <utility>

#include "io/output.h"
#include "io/terminal.h"
#include "page/page.h"

namespace {

/// Bytes are written in elements of about this size.
constexpr std::size_t bytes_block = 48 << 10;

/// Returns a text as a string of JSON, which cannot end the element that it stands in.
std::string json_string(std::string_view text) {
    std::string result = "\"";
    for (char const c : text) {
        if (c == '"' || c == '\\') result += '\\';
        if (c == '\t') {
            result += "\\t";
        } else if (c == '<' || static_cast<unsigned char>(c) < ' ') {
            result += "\\u00";
            append_hex(result, static_cast<unsigned char>(c));
        } else {
            result += c;
        }
    }
    return result + '"';
}

std::string escaped_html(std::string_view text) {
    std::string result;
    for (char const c : text) {
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else {
            result += c;
        }
    }
    return result;
}

std::string base64(std::string_view bytes) {
    constexpr char const* digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result;
    result.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        unsigned int bits = 0;
        for (std::size_t i = at; i < at + 3; ++i) {
            bits = bits << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0);
        }
        for (unsigned int shift = 24; shift > 0; shift -= 6) {
            result += digits[bits >> (shift - 6) & 63];
        }
    }
    std::size_t const missing = (3 - bytes.size() % 3) % 3;
    result.replace(result.size() - missing, missing, missing, '=');
    return result;
}

/// Makes the records of a message.
class Row_records : public Tree_sink {
public:
    using Write = std::function<void(std::string_view)>;

    explicit Row_records(Write write) : write_(std::move(write)) {}

    void row(Tree_row const& row) override {
        std::string const size = row.end ? std::to_string(*row.end - row.begin) : "-";
        write_("r " + std::to_string(row.depth) + ' ' + std::to_string(row.begin) + ' ' +
               std::to_string(row.value - row.begin) + ' ' + size + ' ' +
               json_string(row.label + '\t' + row.type + '\t' + row.rest) + '\n');
    }
    void end(std::size_t end) override { write_("e " + std::to_string(end) + '\n'); }
    void finish(std::size_t end) override { write_("x " + std::to_string(end) + '\n'); }

private:
    Write write_;
};

}  // namespace

void Page_view::begin_page(std::string const& name) const {
    std::string const others = inputs_ > 1 ? " and " + std::to_string(inputs_ - 1) + " more" : "";
    write_output(page_until_title);
    write_output(escaped_html(printable(name) + others));
    write_output(page_until_inputs);
}

void Page_view::begin_input(std::string const& name) {
    if (!has_begun_) begin_page(name);
    has_begun_ = true;
    size_ = 0;
    write_output("<section class=\"input\">\n<h2>" + escaped_html(printable(name)) + "</h2>\n");
}

void Page_view::end_input(std::string_view failure) {
    write_bytes();
    end_records();
    if (!failure.empty()) {
        write_output(R"(<p class="failure" role="alert">)" + escaped_html(printable(failure)) +
                     "</p>\n");
    }
    write_output("</section>\n");
}

void Page_view::finish() {
    if (has_begun_) write_output(page_until_end);
}

void Page_view::bytes(std::string_view bytes) {
    size_ += bytes.size();
    waiting_ += bytes;
    if (waiting_.size() >= bytes_block) write_bytes();
}

void Page_view::write_bytes() {
    if (waiting_.empty()) return;
    end_records();
    write_output(R"(<script type="text/plain" class="bytes">)" + base64(waiting_) + "</script>\n");
    waiting_.clear();
}

void Page_view::write_records(std::string_view records) {
    if (!in_records_) write_output("<script type=\"text/plain\" class=\"records\">\n");
    in_records_ = true;
    write_output(records);
}

void Page_view::end_records() {
    if (in_records_) write_output("</script>\n");
    in_records_ = false;
}

std::unique_ptr<Tree_sink> Page_view::begin_message(char kind, std::size_t place) {
    write_records(std::string(1, kind) + ' ' + std::to_string(place) + '\n');
    return std::make_unique<Row_records>(
        [this](std::string_view record) { write_records(record); });
}

std::unique_ptr<Tree_sink> Page_view::begin_wire_message(std::size_t offset) {
    return begin_message('w', offset);
}

std::unique_ptr<Tree_sink> Page_view::begin_text_message() { return begin_message('t', size_); }

void Page_view::chunk(std::size_t offset, Tm_header const&, std::string const& error) {
    write_records("c " + std::to_string(offset) + ' ' + json_string(error) + '\n');
}

std::unique_ptr<Tree_sink> Page_view::collect(std::string& rows) {
    return std::make_unique<Row_records>([&rows](std::string_view record) { rows += record; });
}

void Page_view::end_message(Ended_message const& message) {
    write_records("m " + std::to_string(message.seq_no) + ' ' + json_string(text_of(message)) +
                  '\n');
    write_records(message.rows);
}

void Page_view::damage(std::size_t place, std::string const& text) {
    write_records("d " + std::to_string(place) + ' ' + json_string(printable(text)) + '\n');
}
