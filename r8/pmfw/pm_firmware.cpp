#include "r8/pmfw/pm_firmware.h"

#include <fcntl.h>
#include <unistd.h>

#include "r8/pmfw/pm_access.h"
#include "r8/pmfw/pm_check.h"
#include "r8/pmfw/pm_flash.h"
#include "r8/print.h"

uint32_t pmFlashUpdated = 0;

namespace {

int upload() {
    const int result = uploadcode();
    if (result < 0) {
        return failWith("ERR : main, uploadcode fail", result);
    }
    pmFlashUpdated = 1;
    return result;
}

int verifyThenUpload() {
    const int result = verifycode();
    if (result < 0) {
        return failWith("ERR : main, verifycode fail", result);
    }
    if (result == 1) {
        print("INFO: Flash #%d is the same as binary file\n", pmState.flashIndex + 1);
        return result;
    }
    return upload();
}

// Negative on failure.
int updateFlash() {
    int result = chk39xdev();
    if (result < 0) {
        return failWith("ERR : main, check 39x device fail", result);
    }
    result = chkbinfile();
    if (result < 0) {
        return failWith("ERR : main, check binary file fail", result);
    }
    if (result == 1) {
        return result;  // the last request's own value; this one ends the update well, nothing written
    }
    result = chkflashsts();
    if (result < 0) {
        return failWith("ERR : main, check flash status fail", result);
    }
    pmState.flashIndex = 0;
    return result == 1 ? verifyThenUpload() : upload();
}

}  // namespace

int pmpfwupdate(int driveFd) {
    pmFlashUpdated = 0;
    pmState.imageFd = open(firmwareImagePath, O_RDONLY);
    if (pmState.imageFd == -1) {
        return failWith("ERR : open config binfile fail", -1);
    }
    if (driveFd < 0) {
        print("ERR:the sata fd is error\n");  // the first request reports it once more, and ends the update
    }
    pmState.driveFd = driveFd;
    const int result = updateFlash();
    (void)close(pmState.imageFd);
    pmState.imageFd = -1;
    print("INFO: Finish\n");
    return result < 0 ? -1 : 0;
}
