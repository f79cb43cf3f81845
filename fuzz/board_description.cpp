// Whatever the CPLD holds: its report is a stream of whole records that a station can frame, and the tool
// only takes over a count of disk ports that such a board can have.

#include <algorithm>
#include <set>

#include "fuzz/input.h"
#include "r8/board/board_config.h"
#include "r8/board/boardinfo.h"
#include "r8/driver/report/report_channel.h"
#include "station/link/record_framer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CpldInfo info = {};
    std::copy_n(data, std::min(size, sizeof info.bytes), info.bytes);
    const int previousPorts = 8;
    boardConfig.diskPortCount = previousPorts;
    int ends[2];
    MUST(pipe(ends) == 0);
    consoleMode = 0;
    reportPipeFd = ends[1];
    PrintCpldInfo(&info);
    (void)close(reportPipeFd);

    char bytes[4096];
    const ssize_t count = read(ends[0], bytes, sizeof bytes);
    (void)close(ends[0]);
    MUST(count > 0 && static_cast<std::size_t>(count) < sizeof bytes);
    station::RecordFramer framer;
    framer.feed({bytes, static_cast<std::size_t>(count)}, [](std::string_view text) {
        MUST(text.ends_with('\n') && std::count(text.begin(), text.end(), '\n') == 1);
    });
    const int expectedRecords = 29 + (info.bytes[43] % 16 != 0 ? 1 : 0);
    const std::uint8_t ports = info.bytes[35];
    const int portRecords = ports > 5 ? 0 : ports == 3 || ports == 5 ? 2 : 1;
    MUST(!framer.torn() && framer.records == static_cast<unsigned>(expectedRecords + portRecords));
    const bool isTaken = std::set{0, 1, 2, 4}.count(ports) != 0;
    MUST(boardConfig.diskPortCount == (isTaken ? ports : previousPorts));
    return 0;
}
