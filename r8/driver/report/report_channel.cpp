#include "r8/driver/report/report_channel.h"

#include <errno.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "r8/contract/report_record.h"

int consoleMode = 1;
int reportPipeFd = -1;

namespace {

__attribute__((format(printf, 2, 0))) void formatText(ReportRecord& record, const char* format,
                                                      va_list arguments) {
    if (vsnprintf(record.text, sizeof record.text, format, arguments) < 0) {
        record.text[0] = '\0';
    }
    record.length = static_cast<uint32_t>(strlen(record.text));
}

ssize_t writeRecord(const ReportRecord& record) {
    return write(reportPipeFd, &record, record.length + offsetof(ReportRecord, text));
}

}  // namespace

void emitReportLine(const char* module, int line, const char* format, ...) {
    ReportRecord record;
    va_list arguments;
    va_start(arguments, format);
    formatText(record, format, arguments);
    va_end(arguments);

    if (consoleMode != 0) {
        (void)fputs(record.text, stdout);  // nowhere left to report a lost console to
        return;
    }
    if (writeRecord(record) < 0) {
        printf("write error file = %s ,line = %d \n", module, line);
    }
}

int emitReportPrintf(int line, int toPipe, const char* format, ...) {
    ReportRecord record;
    va_list arguments;
    va_start(arguments, format);
    formatText(record, format, arguments);
    va_end(arguments);

    if (toPipe == 0) {
        return puts(record.text);
    }
    const ssize_t written = writeRecord(record);
    if (written >= 0) {
        return static_cast<int>(written);
    }
    return printf("write error file = %s ,line = %d error = %s \n", "r8", line, strerror(errno));
}
