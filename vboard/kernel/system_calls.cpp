#include "vboard/kernel/system_calls.h"

#include <fcntl.h>
#include <termios.h>

#include <algorithm>
#include <cstring>

namespace vboard {

namespace {

using wire::Call;

constexpr const char* callNames[wire::callCount] = {
    "pthread_create", "fork",    "sleep",  "setuid",    "system",    "chdir",   "access",
    "mkdir",          "mount",   "umount", "statfs",    "uname",     "socket",  "open",
    "opendir",        "readdir", "close",  "read",      "pread",     "write",   "lseek",
    "fdatasync",      "ioctl",   "select", "tcgetattr", "tcsetattr", "tcdrain", "tcflush"};

// The n-th text of a request's data, each ended by a NUL.
std::string textOf(const wire::Request& request, int n = 0) {
    const char* at = reinterpret_cast<const char*>(request.data);
    const char* end = at + request.size;
    for (; n > 0 && at != end; --n) {
        at = std::find(at, end, '\0');
        at += at == end ? 0 : 1;
    }
    return std::string(at, std::find(at, end, '\0'));
}

std::string flagsText(std::int64_t flags) {
    std::string text = (flags & O_ACCMODE) == O_RDONLY   ? "O_RDONLY"
                       : (flags & O_ACCMODE) == O_WRONLY ? "O_WRONLY"
                                                         : "O_RDWR";
    text += (flags & O_NOCTTY) != 0 ? "|O_NOCTTY" : "";
    return text + ((flags & O_NONBLOCK) != 0 ? "|O_NONBLOCK" : "");
}

std::string hexNumber(std::uint64_t number) {
    char text[24];
    (void)std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

std::string secondsText(std::int64_t nanoseconds) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.6gs", static_cast<double>(nanoseconds) / 1e9);
    return nanoseconds < 0 ? "for ever" : text;
}

bool usesPath(Call call) {
    return call == Call::open || (call >= Call::system && call <= Call::statfs) || call == Call::opendir;
}

void put(wire::Reply& reply, TraceEntry& entry, const Result& result) {
    reply.result = result.value;
    reply.error = result.error;
    reply.signal = result.signal;
    entry.refused = result.refused;
}

void putData(wire::Reply& reply, const void* bytes, std::size_t size) {
    reply.size = static_cast<std::uint32_t>(std::min(size, wire::dataBytes));
    std::memcpy(reply.data, bytes, reply.size);
}

std::span<const std::uint8_t> sentData(const wire::Request& request) {
    return {request.data, request.size};
}

}  // namespace

int Process::lowestFreeDescriptor() const {
    int descriptor = 3;  // below are the standard ones
    while (files.count(descriptor) != 0) {
        ++descriptor;
    }
    return descriptor;
}

OpenFile* Process::file(int descriptor) const {
    const auto found = files.find(descriptor);
    return found == files.end() ? nullptr : found->second.get();
}

bool SystemCalls::canFail(Call call) {
    return call >= Call::system && call != Call::close && call != Call::select && call != Call::chdir &&
           call != Call::readdir && call != Call::tcflush;
}

std::optional<Wait> SystemCalls::perform(Process& process, const wire::Request& request, wire::Reply& reply,
                                         TraceEntry& entry) {
    Context context{process, request, reply, entry, process.file(request.descriptor)};
    describe(context);
    const bool mayFail = canFail(request.call) || request.call == Call::startThread ||
                         request.call == Call::startProcess || request.call == Call::setuid;
    if (mayFail) {
        if (const std::optional<int> error = faults_.next(entry.request, entry.where)) {
            put(reply, entry, Result::failure(*error));
            return std::nullopt;
        }
    }
    return answer(context);
}

void SystemCalls::describe(Context& context) const {
    const wire::Request& request = context.request;
    TraceEntry& entry = context.entry;
    entry.request = callNames[static_cast<std::size_t>(request.call)];
    if (usesPath(request.call)) {
        entry.where = textOf(request, request.call == Call::mount ? 1 : 0);
    } else if (request.descriptor != -1) {
        entry.where =
            context.file != nullptr ? context.file->path : "descriptor " + std::to_string(request.descriptor);
    }
    switch (request.call) {
        case Call::open:
            entry.arguments = flagsText(request.arguments[0]);
            break;
        case Call::mount:
            entry.arguments = "from " + textOf(request) + " type " + textOf(request, 2);
            break;
        case Call::sleep:
            entry.arguments = secondsText(request.arguments[0]);
            break;
        case Call::select:
            entry.arguments = "read " + hexNumber(static_cast<std::uint64_t>(request.arguments[0])) +
                              " write " + hexNumber(static_cast<std::uint64_t>(request.arguments[1])) + " " +
                              secondsText(request.arguments[2]);
            break;
        case Call::ioctl: {
            const auto code = static_cast<std::uint32_t>(request.arguments[0]);
            const std::string name = context.file != nullptr ? context.file->node->requestName(code) : "";
            entry.request = name.empty() ? "ioctl " + hexNumber(code) : name;
            entry.arguments =
                request.size == 0 ? hexNumber(static_cast<std::uint64_t>(request.arguments[1])) : "";
            entry.data.assign(request.data, request.data + request.size);
            break;
        }
        case Call::write:
            entry.data.assign(request.data, request.data + request.size);
            break;
        default:
            break;
    }
}

std::optional<Wait> SystemCalls::answer(Context& context) {
    wire::Reply& reply = context.reply;
    const wire::Request& request = context.request;
    if (request.call >= Call::close || request.call == Call::readdir) {
        return request.call == Call::select ? select(context) : answerFile(context);
    }
    switch (request.call) {
        case Call::startThread:
        case Call::startProcess:
            break;  // the session starts it
        case Call::sleep:
            return sleep(context);
        case Call::setuid:
            if (machine_.services.setuidError != 0) {
                put(reply, context.entry, Result::failure(machine_.services.setuidError));
            }
            break;
        case Call::uname:
            putData(reply, machine_.services.kernelRelease.data(), machine_.services.kernelRelease.size());
            break;
        case Call::socket:
            if (Node* node = machine_.root.find("socket")) {
                addFile(context, {node, "socket"});
            } else {
                put(reply, context.entry, Result::refusal(EAFNOSUPPORT));
            }
            break;
        default:
            return answerPath(context);
    }
    return std::nullopt;
}

std::optional<Wait> SystemCalls::answerPath(Context& context) {
    Root& root = machine_.root;
    const std::string& path = context.entry.where;
    switch (context.request.call) {
        case Call::open:
            open(context);
            break;
        case Call::opendir:
            openDirectory(context);
            break;
        case Call::system:
            runCommand(context);
            break;
        case Call::chdir:
            put(context.reply, context.entry,
                root.list(path) != nullptr ? Result{} : Result::failure(ENOENT));
            break;
        case Call::access:
            put(context.reply, context.entry, root.exists(path) ? Result{} : Result::failure(ENOENT));
            break;
        case Call::mkdir:
            put(context.reply, context.entry, root.exists(path) ? Result::failure(EEXIST) : Result{});
            root.addDirectory(path);
            break;
        default:
            fileSystem(context);
    }
    return std::nullopt;
}

void SystemCalls::addFile(Context& context, OpenFile file) {
    const int descriptor = context.process.lowestFreeDescriptor();
    context.process.files[descriptor] =
        std::shared_ptr<OpenFile>(new OpenFile(std::move(file)), [](OpenFile* closed) {
            if (closed->node != nullptr) {
                closed->node->close(*closed);
            }
            delete closed;
        });
    context.reply.result = descriptor;
}

void SystemCalls::open(Context& context) {
    const std::string& path = context.entry.where;
    Node* node = machine_.root.find(path);
    if (node == nullptr) {
        put(context.reply, context.entry,
            Result::failure(machine_.root.list(path) != nullptr ? EISDIR : ENOENT));
        return;
    }
    OpenFile file{node, path, static_cast<int>(context.request.arguments[0])};
    const Result opened = node->open(file);
    if (opened.error != 0) {
        put(context.reply, context.entry, opened);
        return;
    }
    addFile(context, std::move(file));
}

void SystemCalls::openDirectory(Context& context) {
    const std::string& path = context.entry.where;
    if (machine_.root.list(path) == nullptr) {
        put(context.reply, context.entry, Result::failure(ENOENT));
        return;
    }
    addFile(context, {nullptr, path});
}

void SystemCalls::readDirectory(Context& context) {
    const std::vector<std::string>* names = machine_.root.list(context.file->path);
    if (names == nullptr || context.file->position >= names->size()) {
        context.reply.result = 0;
        return;
    }
    const std::string& name = (*names)[context.file->position++];
    putData(context.reply, name.data(), name.size());
    context.reply.result = 1;
    context.entry.arguments = name;
}

void SystemCalls::runCommand(Context& context) {
    for (const auto& command : machine_.services.commands) {
        if (const std::optional<int> status = command(context.entry.where)) {
            context.reply.result = *status << 8;  // as wait(2) has it
            return;
        }
    }
    context.entry.refused = true;
    context.reply.result = 127 << 8;  // command not found
}

void SystemCalls::fileSystem(Context& context) {
    Services& services = machine_.services;
    const wire::Request& request = context.request;
    if (request.call == Call::mount && services.mount) {
        put(context.reply, context.entry,
            services.mount(textOf(request), textOf(request, 1), textOf(request, 2)));
    } else if (request.call == Call::umount && services.umount) {
        put(context.reply, context.entry, services.umount(textOf(request)));
    } else if (request.call == Call::statfs && services.statfs) {
        if (const auto status = services.statfs(textOf(request))) {
            context.reply.values[0] = static_cast<std::int64_t>(status->blockBytes);
            context.reply.values[1] = static_cast<std::int64_t>(status->blocks);
            context.reply.values[2] = static_cast<std::int64_t>(status->freeBlocks);
        } else {
            put(context.reply, context.entry, Result::failure(EIO));
        }
    } else {
        put(context.reply, context.entry, Result::refusal(ENOSYS));
    }
}

std::optional<Wait> SystemCalls::answerFile(Context& context) {
    if (context.file == nullptr) {
        put(context.reply, context.entry, Result::failure(EBADF));
        return std::nullopt;
    }
    switch (context.request.call) {
        case Call::close:
            context.process.files.erase(context.request.descriptor);
            break;
        case Call::readdir:
            readDirectory(context);
            break;
        case Call::read:
        case Call::pread:
            return read(context);
        case Call::write:
            return write(context);
        case Call::lseek:
            seek(context);
            break;
        case Call::fdatasync:  // serial lines and devices have nothing to synchronize
            put(context.reply, context.entry, Result::failure(EINVAL));
            break;
        case Call::ioctl:
            ioctl(context);
            break;
        case Call::tcdrain:
            if (Terminal* terminal = context.file->node->terminal()) {
                return Wait{[terminal] { return terminal->drained(); }, std::nullopt, [](wire::Reply&) {}};
            }
            [[fallthrough]];
        default:
            answerTerminal(context);
    }
    return std::nullopt;
}

std::optional<Wait> SystemCalls::read(Context& context) {
    OpenFile& file = *context.file;
    const std::size_t size = static_cast<std::size_t>(context.request.arguments[0]);
    if (context.request.call == Call::pread) {
        OpenFile place{file.node, file.path, file.flags,
                       static_cast<std::size_t>(context.request.arguments[1])};
        put(context.reply, context.entry, file.node->read(place, {context.reply.data, size}));
        context.reply.size = static_cast<std::uint32_t>(std::max<std::int64_t>(context.reply.result, 0));
        return std::nullopt;
    }
    if (!file.node->readable() && (file.flags & O_NONBLOCK) != 0) {
        put(context.reply, context.entry, Result::failure(EAGAIN));
        return std::nullopt;
    }
    const auto finish = [&file, size](wire::Reply& reply) {
        const Result result = file.node->read(file, {reply.data, size});
        reply.result = result.value;
        reply.error = result.error;
        reply.size = static_cast<std::uint32_t>(std::max<std::int64_t>(result.value, 0));
    };
    if (file.node->readable()) {
        finish(context.reply);
        context.entry.data.assign(context.reply.data, context.reply.data + context.reply.size);
        return std::nullopt;
    }
    return Wait{[&file] { return file.node->readable(); }, std::nullopt, finish};
}

std::optional<Wait> SystemCalls::write(Context& context) {
    OpenFile& file = *context.file;
    const std::span<const std::uint8_t> sent = sentData(context.request);
    if (file.node->writable()) {
        put(context.reply, context.entry, file.node->write(file, sent));
        const Time duration = file.node->writeDuration();
        if (duration.count() == 0) {
            return std::nullopt;
        }
        return Wait{nullptr, machine_.clock.now() + duration, [](wire::Reply&) {}};
    }
    if ((file.flags & O_NONBLOCK) != 0) {
        put(context.reply, context.entry, Result::failure(EAGAIN));
        return std::nullopt;
    }
    return Wait{[&file] { return file.node->writable(); }, std::nullopt,
                [&file, bytes = std::vector(sent.begin(), sent.end())](wire::Reply& reply) {
                    reply.result = file.node->writable() ? file.node->write(file, bytes).value : 0;
                }};
}

void SystemCalls::seek(Context& context) {
    OpenFile& file = *context.file;
    const std::int64_t base =
        context.request.arguments[1] == SEEK_CUR   ? static_cast<std::int64_t>(file.position)
        : context.request.arguments[1] == SEEK_END ? static_cast<std::int64_t>(file.node->size())
                                                   : 0;
    file.position = static_cast<std::size_t>(std::max<std::int64_t>(base + context.request.arguments[0], 0));
    context.reply.result = static_cast<std::int64_t>(file.position);
}

void SystemCalls::ioctl(Context& context) {
    const wire::Request& request = context.request;
    putData(context.reply, request.data, request.size);
    put(context.reply, context.entry,
        context.file->node->ioctl({static_cast<std::uint32_t>(request.arguments[0]),
                                   static_cast<std::uint64_t>(request.arguments[1]),
                                   {context.reply.data, context.reply.size}}));
    context.entry.data.assign(context.reply.data, context.reply.data + context.reply.size);
}

void SystemCalls::answerTerminal(Context& context) {
    Terminal* terminal = context.file->node->terminal();
    const wire::Request& request = context.request;
    if (terminal == nullptr) {
        put(context.reply, context.entry, Result::failure(ENOTTY));
        return;
    }
    termios attributes = {};
    if (request.call == Call::tcgetattr) {
        put(context.reply, context.entry, terminal->getAttributes(attributes));
        putData(context.reply, &attributes, sizeof attributes);
    } else if (request.call == Call::tcsetattr) {
        std::memcpy(&attributes, request.data, std::min<std::size_t>(request.size, sizeof attributes));
        put(context.reply, context.entry, terminal->setAttributes(attributes));
    } else {
        put(context.reply, context.entry, terminal->flush(static_cast<int>(request.arguments[0])));
    }
}

std::optional<Wait> SystemCalls::sleep(Context& context) {
    const Time until = machine_.clock.now() + Time(context.request.arguments[0]);
    return Wait{nullptr, until, [this, until](wire::Reply& reply) {
                    reply.values[0] = std::max<std::int64_t>((until - machine_.clock.now()).count(), 0);
                }};
}

std::optional<Wait> SystemCalls::select(Context& context) {
    const auto matching = [process = &context.process](std::int64_t asked, bool (Node::*is)() const) {
        std::uint64_t ready = 0;
        for (const auto& [descriptor, file] : process->files) {
            const std::uint64_t bit = descriptor < 64 ? std::uint64_t{1} << descriptor : 0;
            if ((static_cast<std::uint64_t>(asked) & bit) != 0 && (file->node->*is)()) {
                ready |= bit;
            }
        }
        return ready;
    };
    const wire::Request& request = context.request;
    const std::int64_t asked[2] = {request.arguments[0], request.arguments[1]};
    for (int descriptor = 0; descriptor < 64; ++descriptor) {
        if (((asked[0] | asked[1]) >> descriptor & 1) != 0 && context.process.file(descriptor) == nullptr) {
            put(context.reply, context.entry, Result::failure(EBADF));
            return std::nullopt;
        }
    }
    const auto readSet = [matching, set = asked[0]] { return matching(set, &Node::readable); };
    const auto writeSet = [matching, set = asked[1]] { return matching(set, &Node::writable); };
    std::optional<Time> deadline;
    if (request.arguments[2] >= 0) {
        deadline = machine_.clock.now() + Time(request.arguments[2]);
    }
    return Wait{[readSet, writeSet] { return (readSet() | writeSet()) != 0; }, deadline,
                [this, readSet, writeSet, deadline](wire::Reply& reply) {
                    const std::uint64_t readers = readSet();
                    const std::uint64_t writers = writeSet();
                    reply.values[0] = static_cast<std::int64_t>(readers);
                    reply.values[1] = static_cast<std::int64_t>(writers);
                    reply.values[2] =
                        deadline && selectWritesBack_
                            ? std::max<std::int64_t>((*deadline - machine_.clock.now()).count(), 0)
                            : -1;
                    reply.result = __builtin_popcountll(readers) + __builtin_popcountll(writers);
                }};
}

}  // namespace vboard
