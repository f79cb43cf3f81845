#pragma once

// Codes of the keys that the panel test acts on.
constexpr int menuKey = 0x0A;
constexpr int upKey = 0x14;
constexpr int downKey = 0x15;

constexpr int panelKeyCount = 38;

// The names of the front panel's keys by key code; "" where no key has the code.
inline constexpr const char* PanelKeyNames[panelKeyCount] = {
    "AN0",  "AN1",  "AN2",  "AN3",  "AN4",  "AN5",  "AN6", "AN7", "AN8",   "AN9",   "MENU",  "ESC",  "EDIT",
    "A",    "VOIP", "PLAY", "REC",  "PAN",  "INFO", "#",   "UP",  "DOWN",  "LEFT",  "RIGHT", "AN10", "AN11",
    "AN12", "AN13", "AN14", "AN15", "AN16", "",     "",    "",    "ENTER", "POWER", "F1",    "F2",
};
