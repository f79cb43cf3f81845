#pragma once

// The full run's RS485 step: three command frames to the test device on the terminal path (9600 baud, 8N1),
// each answered by a fixed reply and followed by a stop frame. The outcome is a report line and
// runResults.rs485Failed. About 6 s for each trial without a reply.
void Rs485ExchangeTest(const char* path);
