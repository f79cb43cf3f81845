// The calls on open files: whatever has a descriptor.

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "vboard/kernel/answers.h"
#include "vboard/kernel/system_calls.h"

namespace vboard {

using wire::Call;

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
    const std::shared_ptr<OpenFile> file = context.file;
    if ((file->flags & O_ACCMODE) == O_WRONLY) {
        put(context.reply, context.entry, Result::failure(EBADF));
        return std::nullopt;
    }
    const std::size_t size =
        std::min(static_cast<std::size_t>(context.request.arguments[0]), wire::dataBytes);
    if (context.request.call == Call::pread) {
        OpenFile place{file->node, file->path, file->flags,
                       static_cast<std::size_t>(context.request.arguments[1])};
        put(context.reply, context.entry, file->node->read(place, {context.reply.data, size}));
        context.reply.size = static_cast<std::uint32_t>(std::max<std::int64_t>(context.reply.result, 0));
        return std::nullopt;
    }
    if (!file->node->readable() && (file->flags & O_NONBLOCK) != 0) {
        put(context.reply, context.entry, Result::failure(EAGAIN));
        return std::nullopt;
    }
    const auto finish = [file, size](wire::Reply& reply) {
        put(reply, file->node->read(*file, {reply.data, size}));
        reply.size = static_cast<std::uint32_t>(std::max<std::int64_t>(reply.result, 0));
    };
    if (file->node->readable()) {
        finish(context.reply);
        context.entry.data.assign(context.reply.data, context.reply.data + context.reply.size);
        return std::nullopt;
    }
    return Wait{[file] { return file->node->readable(); }, std::nullopt, finish};
}

std::optional<Wait> SystemCalls::write(Context& context) {
    const std::shared_ptr<OpenFile> file = context.file;
    if ((file->flags & O_ACCMODE) == O_RDONLY) {
        put(context.reply, context.entry, Result::failure(EBADF));
        return std::nullopt;
    }
    const std::span<const std::uint8_t> sent(context.request.data, context.request.size);
    if (file->node->writable()) {
        put(context.reply, context.entry, file->node->write(*file, sent));
        const Time duration = file->node->writeDuration();
        if (duration.count() == 0) {
            return std::nullopt;
        }
        return Wait{nullptr, machine_.clock.now() + duration, [](wire::Reply&) {}};
    }
    if ((file->flags & O_NONBLOCK) != 0) {
        put(context.reply, context.entry, Result::failure(EAGAIN));
        return std::nullopt;
    }
    return Wait{[file] { return file->node->writable(); }, std::nullopt,
                [file, bytes = std::vector(sent.begin(), sent.end())](wire::Reply& reply) {
                    if (file->node->writable()) {  // else the wait was interrupted
                        put(reply, file->node->write(*file, bytes));
                    }
                }};
}

void SystemCalls::seek(Context& context) {
    OpenFile& file = *context.file;
    const std::int64_t base =
        context.request.arguments[1] == SEEK_CUR   ? static_cast<std::int64_t>(file.position)
        : context.request.arguments[1] == SEEK_END ? static_cast<std::int64_t>(file.node->size())
                                                   : 0;
    const std::int64_t wanted = base + context.request.arguments[0];
    if (file.node->terminal() != nullptr || wanted < 0) {
        put(context.reply, context.entry, Result::failure(wanted < 0 ? EINVAL : ESPIPE));
        return;
    }
    file.position = static_cast<std::size_t>(wanted);
    context.reply.result = static_cast<std::int64_t>(file.position);
}

void SystemCalls::ioctl(Context& context) {
    const wire::Request& request = context.request;
    const auto code = static_cast<std::uint32_t>(request.arguments[0]);
    const RequestShape* shape = findShape(context.file->node->requests(), code, request.size);
    if (shape == nullptr || request.arguments[2] == wire::withoutShape) {
        put(context.reply, context.entry, Result::refusal(ENOTTY));
        return;
    }
    putData(context.reply, request.data, request.size);
    put(context.reply, context.entry,
        context.file->node->ioctl({code,
                                   static_cast<std::uint64_t>(request.arguments[1]),
                                   {context.reply.data, context.reply.size}}));
    if (shape->argument == ArgumentKind::fromDriver) {
        context.entry.data.assign(context.reply.data, context.reply.data + context.reply.size);
    } else {
        context.reply.size = 0;
    }
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
        if (request.size != sizeof attributes) {
            put(context.reply, context.entry, Result::refusal(EINVAL));
            return;
        }
        std::memcpy(&attributes, request.data, sizeof attributes);
        put(context.reply, context.entry, terminal->setAttributes(attributes));
    } else {
        put(context.reply, context.entry, terminal->flush(static_cast<int>(request.arguments[0])));
    }
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
