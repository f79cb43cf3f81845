#include "host/version.h"

#include "host/version_text.h"

namespace host {

std::string_view r8Version() {
    return versionText;
}

}  // namespace host
