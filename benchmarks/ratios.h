#pragma once

#include <map>
#include <string>

// Lines of the table that the benchmarks end in: what a thing costs over what it can't cost less than.

using CpuTimes = std::map<std::string, double>;  // of each benchmark, nanoseconds, the best repetition

// The benchmarks that belong together, see main.cpp for their names.
void printRatios(const CpuTimes& times);

// A line of the table; target 0: none.
void printRatio(const char* what, double cost, double least, const char* unit, double target);

// A full run on the healthy virtual board: wall time, virtual time over the waits in it, peak memory.
void measureFullRun();

// A request on the virtual board in wall time, on an idle and on a loaded machine.
void measureHandOver();

// Requests that a firmware upload and a verification of the largest image make for each word of it.
void printFirmwareRequests();
