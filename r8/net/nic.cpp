#include "r8/net/nic.h"

#include <errno.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "r8/board/board_config.h"
#include "r8/board/boot_params.h"
#include "r8/driver/report/report_channel.h"
#include "r8/driver/report/run_results.h"
#include "r8/print.h"

namespace {

constexpr char reportModule[] = "nic";
constexpr int max_cards = 2;
constexpr int poe_index = 2;
constexpr int query_failed = 2;

static_assert(SIOCETHTOOL == 0x8946, "the request that the board's kernel knows");
static_assert(sizeof(ifreq::ifr_name) == 16 && offsetof(ifreq, ifr_data) == 16,
              "the pointer to the command record follows the interface's name");
static_assert(sizeof(void*) != 4 || sizeof(ifreq) == 32, "as the board's 32-bit kernel copies it");
static_assert(sizeof(ethtool_value) == 8 && offsetof(ethtool_value, data) == 4, "ETHTOOL_GLINK's record");
static_assert(sizeof(ethtool_cmd) == 44 && offsetof(ethtool_cmd, speed) == 12 &&
                  offsetof(ethtool_cmd, duplex) == 14,
              "ETHTOOL_GSET's record");

constexpr const char* net_if_names[] = {"eth1", "eth0", "poe0"};

int ethtool_request(int sock, const char* ifname, void* command) {
    ifreq request = {};
    strncpy(request.ifr_name, ifname, sizeof request.ifr_name - 1);
    request.ifr_data = static_cast<char*>(command);
    return ioctl(sock, SIOCETHTOOL, &request);
}

// 1 link up, 0 link down, 2 query failed.
int r8_net_check_link(int sock, const char* ifname) {
    ethtool_value link = {};
    link.cmd = ETHTOOL_GLINK;
    if (ethtool_request(sock, ifname, &link) == -1) {
        reportLine("ETHTOOL_GLINK failed: \n");
        return query_failed;
    }
    if (link.data == 1) {
        reportLine("网络连接接通 \n");
    } else {
        reportLine("网络连接断开 \n");
    }
    return link.data != 0 ? 1 : 0;
}

const char* speed_line(int speed) {
    switch (speed) {
        case 10:
            return "10M\n";
        case 100:
            return "100M\n";
        case 1000:
            return "1000M\n";
        default:
            return "net speed error\n";
    }
}

// 0 at 1000 Mbit/s, -1 at any other speed, 2 query failed.
int r8_net_check_speed(int sock, const char* ifname) {
    ethtool_cmd settings = {};
    settings.cmd = ETHTOOL_GSET;
    if (ethtool_request(sock, ifname, &settings) == -1) {
        reportLine("ETHTOOL_GLINK failed\n");
        return query_failed;
    }
    if (settings.duplex == DUPLEX_FULL) {
        reportLine("全双工  ");
    } else {
        reportLine("半双工  ");
    }
    reportLine("%s", speed_line(settings.speed));
    if (settings.speed != 1000) {
        reportLine("请检查网络测试环境是否为千M网络\n\n");
        return -1;
    }
    return 0;
}

// The last card of a board with a PoE switch takes the name after its own: "eth0" alone, "poe0" of two.
int name_index(int card, int card_count) {
    return boardConfig.poeSwitchPresent != 0 && card == card_count ? card : card - 1;
}

void check_card(int sock, int card, int card_count) {
    const int index = name_index(card, card_count);
    if (index == poe_index) {
        reportLine("网卡%d:是POE网卡，不检测!\n", card);
        return;
    }
    reportLine("网卡%d:", card);
    const char* ifname = net_if_names[index];
    if (r8_net_check_link(sock, ifname) != 1 || r8_net_check_speed(sock, ifname) != 0) {
        runResults.networkFailed = 1;
    }
}

}  // namespace

int r8_net_test() {
    int card_count = static_cast<int>(boardConfig.netCardCount);
    if (boardConfig.netCardCount > max_cards) {
        reportLine("网卡个数超过支持上限,网口个数为 %d\n", card_count);
        card_count = max_cards;
    }
    const int sock = socket(AF_INET, SOCK_DGRAM, 0);
    if (sock == -1) {
        printTo(STDERR_FILENO, "creat socket error\n: %s\n", strerror(errno));
        return -1;
    }
    for (int card = 1; card <= card_count; ++card) {
        check_card(sock, card, card_count);
    }
    (void)close(sock);
    if (r8_net_print_mac(card_count) != 0) {
        print("网卡mac地址打印失败\n");
    }
    return 0;
}

int r8_net_print_mac(int iNetCardNum) {
    if (iNetCardNum > max_cards) {
        print("iNetCardNum is too big, iNetCardNum[%d]\n", iNetCardNum);
        return -1;
    }
    const uint8_t* mac = bootParams.bytes + bootParamsMacOffset;
    for (int card = 1; card <= iNetCardNum; ++card, mac += macAddressBytes) {
        print("网卡%d mac地址:", card);
        print("%02x:%02x:%02x:%02x:%02x:%02x\n", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    }
    print("\n");
    return 0;
}
