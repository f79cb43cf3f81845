#pragma once

// The command line of a single test: -o (or -O), the number of the test, and how often to run it.

struct SingleTest {
    int number;      // 1..boardTestCount
    unsigned count;  // 1 when none is given
};

// Reads the arguments (argv[1] on; argc is 3 or 4) into *test. False with a message on standard output when
// they ask for no test that there is. Nothing on the board is touched.
bool parseSingleTest(int argc, const char* const* argv, SingleTest* test);
