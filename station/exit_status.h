#pragma once

namespace station {

// Exit statuses of the station, for scripts. Incomplete is also a unit whose clock nobody has judged yet.
enum ExitStatus { exitPassed = 0, exitFailed = 1, exitWrongUse = 2, exitIncomplete = 3 };

}  // namespace station
