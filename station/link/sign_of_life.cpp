#include "station/link/sign_of_life.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace station {

namespace {

constexpr std::chrono::milliseconds interval{500};

void beat(const std::stop_token& stop, int pipe) {
    std::mutex mutex;
    std::condition_variable_any alarm;
    std::unique_lock lock(mutex);
    while (!stop.stop_requested()) {
        (void)!write(pipe, "\n", 1);  // whoever reads there may have ended; that is seen elsewhere
        (void)alarm.wait_for(lock, stop, interval, [] { return false; });
    }
}

}  // namespace

SignOfLife::SignOfLife() : pipe_(host::openPipe()) {
    (void)host::checked(fcntl(pipe_.reader.get(), F_SETFL, 0), "fcntl");  // a child expects reads that wait
    (void)host::checked(fcntl(pipe_.writer.get(), F_SETFL, O_NONBLOCK), "fcntl");
}

void SignOfLife::begin() {
    pipe_.reader.close();
    thread_ = std::jthread(beat, pipe_.writer.get());
}

void SignOfLife::stop() {
    thread_.request_stop();
    if (thread_.joinable()) {
        thread_.join();
    }
    pipe_.writer.close();
}

}  // namespace station
