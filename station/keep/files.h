#pragma once

// Files that survive a kill: appended byte by byte as things happen, or replaced as a whole.

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace station {

// Writes all of the bytes, whatever the signals. False with errno when that can't be done.
bool writeAll(int fd, std::string_view bytes);

// A file's next text, on the disk already but under a name that nobody looks for. It goes away with this
// object unless it was put in place.
class NewText {
  public:
    // Throws std::system_error.
    NewText(std::filesystem::path path, std::string_view text);
    ~NewText();
    NewText(const NewText&) = delete;
    NewText& operator=(const NewText&) = delete;

    // Replaces the file in one step: a reader sees the old text or the new one. The next syncDirectory makes
    // it last. Throws std::system_error.
    void putInPlace();

  private:
    std::filesystem::path path_;
    std::string temporary_;  // empty once it is in place
};

// Replaces one file, which then outlasts a power cut. Throws std::system_error.
void writeAtomically(const std::filesystem::path& path, std::string_view text);

// What was made and renamed in the folder is on the disk when it returns. Throws std::system_error.
void syncDirectory(const std::filesystem::path& directory);

// The whole file. Throws std::system_error.
std::string readFile(const std::filesystem::path& path);

// Lower-case, two digits a byte.
std::string hexadecimal(std::span<const unsigned char> bytes);

// Lower-case hexadecimal SHA-256.
std::string sha256OfText(std::string_view text);

// The same of the file's content.
// Throws std::system_error when it can't be read.
std::string sha256OfFile(const std::filesystem::path& path);

}  // namespace station
