// The calls on open files: whatever has a descriptor.

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "vboard/kernel/answers.h"
#include "vboard/kernel/system_calls.h"

namespace vboard {

using Outcome = std::variant<Result, Wait>;

namespace {

// As much as fits into the reply.
std::size_t wantedBytes(const wire::Request& request) {
    return std::min(static_cast<std::size_t>(request.arguments[0]), wire::dataBytes);
}

Result readInto(wire::Reply& reply, OpenFile& file, std::size_t size) {
    const Result result = file.node->read(file, {reply.data, size});
    reply.size = static_cast<std::uint32_t>(std::max<std::int64_t>(result.value, 0));
    return result;
}

}  // namespace

Outcome SystemCalls::close(Context& context) {
    context.process.files.erase(context.request.descriptor);
    return Result{};
}

Outcome SystemCalls::readDirectory(Context& context) {
    const std::vector<std::string>* names = machine_.root.list(context.file->path);
    if (names == nullptr || context.file->position >= names->size()) {
        return Result{0};
    }
    const std::string& name = (*names)[context.file->position++];
    putData(context.reply, name.data(), name.size());
    context.entry.arguments = name;
    return Result{1};
}

Outcome SystemCalls::read(Context& context) {
    const std::shared_ptr<OpenFile> file = context.file;
    if ((file->flags & O_ACCMODE) == O_WRONLY) {
        return Result::failure(EBADF);
    }
    const std::size_t size = wantedBytes(context.request);
    if (file->node->readable()) {
        const Result result = readInto(context.reply, *file, size);
        context.entry.data.assign(context.reply.data, context.reply.data + context.reply.size);
        return result;
    }
    if ((file->flags & O_NONBLOCK) != 0) {
        return Result::failure(EAGAIN);
    }
    return Wait{[file] { return file->node->readable(); }, std::nullopt,
                [file, size](wire::Reply& reply) { put(reply, readInto(reply, *file, size)); }};
}

Outcome SystemCalls::readAt(Context& context) {
    const OpenFile& file = *context.file;
    if ((file.flags & O_ACCMODE) == O_WRONLY) {
        return Result::failure(EBADF);
    }
    OpenFile place{file.node, file.path, file.flags, static_cast<std::size_t>(context.request.arguments[1])};
    return readInto(context.reply, place, wantedBytes(context.request));
}

Outcome SystemCalls::write(Context& context) {
    const std::shared_ptr<OpenFile> file = context.file;
    if ((file->flags & O_ACCMODE) == O_RDONLY) {
        return Result::failure(EBADF);
    }
    const std::span<const std::uint8_t> sent(context.request.data, context.request.size);
    if (file->node->writable()) {
        const Result result = file->node->write(*file, sent);
        const Time duration = file->node->writeDuration();
        if (duration.count() == 0) {
            return result;
        }
        return Wait{nullptr, machine_.clock.now() + duration,
                    [result](wire::Reply& reply) { put(reply, result); }};
    }
    if ((file->flags & O_NONBLOCK) != 0) {
        return Result::failure(EAGAIN);
    }
    return Wait{[file] { return file->node->writable(); }, std::nullopt,
                [file, bytes = std::vector(sent.begin(), sent.end())](wire::Reply& reply) {
                    if (file->node->writable()) {  // else the wait was interrupted
                        put(reply, file->node->write(*file, bytes));
                    }
                }};
}

Outcome SystemCalls::seek(Context& context) {
    OpenFile& file = *context.file;
    const std::int64_t base =
        context.request.arguments[1] == SEEK_CUR   ? static_cast<std::int64_t>(file.position)
        : context.request.arguments[1] == SEEK_END ? static_cast<std::int64_t>(file.node->size())
                                                   : 0;
    const std::int64_t wanted = base + context.request.arguments[0];
    if (file.node->terminal() != nullptr || wanted < 0) {
        return Result::failure(wanted < 0 ? EINVAL : ESPIPE);
    }
    file.position = static_cast<std::size_t>(wanted);
    return Result{wanted};
}

Outcome SystemCalls::synchronize(Context&) {
    return Result::failure(EINVAL);  // serial lines and devices have nothing to synchronize
}

// The argument comes in exactly the shape that the node's table says, or nobody looks at it.
Outcome SystemCalls::ioctl(Context& context) {
    const wire::Request& request = context.request;
    wire::Reply& reply = context.reply;
    const auto code = static_cast<std::uint32_t>(request.arguments[0]);
    const RequestShape* shape = findShape(context.file->node->requests(), code, request.size);
    if (shape == nullptr || request.arguments[2] == wire::withoutShape) {
        return Result::refusal(ENOTTY);
    }
    putData(reply, request.data, request.size);
    const Result result = context.file->node->ioctl(
        {code, static_cast<std::uint64_t>(request.arguments[1]), {reply.data, reply.size}});
    if (shape->argument == ArgumentKind::fromDriver) {
        context.entry.data.assign(reply.data, reply.data + reply.size);
    } else {
        reply.size = 0;
    }
    return result;
}

Outcome SystemCalls::getAttributes(Context& context) {
    termios attributes = {};
    const Result result = context.file->node->terminal()->getAttributes(attributes);
    putData(context.reply, &attributes, sizeof attributes);
    return result;
}

Outcome SystemCalls::setAttributes(Context& context) {
    termios attributes = {};
    if (context.request.size != sizeof attributes) {
        return Result::refusal(EINVAL);
    }
    std::memcpy(&attributes, context.request.data, sizeof attributes);
    return context.file->node->terminal()->setAttributes(attributes);
}

Outcome SystemCalls::drain(Context& context) {
    Terminal* terminal = context.file->node->terminal();
    return Wait{[terminal] { return terminal->drained(); }, std::nullopt, [](wire::Reply&) {}};
}

Outcome SystemCalls::flush(Context& context) {
    return context.file->node->terminal()->flush(static_cast<int>(context.request.arguments[0]));
}

Outcome SystemCalls::select(Context& context) {
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
            return Result::failure(EBADF);
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
