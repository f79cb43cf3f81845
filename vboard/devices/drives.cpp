#include "vboard/devices/drives.h"

#include <linux/hdreg.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "r8/contract/ata_identity.h"
#include "r8/contract/port_multiplier.h"
#include "vboard/wire.h"

namespace vboard {

namespace {

constexpr std::uint8_t driveReady = 0x50;  // status: ready, seek complete

// ATA strings: blanks to the end of the field, the first character of each pair in the word's high byte.
void putText(std::uint8_t* identity, AtaTextField field, const std::string& text) {
    for (std::size_t i = 0; i < field.length; ++i) {
        identity[field.offset + (i ^ 1)] = static_cast<std::uint8_t>(i < text.size() ? text[i] : ' ');
    }
}

Result putSize(std::span<std::uint8_t> data, std::uint64_t size) {
    std::memcpy(data.data(), &size, sizeof size);
    return {};
}

}  // namespace

Result Drive::ioctl(const IoctlRequest& request) {
    switch (request.code) {
        case HDIO_DRIVE_CMD:
            return driveCommand(request.data);
        case wire::blockBytes:
            return unsized ? Result::failure(EIO) : putSize(request.data, sectors * ataSectorBytes);
        case wire::blockSectors:
            if (sectors > std::numeric_limits<std::uint32_t>::max()) {
                return Result::failure(EFBIG);  // more than the board's 32-bit kernel can say
            }
            return unsized ? Result::failure(EIO) : putSize(request.data, sectors);
        case pmprwRequest:
            return portMultiplier ? portMultiplier(request) : Result::failure(ENOTTY);
        default:
            return Result::refusal(ENOTTY);
    }
}

Result Drive::driveCommand(std::span<std::uint8_t> registers) const {
    const bool identifies = registers[0] == ataIdentifyDevice && registers[3] == 1;
    if (!identifies) {
        return Result::refusal(EIO);
    }
    if (silent) {
        return Result::failure(EIO);
    }
    std::fill(registers.begin(), registers.end(), std::uint8_t{0});
    registers[0] = driveReady;
    std::uint8_t* identity = registers.data() + driveCommandHeaderBytes;
    putText(identity, ataSerialNumber, serial);
    putText(identity, ataFirmwareRevision, firmware);
    putText(identity, ataModelNumber, model);
    return {};
}

void Drives::configure(Section& section) {
    std::string name;
    section.text("name", name);
    if (!name.starts_with("sd") && !name.starts_with("esd")) {
        section.fail("name", "is the name of a drive, like \"sda\" or \"esda\"");
    }
    Drive& drive = drives[name];
    section.text("serial", drive.serial);
    section.text("model", drive.model);
    section.text("firmware", drive.firmware);
    section.number("sectors", drive.sectors);
    section.flag("absent", drive.absent);
    section.flag("silent", drive.silent);
    section.flag("unsized", drive.unsized);
}

void Drives::plugIn(Machine& machine) {
    for (auto& [name, drive] : drives) {
        if (!drive.absent && drive.wired) {
            machine.root.add("/dev/" + name, drive);
        }
    }
}

}  // namespace vboard
