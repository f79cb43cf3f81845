#pragma once

#include <stddef.h>

// The half-duplex transceiver of the RS485 port, switched through the control device.

// 1 drives the bus or listens to it, 0 releases it or stops listening. A control device that can't be opened
// is named on standard output, and nothing is switched.
void SetRs485TxEnable(int on);
void SetRs485RxEnable(int on);

// Sends one frame of len bytes with the transceiver on transmit, and releases the bus after it. The number
// of bytes, or -1 with a message when not all were accepted; after a failed write the transmitter stays on
// until the next frame.
int WriteRs485Frame(int fd, const unsigned char* buf, size_t len);
