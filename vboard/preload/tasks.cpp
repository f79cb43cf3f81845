// New threads and processes are announced before they start, so that the virtual clock can't jump past them.

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <memory>

#include "vboard/preload/connection.h"

using vboard::preload::Exchange;
using vboard::wire::Call;

namespace {

struct ThreadStart {
    void* (*body)(void*);
    void* argument;
    int connection;
};

template <typename Function>
Function* hostFunction(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void* threadBody(void* argument) {
    const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
    vboard::preload::becomeTask(start->connection);
    void* result = start->body(start->argument);
    vboard::preload::closeConnection(start->connection);
    return result;
}

// A sanitizer's run-time starts a helper of its own with every signal blocked; the tool blocks none. The
// board must not wait for what never asks it anything.
bool isSanitizersHelper() {
    sigset_t blocked;
    (void)pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    return sigismember(&blocked, SIGINT) == 1;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
    static const auto create = hostFunction<decltype(pthread_create)>("pthread_create");
    if (isSanitizersHelper()) {
        return create(thread, attributes, body, argument);
    }
    Exchange exchange(Call::startThread);
    if (exchange.perform() == -1) {
        return errno;
    }
    auto start =
        std::make_unique<ThreadStart>(ThreadStart{body, argument, vboard::preload::takePassedConnection()});
    const int error = create(thread, attributes, threadBody, start.get());
    if (error == 0) {
        (void)start.release();  // the thread's now
    } else {
        vboard::preload::closeConnection(start->connection);
    }
    return error;
}

pid_t fork() noexcept {
    Exchange exchange(Call::startProcess);
    if (exchange.perform() == -1) {
        return -1;
    }
    static const auto hostFork = hostFunction<decltype(fork)>("fork");
    const pid_t child = hostFork();
    if (child == 0) {
        vboard::preload::dropInheritedConnections();
        vboard::preload::becomeTask(vboard::preload::takePassedConnection());
        vboard::preload::awaitPermission();
    } else {
        vboard::preload::closeConnection(vboard::preload::takePassedConnection());
    }
    return child;
}

}  // extern "C"
