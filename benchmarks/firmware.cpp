// Upload and verification of the largest image, with a flash that is ready at once. A request enters the
// host's kernel, which refuses it, and is then answered here: the least that a request can cost on a real
// board.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "benchmarks/measure.h"
#include "r8/contract/little_endian.h"
#include "r8/pmfw/pm_access.h"
#include "r8/pmfw/pm_flash.h"

namespace {

constexpr std::uint32_t imageBytes = 131068;
constexpr unsigned long words = imageBytes / flashWordBytes;
constexpr std::size_t blockBytes = 512;

const std::vector<std::uint8_t> image(imageBytes, 0x5A);
std::vector<std::string>* journal = nullptr;  // where requests are noted, if anywhere

__attribute__((noinline)) void note(const std::uint8_t* record) {
    journal->emplace_back(reinterpret_cast<const char*>(record), pmprwRecordBytes);
}

}  // namespace

// In this program in place of the C library's.
extern "C" __attribute__((noipa)) int ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    auto* record = va_arg(arguments, std::uint8_t*);
    va_end(arguments);
    if (journal != nullptr) {
        note(record);
    }
    (void)syscall(SYS_ioctl, fd, request, record);
    if (record[pmRecord::controlLow] == (pmControl::readStatus & 0xFF)) {
        record[pmRecord::data] = 0;
    } else if (record[pmRecord::controlLow] == (pmControl::read & 0xFF)) {
        std::memcpy(record + pmRecord::data, image.data() + littleEndian32(record + pmRecord::address),
                    flashWordBytes);
    }
    return 0;
}

namespace {

void need(bool expected) {
    if (!expected) {
        std::abort();
    }
}

// A disk behind a chip, and the image file, as at the start of an update.
void plugIn() {
    (void)close(pmState.driveFd);
    (void)close(pmState.imageFd);
    pmState = {};
    pmState.driveFd = open("/dev/null", O_RDWR);
    pmState.imageFd = memfd_create("image", MFD_CLOEXEC);
    pmState.imageLength = imageBytes;
    need(pmState.driveFd != -1 && write(pmState.imageFd, image.data(), imageBytes) == imageBytes);
}

void say(const char* text) {
    (void)!write(STDOUT_FILENO, text, std::strlen(text));
}

// By hand: one record that goes there and comes back. Only data and address may stay as the driver left them.
struct Request {
    std::uint8_t record[pmprwRecordBytes] = {};

    void send(std::uint16_t control) {
        record[0] = 0;
        record[pmRecord::controlLow] = static_cast<std::uint8_t>(control);
        record[pmRecord::target] = pmRecord::targetBit;
        record[pmRecord::command] = static_cast<std::uint8_t>(PmAccessMode::spiTransfer);
        record[8] = 0;
        record[pmRecord::controlHigh] = static_cast<std::uint8_t>(control >> 8);
        record[14] = 0;
        record[15] = 0;
        need(ioctl(pmState.driveFd, pmprwRequest, record) >= 0);
    }
    void setData(std::uint32_t word) { putLittleEndian32(record + pmRecord::data, word); }
    std::uint32_t data() const { return littleEndian32(record + pmRecord::data); }
    void setAddress(std::uint32_t address) { putLittleEndian32(record + pmRecord::address, address); }
    void waitIdle() {
        do {
            send(pmControl::readStatus);
        } while ((data() & flashBusy) != 0);
    }
};

// Calls body for each word of the image, which is read as the tool reads it.
template <typename Body>
void eachWord(const char* announcement, Body body) {
    (void)lseek(pmState.imageFd, 0, SEEK_SET);
    say(announcement);
    std::uint32_t address = 0;
    std::uint8_t block[blockBytes];
    while (true) {
        const ssize_t length = read(pmState.imageFd, block, sizeof block);
        need(length >= 0);
        if (length == 0) {
            break;
        }
        for (ssize_t i = 0; i < length; i += flashWordBytes, address += flashWordBytes) {
            body(address, littleEndian32(block + i));
        }
        say(".");
    }
    say("\n");
    need(address == imageBytes);
}

void uploadByHand() {
    Request request;
    request.waitIdle();
    request.send(pmControl::writeEnable);
    request.setData(0);
    request.send(pmControl::writeStatus);
    request.waitIdle();
    request.waitIdle();
    request.send(pmControl::writeEnable);
    request.send(pmControl::chipErase);
    request.waitIdle();
    eachWord("INFO: Upload flash #1\n", [&](std::uint32_t address, std::uint32_t word) {
        request.send(pmControl::writeEnable);
        request.setData(word);
        request.setAddress(address);
        request.send(pmControl::pageProgram);
        request.waitIdle();
    });
    say("INFO: Total upload size = 131068\n");
    say("INFO: Upload complete\n");
}

void verifyByHand() {
    Request request;
    eachWord("INFO: Verify flash #1\n", [&](std::uint32_t address, std::uint32_t word) {
        request.setAddress(address);
        request.send(pmControl::read);
        need(request.data() == word);
    });
    say("INFO: Total verify size = 131068\n");
    say("INFO: Verify complete\n");
}

std::vector<std::string> requestsOf(void (*body)()) {
    std::vector<std::string> requests;
    plugIn();
    journal = &requests;
    body();
    journal = nullptr;
    return requests;
}

// Both ways, which must make the same requests to the byte; so many of them.
void compare(const char* what, std::size_t requests, void (*byTool)(), void (*byHand)()) {
    const std::vector<std::string> made = requestsOf(byTool);
    need(made.size() == requests && made == requestsOf(byHand));
    measure(what, tool, requests, plugIn, byTool);
    measure(what, bare, requests, plugIn, byHand);
}

}  // namespace

void measureFirmware() {
    constexpr std::size_t aroundUpload = 8;  // unlocking and erasing
    compare(
        "firmware upload, 3 requests a word", 3 * words + aroundUpload, [] { need(uploadcode() >= 0); },
        uploadByHand);
    compare(
        "firmware verify, 1 request a word", words, [] { need(verifycode() == 1); }, verifyByHand);
}
