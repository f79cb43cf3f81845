// The board's own programs, static with its C library, under qemu-user on the real kernel: no preload library
// gets into them, so they run what needs no board, in real time.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "gbk/gbk.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr int patienceMilliseconds = 60'000;  // far beyond every budget of the tool

// The file tree that the emulated program sees first: its serial port is our pseudo terminal.
class Tree {
  public:
    Tree() {
        char pattern[] = "/tmp/r8-static-XXXXXX";
        root = mkdtemp(pattern);
        char name[64];
        if (openpty(&otherEnd, &port_, name, nullptr, nullptr) == -1) {
            throw std::runtime_error("openpty");
        }
        std::filesystem::create_directory(root / "dev");
        std::filesystem::create_symlink(name, root / "dev/ttyS1");
    }
    ~Tree() {
        (void)close(otherEnd);
        (void)close(port_);
        std::filesystem::remove_all(root);
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    std::filesystem::path root;
    int otherEnd = -1;

  private:
    int port_ = -1;  // held open, or the other end would see a hang-up before the program comes and after it
};

// One of the board's programs in a process group of its own, its output and errors in one pipe.
class Program {
  public:
    Program(const Tree& tree, const std::string& path, const std::vector<std::string>& arguments) {
        std::vector<std::string> words = {QEMU_ARM, "-L", tree.root, path};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) == -1 || (pid_ = fork()) == -1) {
            throw std::runtime_error("pipe or fork");
        }
        if (pid_ == 0) {
            (void)setpgid(0, 0);
            (void)dup2(ends[1], STDOUT_FILENO);
            (void)dup2(ends[1], STDERR_FILENO);
            (void)execv(argv[0], argv.data());
            _exit(127);
        }
        (void)setpgid(pid_, pid_);
        (void)close(ends[1]);
        output_ = ends[0];
    }
    ~Program() {
        signal(SIGKILL);
        (void)waitEnd();
        (void)close(output_);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // What comes until the text is there or the program has gone, decoded.
    std::string outputUntil(const std::string& text) const {
        std::string said;
        gbk::Stream decoder;  // a read may end within a character
        char buffer[4096];
        pollfd watched = {output_, POLLIN, 0};
        while (said.find(text) == std::string::npos && poll(&watched, 1, patienceMilliseconds) > 0) {
            const ssize_t count = read(output_, buffer, sizeof buffer);
            if (count <= 0) {
                break;
            }
            said += decoder.decode({buffer, static_cast<std::size_t>(count)});
        }
        return said;
    }

    void signal(int number) const {
        if (pid_ != -1) {
            (void)kill(-pid_, number);  // the whole group, as a terminal's interrupt does
        }
    }

    int waitEnd() {
        int status = 0;
        if (pid_ != -1) {
            (void)waitpid(pid_, &status, 0);
            pid_ = -1;
        }
        return status;
    }

  private:
    pid_t pid_ = -1;
    int output_ = -1;
};

// The line's other end: sends back what it hears.
void echo(std::stop_token stop, int otherEnd) {
    char bytes[1024];
    while (!stop.stop_requested()) {
        pollfd watched = {otherEnd, POLLIN, 0};
        if (poll(&watched, 1, 20) > 0) {
            const ssize_t count = read(otherEnd, bytes, sizeof bytes);
            (void)!write(otherEnd, bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
    }
}

// Hears everything and sends the right bytes, but one at a time and with pauses.
void dribble(std::stop_token stop, int otherEnd) {
    char bytes[1024];
    for (char next = 0; !stop.stop_requested();) {
        pollfd watched = {otherEnd, POLLIN, 0};
        if (poll(&watched, 1, 500) > 0) {
            (void)!read(otherEnd, bytes, sizeof bytes);
        } else {
            (void)!write(otherEnd, &next, 1);
            ++next;
        }
    }
}

class StaticArm : public testing::TestWithParam<const char*> {
  protected:
    std::string program(const std::string& name) const {
        return std::string(STATIC_BUILDS) + "/" + GetParam() + "/bin/" + name;
    }
};

}  // namespace

TEST_P(StaticArm, SaysWhatItCanWithoutABoard) {
    const std::string noBoard = "open zorio failed !\n\n";
    const std::string range = "请选择测试序号(1~11)\n";
    const struct {
        std::vector<std::string> arguments;
        std::string ending;
        int status;
    } cases[] = {
        {{"-h"}, "        eg. r8 -o 4   then only test 485 port\n", 0},
        {{"-x", "1"}, noBoard + "参数非法\n", 0},
        {{"-o", "1x5"}, noBoard + range + range, 0},
        {{"-o", "12"}, noBoard + "请输入正确的测试序号.(1~11)", 0},
        {{"-o", "2"}, noBoard + "打开hwInfo设备出错!\n", 1},
        {{}, noBoard + "打开hwInfo设备出错!\n", 1},
    };
    const Tree tree;
    for (const auto& [arguments, ending, status] : cases) {
        Program tool(tree, program("r8"), arguments);
        EXPECT_THAT(tool.outputUntil("not in any text"), EndsWith(ending));
        const int waitStatus = tool.waitEnd();
        EXPECT_TRUE(WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == status) << waitStatus;
    }
}

// Lines leave through a pipe when they happen; fork, select, a terminal set to raw, and the signal work.
TEST_P(StaticArm, LoopBackOverARealTerminal) {
    const Tree tree;
    Program tool(tree, program("module_runner"), {"loadBoardConfig", "Rs485LoopbackTest"});
    EXPECT_THAT(tool.outputUntil("esata"), HasSubstr("open zorio failed !\n"));

    const std::jthread otherEnd(echo, tree.otherEnd);
    const std::string said = tool.outputUntil("错误:    0字节 \n");
    EXPECT_THAT(said, HasSubstr("正确:    1024字节  \n错误:    0字节 \n"));
    EXPECT_THAT(said, Not(HasSubstr("zorio")));  // the forked reader repeats nothing
    tool.signal(SIGINT);                         // the writer still waits for the reader's end
    const int waitStatus = tool.waitEnd();
    EXPECT_TRUE(WIFSIGNALED(waitStatus) && WTERMSIG(waitStatus) == SIGINT) << waitStatus;
}

// This C library's select leaves its timeout as it was: the budget has to run out all the same.
TEST_P(StaticArm, LoopBackBudgetEndsThoughBytesKeepComing) {
    const Tree tree;
    const std::jthread otherEnd(dribble, tree.otherEnd);
    Program tool(tree, program("module_runner"), {"Rs485LoopbackTest"});
    const std::string said = tool.outputUntil("失败 \n");
    EXPECT_THAT(said, testing::ContainsRegex("发送  [1-9][0-9]*字节成功\n    0字节失败 \n"));
}

INSTANTIATE_TEST_SUITE_P(Abi, StaticArm, testing::Values("armhf", "armel"),
                         [](const auto& abi) { return std::string(abi.param); });
