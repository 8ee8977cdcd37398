// The input of a fuzz target, read from the front; zeros after its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

  [[nodiscard]] bool empty() const { return at_ == end_; }
  [[nodiscard]] std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

  std::uint8_t byte() { return at_ == end_ ? std::uint8_t{0} : *at_++; }

  // Two bytes, taken modulo `limit`; 0 for a limit of 0.
  std::size_t below(std::size_t limit) {
    const std::size_t value = byte() + std::size_t{256} * byte();
    return limit == 0 ? 0 : value % limit;
  }

  template <typename T>
  T value() {
    std::uint8_t bytes[sizeof(T)];
    for (std::uint8_t& b : bytes) b = byte();
    T result;
    std::memcpy(&result, bytes, sizeof result);
    return result;
  }

  std::vector<std::uint8_t> bytes(std::size_t count) {
    std::vector<std::uint8_t> result(count);
    for (std::uint8_t& b : result) b = byte();
    return result;
  }

  // Up to the next `end`, which is skipped, or up to the last byte.
  std::string until(char end) {
    const auto* stop = at_;
    while (stop != end_ && *stop != static_cast<std::uint8_t>(end)) ++stop;
    std::string text(std::exchange(at_, stop == end_ ? end_ : stop + 1), stop);
    return text;
  }

  std::string rest() { return {std::exchange(at_, end_), end_}; }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};
