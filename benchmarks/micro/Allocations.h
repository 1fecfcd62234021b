#pragma once

#include <cstddef>

namespace bench {

/// The number of heap allocations of the program so far, in any library; C++'s new calls malloc, too. Counted by
/// replacing malloc, calloc, realloc and the aligned variants for the whole program.
std::size_t allocations();

}  // namespace bench
