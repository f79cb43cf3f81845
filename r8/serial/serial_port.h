#pragma once

#include <termios.h>

// Set-up of an opened serial terminal, in the terms of termios(3). Each operation changes only what it names,
// applies it at once (TCSANOW) and returns tcsetattr's result, 0 or -1. Messages go to standard output.

// Clears the flags that make a terminal edit, translate or act on what passes through it; the rest of
// attributes stays, the control characters (VMIN, VTIME) too.
void clearCookedFlags(termios* attributes);

// Bytes pass unchanged both ways.
int SetSerialRawMode(int fd);

// Speed code (B9600, ...) for both directions, modem lines ignored, receiver on. A code that is refused is
// named and does not change the result.
int SetSerialBaud(int fd, speed_t code);

// kind 1: software (XON/XOFF), 2: hardware (RTS/CTS), switched on (non-zero) or off; 0: both off, whatever
// on says. Any other kind changes nothing.
int SetSerialFlowControl(int fd, int kind, int on);

// sizeBits: CS5 to CS8; twoStopBits: 0 one, 1 two; parity: 0 none, 1 odd, 2 even. -1 with nothing applied
// for any other stop-bit or parity code.
int SetSerialParity(int fd, tcflag_t sizeBits, int twoStopBits, int parity);

// The whole set-up, after all queued output is sent: raw mode, rate in baud (9600 with a message when it is
// none of 300 to 115200), flow control of flowKind off, dataBitsIndex + 5 data bits (0 to 3), stop bits and
// parity as above. 0, or -1 at the first step that fails; what was applied before it stays.
int InitSerialPort(int fd, unsigned rate, int dataBitsIndex, int twoStopBits, int parity, int flowKind);
