// Units against the product file of the virtual board: what a person would say of each board, with the reason
// that a repair bench reads; and that nothing which is worse than its limit, or not there, passes.

#include <random>
#include <regex>
#include <sstream>

#include "station/interpret/items.h"
#include "station/interpret/run_interpreter.h"
#include "station/interpret/verdict.h"
#include "station/keep/record_lines.h"
#include "station/product/first_product.h"
#include "station/product/judge.h"
#include "station/product/read_product.h"
#include "tests/golden.h"
#include "tests/station_program.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

using Lines = std::vector<std::string>;

// A board's screen lines and what it printed beside them.
struct BoardLines {
    Lines pipe, console;
};

Lines linesOf(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

BoardLines linesOf(const vboard::Run& run) {
    std::string text;
    for (const std::string& record : run.records()) {
        text += record;
    }
    return {linesOf(text), linesOf(run.console())};
}

BoardLines boardLines(const std::string& change) {
    vboard::VirtualBoard board("healthy");
    vboard::loadScenarioText(board, change, "test.toml");
    return linesOf(board.run({"netR8test"}));
}

const Product& virtualBoard() {
    static const Product product = readProduct(PRODUCT_FOLDER "/virtual-board.toml");
    return product;
}

TestRun judged(const BoardLines& lines, const Product* product = &virtualBoard()) {
    RunInterpreter interpreter;
    for (const std::string& line : lines.console) {
        interpreter.console(0, line);
    }
    for (const std::string& line : lines.pipe) {
        interpreter.record(1, line == "R8TESTEND" ? line : line + "\n");
    }
    interpreter.finish(1, {.exitStatus = 0}, false);
    judgeByProduct(interpreter.run, product, true);
    judgeClock(interpreter.run, ClockJudge::automatic, {});
    explain(interpreter.run, product);
    return interpreter.run;
}

std::string storyOf(const std::string& board, const TestRun& run) {
    std::string story = board + ": " + std::string(outcomeName(run.outcome)) + "\n";
    for (const Item& item : run.items) {
        if (item.isOfThisBoard() && item.outcome != Outcome::passed) {
            story +=
                "    " + std::string(item.row->name) + " " + std::string(outcomeName(item.outcome)) + "\n";
            for (const Words& words : item.reasons) {
                story += "        " + words.zh + " / " + words.en + "\n";
            }
        }
    }
    return story;
}

const std::string bareBoard =
    "[cpld]\ndiskPortCount = 0\nesataPortCount = 0\nusbCount = 0\nalarmInCount = 0\nalarmOutCount = 0\n"
    "[usb]\nmice = []\n[[usb.disk]]\nname = \"msa\"\nabsent = true\n[[usb.disk]]\nname = \"msb\"\nabsent = "
    "true\n"
    "[[drive]]\nname = \"sda\"\nabsent = true\n[[drive]]\nname = \"sdb\"\nabsent = true\n"
    "[[drive]]\nname = \"sdc\"\nabsent = true\n[[drive]]\nname = \"sdd\"\nabsent = true\n"
    "[[drive]]\nname = \"esda\"\nabsent = true\n";
const std::string zeroAddresses =
    "[control]\nmacAddress1 = \"00 00 00 00 00 00\"\nmacAddress2 = \"00 00 00 00 00 00\"\n";
const std::string groupAddress = "[control]\nmacAddress2 = \"01 1A 2B 3C 4D 5F\"\n";
const std::string shrunkDrive = "[[drive]]\nname = \"sdb\"\nsectors = 195352536\n";
const std::string oldFirmware = "[cpld]\ncpldDate = 0x4D63\n";

TEST(StationProduct, everyBoardGetsTheOutcomeAndTheReasonsThatAPersonWouldGive) {
    std::string table;
    for (const auto& [name, shows] : vboard::listScenarios()) {
        const vboard::VirtualBoard board(name);
        if (board.arguments.front() == "netR8test" && name != "board-16-drives") {
            table += storyOf(name, judged(linesOf(boardRun(name))));
        }
    }
    for (const auto& [name, change] : {std::pair("a bare board", bareBoard),
                                       {"addresses of zeros", zeroAddresses},
                                       {"an address of a group", groupAddress},
                                       {"a drive that shrank", shrunkDrive},
                                       {"firmware from before", oldFirmware}}) {
        const TestRun run = judged(boardLines(change));
        EXPECT_NE(run.outcome, Outcome::passed) << name;
        table += storyOf(name, run);
    }
    expectGolden("product-scenarios", table);
}

// The same boards by their own description alone.
TEST(StationProduct, withoutAProductTheLinesGiveTheReasons) {
    std::string table;
    for (const auto& [name, shows] : vboard::listScenarios()) {
        if (isFaulty(name) && vboard::VirtualBoard(name).arguments.front() == "netR8test") {
            table += storyOf(name, judged(linesOf(boardRun(name)), nullptr));
        }
    }
    EXPECT_THAT(table, Not(HasSubstr("工具的结果是“失败”")));
    expectGolden("reasons-without-product", table);
}

// Lines that hold no value of any unit: around the steps, and what they mean to do.
bool holdsNothing(const std::string& line) {
    return line.empty() || line.starts_with("请") || line.starts_with("=====") ||
           line.starts_with("R8测试") || line.starts_with("-----") ||
           line.find("报警输入正常") != std::string::npos;
}

TEST(StationProduct, whateverIsLeftAwayOrWorseIsNoPass) {
    const BoardLines good = linesOf(boardRun("healthy"));
    ASSERT_EQ(judged(good).outcome, Outcome::passed);
    const std::regex digits("[0-9]+");
    for (std::size_t i = 0; i < good.pipe.size(); ++i) {
        const std::string& line = good.pipe[i];
        if (holdsNothing(line)) {
            continue;
        }
        BoardLines without = good;
        without.pipe.erase(without.pipe.begin() + static_cast<std::ptrdiff_t>(i));
        EXPECT_NE(judged(without).outcome, Outcome::passed) << "without " << line;
        for (const char* const digit : {"0", "9999"}) {
            BoardLines worse = good;
            worse.pipe[i] = std::regex_replace(line, digits, digit);
            if (line.starts_with("序列号")) {
                continue;  // each drive's own
            }
            const bool isMore =
                *digit == '9' && (line.starts_with("/dev/ms") || line.starts_with("硬盘容量"));
            EXPECT_TRUE(worse.pipe[i] == line || isMore || judged(worse).outcome != Outcome::passed)
                << worse.pipe[i];
        }
    }
    for (std::size_t i = 0; i < good.console.size(); ++i) {
        if (good.console[i].find("mac地址:") != std::string::npos ||
            good.console[i].find("RS485") != std::string::npos) {
            BoardLines without = good;
            without.console.erase(without.console.begin() + static_cast<std::ptrdiff_t>(i));
            EXPECT_NE(judged(without).outcome, Outcome::passed) << "without " << good.console[i];
        }
    }
}

// Each check of a good unit, seen at its limit, then past it and not at all.
TEST(StationProduct, everyLimitHoldsAtItsEdgeOnly) {
    const TestRun run = judged(linesOf(boardRun("healthy")));
    std::size_t checks = 0;
    for (const Item& item : run.items) {
        for (const Check& check : item.checks) {
            ++checks;
            EXPECT_TRUE(check.passed) << check.value;
            for (const auto& [edge, step] : {std::pair(check.limit.minimum, -1), {check.limit.maximum, 1}}) {
                if (edge && std::holds_alternative<std::int64_t>(*edge)) {
                    EXPECT_TRUE(check.limit.holds(*edge)) << check.value;
                    EXPECT_FALSE(check.limit.holds(std::get<std::int64_t>(*edge) + step)) << check.value;
                }
            }
            const bool isLimited =
                check.limit.minimum || check.limit.maximum || check.limit.expected || check.limit.pattern;
            EXPECT_TRUE(isLimited && !check.limit.holds(std::string("?"))) << check.value;
        }
    }
    EXPECT_GT(checks, 70u);
}

// Lines that nobody knows, and good lines a second time, in units that fail by their product alone.
TEST(StationProduct, nothingThatIsAddedMakesAUnitPass) {
    std::mt19937 random(20141);
    const Lines good = linesOf(boardRun("healthy")).pipe;
    for (const std::string& change : {zeroAddresses, shrunkDrive, oldFirmware, bareBoard}) {
        const BoardLines bad = boardLines(change);
        for (int i = 0; i < 150; ++i) {
            BoardLines more = bad;
            const std::string& known = good[random() % good.size()];
            const std::string added = i % 3 == 0 ? "风扇" + std::to_string(random()) + ":成功" : known;
            more.pipe.insert(more.pipe.begin() + static_cast<std::ptrdiff_t>(random() % bad.pipe.size()),
                             added);
            EXPECT_NE(judged(more).outcome, Outcome::passed) << change << added;
        }
    }
}

TEST(StationProduct, anItemThatNobodyTestedIsNoPass) {
    const BoardLines good = linesOf(boardRun("healthy"));
    const struct {
        const char* product;
        Outcome outcome;
    } cases[] = {
        {"[chip-temperature]\ncelsius = { most = 70 }\n", Outcome::incomplete},
        {"[chip-temperature]\ntested = false\n", Outcome::passed},
        {"[usb]\ntested = false\n", Outcome::failed},
        {"[usb]\n[[usb.disk]]\ndevice = \"msc1\"\n", Outcome::failed},
        {"[[test]]\nnumber = 2\n[buzzer]\n", Outcome::incomplete},
        {"[network]\n[[network.card]]\ncard = 2\npoe = true\n", Outcome::failed},
        {"[network]\ncards = 3\nspeedMbit = 1000\n", Outcome::failed},
        {"[cpld]\nfirmwareDate = { least = 2014-05-23 }\n", Outcome::passed},
        {"[cpld]\nfirmwareDate = { least = 2014-05-24 }\n", Outcome::failed},
        {"[mac]\nfirst = \"00:1A:2B:3C:4D:5E\"\nlast = \"00:1a:2b:3c:4d:5f\"\n", Outcome::passed},
        {"[mac]\nlast = \"00:1a:2b:3c:4d:5e\"\n", Outcome::failed},
        {"[mac]\ncount = 1\n", Outcome::failed},
        {"[clock]\nseconds = 0\n", Outcome::passed},
    };
    for (const auto& [text, outcome] : cases) {
        const Product product = readProductText(text, "p.toml");
        EXPECT_EQ(outcomeName(judged(good, &product).outcome), outcomeName(outcome)) << text;
    }
}

TEST(StationProduct, aWrongFileIsRefusedWithFileLineAndKey) {
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"# nothing yet\n", "p.toml:1: says nothing of a product"},
        {"[[unit]]\nserial = \"7\"\n[[unit]]\nfailedAttempts = 1\n", "'unit' is a table"},
        {"[[mac]]\ncount = 2\n", "'mac' is a table"},
        {"netwrok = 1\n", "p.toml:1: 'netwrok' is not known here"},
        {"[network]\n\nspeed = 1000\n", "p.toml:3: 'network.speed' is not known here"},
        {"[network]\nspeedMbit = \"1000\"\n", "p.toml:2: 'network.speedMbit' is a whole number"},
        {"[usb]\nusb3 = 1\n", "p.toml:2: 'usb.usb3' is true or false"},
        {"[usb]\nfreeMiB = { atLeast = 3 }\n", "p.toml:2: 'usb.freeMiB.least' is missing"},
        {"[usb]\nfreeMiB = { least = 3, more = 3 }\n", "'usb.freeMiB.more' is not known here"},
        {"[usb]\nfreeMiB = { least = 3, most = 2 }\n", "'usb.freeMiB.least' is more than the most"},
        {"[usb]\nfound = { pattern = \"3\" }\n", "'usb.found.pattern' describes texts only"},
        {"[sata]\nmodel = { least = \"a\" }\n", "'sata.model.least' limits numbers and dates only"},
        {"[sata]\nmodel = { pattern = \"(\" }\n", "'sata.model.pattern' is no regular expression"},
        {"[cpld]\nfirmwareDate = \"14\"\n", "'cpld.firmwareDate' is a date like"},
        {"[cpld]\nfirmwareDate = { least = \"2014-13-05\" }\n", "'cpld.firmwareDate.least' is a date like"},
        {"[usb]\nfreeMiB = { least = -5 }\n", "p.toml:2: 'usb.freeMiB.least' is not below 0"},
        {"[network]\ncards = -1\n", "p.toml:2: 'network.cards' is not below 0"},
        {"[[sata.drive]]\ncapacityGiB = 1\n", "'sata.drive.device' is missing"},
        {"[[sata.drive]]\ndevice = \"/dev/sda\"\n", "'sata.drive.device' is a name without"},
        {"[[sata.drive]]\ndevice = \"sda\"\n[[sata.drive]]\ndevice = \"sda\"\n",
         "'sata.drive.device' is there twice"},
        {"[alarm]\ntested = false\ninputs = 3\n", "'alarm.tested' is false"},
        {"[[alarm]]\n", "'alarm' is a table"},
        {"[buzzer]\n", "'buzzer' needs a [[test]] with number = 2"},
        {"[[test]]\nnumber = 12\n", "'test.number' is the number of a single test"},
        {"[[test]]\nnumber = 5\nask = true\n", "'test.ask' is true, but nobody"},
        {"[[test]]\nnumber = 5\ncount = 100\n", "'test.count' is a number from 1 to 99"},
        {"[[test]]\nnumber = 7\ncount = 2\n", "'test.count' is 1: the repetitions"},
        {"[[test]]\nnumber = 5\nlimitSeconds = 0\n", "'test.limitSeconds' is more than 0"},
        {"[mac]\nprefix = \"00:1a\"\n", "'mac.prefix' is 3 bytes with colons"},
        {"[mac]\nprefix = \"00:1a:2b\"\nfirst = \"00:1a:2c:00:00:00\"\n",
         "'mac.first' is not of that prefix"},
        {"[mac]\nfirst = \"00:1a:2b:00:00:02\"\nlast = \"00:1a:2b:00:00:01\"\n",
         "'mac.last' is not of that prefix"},
        {"[unit]\nserial = \"[\"\n", "p.toml:2: 'unit.serial' is no regular expression"},
        {"[unit]\ngoldenUnit = \"\"\n", "'unit.goldenUnit' is the name of a unit"},
        {"[unit\n", "p.toml:1: "},
    };
    for (const auto& [text, message] : cases) {
        try {
            (void)readProductText(text, "p.toml");
            ADD_FAILURE() << text << " is taken";
        } catch (const host::TomlError& error) {
            EXPECT_THAT(error.what(), HasSubstr(message));
        }
    }
}

// A person may have settled it; a clock that is right is right all the same.
TEST(StationProduct, theFirstProductTakesAClockThatIsRight) {
    TestRun run = judged(linesOf(boardRun("healthy")));
    for (ClockPair& pair : run.values<ClockTimes>().pairs) {
        pair.differenceSeconds = 30;
    }
    EXPECT_THAT(firstProduct("7", run, {}), HasSubstr("differenceSeconds = { least = -2, most = 30 }"));
}

using StationProductRun = StationRun;

TEST_F(StationProductRun, theFirstProductOfAGoodUnitPassesIt) {
    const std::string fifo = bench / "fifo";
    const auto run = [&](const std::string& unit, const Lines& more, const std::string& scenario) {
        Lines words = {"run",       "--unit",          unit,     "--clock", "auto",
                       "--results", bench / "results", "--fifo", fifo};
        words.insert(words.end(), more.begin(), more.end());
        words.insert(words.end(),
                     {"--", vboardProgram, scenario, "--fifo", fifo, "--raw", "--", "r8", "netR8test"});
        return station(words);
    };
    EXPECT_EQ(run("77", {}, "healthy"), 0);
    EXPECT_THAT(output(), HasSubstr("没有产品文件"));
    fs::remove(bench / "output");
    EXPECT_EQ(station({"product", "--from", attempt(1, "77")}), 0);
    const std::string product = file("first.toml", output());
    fs::remove(bench / "output");
    EXPECT_EQ(run("77", {"--again", "--product", product, "--lot", "4711"}, "healthy"), 0) << output();
    EXPECT_THAT(output(), Not(HasSubstr("没有产品文件")));
    EXPECT_EQ(run("x", {"--product", product}, "healthy"), 2);
    std::string plan = readFile(product);  // its limits hold in single tests of the same items, too
    for (const char* const number : {"1", "5", "6", "7", "8", "11"}) {
        plan += std::string("[[test]]\nnumber = ") + number + "\n";
    }
    EXPECT_EQ(run("77", {"--again", "--product", file("plan.toml", plan)}, "healthy"), 0) << output();
    fs::remove_all(attempt(3, "77"));
    fs::remove(bench / "output");
    const Json kept = record(2, "77");
    EXPECT_EQ(kept["version"], 2);
    EXPECT_EQ(kept["station"]["lot"], "4711");
    EXPECT_EQ(kept["product"]["name"], "first.toml");
    EXPECT_EQ(kept["product"]["sha256"], sha256OfFile(product));
    EXPECT_TRUE(kept["ended"].is_string());
    EXPECT_NE(kept["id"], record(1, "77")["id"]);
    EXPECT_EQ(run("77", {"--again", "--product", product, "--language", "en"}, "faulty-network-down"), 1);
    EXPECT_THAT(output(), HasSubstr("    card 2: no link, expected 1000 Mb/s full duplex"));
    EXPECT_THAT(readFile(attempt(3, "77") / "junit.xml"),
                HasSubstr("网卡2: 未连接, 应为 1000M 全双工 / card 2"));
    EXPECT_EQ(station({"product", "--from", attempt(3, "77")}), 2);
    Json late = kept;  // as a slow console has its lines, behind the end marker
    Json moved = Json::array();
    for (Json& step : late["steps"]) {
        for (Json& line : step["lines"]) {
            if (line["text"].get<std::string>().find("mac地址") != std::string::npos) {
                moved.push_back(line);
                line["text"] = "";
            }
        }
    }
    EXPECT_EQ(moved.size(), 2U);
    Json& last = late["steps"].back()["lines"];
    last.insert(last.end(), moved.begin(), moved.end());
    std::ofstream(attempt(2, "77") / "record.json") << late;
    fs::remove(bench / "output");
    EXPECT_EQ(station({"product", "--from", attempt(2, "77")}), 0) << output();
    EXPECT_THAT(output(), HasSubstr("[mac]\ncount = 2\n"));
    for (const char* const steps : {"null", "3", "[3]", "[{\"lines\":[3]}]"}) {
        Json changed = kept;
        changed["steps"] = Json::parse(steps);
        std::ofstream(attempt(2, "77") / "record.json") << changed;
        EXPECT_EQ(station({"product", "--from", attempt(2, "77")}), 2) << steps;
    }
}

// Option before environment before file; a file with an unknown key is refused.
TEST_F(StationProductRun, theStationSaysWhoTests) {
    const std::string known = file("station.toml", "name = \"S4\"\nfixture = \"F1\"\noperator = \"file\"\n");
    (void)setenv("R8_STATION_OPERATOR", "environment", 1);
    const Lines words = {"read",    "--no-unit", "--results",     bench / "results",
                         "--clock", "auto",      "--station-file"};
    const auto read = [&](const std::string& stationFile, const Lines& more) {
        Lines all = words;
        all.push_back(stationFile);
        all.insert(all.end(), more.begin(), more.end());
        all.push_back(file("stream", healthy));
        return station(all);
    };
    EXPECT_EQ(read(known, {"--fixture", "F2"}), 0);
    (void)unsetenv("R8_STATION_OPERATOR");
    const Json said = record(1, "@bench")["station"];
    EXPECT_EQ(said["name"], "S4");
    EXPECT_EQ(said["fixture"], "F2");
    EXPECT_EQ(said["operator"], "environment");
    EXPECT_FALSE(said.contains("lot"));
    EXPECT_EQ(read(file("wrong.toml", "naem = \"S4\"\n"), {}), 2);
    EXPECT_THAT(output(), HasSubstr("wrong.toml:1: 'naem' is not known here"));
    EXPECT_EQ(read(bench / "none", {}), 2);
    EXPECT_EQ(read(known, {"--lot", "\033[2J"}), 2);
}

}  // namespace
