#pragma once

#include <map>
#include <string>
#include <vector>

#include "vboard/kernel/node.h"

namespace vboard {

// The board's file tree: /dev /proc /sys /var /mnt and what the devices put there. It exists in memory only,
// so no path of the tool can reach the host. Directories list their entries in the order in which they were
// added: tests depend on that order, real kernels promise none.
class Root {
  public:
    // The directory and those above it.
    void addDirectory(const std::string& path);

    // A node at a path; its directories come with it. The node stays the caller's.
    void add(const std::string& path, Node& node);

    // An entry that a directory lists but that can't be opened.
    void addName(const std::string& directory, const std::string& name);

    void remove(const std::string& path);

    // Lists these entries first and in this order; the others follow as they were added.
    void order(const std::string& directory, const std::vector<std::string>& names);

    Node* find(const std::string& path) const;  // null when nothing or a directory stands there
    const std::vector<std::string>* list(const std::string& directory) const;  // null when there is none
    bool exists(const std::string& path) const { return find(path) != nullptr || list(path) != nullptr; }

  private:
    std::map<std::string, Node*> nodes_;
    std::map<std::string, std::vector<std::string>> directories_;
};

}  // namespace vboard
