/// Makes the rows of a message value by value, so that all values before the damage of a message
/// are shown.
#include "forms/tree.h"

#include <charconv>
#include <exception>
#include <utility>
#include <vector>

#include "forms/wire_reader.h"
#include "io/terminal.h"

namespace {

constexpr long tree_capacity = 4096;
/// Texts and byte strings with more bytes than these are cut.
constexpr std::size_t most_text = 64;
constexpr std::size_t most_bytes = 16;

}  // namespace

std::string text_of(Tree_row const& row) {
    std::string text = painted(Colour::cyan, row.label);
    if (!row.label.empty() && !row.type.empty()) text += ' ';
    return text + painted(Colour::green, row.type) + row.rest;
}

void Tree_rows::open(Tree_row row) {
    close();
    row_ = std::move(row);
    is_open_ = true;
}

void Tree_rows::end(std::size_t end) {
    if (!is_open_) return sink_.end(end);
    row_.end = end;
    close();
}

void Tree_rows::close() {
    if (!is_open_) return;
    is_open_ = false;
    sink_.row(row_);
}

/// A creator that passes each event to another creator and makes rows of the values that it builds.
class Tree_printer : public Tm_creator_base {
public:
    /// `decoder` is the decoder that sends the events. The printer gets the offsets from it.
    Tree_printer(Tm_creator& builder, Tree_rows& rows, Tm_bin_decoder_base const& decoder);

    // clang-format off
    bool visit_method_begin(bool is_request) override;
    bool visit_method_end(bool is_request) override;
    bool visit_fault_begin() override;
    bool visit_fault_end() override { return pass<&Tm_creator::visit_fault_end>(); }
    bool visit_method_name_begin(unsigned int length) override;
    bool visit_method_name_continue(char const* data, unsigned int length) override;
    bool visit_bool(bool value) override { return pass<&Tm_creator::visit_bool>(value) && put(TMV_BOOL, value ? "true" : "false", sizeof(unsigned char)); }
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
    bool visit_member_end() override;
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

    /// Passes on what has arrived of an incomplete value. Returns the position behind it, or that
    /// of the item that failed.
    std::size_t finish();

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
    bool put(TMV type, std::string_view text, std::size_t size);
    bool in_struct() const;
    std::size_t item_offset() const { return static_cast<std::size_t>(decoder_.item_offset()); }
    void open_row(std::string_view type);
    void end_value(std::size_t size);
    std::string next_label();
    bool enter(Kind kind, std::string_view type);
    bool leave();
    bool begin_bytes(TMV type, unsigned int length);
    bool add_bytes(char const* data, unsigned int length);
    void end_bytes();
    std::size_t size_of_bytes() const;

    Tm_creator& builder_;
    Tree_rows& rows_;
    Tm_bin_decoder_base const& decoder_;
    std::vector<Level> levels_;
    std::vector<std::vector<std::string>> name_tables_;  ///< one for each open message
    std::string name_;                                   ///< the name of the current member
    std::size_t member_offset_ = 0;
    TMV bytes_type_ = TMV_STRING;
    unsigned int bytes_length_ = 0;
    unsigned int bytes_left_ = 0;
    std::string bytes_;
    bool in_bytes_ = false;
};

Tree_printer::Tree_printer(Tm_creator& builder, Tree_rows& rows, Tm_bin_decoder_base const& decoder)
    : builder_(builder), rows_(rows), decoder_(decoder) {}

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
    return put(Tm_plain<Number>::code, {text, static_cast<std::size_t>(end - text)}, sizeof value);
}

/// `size` is the number of bytes behind the tag.
bool Tree_printer::put(TMV type, std::string_view text, std::size_t size) {
    open_row(Tm_value::tmv_to_string(type));
    rows_.add(" ");
    rows_.add(text);
    end_value(1 + size);
    return true;
}

bool Tree_printer::in_struct() const {
    return !levels_.empty() &&
           (levels_.back().kind == Kind::group || levels_.back().kind == Kind::structure);
}

/// Ends the row of a value, of which the last item has `size` bytes. A member ends later, with the
/// item behind its value.
void Tree_printer::end_value(std::size_t size) {
    if (!in_struct()) rows_.end(item_offset() + size);
}

void Tree_printer::open_row(std::string_view type) {
    Tree_row row;
    row.value = item_offset();
    row.begin = in_struct() ? member_offset_ : row.value;
    row.depth = static_cast<int>(levels_.size());
    row.label = next_label();
    row.type = type;
    rows_.open(std::move(row));
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
    open_row(type);
    levels_.push_back({kind});
    return true;
}

bool Tree_printer::leave() {
    if (levels_.back().children == 0)
        rows_.add(levels_.back().kind == Kind::group ? ": empty" : ", empty");
    levels_.pop_back();
    end_value(1);
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
    end_value(1);
    return true;
}

bool Tree_printer::visit_fault_begin() {
    if (!pass<&Tm_creator::visit_fault_begin>()) return false;
    rows_.set_type("fault");
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
    if (bytes_left_ == 0) rows_.add(" " + shortened(name_, most_text));
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
    member_offset_ = item_offset();
    name_.clear();
    return true;
}

bool Tree_printer::visit_member_continue(char const* data, unsigned int length) {
    if (!pass<&Tm_creator::visit_member_continue>(data, length)) return false;
    name_.append(data, length);
    return true;
}

bool Tree_printer::visit_member_end() {
    if (!pass<&Tm_creator::visit_member_end>()) return false;
    rows_.end(item_offset() + 1);
    return true;
}

bool Tree_printer::visit_member_begin_with_index(unsigned short index) {
    if (!pass<&Tm_creator::visit_member_begin_with_index>(index)) return false;
    member_offset_ = item_offset();
    name_ = name_tables_.back().at(index);
    return true;
}

bool Tree_printer::visit_member_continue_with_index(unsigned short index) {
    return pass<&Tm_creator::visit_member_continue_with_index>(index);
}

bool Tree_printer::begin_bytes(TMV type, unsigned int length) {
    open_row(Tm_value::tmv_to_string(type));
    rows_.add("[" + std::to_string(length) + "]");
    bytes_type_ = type;
    bytes_length_ = bytes_left_ = length;
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
    if (bytes_type_ == TMV_STRING) rows_.add(" " + quoted(bytes_, most_text));
    if (bytes_type_ == TMV_BINARY) rows_.add(" " + hexadecimal(bytes_, most_bytes));
    if (bytes_left_ != 0) rows_.add(", incomplete");
    if (levels_.back().is_name_table) name_tables_.back().push_back(bytes_);
    if (bytes_left_ == 0) end_value(size_of_bytes());
}

/// Returns the number of bytes of the string, binary or file that have arrived, with its head.
std::size_t Tree_printer::size_of_bytes() const {
    bool const has_short_length = bytes_type_ == TMV_STRING;
    return (has_short_length ? 3 : 5) + std::size_t{bytes_length_} - bytes_left_;
}

std::size_t Tree_printer::finish() {
    std::size_t const end = item_offset() + (in_bytes_ ? size_of_bytes() : 0);
    if (in_bytes_) end_bytes();
    rows_.close();
    return end;
}

Tree_decoder::Tree_decoder(std::unique_ptr<Tree_sink> sink, Tm_limits const& limits)
    : Tm_bin_decoder_base(tree_capacity, limits), sink_(std::move(sink)), rows_(*sink_) {
    Tree_decoder::init();
}

Tree_decoder::~Tree_decoder() { tm_remove_received_files(builder_->received_files()); }

void Tree_decoder::init() {
    Tm_bin_decoder_base::init();
    builder_ = std::make_unique<Tm_creator>(&message_, limits());
    auto printer = std::make_unique<Tree_printer>(*builder_, rows_, *this);
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
    bool const is_cut = error().empty();
    if (is_cut) error_offset_ = place_of_end(*this, fed_);
    finalize();
    std::size_t const end = printer_->finish();
    sink_->finish(is_cut ? fed_ : end);
}
