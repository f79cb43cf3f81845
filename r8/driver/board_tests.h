#pragma once

// The tests that the command line offers, numbered from 1, and the full run of them.
extern const int boardTestCount;

// Prints the usage text on standard output.
void printUsage();

// Runs test number (1..boardTestCount) count times, announcing each repetition when there are several. A
// test that does not apply to the board is announced all the same, but not run.
void repeatBoardTest(int number, unsigned count);

// The steps of a full run in their order, then its summary; a step that does not apply takes no number.
// controlFd: the control device.
void runSequence(int controlFd);

// Ends a full run by what is in runResults, see printSummary.
void summarizeRun();
