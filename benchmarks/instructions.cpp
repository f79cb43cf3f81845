// The tool's procedures next to loops that make the same system calls with the same arguments by hand. Run by
// benchmarks/instructions; what is printed here is the tool's own output, and goes nowhere.

#include "benchmarks/measure.h"

int main() {
    measureFirmware();
    measureReport();
    return 0;
}
