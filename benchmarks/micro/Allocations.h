#pragma once

#include <cstddef>

namespace bench {

/// How often the program has asked the heap for memory so far, whichever way and in whichever library: C++'s new, too,
/// ends in malloc. Counted by replacing malloc, calloc, realloc and the aligned ones for the whole program.
std::size_t allocations();

}  // namespace bench
