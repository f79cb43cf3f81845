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

}  // namespace station
