// File descriptors that are closed together with their owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace k905 {

// Owns one descriptor, or none (-1).
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }

  [[nodiscard]] int get() const { return number_; }
  [[nodiscard]] explicit operator bool() const { return number_ >= 0; }

  // Hands the descriptor over to the caller.
  [[nodiscard]] int release() { return std::exchange(number_, -1); }

  // Closes the descriptor and owns `number` from now on.
  void reset(int number = -1) {
    if (number_ >= 0) {
      ::close(number_);
    }
    number_ = number;
  }

 private:
  int number_ = -1;
};

// Both ends of a pipe; an exec closes them.
struct Pipe {
  Descriptor read_end;
  Descriptor write_end;

  // False with errno set.
  [[nodiscard]] bool open();
};

}  // namespace k905
