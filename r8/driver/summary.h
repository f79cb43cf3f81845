#pragma once

// Ends a full run: emits the verdicts of runResults, and in console mode repeats the overall verdict on the
// board's indicator line (about 7.6 s when passed, 3 s when failed).
void printSummary();
