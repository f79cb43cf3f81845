#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <sys/types.h>

// All text that the tool writes. Its conversions are those of printf(3) that the texts use: %d %u %x %X, with
// "#" (for x), "0" and a width, "ll"; %c and %s. Async-signal-safe, without heap, and errno stays as it was.

// Prints on standard output, or another descriptor, in one write, at most 511 bytes. Nothing is held back: a
// line shows when it happens, a signal loses none, and a forked reader repeats none of its parent's. Returns
// the bytes, or -1.
ssize_t print(const char* format, ...) __attribute__((format(printf, 1, 2)));
ssize_t printTo(int fd, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Formats into text, which has room for size bytes: cut to size - 1, with a NUL behind. Returns the bytes
// before it.
size_t formatText(char* text, size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));
size_t formatTextList(char* text, size_t size, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

// Writes all of text, in further writes where a signal or a slow reader cuts one short. Returns length, or
// -1.
ssize_t writeText(int fd, const char* text, size_t length);
