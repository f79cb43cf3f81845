// Whatever lies in the image file: it passes exactly if its header is for this chip and its length is right.
// The first two bytes of the input are the chip's bonding registers, the rest is the file.

#include <sys/ioctl.h>
#include <sys/mman.h>

#include <cstdarg>

#include "fuzz/input.h"
#include "r8/contract/little_endian.h"
#include "r8/pmfw/pm_access.h"
#include "r8/pmfw/pm_check.h"

namespace {
std::uint8_t bondingHigh = 0;
std::uint8_t bondingLow = 0;
}  // namespace

// The chip: takes the place of the kernel's ioctl in this program.
extern "C" int ioctl(int, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    auto* record = va_arg(arguments, std::uint8_t*);
    va_end(arguments);
    MUST(request == pmprwRequest && record[7] == static_cast<std::uint8_t>(PmAccessMode::registerRead));
    const std::uint32_t address = littleEndian32(record + 10);
    MUST(address == pmRegister::bondingHigh || address == pmRegister::bondingLow);
    record[2] = address == pmRegister::bondingHigh ? bondingHigh : bondingLow;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    bondingHigh = data[0];
    bondingLow = data[1];
    const std::uint8_t* image = data + 2;
    size -= 2;
    static const int file = memfd_create("image", 0);
    MUST(ftruncate(file, 0) == 0 && pwrite(file, image, size, 0) == static_cast<ssize_t>(size));
    pmState = {};
    pmState.imageFd = file;

    const auto bonding = static_cast<std::uint8_t>(bondingHigh * 4 | bondingLow);
    const bool fits = size >= 32 && size % 4 == 0 && image[0] == 0x7B && image[1] == 0x19 &&
                      image[3] == 0x32 && image[4] == bonding &&
                      image[8] + 256U * image[9] + image[12] + 256U * image[13] == size;
    MUST((chkbinfile() >= 0) == fits);
    MUST(pmState.imageLength == size);
    return 0;
}
