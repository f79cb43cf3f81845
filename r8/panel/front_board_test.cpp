#include "r8/panel/front_board_test.h"

#include <stdint.h>

#include "r8/contract/panel_frames.h"
#include "r8/driver/report/report_channel.h"
#include "r8/panel/panel_link.h"
#include "r8/print.h"

namespace {

constexpr char reportModule[] = "front_board_test";
constexpr uint8_t testArgument = 4;  // of the panel's command 4
constexpr int lostPortFailures = 3;  // in a row: a port that is hung up fails at once, and for ever

constexpr int keyEvent(int keyCode) {
    return panelKeyEventType << 16 | keyCode << 8;
}
constexpr int menuPressed = keyEvent(menuKey);
constexpr int upPressed = keyEvent(upKey);
constexpr int downPressed = keyEvent(downKey);

void checkPanel() {
    if (StartPanelHbThread() != 0) {
        print("创建面板心跳守护进程失败 !\n");
        return;
    }
    if (QueryPanel() == 0) {
        return;
    }
    (void)SendPanelCommand4(testArgument);
    SetAllPanelLamps(panelFd, allLampsGreen);
    if (consoleMode != 0) {
        reportLine(
            "面板测试开始\n面板输入UP       点亮所有灯绿色\n"
            "面板输入DOWN     点亮所有灯红色\n面板输入MENU       退出面板测试\n");
    }
    (void)WaitPanelKeys(panelFd);
}

}  // namespace

void FrontPanelTest() {
    panelFd = OpenPanelPort();
    if (panelFd == -1) {
        print("pannel init failed !\n");
        return;
    }
    checkPanel();
    ClosePanelPort();
}

int WaitPanelKeys(int fd) {
    int failures = 0;
    while (failures < lostPortFailures) {
        bool failed = false;
        const int event = ReadPanelFrame(panelFd, 0, 0, &failed);
        failures = failed ? failures + 1 : 0;
        switch (event) {
            case upPressed:
                SetAllPanelLamps(fd, allLampsGreen);
                break;
            case downPressed:
                SetAllPanelLamps(fd, allLampsRed);
                break;
            case menuPressed:
                return menuPressed;
            default:  // other keys, replies and damaged frames
                break;
        }
    }
    return 0;
}
