#include "vboard/kernel/program_check.h"

#include <elf.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace vboard {

namespace {

// What of an ELF file decides whether a dynamic loader will bring a preload library in.
struct ElfFacts {
    bool isElf = false;
    unsigned char wordClass = 0;
    Elf64_Half machine = 0;
    bool hasInterpreter = false;
};

template <typename Header, typename Segment>
bool hasInterpreter(const std::string& bytes) {
    Header header;
    std::memcpy(&header, bytes.data(), sizeof header);
    for (std::size_t i = 0; i < header.e_phnum; ++i) {
        const std::size_t at = header.e_phoff + i * sizeof(Segment);
        Segment segment;
        if (at + sizeof segment > bytes.size()) {
            return false;
        }
        std::memcpy(&segment, bytes.data() + at, sizeof segment);
        if (segment.p_type == PT_INTERP) {
            return true;
        }
    }
    return false;
}

ElfFacts elfFacts(const std::string& path) {
    constexpr std::size_t enoughForHeaders = 4096;
    std::string bytes(enoughForHeaders, '\0');
    std::ifstream file(path, std::ios::binary);
    (void)file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ElfFacts facts;
    facts.isElf = bytes.compare(0, SELFMAG, ELFMAG) == 0;
    if (facts.isElf) {
        facts.wordClass = static_cast<unsigned char>(bytes[EI_CLASS]);
        std::memcpy(&facts.machine, bytes.data() + offsetof(Elf64_Ehdr, e_machine), sizeof facts.machine);
        facts.hasInterpreter = facts.wordClass == ELFCLASS64 ? hasInterpreter<Elf64_Ehdr, Elf64_Phdr>(bytes)
                                                             : hasInterpreter<Elf32_Ehdr, Elf32_Phdr>(bytes);
    }
    return facts;
}

}  // namespace

void requireSameMachine(const std::string& programPath, const std::string& libraryPath) {
    const ElfFacts library = elfFacts(libraryPath);
    const ElfFacts program = elfFacts(programPath);
    if (!library.isElf || libraryPath.find_first_of(" :,") != std::string::npos) {
        throw std::runtime_error("can not preload \"" + libraryPath +
                                 "\": no library, or blanks, colons or commas in its path");
    }
    if (!program.isElf || !program.hasInterpreter || program.wordClass != library.wordClass ||
        program.machine != library.machine) {
        throw std::runtime_error(
            programPath +
            " is no dynamic program of the preload library's machine: it would run on the host");
    }
}

}  // namespace vboard
