// Runs a target over the files of a folder: the committed inputs as a plain test, with any compiler.

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/input.h"

int main(int argc, char** argv) {
    MUST(argc == 2);
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        (void)std::fprintf(stderr, "%s\n", entry.path().c_str());
        (void)LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++files;
    }
    MUST(files > 0);
    return 0;
}
