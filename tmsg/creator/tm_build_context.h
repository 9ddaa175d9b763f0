/// What a level of the tree under construction hands down to the levels below it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tmsg/value/tm_catalog.h"

/// The names of members that come by index, in index order.
using Tm_name_table = std::vector<std::string>;

/// The paths of complete received files, for who drops what is built.
using Tm_received_files = std::vector<std::string>;

/// States refer to the context; the message's own state, below them on the stack, holds it.
struct Tm_build_context {
    Tm_shared_names names;                        ///< of the message; null: structs own theirs
    std::shared_ptr<Tm_name_table const> table;   ///< null where members come with their names
    Tm_received_files* received_files = nullptr;  ///< null where nobody asks
};
