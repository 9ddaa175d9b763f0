/// The operations that the benchmark needs of a peer. A peer is a class of static members:
///
///   static constexpr char const* name;
///   using Tree = ...;                               movable, owns everything it shows
///   using Output = ...;                             reusable buffer with data() and size()
///   static Tree build(Kind, Data const&);           typed data -> tree
///   static void encode(Tree const&, Output&);       tree -> bytes, replaces what Output held
///   static Tree decode(std::string_view);           bytes -> owned tree
///   static ... body(Tree const&);                   a struct reader (see workloads.h)
/// If the library has the operation, also:
///   static Tree copy(Tree const&);                  deep copy
///   static bool equal(Tree const&, Tree const&);
///   static void text(Tree const&, std::string&);    text form, replaces what the string held
///   static bool has_text(Kind);                     false where a limit of the library forbids it
///   static Tree parse(std::string const&);          text form -> owned tree
/// If the library cannot parse the text that text() writes, also:
///   static void parsable_text(Tree const&, std::string&);
///   static bool has_parse(Kind);
#pragma once

#include <stdexcept>

#include "suite.h"
#include "workloads.h"

namespace peers {

inline std::string_view as_text(BytesView bytes) {
    return {reinterpret_cast<char const*>(bytes.data), bytes.size};
}

inline BytesView as_bytes(std::string_view text) {
    return {reinterpret_cast<unsigned char const*>(text.data()), text.size()};
}

[[noreturn]] inline void fail(char const* what) { throw std::runtime_error(what); }

}  // namespace peers
