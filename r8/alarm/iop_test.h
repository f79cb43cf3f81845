#pragma once

// Test 5: switches the alarm outputs, which the station's fixture wires back to the inputs, and compares what
// the inputs read. Boards with 4 and with 16 inputs are tested, on any other it does nothing. Returns 0; the
// outcome is in runResults.alarmFailed, which only a failed check changes. With 16 inputs and neither 2 nor 4
// outputs it steps until it is interrupted.
// From then on SIGINT prints the counts of passed and failed checks before it ends the process.
int iopTest();
