#include "vboard/kernel/root.h"

#include <algorithm>

namespace vboard {

namespace {

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

Result File::read(OpenFile& file, std::span<std::uint8_t> into) {
    const std::size_t from = std::min(file.position, content.size());
    const std::size_t count = std::min(into.size(), content.size() - from);
    std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(from), count, into.begin());
    file.position += count;
    return {static_cast<std::int64_t>(count)};
}

void Root::addDirectory(const std::string& path) {
    if (!directories_.try_emplace(path).second || path == "/") {
        return;
    }
    addName(parentOf(path), nameOf(path));
}

void Root::add(const std::string& path, Node& node) {
    nodes_[path] = &node;
    addName(parentOf(path), nameOf(path));
}

void Root::addName(const std::string& directory, const std::string& name) {
    addDirectory(directory);
    std::vector<std::string>& names = directories_[directory];
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        names.push_back(name);
    }
}

void Root::remove(const std::string& path) {
    nodes_.erase(path);
    directories_.erase(path);
    std::erase(directories_[parentOf(path)], nameOf(path));
}

void Root::order(const std::string& directory, const std::vector<std::string>& names) {
    std::vector<std::string>& entries = directories_[directory];
    std::vector<std::string> ordered;
    for (const std::string& name : names) {
        if (std::erase(entries, name) != 0) {
            ordered.push_back(name);
        }
    }
    entries.insert(entries.begin(), ordered.begin(), ordered.end());
}

Node* Root::find(const std::string& path) const {
    const auto found = nodes_.find(path);
    return found == nodes_.end() ? nullptr : found->second;
}

const std::vector<std::string>* Root::list(const std::string& directory) const {
    const auto found = directories_.find(directory);
    return found == directories_.end() ? nullptr : &found->second;
}

}  // namespace vboard
