// Child processes as station and virtual board start them.

#include "host/child_process.h"
#include "tests/station_bench.h"

using namespace station_test;

namespace {

std::size_t openDescriptors() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

std::string readToEnd(const host::Descriptor& reader) {
    std::string text;
    char byte;
    while (read(reader.get(), &byte, 1) == 1) {
        text += byte;
    }
    return text;
}

// What the command says on its standard output and error, until it has ended with that status.
std::string outputOf(host::Command command, int status) {
    host::Pipe output = host::openPipe();
    command.output = command.errors = output.writer.get();
    host::ChildProcess process(command);
    output.writer.close();
    EXPECT_EQ(WEXITSTATUS(process.wait()), status);
    EXPECT_TRUE(process.hasEnded());
    return readToEnd(output.reader);
}

host::Command shell(const std::string& script) {
    host::Command command;
    command.words = {"sh", "-c", script};
    return command;
}

TEST(HostProcess, getsWhatItIsGivenAndNothingElse) {
    const std::size_t before = openDescriptors();
    const host::Pipe given = host::openPipe();
    const host::Pipe kept = host::openPipe();
    const std::string number = std::to_string(given.writer.get());
    const std::string other = "/proc/self/fd/" + std::to_string(kept.writer.get());
    host::Command command =
        shell("echo x >&" + number + "; test -e " + other + " && echo leaked; echo $NAME $HOME; cat");
    const host::Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    command.input = nothing.get();
    command.environment = {"NAME=value", "PATH=/usr/bin:/bin"};
    command.inherited = {given.writer.get()};
    EXPECT_EQ(outputOf(command, 0), "value\n");
    EXPECT_EQ(readToEnd(given.reader), "x\n");
    EXPECT_EQ(openDescriptors(), before + 5);
}

TEST(HostProcess, tellsThatItCanNotBeStarted) {
    host::Command command;
    command.words = {"no-such-program"};
    command.complaint = "station: can not start it";
    EXPECT_EQ(outputOf(command, host::cannotStart), "station: can not start it: No such file or directory\n");
    command.words = {"sh"};
    command.searchPath = false;
    EXPECT_THAT(outputOf(command, host::cannotStart), testing::HasSubstr("can not start it"));
}

TEST(HostProcess, endsWithItsGroupWhenItsOwnerGoes) {
    host::Pipe output = host::openPipe();
    {
        host::Command command = shell("sleep 1000 & echo started; wait");
        command.output = output.writer.get();
        command.ownGroup = true;
        const host::ChildProcess process(command);
        output.writer.close();
        (void)fcntl(output.reader.get(), F_SETFL, 0);
        char text[8];
        EXPECT_EQ(read(output.reader.get(), text, sizeof text), 8);
    }
    EXPECT_EQ(readToEnd(output.reader), "");  // the end comes when nobody of the group is left
}

}  // namespace
