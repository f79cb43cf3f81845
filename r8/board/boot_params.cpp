#include "r8/board/boot_params.h"

#include <sys/ioctl.h>

#include "r8/board/board_config.h"
#include "r8/contract/control_requests.h"
#include "r8/contract/little_endian.h"
#include "r8/print.h"

BootParams bootParams;

int getBootParams(int fd) {
    BootParams answer = {};
    if (ioctl(fd, ZORIO_GET_BOOT_PARMS, &answer) == -1) {
        print("ioctl ZORIO_GET_BOOT_PARMS error\n");
        return 0;
    }
    bootParams = answer;
    setRs485Present(littleEndian16(bootParams.bytes + bootParamsBoardTypeCodeOffset));

    uint32_t gate = 0;
    (void)ioctl(fd, ZORIO_GET_STEP_GATE, &gate);  // a gate that can not be read counts as open
    return gate == 0 ? 1 : 0;
}
