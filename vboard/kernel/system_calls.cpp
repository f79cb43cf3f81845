#include "vboard/kernel/system_calls.h"

#include <algorithm>

#include "vboard/kernel/answers.h"
#include "vboard/kernel/call_traits.h"

namespace vboard {

using wire::Call;

int Process::lowestFreeDescriptor() const {
    int descriptor = files.count(0) == 0 ? 0 : 3;  // standard output and error are the host's
    while (files.count(descriptor) != 0) {
        ++descriptor;
    }
    return descriptor;
}

std::shared_ptr<OpenFile> Process::file(int descriptor) const {
    const auto found = files.find(descriptor);
    return found == files.end() ? nullptr : found->second;
}

std::optional<Wait> SystemCalls::perform(Process& process, const wire::Request& request, wire::Reply& reply,
                                         TraceEntry& entry) {
    Context context{process, request, reply, entry, process.file(request.descriptor)};
    describeCall(request, context.file.get(), entry);
    if (traitsOf(request.call).canFail) {
        if (const std::optional<int> error = faults_.next(entry.request, entry.where)) {
            put(reply, entry, Result::failure(*error));
            return std::nullopt;
        }
    }
    return answer(context);
}

std::optional<Wait> SystemCalls::answer(Context& context) {
    wire::Reply& reply = context.reply;
    const wire::Request& request = context.request;
    switch (request.call) {
        case Call::startThread:
        case Call::startProcess:
            break;  // the session starts it
        case Call::sleep:
            return sleep(context);
        case Call::select:
            return select(context);
        case Call::setuid:
            if (machine_.services.setuidError != 0) {
                put(reply, context.entry, Result::failure(machine_.services.setuidError));
            }
            break;
        case Call::uname:
            putData(reply, machine_.services.kernelRelease.data(), machine_.services.kernelRelease.size());
            break;
        case Call::socket:
            if (machine_.services.socket != nullptr) {
                addFile(context, {machine_.services.socket, "socket"});
            } else {
                put(reply, context.entry, Result::refusal(EAFNOSUPPORT));
            }
            break;
        default:
            if (!traitsOf(request.call).hasPath) {
                return answerFile(context);
            }
            answerPath(context);
    }
    return std::nullopt;
}

void SystemCalls::answerPath(Context& context) {
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
            if (context.reply.error == 0) {
                root.addDirectory(path);
            }
            break;
        default:
            fileSystem(context);
    }
}

void SystemCalls::addFile(Context& context, OpenFile file) {
    const int descriptor = context.process.lowestFreeDescriptor();
    context.process.files[descriptor] =
        std::shared_ptr<OpenFile>(new OpenFile(std::move(file)), [](OpenFile* closed) {
            closed->node->close(*closed);
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
    addFile(context, {&directory_, path});
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
            put(context.reply, context.entry,
                Result::failure(machine_.root.exists(textOf(request)) ? EIO : ENOENT));
        }
    } else {
        put(context.reply, context.entry, Result::refusal(ENOSYS));
    }
}

std::optional<Wait> SystemCalls::sleep(Context& context) {
    const Time until = machine_.clock.now() + Time(context.request.arguments[0]);
    return Wait{nullptr, until, [this, until](wire::Reply& reply) {
                    reply.values[0] = std::max<std::int64_t>((until - machine_.clock.now()).count(), 0);
                }};
}

}  // namespace vboard
