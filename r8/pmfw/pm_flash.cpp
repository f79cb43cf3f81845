#include "r8/pmfw/pm_flash.h"

#include <stdint.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include "r8/contract/little_endian.h"
#include "r8/pmfw/pm_access.h"
#include "r8/print.h"

namespace {

constexpr size_t blockBytes = 512;
constexpr uint8_t erasedByte = 0xFF;

void rewindImage() {
    (void)lseek(pmState.imageFd, 0, SEEK_SET);  // worked a moment ago, for the image's length
}

void showProgress() {
    (void)writeText(STDOUT_FILENO, ".", 1);  // nowhere left to say that it failed
}

[[gnu::cold, gnu::noinline]] void showDifference(uint32_t address, uint32_t word, const uint8_t* bytes) {
    print("WRN : verifycode, verify fail (%08Xh) (JMB39X = %08Xh, binfile = %02X%02X%02X%02Xh)\n", address,
          word, bytes[3], bytes[2], bytes[1], bytes[0]);
}

// Moves address past the words that are equal. 1: all of them; 0: one differs; -1: a read failed.
int verifyBlock(const uint8_t* block, ssize_t length, uint32_t& address) {
    for (ssize_t j = 0; j < length; j += flashWordBytes, address += flashWordBytes) {
        const uint8_t* bytes = block + j;
        uint32_t word = 0;
        if (readflash(address, &word, 1) < 0) {
            print("ERR : verifycode, readflash fail (%08Xh)\n", address);
            return -1;
        }
        if (word != littleEndian32(bytes)) {
            showDifference(address, word, bytes);
            return 0;
        }
    }
    return 1;
}

// Moves address to the end of what is equal. 0, or -1 when flash or image could not be read.
int verifyBlocks(uint32_t& address) {
    uint8_t block[blockBytes];
    while (true) {
        memset(block, erasedByte, sizeof block);  // what an image's last word may lack
        const ssize_t length = read(pmState.imageFd, block, sizeof block);
        if (length <= 0) {
            print("\n");
            if (length < 0) {
                print("ERR : verifycode, read binfile fail (%08Xh)\n", address);
                return -1;
            }
            return 0;
        }
        const int result = verifyBlock(block, length, address);
        if (result != 1) {
            return result;
        }
        showProgress();
    }
}

// Moves address past the words that are programmed. -1, or the last request's value.
int programBlock(const uint8_t* block, ssize_t length, uint32_t& address) {
    int result = 0;
    for (ssize_t j = 0; j < length; j += flashWordBytes, address += flashWordBytes) {
        const uint32_t word = littleEndian32(block + j);
        result = writeflash(address, &word, 1);
        if (result < 0) {
            print("ERR : uploadcode, writeflash fail (%08Xh)\n", address);
            return -1;
        }
    }
    return result;
}

// Moves address to the end of what is programmed. -1, or the last request's value.
int programBlocks(uint32_t& address) {
    uint8_t block[blockBytes];
    memset(block, erasedByte, sizeof block);
    int result = 0;
    while (true) {
        const ssize_t length = read(pmState.imageFd, block, sizeof block);
        if (length <= 0) {
            print("\n");
            if (length < 0) {
                print("ERR : uploadcode, read binfile fail (%08Xh)\n", address);
                return -1;
            }
            return result;
        }
        result = programBlock(block, length, address);
        if (result < 0) {
            return result;
        }
        showProgress();
    }
}

}  // namespace

int verifycode() {
    rewindImage();
    print("INFO: Verify flash #%d\n", pmState.flashIndex + 1);
    uint32_t address = 0;
    const int result = verifyBlocks(address);
    print("INFO: Total verify size = %d\n", static_cast<int>(address));
    if (address == pmState.imageLength) {
        print("INFO: Verify complete\n");
        return 1;
    }
    print("WRN : verifycode, verify not complete\n");
    return result;
}

int uploadcode() {
    constexpr PmStep clearFlash[] = {
        {disableflashWP, "ERR : uploadcode, disableflashWP fail"},
        {eraseflash, "ERR : uploadcode, eraseflash fail"},
    };
    int result = perform(clearFlash);
    if (result < 0) {
        return result;
    }
    rewindImage();
    print("INFO: Upload flash #%d\n", pmState.flashIndex + 1);
    uint32_t address = 0;
    result = programBlocks(address);
    print("INFO: Total upload size = %d\n", static_cast<int>(address));
    if (address != pmState.imageLength) {
        return failWith("ERR : uploadcode, upload not complete", -1);
    }
    print("INFO: Upload complete\n");
    return result;
}
