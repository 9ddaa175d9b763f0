/// Texts that know their length, and their storage. A text is a pointer to its first byte, like a C
/// string. In memory, its length (4 bytes) comes before the first byte, and a zero byte comes after
/// the last one:
///
///     length | bytes ... | 0
///              ^ the text
///
/// A parameter with the name `text` is such a pointer, unless its function says otherwise.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>

/// The number of bytes before a text that hold its length.
constexpr std::size_t tm_text_prefix = sizeof(std::uint32_t);

/// Returns the bytes of memory that a text of `length` bytes takes.
constexpr std::size_t tm_text_size(std::size_t length) { return tm_text_prefix + length + 1; }

/// Returns the length of a text in bytes, without the zero byte.
inline std::uint32_t tm_text_length(char const* text) {
    std::uint32_t length = 0;
    std::memcpy(&length, text - tm_text_prefix, sizeof length);
    return length;
}

/// Returns a view of a text. It is valid as long as the text.
inline std::string_view tm_text_view(char const* text) { return {text, tm_text_length(text)}; }

/// Makes a text in tm_text_size(length) bytes of memory: writes the length and the zero byte.
/// Returns the text. The caller must write its `length` bytes.
inline char* tm_begin_text(void* memory, std::size_t length) {
    auto const prefix = static_cast<std::uint32_t>(length);
    std::memcpy(memory, &prefix, sizeof prefix);
    char* const text = static_cast<char*>(memory) + tm_text_prefix;
    text[length] = '\0';
    return text;
}

/// The most bytes that the functions below compare and copy without a call.
constexpr std::size_t tm_short_text = 16;

/// Returns whether the bytes are equal. `size` must be at most tm_short_text.
inline bool tm_equal_short(char const* a, char const* b, std::size_t size) {
    auto const differ = [&](auto word, std::size_t at) {
        auto other = word;
        std::memcpy(&word, a + at, sizeof word);
        std::memcpy(&other, b + at, sizeof other);
        return word != other;
    };
    if (size >= 8) return !differ(std::uint64_t{}, 0) && !differ(std::uint64_t{}, size - 8);
    if (size >= 4) return !differ(std::uint32_t{}, 0) && !differ(std::uint32_t{}, size - 4);
    for (std::size_t i = 0; i < size; ++i) {
        if (a[i] != b[i]) return false;
    }
    return true;
}

/// Returns whether the bytes are equal. It is faster than memcmp for few bytes, as names have.
inline bool tm_equal_bytes(char const* a, char const* b, std::size_t size) {
    return size > tm_short_text ? std::memcmp(a, b, size) == 0 : tm_equal_short(a, b, size);
}

/// Copies bytes that do not overlap. It is faster than memcpy for few bytes.
inline void tm_copy_bytes(char* to, char const* from, std::size_t size) {
    auto const copy_ends = [&](auto first) {
        auto last = first;
        std::memcpy(&first, from, sizeof first);
        std::memcpy(&last, from + size - sizeof last, sizeof last);
        std::memcpy(to, &first, sizeof first);
        std::memcpy(to + size - sizeof last, &last, sizeof last);
    };
    if (size > tm_short_text) {
        std::memcpy(to, from, size);
    } else if (size >= 8) {
        copy_ends(std::uint64_t{});
    } else if (size >= 4) {
        copy_ends(std::uint32_t{});
    } else {
        for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
    }
}

/// Returns whether a text has the same bytes as `other`.
inline bool tm_text_equals(char const* text, std::string_view other) {
    return tm_text_length(text) == other.size() && tm_equal_bytes(text, other.data(), other.size());
}

/// Returns a view of a C string, which is no text as above. For null, its data() is null.
inline std::string_view tm_view(char const* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

/// The head of a block of memory that has several users. It counts them, and the last one frees the
/// block.
class Tm_shared_block {
public:
    void keep() noexcept { users_.fetch_add(1, std::memory_order_relaxed); }
    /// The object must have come from the global operator new.
    void drop() noexcept {
        bool const is_last = users_.load(std::memory_order_acquire) == 1 ||
                             users_.fetch_sub(1, std::memory_order_acq_rel) == 1;
        if (is_last) ::operator delete(this);
    }

private:
    std::atomic<std::size_t> users_{1};
};

/// Stores texts in a few blocks of memory, which it owns. No operation moves a text. A text is
/// valid until clear() or the destructor of the Tm_texts that owns it. Single texts cannot be
/// removed.
class Tm_texts {
public:
    /// Owns no block. Allocates nothing.
    Tm_texts() = default;
    Tm_texts(Tm_texts const&) = delete;
    Tm_texts& operator=(Tm_texts const&) = delete;
    ~Tm_texts() { clear(); }

    /// Adds a text and returns it. The caller must write its `length` bytes.
    char* add(std::size_t length) {
        std::size_t const size = tm_text_size(length);
        Block* block = last_;
        if (block == nullptr || size > block->room - block->used) block = add_block(size);
        void* const memory = block->bytes() + block->used;
        block->used += size;
        return tm_begin_text(memory, length);
    }
    /// Adds a copy of the bytes as a text and returns it.
    char* add(std::string_view bytes) {
        char* const text = add(bytes.size());
        if (!bytes.empty()) std::memcpy(text, bytes.data(), bytes.size());
        return text;
    }

    /// Returns the sum of tm_text_size() over all texts.
    std::size_t size() const {
        std::size_t sum = 0;
        for (Block const* block = last_; block != nullptr; block = block->next())
            sum += block->used;
        return sum;
    }

    /// Returns the number of bytes that add(length) would allocate. It is 0 when the last block has
    /// room.
    std::size_t growth(std::size_t length) const {
        std::size_t const size = tm_text_size(length);
        bool const has_room = last_ != nullptr && size <= last_->room - last_->used;
        return has_room ? 0 : sizeof(Block) + room_for(size);
    }

    /// Returns the number of bytes of all blocks that this object has allocated.
    std::size_t allocated() const;

    /// Makes room, in one block, for texts whose tm_text_size() adds up to `bytes`.
    void reserve(std::size_t bytes);

    /// Returns the bytes of memory that lend() needs for `room` bytes of texts.
    static constexpr std::size_t lent_size(std::size_t room) { return sizeof(Block) + room; }
    /// Uses lent_size(room) bytes of memory, a part of the lender, as the first block. Call it
    /// before anything is added. The lender must outlive this, but not the texts: take() makes the
    /// new owner of the texts a user of the lender.
    void lend(void* memory, std::size_t room, Tm_shared_block& lender);

    /// Takes all texts of `other`, which has none afterwards. This must have none. All texts stay
    /// valid.
    void take(Tm_texts& other) noexcept;
    /// Frees the text if nothing was added after it, or else its block if `is_used(begin, end)`
    /// returns false for the memory of all texts in it. Other texts stay where they are.
    template <class Is_used>
    void remove(char const* text, Is_used is_used) noexcept {
        char* const begin = const_cast<char*>(text) - tm_text_prefix;
        std::size_t const size = tm_text_size(tm_text_length(text));
        if (last_ != nullptr && begin + size == last_->bytes() + last_->used) {
            last_->used -= size;
            return;
        }
        Block** at = &last_;
        while (*at != nullptr && (*at)->lender == nullptr && !(*at)->has(begin)) {
            at = &(*at)->previous;
        }
        Block* const block = *at;
        bool const is_own = block != nullptr && block->lender == nullptr;
        if (!is_own || is_used(block->bytes(), block->bytes() + block->used)) return;
        *at = block->previous;
        ::operator delete(block);
    }

    /// Frees all texts, and all blocks but a lent one.
    void clear() noexcept {
        if (last_ != nullptr) free_blocks();
    }

private:
    /// The head of a block. The texts come after it. A lent block ends the list. It is its own
    /// `previous` when it counts as a user of its lender.
    struct Block {
        Block* previous;
        std::size_t used;
        std::size_t room;
        Tm_shared_block* lender;  ///< null unless the block is lent
        Block* next() const { return lender == nullptr ? previous : nullptr; }
        char* bytes() { return reinterpret_cast<char*>(this + 1); }
        bool has(char const* place) {
            std::less<> const is_before;
            return !is_before(place, bytes()) && is_before(place, bytes() + used);
        }
    };

    Block* lent_block() const;
    void free_blocks() noexcept;
    std::size_t room_for(std::size_t size) const;
    Block* make_block(std::size_t size) const;
    Block* add_block(std::size_t size);

    Block* last_ = nullptr;
};
