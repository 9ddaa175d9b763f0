#include "tree_decoder.h"

#include <new>
#include <utility>

#include "tree_printer.h"

namespace {

constexpr long capacity = 4096;

}  // namespace

Tree_decoder::Tree_decoder(Tree_lines::Offsets offsets, Tree_lines::Sink sink,
                           Tm_limits const& limits)
    : Tm_bin_decoder_base(capacity, limits), lines_(offsets, std::move(sink)) {
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

void Tree_decoder::feed(unsigned char const* data, std::size_t size) {
    if (!error().empty()) return;
    fed_ += static_cast<long>(size);
    try {
        tm_feed(*this, data, size);
    } catch (std::bad_alloc const&) {
        // Its text has become the error.
    }
    error_offset_ = item_offset();
}

void Tree_decoder::finish() {
    bool const is_between_items =
        error().empty() && state() == 0 && read_position() == end_position();
    finalize();
    if (is_between_items) error_offset_ = fed_;
    printer_->finish();
}
