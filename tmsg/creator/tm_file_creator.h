#pragma once

#include "tmsg/creator/tm_build_context.h"
#include "tmsg/creator/tm_leaf_state.h"
#include "tmsg/creator/tm_temporary_file.h"
#include "tmsg/value/tm_mapping.h"

/// Writes a received file into a temporary one and builds a file value on it, which finds it in
/// place; a transfer that never completes leaves nothing behind. Throws Tm_file_open_exception or
/// Tm_file_mapping_exception when the temporary file cannot be made.
class Tm_file_creator : public Tm_leaf_state {
public:
    /// A complete file is entered in `received_files`, unless it is null.
    Tm_file_creator(Tm_destination destination, unsigned int length,
                    Tm_received_files* received_files);
    ~Tm_file_creator() override;

    using Tm_leaf_state::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override;
    char const* get_name() const override { return "file"; }

private:
    void map();
    bool write(char const* data, unsigned int length);
    bool reserve(unsigned int end);

    Tm_received_files* received_files_;
    Tm_temporary_file file_;
    unsigned int reserved_ = 0;  ///< bytes that have room on the disk
    Tm_mapping mapping_;  ///< of the whole file while it is small enough; else pieces are written
};
