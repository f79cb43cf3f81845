#include "host/own_files.h"

namespace host {

std::filesystem::path programFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::filesystem::path ownFile(const std::string& way) {
    return std::filesystem::weakly_canonical(programFolder() / way);
}

}  // namespace host
