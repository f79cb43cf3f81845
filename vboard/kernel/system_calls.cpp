// The calls without a file: tasks, time, the system and its paths.

#include "vboard/kernel/system_calls.h"

#include <algorithm>

#include "vboard/kernel/answers.h"
#include "vboard/kernel/call_texts.h"

namespace vboard {

using Outcome = std::variant<Result, Wait>;

Outcome SystemCalls::startTask(Context&) {
    return Result{};  // the session starts it
}

Outcome SystemCalls::sleep(Context& context) {
    const Time until = machine_.clock.now() + Time(context.request.arguments[0]);
    return Wait{nullptr, until, [this, until](wire::Reply& reply) {
                    reply.values[0] = std::max<std::int64_t>((until - machine_.clock.now()).count(), 0);
                }};
}

Outcome SystemCalls::setUser(Context&) {
    const int error = machine_.services.setuidError;
    return error == 0 ? Result{} : Result::failure(error);
}

Outcome SystemCalls::nameSystem(Context& context) {
    const std::string& release = machine_.services.kernelRelease;
    putData(context.reply, release.data(), release.size());
    return Result{};
}

Outcome SystemCalls::openSocket(Context& context) {
    Node* socket = machine_.services.socket;
    if (socket == nullptr) {
        return Result::refusal(EAFNOSUPPORT);
    }
    return Result{addFile(context, {socket, "socket"})};
}

int SystemCalls::addFile(Context& context, OpenFile file) {
    const int descriptor = context.process.lowestFreeDescriptor();
    context.process.files[descriptor] =
        std::shared_ptr<OpenFile>(new OpenFile(std::move(file)), [](OpenFile* closed) {
            closed->node->close(*closed);
            delete closed;
        });
    return descriptor;
}

Outcome SystemCalls::open(Context& context) {
    Node* node = machine_.root.find(context.path());
    if (node == nullptr) {
        return Result::failure(machine_.root.list(context.path()) != nullptr ? EISDIR : ENOENT);
    }
    OpenFile file{node, context.path(), static_cast<int>(context.request.arguments[0])};
    const Result opened = node->open(file);
    return opened.error != 0 ? opened : Result{addFile(context, std::move(file))};
}

Outcome SystemCalls::openDirectory(Context& context) {
    if (machine_.root.list(context.path()) == nullptr) {
        return Result::failure(ENOENT);
    }
    return Result{addFile(context, {&directory_, context.path()})};
}

Outcome SystemCalls::changeDirectory(Context& context) {
    return machine_.root.list(context.path()) != nullptr ? Result{} : Result::failure(ENOENT);
}

Outcome SystemCalls::access(Context& context) {
    return machine_.root.exists(context.path()) ? Result{} : Result::failure(ENOENT);
}

Outcome SystemCalls::makeDirectory(Context& context) {
    if (machine_.root.exists(context.path())) {
        return Result::failure(EEXIST);
    }
    machine_.root.addDirectory(context.path());
    return Result{};
}

Outcome SystemCalls::runCommand(Context& context) {
    for (const auto& command : machine_.services.commands) {
        if (const std::optional<int> status = command(context.path())) {
            return Result{*status << 8};  // as wait(2) has it
        }
    }
    constexpr int commandNotFound = 127;
    return Result{commandNotFound << 8, 0, 0, true};
}

Outcome SystemCalls::mount(Context& context) {
    const auto& mount = machine_.services.mount;
    const wire::Request& request = context.request;
    return mount ? mount(textOf(request), context.path(), textOf(request, 2)) : Result::refusal(ENOSYS);
}

Outcome SystemCalls::unmount(Context& context) {
    const auto& umount = machine_.services.umount;
    return umount ? umount(context.path()) : Result::refusal(ENOSYS);
}

Outcome SystemCalls::fileSystem(Context& context) {
    if (!machine_.services.statfs) {
        return Result::refusal(ENOSYS);
    }
    const auto status = machine_.services.statfs(context.path());
    if (!status) {
        return Result::failure(machine_.root.exists(context.path()) ? EIO : ENOENT);
    }
    context.reply.values[0] = static_cast<std::int64_t>(status->blockBytes);
    context.reply.values[1] = static_cast<std::int64_t>(status->blocks);
    context.reply.values[2] = static_cast<std::int64_t>(status->freeBlocks);
    return Result{};
}

}  // namespace vboard
