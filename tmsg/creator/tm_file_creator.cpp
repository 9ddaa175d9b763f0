#include "tmsg/creator/tm_file_creator.h"

#include <unistd.h>

#include <cstring>

#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"

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

bool Tm_file_creator::write(char const* data, unsigned int length) {
    if (mapping_.data() != nullptr) {
        std::memcpy(mapping_.data() + received(), data, length);
        return true;
    }
    while (length > 0) {
        ssize_t const written = ::write(file_.descriptor(), data, length);
        if (written <= 0) return false;
        data += written;
        length -= static_cast<unsigned int>(written);
    }
    return true;
}
