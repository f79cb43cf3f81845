#pragma once

// Test 3: the operator presses keys and watches the lamps. UP lights all green, DOWN all red, MENU ends the
// test; it has no time limit and records no verdict. Ends in silence once the port is hung up. Returns at
// once when the port does not open or no heartbeat thread starts (with a message), after 10 s when the panel
// does not answer (without one).
void FrontPanelTest();

// The key loop: reads key events from panelFd and sends lamp frames to fd. Returns MENU's event, 0x200A00, or
// 0 when the port has gone: a single read that fails is passed over, the third in a row is not.
int WaitPanelKeys(int fd);
