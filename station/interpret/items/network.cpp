#include "station/interpret/items.h"
#include "station/interpret/text.h"

namespace station {

namespace {

constexpr std::int64_t goodSpeedMbit = 1000;

void readCardLink(Item& item, std::int64_t number, std::string_view state, Network& network) {
    Card card;
    card.number = number;
    card.poe = state == "是POE网卡，不检测!";
    if (state == "网络连接接通" || state == "网络连接断开") {
        card.link = state == "网络连接接通";
    } else if (!card.poe) {
        card.error = state;
    }
    if (card.link == false) {
        item.contradiction = "card " + std::to_string(number) + " has no link";
    }
    item.checked = true;
    network.cards.push_back(card);
}

void readSpeed(Item& item, std::string_view line, Card& card) {
    std::int64_t speed = 0;
    LineScanner scan{trimmed(line.substr(std::string_view("全双工").size()))};
    if (card.duplex) {
        markBroken(item, line);  // a card says it once
    }
    card.duplex = line.starts_with("全双工") ? "full" : "half";
    if (!scan.number(speed).text("M") || !scan.rest.empty()) {
        return markBroken(item, line);
    }
    card.speedMbit = speed;
    if (speed != goodSpeedMbit) {
        item.contradiction = line;
    }
}

// "网卡1:网络连接接通 ", "全双工  1000M"
void readLine(TestRun& run, std::string_view line) {
    Item& item = run.item<Network>();
    Network& network = run.values<Network>();
    std::int64_t number = 0;
    if (LineScanner card{line}; card.text("网卡").number(number).text(":")) {
        readCardLink(item, number, trimmed(card.rest), network);
    } else if (line.starts_with("网卡")) {
        markBroken(item, line);
    } else if (!network.cards.empty() && (line.starts_with("全双工") || line.starts_with("半双工"))) {
        readSpeed(item, line, network.cards.back());
    }
}

// Each card's link, and duplex and speed of one that is up.
std::string lacks(const TestRun& run) {
    std::int64_t expected = 0;
    for (const Card& card : run.values<Network>().cards) {
        const std::string name = "card " + std::to_string(card.number);
        if (card.number != ++expected) {
            return name + " came where card " + std::to_string(expected) + " belongs";
        }
        if (!card.poe && !card.link) {
            return name + " has no known link: " + card.error.value_or("");
        }
        if (!card.poe && !card.speedMbit) {
            return name + " has no known speed";
        }
    }
    return "";
}

// The single test prints the addresses as well, which the console's reader takes.
void readSingle(TestRun& run, std::string_view line) {
    if (line.find(" mac地址:") == std::string_view::npos) {
        readLine(run, line);
    }
}

}  // namespace

const ItemRow Network::row = {
    .name = "network",
    .title = "网络状态",
    .stepTitle = "网络状态",
    .english = "Network",
    .presence = Presence::dependsOnBoard,
    .readLine = readLine,
    .lacks = lacks,
    .singleTest = 11,
    .readSingle = readSingle,
    .singleRunsOnce = true,
};

}  // namespace station
