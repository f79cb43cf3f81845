#include "station/keep/files.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "host/descriptor.h"

namespace station {

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

NewText::NewText(std::filesystem::path path, std::string_view text)
    : path_(std::move(path)), temporary_(path_.string() + ".XXXXXX") {
    const host::Descriptor file(mkostemp(temporary_.data(), O_CLOEXEC));
    host::require(file.isOpen(), path_);
    if (fchmod(file.get(), 0644) != 0 || !writeAll(file.get(), text) || fsync(file.get()) != 0) {
        const int error = errno;
        (void)unlink(temporary_.c_str());
        throw std::system_error(error, std::generic_category(), path_);
    }
}

NewText::~NewText() {
    if (!temporary_.empty()) {
        (void)unlink(temporary_.c_str());  // a left-over harms nobody
    }
}

void NewText::putInPlace() {
    host::require(rename(temporary_.c_str(), path_.c_str()) == 0, path_);
    temporary_.clear();
}

void writeAtomically(const std::filesystem::path& path, std::string_view text) {
    NewText(path, text).putInPlace();
    syncDirectory(path.has_parent_path() ? path.parent_path() : ".");
}

// File systems that can't sync a directory keep its order on their own.
void syncDirectory(const std::filesystem::path& directory) {
    const host::Descriptor handle(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    host::require(handle.isOpen() && (fsync(handle.get()) == 0 || errno == EINVAL), directory);
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    host::require(file.is_open(), path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string hexadecimal(std::span<const unsigned char> bytes) {
    std::string text;
    for (const unsigned char byte : bytes) {
        constexpr char digits[] = "0123456789abcdef";
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::string sha256OfText(std::string_view text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not to be had");
    }
    return hexadecimal(std::span(digest, length));
}

std::string sha256OfFile(const std::filesystem::path& path) {
    return sha256OfText(readFile(path));
}

}  // namespace station
