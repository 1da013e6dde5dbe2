#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

// For text wrapped at any character into rows of `columns` columns (a tab advances to the next
// multiple of 8, a wide character takes two), the row each line starts on; one more entry for
// the end. Line ends take no column; an empty line takes one row.
std::vector<int> CorvaneWrappedRowStarts(std::string_view text,
                                         const std::vector<std::size_t>& lineStarts, int columns);
