#pragma once

#include <stdint.h>

// The serial protocol of the front panel, 9600 baud, 8N1. A frame is a start byte, the frame's length in
// bytes, a payload, and the sum of all bytes before, modulo 256.

constexpr uint8_t panelCommandStart = 0xFE;  // to the panel
constexpr uint8_t panelEventStart = 0xFF;    // from it
constexpr int panelFramingBytes = 3;         // start, length, checksum
constexpr uint8_t panelLeastEventBytes = 4;  // a whole frame from the panel
constexpr uint8_t panelMostEventBytes = 40;
constexpr int panelPayloadBytes = 8;  // at most, in a frame to the panel

// The payload of a command: this byte, the command, and its arguments.
constexpr uint8_t panelPayloadStart = 0x30;
constexpr uint8_t panelQueryCommand = 0x02;
constexpr uint8_t panelCommand4 = 0x04;
constexpr uint8_t panelHeartbeatCommand = 0x06;
constexpr uint8_t panelLampsCommand = 0x12;
constexpr uint8_t panelGreenLamps = 0xAA;  // two bits a lamp
constexpr uint8_t panelRedLamps = 0x55;

// The payload of a frame from the panel: its type, and data. A key event's data are key code and 0.
constexpr uint8_t panelKeyEventType = 0x20;
constexpr bool isPanelEventType(uint8_t type) {
    return type == 0x30 || (type >= 0x20 && type <= 0x22);
}

constexpr int menuKey = 0x0A;
constexpr int upKey = 0x14;
constexpr int downKey = 0x15;
constexpr int panelKeyCount = 38;

// The names of the panel's keys by key code; "" where no key has the code.
inline constexpr const char* PanelKeyNames[panelKeyCount] = {
    "AN0",  "AN1",  "AN2",  "AN3",  "AN4",  "AN5",  "AN6", "AN7", "AN8",   "AN9",   "MENU",  "ESC",  "EDIT",
    "A",    "VOIP", "PLAY", "REC",  "PAN",  "INFO", "#",   "UP",  "DOWN",  "LEFT",  "RIGHT", "AN10", "AN11",
    "AN12", "AN13", "AN14", "AN15", "AN16", "",     "",    "",    "ENTER", "POWER", "F1",    "F2",
};
