#include "r8/storage/sata_test.h"

#include <stdint.h>
#include <string.h>

#include "r8/board/board_config.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/print.h"
#include "r8/storage/ata_drive.h"

namespace {

constexpr char reportModule[] = "sata_test";
constexpr size_t nodeNameBytes = sizeof "/dev/esdX";
constexpr size_t fieldTextBytes = ataModelNumber.length + 1;  // the longest field and its NUL
constexpr int gibibyteShift = 30;

// 5 and 9 count an external port in. 16 internal ports, alone or with external ones counted in, come with two
// external ports.
int countInternalPorts() {
    const int fitted = boardConfig.diskPortCount;
    const int ports = fitted == 5 || fitted == 9 ? fitted - 1 : fitted;
    if (ports < 16 || ports > 18) {
        return ports;
    }
    boardConfig.esataPortCount = 2;
    return 16;
}

// The letter e is left out of the internal ports' names. On boards with at most two internal ports the second
// disk, internal or external, is always sdf.
void nameNode(int port, int internalPorts, char (&name)[nodeNameBytes]) {
    if (internalPorts <= 2 && port == 1) {
        (void)formatText(name, sizeof name, "/dev/sdf");
    } else if (port >= internalPorts) {
        (void)formatText(name, sizeof name, "/dev/esd%c", 'a' + (port - internalPorts));
    } else {
        (void)formatText(name, sizeof name, "/dev/sd%c", port <= 3 ? 'a' + port : 'a' + port + 1);
    }
}

void markFailed(int port, int internalPorts) {
    if (port < internalPorts) {
        runResults.sataFailedMask |= uint32_t{1} << port;
    }
}

// A field's characters without NULs, which would cut the line short; the blanks that fill it up stay.
void copyFieldText(const uint8_t* identity, AtaTextField field, char (&text)[fieldTextBytes]) {
    size_t length = 0;
    for (size_t i = 0; i < field.length; ++i) {
        const uint8_t character = identity[field.offset + i];
        if (character != 0) {
            text[length++] = static_cast<char>(character);
        }
    }
    text[length] = '\0';
}

void reportIdentity(const char* name, const uint8_t* identity) {
    char text[fieldTextBytes];
    reportLine("%s", name);
    copyFieldText(identity, ataSerialNumber, text);
    reportLine("\n序列号    :%s", text);
    copyFieldText(identity, ataModelNumber, text);
    reportLine("\n型号      :%s", text);
    copyFieldText(identity, ataFirmwareRevision, text);
    reportLine("\n固件版本  :%s", text);
    reportLine("\n");
}

void testPort(int port, int internalPorts) {
    uint8_t identity[ataSectorBytes] = {};
    char name[nodeNameBytes];
    nameNode(port, internalPorts, name);
    if (ataIdentify(name, identity) == -1) {
        reportLine("%s 不存在\n", name);
        markFailed(port, internalPorts);
        return;
    }
    reportIdentity(name, identity);

    const uint64_t size = deviceCapacity(name);
    if (size == unknownCapacity) {
        markFailed(port, internalPorts);
        reportLine("%s 无法获取硬盘容量\n", name);
        return;
    }
    reportLine("硬盘容量  :%lldGB\n", static_cast<long long>(size >> gibibyteShift));
    ++runResults.sataFoundCount;
}

}  // namespace

void sataPortTest() {
    runResults.sataFailedMask = 0;
    const int internalPorts = countInternalPorts();
    reportLine("设备有%d个sata口\n", internalPorts);
    for (int port = 0; port < internalPorts + boardConfig.esataPortCount; ++port) {
        testPort(port, internalPorts);
    }
}
