#include "emulated/case.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace emulated {

std::string toolCommand(const std::vector<std::string>& arguments) {
    std::string command = "r8";
    for (const std::string& argument : arguments) {
        if (argument.find_first_of("'\n") != std::string::npos) {
            throw std::runtime_error("an argument of the tool with a quote or a line break");
        }
        command += " '" + argument + "'";
    }
    return command;
}

std::vector<Case> readCases(const std::string& file) {
    std::ifstream stream(file);
    if (!stream) {
        throw std::runtime_error("can not read " + file);
    }
    std::vector<Case> cases;
    for (std::string line; std::getline(stream, line);) {
        std::istringstream words(line);
        Case found;
        if (!(words >> found.name >> found.scenario && std::getline(words >> std::ws, found.command))) {
            throw std::runtime_error("a case without a command: " + line);
        }
        cases.push_back(found);
    }
    return cases;
}

}  // namespace emulated
