#pragma once

// Kills the board's main application, the first process whose first argument is "./vidapp", so that a single
// test has the hardware to itself. 0 when the scan ended, whether or not it was found; -1 when "/proc" (said
// on standard error) or a process's command line (on standard output) could not be opened. Leaves the working
// directory at "/proc".
int stopMainApplication();
