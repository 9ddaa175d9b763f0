/// Prints the tree of a message value by value, so that all values before the damage of a message
/// are shown.
#include "forms/tree.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <new>
#include <utility>
#include <vector>

#include "forms/wire_reader.h"
#include "io/terminal.h"

namespace {

/// The indent grows up to this depth only, so that a deep tree does not flood the terminal.
constexpr int deepest_indent = 40;
constexpr long capacity = 4096;
/// Texts and byte strings with more bytes than these are cut.
constexpr std::size_t most_text = 64;
constexpr std::size_t most_bytes = 16;

}  // namespace

Tree_lines::Tree_lines(Offsets offsets, Sink sink, std::size_t begin)
    : offsets_(offsets), sink_(std::move(sink)), begin_(begin) {}

void Tree_lines::open(long offset, int depth, std::string_view label, std::string_view type) {
    close();
    is_open_ = true;
    if (offsets_ == Offsets::shown) {
        char column[32];
        std::snprintf(column, sizeof column, "%8zu  ", begin_ + static_cast<std::size_t>(offset));
        front_ = painted(Colour::dim, column);
    }
    front_.append(2 * static_cast<std::size_t>(std::min(depth, deepest_indent)), ' ');
    front_ += painted(Colour::cyan, label);
    if (!label.empty() && !type.empty()) front_ += ' ';
    type_ = type;
}

void Tree_lines::close() {
    if (!is_open_) return;
    sink_(front_ + painted(Colour::green, type_) + rest_ + '\n');
    is_open_ = false;
    front_.clear();
    rest_.clear();
}

/// A creator that passes each event to another creator and prints the values that it builds.
class Tree_printer : public Tm_creator_base {
public:
    /// `decoder` is the decoder that sends the events. The printer gets the offsets from it.
    Tree_printer(Tm_creator& builder, Tree_lines& lines, Tm_bin_decoder_base const& decoder);

    // clang-format off
    bool visit_method_begin(bool is_request) override;
    bool visit_method_end(bool is_request) override;
    bool visit_fault_begin() override;
    bool visit_fault_end() override { return pass<&Tm_creator::visit_fault_end>(); }
    bool visit_method_name_begin(unsigned int length) override;
    bool visit_method_name_continue(char const* data, unsigned int length) override;
    bool visit_bool(bool value) override { return pass<&Tm_creator::visit_bool>(value) && put(TMV_BOOL, value ? "true" : "false"); }
    bool visit_int8(signed char value) override { return put_number(value); }
    bool visit_uint8(unsigned char value) override { return put_number(value); }
    bool visit_int16(short value) override { return put_number(value); }
    bool visit_uint16(unsigned short value) override { return put_number(value); }
    bool visit_int32(int value) override { return put_number(value); }
    bool visit_uint32(unsigned int value) override { return put_number(value); }
    bool visit_int64(long value) override { return put_number(value); }
    bool visit_uint64(unsigned long value) override { return put_number(value); }
    bool visit_double(double value) override { return put_number(value); }
    bool visit_string_begin(unsigned int length) override { return pass<&Tm_creator::visit_string_begin>(length) && begin_bytes(TMV_STRING, length); }
    bool visit_string_continue(char const* data, unsigned int length) override { return pass<&Tm_creator::visit_string_continue>(data, length) && add_bytes(data, length); }
    bool visit_binary_begin(unsigned int length) override { return pass<&Tm_creator::visit_binary_begin>(length) && begin_bytes(TMV_BINARY, length); }
    bool visit_binary_continue(char const* data, unsigned int length) override { return pass<&Tm_creator::visit_binary_continue>(data, length) && add_bytes(data, length); }
    bool visit_struct_begin() override;
    bool visit_struct_end() override { return pass<&Tm_creator::visit_struct_end>() && leave(); }
    bool visit_member_begin(unsigned int length) override;
    bool visit_member_continue(char const* data, unsigned int length) override;
    bool visit_member_end() override { return pass<&Tm_creator::visit_member_end>(); }
    bool visit_array_begin() override;
    bool visit_array_end() override { return pass<&Tm_creator::visit_array_end>() && leave(); }
    using Tm_visitor::visit_file_begin;
    bool visit_file_begin(unsigned int length) override { return pass<static_cast<bool (Tm_creator::*)(unsigned int)>(&Tm_creator::visit_file_begin)>(length) && begin_bytes(TMV_FILE, length); }
    using Tm_visitor::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override { return pass<static_cast<bool (Tm_creator::*)(char const*, unsigned int)>(&Tm_creator::visit_file_continue)>(data, length) && add_bytes(data, length); }
    // clang-format on

    bool done() override { return builder_.done(); }
    bool support_member_with_index() override { return builder_.support_member_with_index(); }
    bool visit_member_begin_with_index(unsigned short index) override;
    bool visit_member_continue_with_index(unsigned short index) override;

    /// Prints the part of an incomplete value that has arrived.
    void finish();

private:
    enum class Kind { message, group, structure, array };
    struct Level {
        Kind kind;
        int children = 0;
        bool is_name_table = false;
    };

    template <auto Event, class... Datum>
    bool pass(Datum... datum);
    template <class Number>
    bool put_number(Number value);
    bool put(TMV type, std::string_view text);
    void open_line(std::string_view type);
    std::string next_label();
    bool enter(Kind kind, std::string_view type);
    bool leave();
    bool begin_bytes(TMV type, unsigned int length);
    bool add_bytes(char const* data, unsigned int length);
    void end_bytes();

    Tm_creator& builder_;
    Tree_lines& lines_;
    Tm_bin_decoder_base const& decoder_;
    std::vector<Level> levels_;
    std::vector<std::vector<std::string>> name_tables_;  ///< one for each open message
    std::string name_;                                   ///< the name of the current member
    long member_offset_ = 0;
    TMV bytes_type_ = TMV_STRING;
    unsigned int bytes_left_ = 0;
    std::string bytes_;
    bool in_bytes_ = false;
};

Tree_printer::Tree_printer(Tm_creator& builder, Tree_lines& lines,
                           Tm_bin_decoder_base const& decoder)
    : builder_(builder), lines_(lines), decoder_(decoder) {}

/// Passes the event to the builder. Returns true when the builder took it, so that it must be
/// printed.
template <auto Event, class... Datum>
bool Tree_printer::pass(Datum... datum) {
    (builder_.*Event)(datum...);
    error_ = builder_.error();
    return error_.empty();
}

template <class Number>
bool Tree_printer::put_number(Number value) {
    if (!pass<Tm_plain<Number>::event>(value)) return false;
    char text[40];
    auto const end = std::to_chars(text, text + sizeof text, value).ptr;
    return put(Tm_plain<Number>::code, {text, static_cast<std::size_t>(end - text)});
}

bool Tree_printer::put(TMV type, std::string_view text) {
    open_line(Tm_value::tmv_to_string(type));
    lines_.add(" ");
    lines_.add(text);
    return true;
}

void Tree_printer::open_line(std::string_view type) {
    bool const in_struct = !levels_.empty() && (levels_.back().kind == Kind::group ||
                                                levels_.back().kind == Kind::structure);
    long const offset = in_struct ? member_offset_ : decoder_.item_offset();
    std::string const label = next_label();
    lines_.open(offset, static_cast<int>(levels_.size()), label, type);
}

std::string Tree_printer::next_label() {
    if (levels_.empty()) return {};
    Level& parent = levels_.back();
    int const number = parent.children++;
    switch (parent.kind) {
        case Kind::message:
            return number == 0 ? "meta" : "body";
        case Kind::array:
            return "[" + std::to_string(number) + "]";
        default:
            return (name_.empty() ? "\"\"" : shortened(name_, most_text)) + ":";
    }
}

bool Tree_printer::enter(Kind kind, std::string_view type) {
    open_line(type);
    levels_.push_back({kind});
    return true;
}

bool Tree_printer::leave() {
    if (levels_.back().children == 0)
        lines_.add(levels_.back().kind == Kind::group ? ": empty" : ", empty");
    levels_.pop_back();
    return true;
}

bool Tree_printer::visit_method_begin(bool is_request) {
    if (!pass<&Tm_creator::visit_method_begin>(is_request)) return false;
    name_tables_.emplace_back();
    return enter(Kind::message, is_request ? "request" : "response");
}

bool Tree_printer::visit_method_end(bool is_request) {
    if (!pass<&Tm_creator::visit_method_end>(is_request)) return false;
    name_tables_.pop_back();
    levels_.pop_back();
    return true;
}

bool Tree_printer::visit_fault_begin() {
    if (!pass<&Tm_creator::visit_fault_begin>()) return false;
    lines_.set_type("fault");
    return true;
}

bool Tree_printer::visit_method_name_begin(unsigned int length) {
    if (!pass<&Tm_creator::visit_method_name_begin>(length)) return false;
    name_.clear();
    bytes_left_ = length;
    return true;
}

bool Tree_printer::visit_method_name_continue(char const* data, unsigned int length) {
    if (!pass<&Tm_creator::visit_method_name_continue>(data, length)) return false;
    name_.append(data, length);
    bytes_left_ -= length;
    if (bytes_left_ == 0) lines_.add(" " + shortened(name_, most_text));
    return true;
}

bool Tree_printer::visit_struct_begin() {
    if (!pass<&Tm_creator::visit_struct_begin>()) return false;
    bool const is_group = levels_.back().kind == Kind::message;
    return enter(is_group ? Kind::group : Kind::structure, is_group ? "" : "struct");
}

bool Tree_printer::visit_array_begin() {
    if (!pass<&Tm_creator::visit_array_begin>()) return false;
    bool const in_meta = levels_.back().kind == Kind::group && levels_.end()[-2].children == 1;
    enter(Kind::array, "array");
    levels_.back().is_name_table =
        in_meta && Message::is_name_table(name_) && name_tables_.back().empty();
    return true;
}

bool Tree_printer::visit_member_begin(unsigned int length) {
    if (!pass<&Tm_creator::visit_member_begin>(length)) return false;
    member_offset_ = decoder_.item_offset();
    name_.clear();
    return true;
}

bool Tree_printer::visit_member_continue(char const* data, unsigned int length) {
    if (!pass<&Tm_creator::visit_member_continue>(data, length)) return false;
    name_.append(data, length);
    return true;
}

bool Tree_printer::visit_member_begin_with_index(unsigned short index) {
    if (!pass<&Tm_creator::visit_member_begin_with_index>(index)) return false;
    member_offset_ = decoder_.item_offset();
    name_ = name_tables_.back().at(index);
    return true;
}

bool Tree_printer::visit_member_continue_with_index(unsigned short index) {
    return pass<&Tm_creator::visit_member_continue_with_index>(index);
}

bool Tree_printer::begin_bytes(TMV type, unsigned int length) {
    open_line(Tm_value::tmv_to_string(type));
    lines_.add("[" + std::to_string(length) + "]");
    bytes_type_ = type;
    bytes_left_ = length;
    bytes_.clear();
    in_bytes_ = true;
    return true;
}

/// Keeps all of a string, because the string may be a name of the name table.
bool Tree_printer::add_bytes(char const* data, unsigned int length) {
    if (bytes_type_ == TMV_STRING || bytes_.size() <= most_bytes) bytes_.append(data, length);
    bytes_left_ -= length;
    if (bytes_left_ == 0) end_bytes();
    return true;
}

void Tree_printer::end_bytes() {
    in_bytes_ = false;
    if (bytes_type_ == TMV_STRING) lines_.add(" " + quoted(bytes_, most_text));
    if (bytes_type_ == TMV_BINARY) lines_.add(" " + hexadecimal(bytes_, most_bytes));
    if (bytes_left_ != 0) lines_.add(", incomplete");
    if (levels_.back().is_name_table) name_tables_.back().push_back(bytes_);
}

void Tree_printer::finish() {
    if (in_bytes_) end_bytes();
    lines_.close();
}

Tree_decoder::Tree_decoder(Tree_lines::Offsets offsets, Tree_lines::Sink sink,
                           Tm_limits const& limits, std::size_t begin)
    : Tm_bin_decoder_base(capacity, limits), lines_(offsets, std::move(sink), begin) {
    Tree_decoder::init();
}

Tree_decoder::~Tree_decoder() { tm_remove_received_files(builder_->received_files()); }

void Tree_decoder::init() {
    Tm_bin_decoder_base::init();
    builder_ = std::make_unique<Tm_creator>(&message_, limits());
    auto printer = std::make_unique<Tree_printer>(*builder_, lines_, *this);
    printer_ = printer.get();
    creator_ = std::move(printer);
}

template <class Call>
void Tree_decoder::decode_by(Call call) {
    try {
        call();
    } catch (std::exception const&) {
        // The text of the exception is the error text of the decoder now.
    }
    error_offset_ = static_cast<std::size_t>(item_offset());
}

void Tree_decoder::feed(std::string_view bytes) {
    if (!error().empty()) return;
    auto const* const data = reinterpret_cast<unsigned char const*>(bytes.data());
    decode_by([&] { Tm_bin_decoder_base::feed(data, bytes.size()); });
    fed_ += bytes.size();
}

std::size_t Tree_decoder::feed_message(std::string_view bytes) {
    auto const* const data = reinterpret_cast<unsigned char const*>(bytes.data());
    std::size_t taken = bytes.size();
    decode_by([&] { taken = Tm_bin_decoder_base::feed_message(data, bytes.size()); });
    fed_ += taken;
    return taken;
}

void Tree_decoder::finish() {
    if (error().empty()) error_offset_ = place_of_end(*this, fed_);
    finalize();
    printer_->finish();
}
