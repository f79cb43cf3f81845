#pragma once

#include <valgrind/callgrind.h>

#include <string>

// Counts the instructions of a body, some times over: once for the tool, once for the least that can be done.
// Outside of valgrind it only runs them. benchmarks/instructions reads the counts.

constexpr int repetitions = 5;
constexpr char tool[] = "tool";
constexpr char bare[] = "bare";

// What is measured, whose body it is (tool or bare), and how many requests or lines there are in it; before
// is not counted.
template <typename Before, typename Body>
void measure(const std::string& what, const char* whose, unsigned long units, Before before, Body body) {
    const std::string name = what + "|" + whose + "|" + std::to_string(units);
    for (int i = 0; i < repetitions; ++i) {
        before();
        CALLGRIND_TOGGLE_COLLECT;
        body();
        CALLGRIND_TOGGLE_COLLECT;
        CALLGRIND_DUMP_STATS_AT(name.c_str());
    }
}

// The programs' own parts: each measures what it is named after.
void measureFirmware();
void measureReport();
