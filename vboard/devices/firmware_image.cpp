#include "vboard/devices/firmware_image.h"

#include <algorithm>
#include <random>

#include "r8/contract/little_endian.h"
#include "r8/contract/port_multiplier.h"

namespace vboard {

std::vector<std::uint8_t> firmwareImage(std::uint32_t size, std::uint8_t revision, std::uint8_t bonding,
                                        unsigned seed) {
    std::vector<std::uint8_t> image(std::max<std::size_t>(size, imageHeader::bytes), 0);
    std::mt19937 random(seed);
    std::generate(image.begin() + imageHeader::bytes, image.end(),
                  [&random] { return static_cast<std::uint8_t>(random()); });
    const std::uint8_t start[] = {imageHeader::id0, imageHeader::id1, revision, pmChipId, bonding};
    std::copy(std::begin(start), std::end(start), image.begin());
    putLittleEndian16(image.data() + imageHeader::lengthPartA, static_cast<std::uint16_t>(size - size / 2));
    putLittleEndian16(image.data() + imageHeader::lengthPartB, static_cast<std::uint16_t>(size / 2));
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
    section.each("patch", [&](Section& patch) {
        std::uint32_t offset = 0;
        std::vector<std::uint8_t> bytes;
        patch.number("offset", offset);
        patch.bytes("bytes", bytes);
        if (!content || offset + bytes.size() > content->size()) {
            patch.fail("offset", "lies outside the image");
        }
        std::copy(bytes.begin(), bytes.end(), content->begin() + offset);
    });
}

void FirmwareImageFile::plugIn(Machine& machine) {
    if (content) {
        file_.content = *content;
        machine.root.add(firmwareImagePath, file_);
    }
}

}  // namespace vboard
