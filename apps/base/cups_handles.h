// RAII owners for what libcups allocates, and the connection to the scheduler.
#pragma once

#include <cups/cups.h>

#include <memory>
#include <string>

namespace k905 {

struct HttpCloser {
  void operator()(http_t* http) const { httpClose(http); }
};
using Http = std::unique_ptr<http_t, HttpCloser>;

struct IppDeleter {
  void operator()(ipp_t* message) const { ippDelete(message); }
};
using Ipp = std::unique_ptr<ipp_t, IppDeleter>;

struct DestDeleter {
  void operator()(cups_dest_t* dest) const { cupsFreeDests(1, dest); }
};
using Dest = std::unique_ptr<cups_dest_t, DestDeleter>;

// A list of names and values, as libcups expects it.
class CupsOptions {
 public:
  CupsOptions() = default;
  // The options of a job, as the scheduler passes them to filters and backends; null for none.
  explicit CupsOptions(const char* text) {
    count_ = text == nullptr ? 0 : cupsParseOptions(text, 0, &all_);
  }
  ~CupsOptions() { cupsFreeOptions(count_, all_); }
  CupsOptions(const CupsOptions& other) {
    for (int i = 0; i < other.count_; ++i) {
      add(other.all_[i].name, other.all_[i].value);
    }
  }
  CupsOptions& operator=(const CupsOptions&) = delete;

  void add(const std::string& name, const std::string& value) {
    count_ = cupsAddOption(name.c_str(), value.c_str(), count_, &all_);
  }
  // `function(&count, &all)` adds to the list and returns whether it could.
  template <class Function>
  [[nodiscard]] bool read(Function function) {
    return function(&count_, &all_);
  }
  // Empty for a name that is not in the list.
  [[nodiscard]] std::string value(const char* name) const {
    const char* found = cupsGetOption(name, count_, all_);
    return found == nullptr ? "" : found;
  }
  [[nodiscard]] int count() const { return count_; }
  [[nodiscard]] cups_option_t* all() const { return all_; }

 private:
  int count_ = 0;
  cups_option_t* all_ = nullptr;
};

// Calls `begin()` for each group of this kind in an answer of the scheduler, then `read(attribute)`
// for each attribute of the group. Null is an answer without groups.
template <class Begin, class Read>
void for_each_group(ipp_t* answer, ipp_tag_t kind, Begin begin, Read read) {
  bool inside = false;
  for (ipp_attribute_t* attribute = ippFirstAttribute(answer); attribute != nullptr;
       attribute = ippNextAttribute(answer)) {
    // An attribute without a name separates two groups.
    const bool was_inside = inside;
    inside = ippGetName(attribute) != nullptr && ippGetGroupTag(attribute) == kind;
    if (inside && !was_inside) {
      begin();
    }
    if (inside) {
      read(attribute);
    }
  }
}

// Opens a new connection to the user's scheduler; null if none answers in time.
[[nodiscard]] inline Http connect_to_scheduler(int timeout_ms) {
  return Http(httpConnect2(cupsServer(), ippPort(), nullptr, AF_UNSPEC, cupsEncryption(), 1,
                           timeout_ms, nullptr));
}

}  // namespace k905
