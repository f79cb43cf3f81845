// The libc calls, a row each: what a call is named, what it is about, how the trace tells its arguments and
// who answers it.

#include <iterator>
#include <stdexcept>

#include "vboard/kernel/answers.h"
#include "vboard/kernel/call_texts.h"
#include "vboard/kernel/system_calls.h"

namespace vboard {

using wire::Call;

struct SystemCalls::Row {
    // What a call is about: what the trace shows as its place, and what must be there before it is answered.
    enum class About {
        nothing,
        path,        // the first text of its data
        mountPoint,  // the second
        file,        // behind its descriptor
        terminal,    // likewise
    };

    Call call;
    const char* name;
    bool canFail;
    About about;
    DescribeCall* describe;  // null: there is nothing to tell
    Answer answer;

    // In the order of the calls' numbers.
    static const Row rows[wire::callCount];
    static constexpr bool inOrder();
};

using Kernel = SystemCalls;

constexpr SystemCalls::Row SystemCalls::Row::rows[] = {
    {Call::startThread, "pthread_create", true, About::nothing, nullptr, &Kernel::startTask},
    {Call::startProcess, "fork", true, About::nothing, nullptr, &Kernel::startTask},
    {Call::sleep, "sleep", false, About::nothing, describeSleep, &Kernel::sleep},
    {Call::setuid, "setuid", true, About::nothing, nullptr, &Kernel::setUser},
    {Call::system, "system", true, About::path, nullptr, &Kernel::runCommand},
    {Call::chdir, "chdir", false, About::path, nullptr, &Kernel::changeDirectory},
    {Call::access, "access", true, About::path, nullptr, &Kernel::access},
    {Call::mkdir, "mkdir", true, About::path, describeOption, &Kernel::makeDirectory},
    {Call::mount, "mount", true, About::mountPoint, describeMount, &Kernel::mount},
    {Call::umount, "umount", true, About::path, nullptr, &Kernel::unmount},
    {Call::statfs, "statfs", true, About::path, nullptr, &Kernel::fileSystem},
    {Call::uname, "uname", true, About::nothing, nullptr, &Kernel::nameSystem},
    {Call::socket, "socket", true, About::nothing, nullptr, &Kernel::openSocket},
    {Call::open, "open", true, About::path, describeOpen, &Kernel::open},
    {Call::opendir, "opendir", true, About::path, nullptr, &Kernel::openDirectory},
    {Call::readdir, "readdir", false, About::file, nullptr, &Kernel::readDirectory},
    {Call::close, "close", false, About::file, nullptr, &Kernel::close},
    {Call::read, "read", true, About::file, nullptr, &Kernel::read},
    {Call::pread, "pread", true, About::file, nullptr, &Kernel::readAt},
    {Call::write, "write", true, About::file, describeSentBytes, &Kernel::write},
    {Call::lseek, "lseek", true, About::file, nullptr, &Kernel::seek},
    {Call::fdatasync, "fdatasync", true, About::file, nullptr, &Kernel::synchronize},
    {Call::ioctl, "ioctl", true, About::file, describeIoctl, &Kernel::ioctl},
    {Call::select, "select", false, About::nothing, describeSelect, &Kernel::select},
    {Call::tcgetattr, "tcgetattr", true, About::terminal, nullptr, &Kernel::getAttributes},
    {Call::tcsetattr, "tcsetattr", true, About::terminal, describeAttributes, &Kernel::setAttributes},
    {Call::tcdrain, "tcdrain", true, About::terminal, nullptr, &Kernel::drain},
    {Call::tcflush, "tcflush", false, About::terminal, describeOption, &Kernel::flush},
};

constexpr bool SystemCalls::Row::inOrder() {
    for (std::size_t number = 0; number < wire::callCount; ++number) {
        if (rows[number].call != static_cast<Call>(number)) {
            return false;
        }
    }
    return true;
}

const SystemCalls::Row& SystemCalls::rowOf(Call call) {
    static_assert(Row::inOrder(), "a call needs its row, in the order of the numbers");
    const auto number = static_cast<std::size_t>(call);
    if (number >= wire::callCount) {
        throw std::runtime_error(
            "the tool made a call without a number: is its preload library another one?");
    }
    return Row::rows[number];
}

bool SystemCalls::canFail(Call call) {
    return rowOf(call).canFail;
}

void SystemCalls::describe(const Row& row, Context& context) {
    const wire::Request& request = context.request;
    TraceEntry& entry = context.entry;
    entry.request = row.name;
    if (row.about == Row::About::path || row.about == Row::About::mountPoint) {
        entry.where = textOf(request, row.about == Row::About::mountPoint ? 1 : 0);
    } else if (request.descriptor != -1) {
        entry.where = context.file ? context.file->path : "descriptor " + std::to_string(request.descriptor);
    }
    if (row.describe != nullptr) {
        row.describe(request, context.file.get(), entry);
    }
}

SystemCalls::Outcome SystemCalls::answer(const Row& row, Context& context) {
    if (row.canFail) {
        if (const std::optional<int> error = faults_.next(context.entry.request, context.entry.where)) {
            return Result::failure(*error);
        }
    }
    const bool needsTerminal = row.about == Row::About::terminal;
    if ((needsTerminal || row.about == Row::About::file) && context.file == nullptr) {
        return Result::failure(EBADF);
    }
    if (needsTerminal && context.file->node->terminal() == nullptr) {
        return Result::failure(ENOTTY);
    }
    return (this->*row.answer)(context);
}

std::optional<Wait> SystemCalls::perform(Process& process, const wire::Request& request, wire::Reply& reply,
                                         TraceEntry& entry) {
    const Row& row = rowOf(request.call);
    Context context{process, request, reply, entry, process.file(request.descriptor)};
    describe(row, context);
    Outcome outcome = answer(row, context);
    if (Wait* wait = std::get_if<Wait>(&outcome)) {
        return std::move(*wait);
    }
    put(reply, entry, std::get<Result>(outcome));
    return std::nullopt;
}

}  // namespace vboard
