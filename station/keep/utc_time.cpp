#include "station/keep/utc_time.h"

#include <ctime>

namespace station {

std::string utcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    char text[32];
    (void)gmtime_r(&now, &parts);
    (void)std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

}  // namespace station
