#include "r8/driver/report/report_channel.h"

#include <errno.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

#include "r8/contract/report_record.h"
#include "r8/print.h"

int consoleMode = 1;
int reportPipeFd = -1;

namespace {

__attribute__((format(printf, 2, 0))) void fill(ReportRecord& record, const char* format, va_list arguments) {
    record.length = static_cast<uint32_t>(formatTextList(record.text, sizeof record.text, format, arguments));
}

ssize_t writeRecord(const ReportRecord& record) {
    return write(reportPipeFd, &record, record.length + offsetof(ReportRecord, text));
}

}  // namespace

void emitReportLine(const char* module, int line, const char* format, ...) {
    ReportRecord record;
    va_list arguments;
    va_start(arguments, format);
    fill(record, format, arguments);
    va_end(arguments);

    if (consoleMode != 0) {
        (void)writeText(STDOUT_FILENO, record.text, record.length);  // nowhere left to say that it failed
        return;
    }
    if (writeRecord(record) < 0) {
        print("write error file = %s ,line = %d \n", module, line);
    }
}

int emitReportPrintf(int line, int toPipe, const char* format, ...) {
    ReportRecord record;
    va_list arguments;
    va_start(arguments, format);
    fill(record, format, arguments);
    va_end(arguments);

    if (toPipe == 0) {
        record.text[record.length] = '\n';  // in the NUL's place
        return static_cast<int>(writeText(STDOUT_FILENO, record.text, record.length + 1));
    }
    const ssize_t written = writeRecord(record);
    if (written >= 0) {
        return static_cast<int>(written);
    }
    return static_cast<int>(
        print("write error file = %s ,line = %d error = %s \n", "r8", line, strerror(errno)));
}
