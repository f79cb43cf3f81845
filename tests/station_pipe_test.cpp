// The report pipe belongs to one station, and to the tool that it started.

#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include "tests/station_program.h"

using namespace station;
using namespace station_test;
using testing::HasSubstr;

namespace {

TEST_F(StationRun, aToolWhoseStationWasKilledKeepsThePipeBeforeItOpensIt) {
    const std::string hold = bench / "hold";
    ASSERT_EQ(mkfifo(hold.c_str(), 0600), 0);
    const pid_t child = startStation(
        {"run", "--no-unit", "--results", bench / "results", "--fifo", bench / "fifo", "--", "cat", hold});
    const int tool = open(hold.c_str(), O_WRONLY);  // comes back when the tool has started
    kill(child, SIGKILL);
    EXPECT_EQ(statusOf(child), 128 + SIGKILL);
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 2);
    EXPECT_THAT(output(), HasSubstr("a tool from before still writes to this pipe"));
    close(tool);
    waitForTheOrphan();
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 0) << output();
}

// The other one would take a visit for a reader.
TEST_F(StationRun, aStationWithoutTheLockDoesNotComeNearThePipe) {
    ASSERT_EQ(mkfifo((bench / "fifo").c_str(), 0600), 0);
    const host::Descriptor lock(open((bench / "fifo.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(lock.get(), LOCK_EX), 0);
    const host::Descriptor reader(open((bench / "fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    const host::Descriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.get(), (bench / "fifo").c_str(), IN_OPEN), 0);
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 2);
    EXPECT_THAT(output(), HasSubstr("another station"));
    char event[4096];
    EXPECT_EQ(read(watch.get(), event, sizeof event), -1) << "the pipe was opened";
}

TEST_F(StationRun, ofTwoStationsOnOnePipeExactlyOneRuns) {
    for (int pair = 0; pair < 20; ++pair) {
        const std::vector<std::string> words = runWords("", "hang");
        const pid_t stations[] = {startStation(words), startStation(words)};
        int status = 0;
        const pid_t refused = waitpid(-1, &status, 0);
        EXPECT_EQ(WEXITSTATUS(status), 2) << pair;
        const pid_t winner = stations[refused == stations[0] ? 1 : 0];
        ASSERT_EQ(waitpid(winner, &status, WNOHANG), 0) << "both were refused, pair " << pair;
        waitForAttempt(pair + 1);
        kill(winner, SIGTERM);
        EXPECT_EQ(statusOf(winner), 3) << pair;
    }
}

TEST_F(StationRun, leavesAPipeInUseAlone) {
    ASSERT_EQ(mkfifo((bench / "fifo").c_str(), 0600), 0);
    host::Descriptor both(open((bench / "fifo").c_str(), O_RDWR | O_NONBLOCK));
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 2);
    EXPECT_THAT(output(), HasSubstr("reads this pipe already"));
    host::Descriptor writer(open((bench / "fifo").c_str(), O_WRONLY | O_NONBLOCK));
    both.close();
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 2);
    EXPECT_THAT(output(), HasSubstr("still writes to this pipe"));
    writer.close();
    EXPECT_EQ(station(runWords(healthy, "exit:0")), 0);
}

}  // namespace
