#include "files.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

namespace station {

namespace {

void syncDirectory(const std::filesystem::path& directory) {
    const Descriptor handle(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (handle.fd >= 0) {
        (void)fsync(handle.fd);  // file systems that can't sync a directory keep its order on their own
    }
}

}  // namespace

void check(bool fine, const std::string& what) {
    if (!fine) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
}

void Descriptor::close() {
    if (fd >= 0) {
        (void)::close(fd);  // what had to be on the disk was synced before
        fd = -1;
    }
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
    }
    return true;
}

void writeAtomically(const std::filesystem::path& path, std::string_view text) {
    std::string temporary = path.string() + ".XXXXXX";
    const Descriptor file(mkostemp(temporary.data(), O_CLOEXEC));
    check(file.fd >= 0, path);
    if (fchmod(file.fd, 0644) != 0 || !writeAll(file.fd, text) || fsync(file.fd) != 0 ||
        rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        (void)unlink(temporary.c_str());
        errno = error;
        check(false, path);
    }
    syncDirectory(path.has_parent_path() ? path.parent_path() : ".");
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    check(file.is_open(), path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::filesystem::path findProgram(const std::string& name) {
    const auto isProgram = [](const std::filesystem::path& path) {
        std::error_code ignored;
        return std::filesystem::is_regular_file(path, ignored) && access(path.c_str(), X_OK) == 0;
    };
    if (name.find('/') != std::string::npos) {
        return isProgram(name) ? name : "";
    }
    const char* const variable = std::getenv("PATH");
    std::istringstream directories(variable == nullptr ? "/usr/bin:/bin" : variable);
    for (std::string directory; !name.empty() && std::getline(directories, directory, ':');) {
        const std::filesystem::path path = std::filesystem::path(directory) / name;
        if (isProgram(path)) {
            return path;
        }
    }
    return "";
}

std::string sha256OfFile(const std::filesystem::path& path) {
    const std::string content = readFile(path);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_Digest(content.data(), content.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not to be had");
    }
    std::string text;
    for (unsigned i = 0; i < length; ++i) {
        constexpr char digits[] = "0123456789abcdef";
        text += digits[digest[i] >> 4];
        text += digits[digest[i] & 0xF];
    }
    return text;
}

}  // namespace station
