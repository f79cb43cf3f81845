#include "vboard/devices/firmware_image.h"

#include <algorithm>
#include <random>

#include "r8/pmfw/pm_access.h"
#include "r8/pmfw/pm_check.h"
#include "r8/pmfw/pm_firmware.h"

namespace vboard {

namespace {

constexpr std::size_t lengthPartA = 8;  // offsets of the header's two 16-bit parts of the length
constexpr std::size_t lengthPartB = 12;
constexpr std::size_t headerBytes = 32;

void put16(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint32_t value) {
    bytes[offset] = static_cast<std::uint8_t>(value);
    bytes[offset + 1] = static_cast<std::uint8_t>(value >> 8);
}

}  // namespace

std::vector<std::uint8_t> firmwareImage(std::uint32_t size, std::uint8_t revision, std::uint8_t bonding,
                                        unsigned seed) {
    std::vector<std::uint8_t> image(std::max<std::size_t>(size, headerBytes), 0);
    std::mt19937 random(seed);
    std::generate(image.begin() + headerBytes, image.end(),
                  [&random] { return static_cast<std::uint8_t>(random()); });
    const std::uint8_t start[] = {imageId0, imageId1, revision, PmState::chipId, bonding};
    std::copy(std::begin(start), std::end(start), image.begin());
    put16(image, lengthPartA, size - size / 2);
    put16(image, lengthPartB, size / 2);
    image.resize(size);
    return image;
}

void FirmwareImageFile::configure(Section& section) {
    bool present = true;
    std::uint32_t size = 0;
    std::uint8_t revision = 0;
    std::uint8_t bonding = 0;
    section.flag("present", present);
    section.number("size", size);
    section.number("revision", revision);
    section.number("bonding", bonding);
    for (const char* key : {"revision", "bonding"}) {
        if (section.has(key) && !section.has("size")) {
            section.fail(key, "makes a new image and needs its size too");
        }
    }
    if (!present) {
        content.reset();
    } else if (section.has("size")) {
        content = firmwareImage(size, revision, bonding);
    }
    if (section.has("bytes")) {
        section.bytes("bytes", content.emplace());
    }
    for (Section& patch : section.sections("patch")) {
        std::uint32_t offset = 0;
        std::vector<std::uint8_t> bytes;
        patch.number("offset", offset);
        patch.bytes("bytes", bytes);
        if (!content || offset + bytes.size() > content->size()) {
            patch.fail("offset", "lies outside the image");
        }
        std::copy(bytes.begin(), bytes.end(), content->begin() + offset);
        patch.finish();
    }
}

void FirmwareImageFile::plugIn(Machine& machine) {
    if (content) {
        file_.content = *content;
        machine.root.add(firmwareImagePath, file_);
    }
}

}  // namespace vboard
