#pragma once

#include <stdint.h>

// Prints text on standard output with its two "%u" replaced by the counts, in one write. For signal
// handlers: async-signal-safe, which printf is not. The result has at most 128 bytes.
void printCounts(const char* text, uint32_t first, uint32_t second);
