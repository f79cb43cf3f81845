#pragma once

// The one channel for lines that the operator reads: standard output in console mode, records on the named
// pipe in networked mode. Main thread only (the RS485 loop-back's forked reader works on its own copy).
// A record on the pipe is laid out in r8/contract/report_record.h.

// Non-zero: report lines go to standard output; 0: to the pipe. Set by the driver only.
extern int consoleMode;

// "/var/r8.fifo", opened write-only and non-blocking; -1 when not open. Set by the driver only.
extern int reportPipeFd;

// Emits one line, formatted as printf(3) does and cut to 1023 bytes; no line break is added. The file that
// uses it says who it is: constexpr char reportModule[] = "rtc_test";
// A record that can't be written is named on standard output with module and line number, and dropped.
#define reportLine(...) emitReportLine(reportModule, __LINE__, __VA_ARGS__)

// The same with an explicit destination: toPipe non-zero writes a record, 0 prints the text and a line break
// on standard output whatever the mode. Returns the result of that last output call.
#define reportPrintf(toPipe, ...) emitReportPrintf(__LINE__, toPipe, __VA_ARGS__)

void emitReportLine(const char* module, int line, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
int emitReportPrintf(int line, int toPipe, const char* format, ...) __attribute__((format(printf, 3, 4)));
