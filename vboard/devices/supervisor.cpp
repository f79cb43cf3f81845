#include "vboard/devices/supervisor.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "r8/contract/report_record.h"

namespace vboard {

void Supervisor::configure(Section& section) {
    section.flag("fifoPresent", fifoPresent);
    section.choice("reader", reader,
                   {{"reads", Reader::reads}, {"absent", Reader::absent}, {"never", Reader::never}});
    section.number("pipeBytes", pipeBytes);
    if (section.has("leavesAfter")) {
        leavesAfter = 0;
        section.number("leavesAfter", *leavesAfter);
    }
}

void Supervisor::plugIn(Machine& machine) {
    clock_ = &machine.clock;
    unread_ = 0;
    writes.clear();
    machine.root.addDirectory("/var");
    if (fifoPresent) {
        machine.root.add(reportPipePath, *this);
    }
}

Result Supervisor::openHostFifo() {
    hostPipe_ = host::Descriptor(::open(hostFifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    return hostPipe_.isOpen() ? Result{} : Result::failure(errno);
}

Result Supervisor::open(const OpenFile& file) {
    const bool writesOnly = (file.flags & O_ACCMODE) == O_WRONLY;
    if (!writesOnly || (file.flags & O_NONBLOCK) == 0) {
        return Result::refusal(EINVAL);  // anything else would wait for a reader: not what the tool may do
    }
    if (!hostFifo.empty()) {
        return openHostFifo();
    }
    return reader == Reader::absent ? Result::failure(ENXIO) : Result{};
}

void Supervisor::close(const OpenFile&) {
    hostPipe_.close();
}

// Pipe writes of up to PIPE_BUF bytes are all or nothing, pipe(7).
Result Supervisor::write(OpenFile&, std::span<const std::uint8_t> bytes) {
    if (leavesAfter && writes.size() >= *leavesAfter) {
        return {-1, EPIPE, SIGPIPE, false};
    }
    if (reader == Reader::never && unread_ + bytes.size() > pipeBytes) {
        return Result::failure(EAGAIN);
    }
    if (hostPipe_.isOpen() && ::write(hostPipe_.get(), bytes.data(), bytes.size()) == -1) {
        return {-1, errno, errno == EPIPE ? SIGPIPE : 0, false};
    }
    unread_ += bytes.size();
    writes.emplace_back(bytes.begin(), bytes.end());
    if (onWrite) {
        onWrite(clock_->now(), writes.back());
    }
    return {static_cast<std::int64_t>(bytes.size())};
}

}  // namespace vboard
