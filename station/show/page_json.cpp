#include "station/show/page_json.h"

namespace station {

std::string pageJson(const Json& json) {
    std::string text;
    for (const char character : json.dump(-1, ' ', false, Json::error_handler_t::replace)) {
        if (character == '<') {
            text += "\\u003c";
        } else {
            text += character;
        }
    }
    return text;
}

Json totalsJson(const ReportData& data) {
    const Totals& totals = data.totals;
    const OtherRuns& others = data.others;
    return {{"units", totals.units},
            {"firstUnits", totals.firstUnits},
            {"passedFirst", totals.passedFirst},
            {"passedLast", totals.passedLast},
            {"attempts", totals.attempts},
            {"retests", totals.retests},
            {"incomplete", others.incomplete},
            {"needsPerson", others.needsPerson},
            {"running", others.running},
            {"partial", others.partial},
            {"bench", others.bench}};
}

}  // namespace station
