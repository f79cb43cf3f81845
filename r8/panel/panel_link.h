#pragma once

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <atomic>

#include "r8/contract/panel_frames.h"

// The serial link to the front panel, a board of its own on "/dev/ttyS3" (9600 baud, raw). Its
// frames are laid out in r8/contract/panel_frames.h. Sending never looks at the result of write: a lost frame
// is not repeated.

struct PanelCommand {
    int32_t length;  // of the payload, in bytes
    uint8_t payload[panelPayloadBytes];
};

constexpr int panelCommandCount = 20;
constexpr int panelFrameBytes = 16;  // room for any frame to the panel

// The panel's commands. Entry 4 keeps the last argument of SendPanelCommand4, in byte 3 of its payload.
extern PanelCommand PanelCommandTable[panelCommandCount];

// The open panel port, or -1. Heartbeat threads read it: give up an open port with ClosePanelPort only.
extern std::atomic<int> panelFd;

// The heartbeat thread started last; never joined.
extern pthread_t panelHbThreadId;

// Opens and sets up the port, both queues emptied. Its descriptor, or -1 without a message.
int OpenPanelPort();

// Takes panelFd away from the heartbeat threads, waits for a frame that one is just sending, and closes the
// port: no heartbeat reaches a descriptor that is not the panel port any more. Nothing when none is open.
void ClosePanelPort();

// Writes the frame of table entry index (0 to 19) into frame (panelFrameBytes) and its length into frameLen.
void BuildPanelFrame(int index, uint8_t* frame, int* frameLen);

// One write of len bytes to panelFd; write's result, -1 with EBADF while no port is open.
ssize_t WritePanel(const void* buf, size_t len);

// The next frame from fd as a number: its type byte (0x20, 0x21, 0x22, 0x30), then its data bytes, most
// significant first, the last four of them. A key event is 0x200000 + key code * 256. The start byte has the
// given time to arrive, counted afresh after each byte that is none; the rest of the frame has what is left
// of that. 0 seconds and 0 microseconds: no limit. 0 on timeout, read error and invalid frame; *portFailed,
// if asked for, tells whether it was the port that brought no byte (timeout, read error, end of file).
int ReadPanelFrame(int fd, long seconds, long microseconds, bool* portFailed = nullptr);

// Sends the query and waits up to 10 s: the low 8 bits of the answer, 0 when no valid one came.
int QueryPanel();

// Send entry 4 with arg, and entry 6. Both return 1.
int SendPanelCommand4(uint8_t arg);
int SendPanelHeartbeat();

constexpr int allLampsGreen = 3;
constexpr int allLampsRed = 4;

// Sends the frame of one of these modes; any other mode sends nothing.
void SetAllPanelLamps(int fd, int mode);

// Starts one more thread that sends a heartbeat every 10 s until the process ends, the first after 10 s;
// while no port is open it sends none. 0, or -1 with a message.
int StartPanelHbThread();
