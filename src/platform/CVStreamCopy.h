#pragma once

#include <cstdint>

// What a copy to end of input achieved.
struct CVStreamCopyResult {
    uint64_t bytesCopied = 0;
    // errno of the first failed write (the copy stops there); 0 when every write succeeded.
    int writeError = 0;
    // errno of a failed read (the input then counts as ended); 0 when it ended normally.
    int readError = 0;
};

// Copies everything from one descriptor to another until the input ends, blocking as reads do.
// Moves pages without copying them where the kernel can (splice from a pipe, copy_file_range
// from a file) and uses a fixed buffer otherwise, so memory does not grow with the input.
CVStreamCopyResult CVCopyToEndOfInput(int input, int output);
