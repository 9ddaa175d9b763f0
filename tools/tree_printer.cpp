#include "tree_printer.h"

#include <algorithm>
#include <charconv>

#include "printable.h"

namespace {

/// What is shown of longer ones.
constexpr std::size_t most_text = 64;
constexpr std::size_t most_bytes = 16;

}  // namespace

Tree_printer::Tree_printer(Tm_creator& builder, Tree_lines& lines,
                           Tm_bin_decoder_base const& decoder)
    : builder_(builder), lines_(lines), decoder_(decoder) {}

/// True: the builder took the event, which is to be printed.
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
    levels_.back().is_name_table = in_meta && name_ == "catalog" && name_tables_.back().empty();
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

/// Strings are kept whole, for they may be names of the table.
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
