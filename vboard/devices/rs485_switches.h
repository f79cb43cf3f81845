#pragma once

namespace vboard {

// The transceiver between the RS485 port and the bus, as the control device switches it.
struct Rs485Switches {
    bool transmitterOn = false;  // drives the bus
    bool receiverOn = false;     // listens to it
};

}  // namespace vboard
