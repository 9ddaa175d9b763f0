#include "tmsg/value/tm_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tmsg/value/internal/tm_descriptor.h"
#include "tmsg/value/internal/tm_walk.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_string.h"

namespace {

constexpr unsigned int mapping_unit = 1024000;
constexpr unsigned int owner_only = 0600;

int open_flags(unsigned int open_mode) {
    return open_mode == 0 ? O_RDONLY : O_RDWR | O_CREAT | O_TRUNC;
}

unsigned int size_of(int fd) {
    struct stat status = {};
    ::fstat(fd, &status);
    return static_cast<unsigned int>(status.st_size);
}

/// The library's own encoder reads all pieces that fit into its chunk at once. When the file ends
/// earlier, it reads nothing, and the pieces are sent one by one.
template <class Piece>
int take_many(int index, int full_pieces, Tm_wire_room const* room, Piece const& piece) {
    if (room == nullptr) return index;
    int const count = tm_pieces_that_fit(index, full_pieces, *room);
    if (count == 0) return index;
    long const left = room->left();
    piece(static_cast<unsigned int>(count) * tm_piece_size);
    return room->left() == left ? index : index + count;
}

}  // namespace

Tm_file::Tm_file(std::string const& path, unsigned int open_mode)
    : path_(path),
      open_mode_(open_mode),
      descriptor_(
          std::make_unique<Tm_descriptor>(path_.c_str(), open_flags(open_mode), owner_only)),
      mapping_(std::make_unique<Tm_mapping>()) {
    if (!descriptor_->is_usable()) throw Tm_file_open_exception(path_);
    size_ = size_of(descriptor_->get());
    in_memory_ = is_mapped_size(size_);
    if (in_memory_ && size_ > 0 && !mapping_->map(descriptor_->get(), size_, open_mode_ != 0)) {
        throw Tm_file_mapping_exception(path_);
    }
}

Tm_file::Tm_file(Tm_file const& other) : Tm_file(other.path_, other.open_mode_) {}

Tm_file::~Tm_file() = default;

Tm_file* Tm_file::clone() const { return new Tm_file(*this); }

bool Tm_file::equals(Tm_value const& other) const {
    if (other.get_value_type() != TMV_FILE) return false;
    auto const& file = static_cast<Tm_file const&>(other);
    return file.path_ == path_ && file.size_ == size_;
}

TMV Tm_file::get_value_type() const { return TMV_FILE; }

bool Tm_file::accept(Tm_visitor& visitor) const {
    if (in_memory_) {
        return Tm_string::accept_generic_buffer(mapping_->data(), size_, visitor,
                                                &Tm_visitor::visit_file_begin,
                                                &Tm_visitor::visit_file_continue);
    }
    int const fd = descriptor_->get();
    auto const piece = [&](unsigned int size) {
        return visitor.visit_file_continue(fd, path_, size);
    };
    return tm_walk_bytes(
        size_, visitor, [&] { return visitor.visit_file_begin(fd, size_); },
        [&](int index, int full_pieces) {
            return take_many(index, full_pieces, visitor.wire_room(), piece);
        },
        piece);
}

int Tm_file::descriptor() const { return descriptor_->get(); }

void const* Tm_file::mapping() const { return mapping_->data(); }

bool Tm_file::is_mapped_size(unsigned int size) {
    return size / mapping_unit <= static_cast<unsigned int>(MAX_MMAP_FILE_SIZE_MB);
}

long Tm_file::read_n(int fd, void* buffer, unsigned long n) {
    auto* const bytes = static_cast<char*>(buffer);
    unsigned long filled = 0;
    while (filled < n) {
        ssize_t const got =
            tm_uninterrupted([&] { return ::read(fd, bytes + filled, n - filled); });
        if (got <= 0) return got;
        filled += static_cast<unsigned long>(got);
    }
    return static_cast<long>(n);
}
