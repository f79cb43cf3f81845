#pragma once

// The whole image against the whole flash of pmState, in blocks of 512 bytes, one "." each. Messages go
// straight to standard output.

// 1: the flash equals the image; 0: a word differs, or less than the image was compared; negative: failure.
int verifycode();

// Erases the flash and programs the image from address 0. Negative on failure, else the value of the last
// request made.
int uploadcode();
