#include "tmsg/value/tm_text.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t smallest_block = 48;
constexpr std::size_t largest_block = 1 << 16;

}  // namespace

/// Each block is a quarter larger than the last one, so that a fifth is wasted at most.
std::size_t Tm_texts::room_for(std::size_t size) const {
    std::size_t const grown = last_ == nullptr ? smallest_block : last_->room + last_->room / 4;
    return std::max(size, std::min(grown, largest_block));
}

Tm_texts::Block* Tm_texts::make_block(std::size_t size) const {
    std::size_t const room = room_for(size);
    auto* const block = static_cast<Block*>(::operator new(sizeof(Block) + room));
    *block = {last_, 0, room, nullptr};
    return block;
}

/// Keeps the last block in use if it has more room left than the new one.
Tm_texts::Block* Tm_texts::add_block(std::size_t size) {
    Block* const block = make_block(size);
    bool const goes_behind = last_ != nullptr && last_->lender == nullptr &&
                             block->room - size < last_->room - last_->used;
    if (goes_behind) {
        block->previous = last_->previous;
        last_->previous = block;
    } else {
        last_ = block;
    }
    return block;
}

std::size_t Tm_texts::allocated() const {
    std::size_t sum = 0;
    for (Block* block = last_; block != nullptr && block->lender == nullptr;
         block = block->previous)
        sum += sizeof(Block) + block->room;
    return sum;
}

void Tm_texts::reserve(std::size_t bytes) {
    if (bytes == 0 || (last_ != nullptr && bytes <= last_->room - last_->used)) return;
    last_ = make_block(bytes);
}

void Tm_texts::lend(void* memory, std::size_t room, Tm_shared_block& lender) {
    last_ = ::new (memory) Block{nullptr, 0, room, &lender};
}

void Tm_texts::take(Tm_texts& other) noexcept {
    Block* const lent = other.lent_block();
    if (lent != nullptr && lent->previous == nullptr) {
        lent->lender->keep();
        lent->previous = lent;
    }
    last_ = std::exchange(other.last_, nullptr);
}

Tm_texts::Block* Tm_texts::lent_block() const {
    Block* block = last_;
    while (block != nullptr && block->lender == nullptr) block = block->previous;
    return block;
}

void Tm_texts::free_blocks() noexcept {
    while (last_ != nullptr && last_->lender == nullptr) {
        Block* const block = last_;
        last_ = block->previous;
        ::operator delete(block);
    }
    if (last_ != nullptr && last_->previous == last_) last_->lender->drop();
    last_ = nullptr;
}
