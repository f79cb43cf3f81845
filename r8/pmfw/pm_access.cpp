#include "r8/pmfw/pm_access.h"

#include <errno.h>

PmState pmState;

int pmprwFailed(int result) {
    print("ERR : pmprw, ioctl fail (%d)\n", errno);  // the next level prints it too
    return result;
}

int spiFailed(const char* name, int result) {
    print("ERR : %s, spi JMB39X fail (%d)\n", name, errno);
    return result;
}

int failWith(const char* message, int result) {
    print("%s\n", message);
    return result;
}

namespace {

int waitFlashIdle() {
    constexpr int pollLimit = 10000;
    return waitflashrdy(pollLimit);
}

}  // namespace

int eraseflash() {
    constexpr PmStep steps[] = {
        {waitFlashIdle, "ERR : eraseflash, waitflashrdy(10000) fail1"},
        {spiWREN, "ERR : eraseflash, spiWREN fail"},
        {spiCE, "ERR : eraseflash, spiCE fail"},
        {waitFlashIdle, "ERR : eraseflash, waitflashrdy(10000) fail2"},
    };
    return perform(steps);
}

int disableflashWP() {
    constexpr PmStep steps[] = {
        {waitFlashIdle, "ERR : disableflashWP, waitflashrdy(10000) fail1"},
        {spiWREN, "ERR : disableflashWP, spiWREN fail"},
        {[] { return spiWRSR(0); }, "ERR : disableflashWP, spiWRSR fail"},
        {waitFlashIdle, "ERR : disableflashWP, waitflashrdy(10000) fail2"},
    };
    return perform(steps);
}
