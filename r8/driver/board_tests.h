#pragma once

// The tests that the command line offers, numbered from 1.
constexpr int boardTestCount = 11;

// Prints the usage text on standard output.
void printUsage();

// Runs test number (1..boardTestCount) count times, announcing each repetition when there are several. A
// test that does not apply to the board is announced all the same, but not run.
void repeatBoardTest(int number, unsigned count);
