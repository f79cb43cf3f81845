// The report channel: framing of the records, and a run whose supervising process misbehaves.

#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "r8/driver/report/report_channel.h"
#include "tests/tool_runs.h"

using testing::HasSubstr;
using vboard::Supervisor;
using vboard::VirtualBoard;

namespace {

constexpr char reportModule[] = "report_test";

// The channel as the driver sets it up for a pipe, and back again.
class Pipe {
  public:
    Pipe() {
        EXPECT_EQ(pipe2(ends_.data(), O_NONBLOCK), 0);
        reportPipeFd = ends_[1];
        consoleMode = 0;
    }
    ~Pipe() {
        consoleMode = 1;
        reportPipeFd = -1;
        (void)close(ends_[0]);
        (void)close(ends_[1]);
    }
    std::string take() {
        std::string bytes(4096, '\0');
        const ssize_t size = read(ends_[0], bytes.data(), bytes.size());
        bytes.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        return bytes;
    }

  private:
    std::array<int, 2> ends_;
};

std::string record(std::size_t length, const std::string& text) {
    const std::string bytes = {0, 0, 0, 0, static_cast<char>(length), static_cast<char>(length >> 8), 0, 0};
    return bytes + text;
}

}  // namespace

TEST(ReportChannel, ARecordIsHeaderAndTextInOneWrite) {
    Pipe pipe;
    for (const std::size_t size : {0U, 1U, 5U, 1022U, 1023U}) {
        const std::string text(size, 'x');
        reportLine("%s", text.c_str());
        EXPECT_EQ(pipe.take(), record(size, text));
    }
    for (const std::size_t size : {1024U, 2000U}) {
        reportLine("%s", std::string(size, 'y').c_str());
        EXPECT_EQ(pipe.take(), record(1023, std::string(1023, 'y')));
    }
    reportLine("\n");
    EXPECT_EQ(pipe.take(), record(1, "\n"));
}

TEST(ReportChannel, ConsoleModeLeavesThePipeAloneAndAddsNothing) {
    Pipe pipe;
    consoleMode = 1;
    testing::internal::CaptureStdout();
    reportLine("%d步:\n", 3);
    reportLine("no break");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "3步:\nno break");
    EXPECT_EQ(pipe.take(), "");
}

TEST(ReportChannel, PrintfGoesWhereItIsTold) {
    Pipe pipe;
    testing::internal::CaptureStdout();
    EXPECT_GE(reportPrintf(0, "on the %s", "console"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "on the console\n");
    EXPECT_EQ(pipe.take(), "");
    EXPECT_EQ(reportPrintf(1, "in the %s", "pipe"), 8 + 11);
    EXPECT_EQ(pipe.take(), record(11, "in the pipe"));
}

TEST(ReportChannel, AFailedWriteIsNamedAndTheNextLineGoesOut) {
    Pipe pipe;
    const int good = reportPipeFd;
    reportPipeFd = -1;
    testing::internal::CaptureStdout();
    reportLine("lost");
    const int line = __LINE__ - 1;
    EXPECT_LT(0, reportPrintf(1, "lost too"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "write error file = report_test ,line = " + std::to_string(line) +
                  " \nwrite error file = r8 ,line = " + std::to_string(line + 2) +
                  " error = Bad file descriptor \n");
    reportPipeFd = good;
    reportLine("arrives");
    EXPECT_EQ(pipe.take(), record(7, "arrives"));
}

TEST(Supervisor, EveryRecordOfARunIsWellFramed) {
    VirtualBoard board = VirtualBoard::healthy();
    const auto run = board.run({"netR8test"});
    ASSERT_GT(run.writes.size(), 60U);
    for (const std::string& bytes : run.writes) {
        EXPECT_EQ(bytes.substr(0, 8), record(bytes.size() - 8, ""));
    }
    // GBK on the wire: the first line, byte by byte.
    EXPECT_EQ(run.writes[0].substr(8), "\xB5\xDA\x31\xB2\xBD:\xB7\xE4\xC3\xF9\xC6\xF7\xB2\xE2\xCA\xD4");
}

TEST(Supervisor, OneWhoGoesAwayCostsLinesButNeverTheRun) {
    const std::size_t all = VirtualBoard::healthy().run({"netR8test"}).writes.size();
    const struct {
        const char* what;
        void (*misbehave)(VirtualBoard&);
        std::size_t arrived;
        std::size_t lost;
    } cases[] = {
        {"leaves at once", [](VirtualBoard& board) { board.supervisor.leavesAfter = 0; }, 0, all},
        {"leaves after ten records", [](VirtualBoard& board) { board.supervisor.leavesAfter = 10; }, 10,
         all - 10},
        {"a write fails once",
         [](VirtualBoard& board) {
             board.settings.faults.push_back({"write", "/var/r8.fifo", 4});
         },
         all - 1, 1},
    };
    for (const auto& [what, misbehave, arrived, lost] : cases) {
        VirtualBoard board = VirtualBoard::healthy();
        misbehave(board);
        const auto run = board.run({"netR8test"});
        EXPECT_EQ(run.exitStatus(), 0) << what;
        EXPECT_EQ(run.writes.size(), arrived) << what;
        EXPECT_EQ(count(run.console(), "write error file = "), static_cast<int>(lost)) << what;
        EXPECT_EQ(run.requests("write", "/var/r8.fifo").size(), all) << what << ": each line is attempted";
    }
}

TEST(Supervisor, WriteErrorsNameTheModuleOfTheLine) {
    VirtualBoard board = VirtualBoard::healthy();
    board.supervisor.leavesAfter = 0;
    const std::string console = board.run({"netR8test"}).console();
    for (const char* module :
         {"r8", "boardinfo", "485testfork", "iop_test", "nic", "rtc_test", "sata_test", "usb_disk_test"}) {
        EXPECT_THAT(console, HasSubstr("write error file = " + std::string(module) + " ,line = "));
    }
}

TEST(Supervisor, OneWhoNeverReadsLosesWhatDoesNotFitTheRunGoesOn) {
    VirtualBoard board = VirtualBoard::healthy();
    board.supervisor.reader = Supervisor::Reader::never;
    board.supervisor.pipeBytes = 1000;
    const auto run = board.run({"netR8test"});
    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_THAT(run.console(), HasSubstr("write error file = boardinfo ,line = "));
    EXPECT_LE(joined(run.writes).size(), 1000U);
    EXPECT_GT(joined(run.writes).size(), 900U);
    VirtualBoard read = VirtualBoard::healthy();  // a line that is lost does not keep the next one back
    EXPECT_EQ(run.requests("write", "/var/r8.fifo").size(), read.run({"netR8test"}).writes.size());
}
