#pragma once

// What every program off the board needs and no library gives: calls that must work, and descriptors that are
// closed.

#include <string>

namespace host {

// Throws std::system_error with errno, naming what it was about, unless the call went well.
void require(bool fine, const std::string& what);

// The result of a call that answers -1 when it fails; throws std::system_error naming the call then.
int checked(int result, const char* call);

// A descriptor that is closed when it goes out of scope. -1: none.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;

    int get() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    int release();  // the caller closes it
    void close();

  private:
    int number_ = -1;
};

struct Pipe {
    Descriptor reader;
    Descriptor writer;
};

// Both ends close on exec; a read from it does not wait. Throws std::system_error.
Pipe openPipe();

}  // namespace host
