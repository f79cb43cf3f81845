#pragma once

// The checks that come before anything is written: is the chip there, does the image suit it, and is there a
// flash behind it. Chip and image are those of pmState. Messages go straight to standard output.

// Looks for the chip and takes its revision into pmState. Negative on failure, else the last request's value.
int chk39xdev();

// Takes the image's length into pmState and holds its header against chip and file; another revision only
// warns. Negative on failure, else the last request's value.
int chkbinfile();

// 1: the flash holds an image for this chip; 0: it does not, yet took and returned a probe pattern (it is
// erased now but for the pattern); negative: failure.
int chkflashsts();
