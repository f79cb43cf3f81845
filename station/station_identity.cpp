#include "station/station_identity.h"

#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "host/toml_section.h"
#include "host/version.h"
#include "station/interpret/text.h"
#include "station/keep/files.h"
#include "station/store/postgres.h"
#include "station/wrong_use.h"

namespace station {

namespace {

constexpr const char* usualFile = "/etc/r8/station.toml";
constexpr std::size_t longestWord = 200;  // bytes

// Empty counts as not set: so a script gives what it does not know.
std::string fromEnvironment(const char* variable) {
    const char* const value = std::getenv(variable);
    return value == nullptr ? "" : value;
}

std::string stationFile(const Options& options) {
    const std::string named =
        options.stationFile.empty() ? fromEnvironment("R8_STATION_FILE") : options.stationFile;
    return named.empty() && std::filesystem::exists(usualFile) ? usualFile : named;
}

struct Word {
    const char* key;
    const char* variable;
    std::string StationInfo::*field;
};
constexpr Word words[] = {
    {"name", "R8_STATION_NAME", &StationInfo::name},
    {"fixture", "R8_STATION_FIXTURE", &StationInfo::fixture},
    {"operator", "R8_STATION_OPERATOR", &StationInfo::operatorName},
    {"lot", "R8_STATION_LOT", &StationInfo::lot},
};

struct StationFile {
    StationInfo info;
    std::string database;
};

StationFile readStationFile(const std::string& file) {
    StationFile result;
    if (file.empty()) {
        return result;
    }
    const toml::table table = host::parseToml(readFile(file), file);
    host::Section section(table, file, "");
    for (const Word& word : words) {
        section.text(word.key, result.info.*word.field);
    }
    section.text("database", result.database);
    if (section.has("database") && !problemOfAddress(result.database).empty()) {
        section.fail("database", "names none that may be used: " + problemOfAddress(result.database));
    }
    section.finish();
    return result;
}

// What is wrong with the file, or why it can't be read, keeps a unit from being tested.
StationFile stationFileOf(const Options& options) {
    try {
        return readStationFile(stationFile(options));
    } catch (const std::runtime_error& error) {
        throw WrongUse(error.what());
    }
}

void requireText(const char* key, const std::string& text) {
    if (text.size() > longestWord || utf8FromEither(text) != text ||
        text.find_first_of("\t\n") != std::string::npos) {
        throw WrongUse(std::string("the station's ") + key +
                       " is a text of up to 200 bytes of UTF-8 without control characters");
    }
}

}  // namespace

StationInfo stationInfo(const Options& options) {
    StationInfo info = stationFileOf(options).info;
    for (const Word& word : words) {
        const std::string& option = options.station.*word.field;
        const std::string variable = fromEnvironment(word.variable);
        std::string& text = info.*word.field;
        text = !option.empty() ? option : !variable.empty() ? variable : text;
        requireText(word.key, text);
    }
    info.version = host::r8Version();
    return info;
}

std::string stationDatabase(const Options& options) {
    return options.database.empty() ? stationFileOf(options).database : options.database;
}

std::string newAttemptId() {
    constexpr const char* source = "/proc/sys/kernel/random/uuid";
    constexpr std::size_t uuidBytes = 36;
    std::string id;
    if (!std::getline(std::ifstream(source), id) || id.size() != uuidBytes) {
        throw std::system_error(EIO, std::generic_category(), source);
    }
    return id;
}

}  // namespace station
