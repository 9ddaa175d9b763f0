#include "tmsg/creator/tm_file_creator.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"

namespace {

/// Disk space is reserved in steps of this many bytes, as bytes arrive.
constexpr unsigned int reservation = 1 << 16;

}  // namespace

Tm_file_creator::Tm_file_creator(Tm_destination destination, unsigned int length,
                                 Tm_received_files* received_files)
    : Tm_leaf_state(destination, length), received_files_(received_files) {
    if (length > 0 && Tm_file::is_mapped_size(length)) map();
}

Tm_file_creator::~Tm_file_creator() { mapping_.flush(); }

void Tm_file_creator::map() {
    bool const extended = ::ftruncate(file_.descriptor(), expected()) == 0;
    if (!extended || !mapping_.map(file_.descriptor(), expected(), true)) {
        throw Tm_file_mapping_exception(file_.path());
    }
}

bool Tm_file_creator::visit_file_continue(char const* data, unsigned int length) {
    if (!fits(length)) return fail("file string longer than given length");
    if (!write(data, length)) return fail("failed to write to " + file_.path());
    if (!count(length)) return true;
    auto value = std::make_unique<Tm_file>(file_.path(), 0U);
    if (received_files_ != nullptr) received_files_->push_back(file_.path());
    finish(std::move(value));
    file_.keep();
    return false;
}

/// Touching a mapping for which the disk has no room would end the process.
bool Tm_file_creator::reserve(unsigned int end) {
    while (reserved_ < end) {
        unsigned int const size = std::min(reservation, expected() - reserved_);
        int const error = ::posix_fallocate(file_.descriptor(), reserved_, size);
        if (error == EINTR) continue;
        if (error != 0) return false;
        reserved_ += size;
    }
    return true;
}

bool Tm_file_creator::write(char const* data, unsigned int length) {
    if (mapping_.data() != nullptr) {
        if (!reserve(received() + length)) return false;
        std::memcpy(mapping_.data() + received(), data, length);
        return true;
    }
    while (length > 0) {
        ssize_t const written = ::write(file_.descriptor(), data, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        data += written;
        length -= static_cast<unsigned int>(written);
    }
    return true;
}
