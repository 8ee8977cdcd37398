// Reads the stream and passes it to the parser.

#include "apps/backend/sheet_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "apps/wire/stream_dump.h"

namespace k905::backend {

// A pipe of this size lets the filter continue while a sheet is being sent, and needs fewer context
// switches. A descriptor that is not a pipe is unchanged.
constexpr int kPipeBytes = 1 << 20;

SheetSource::SheetSource(int descriptor, int copies)
    : descriptor_(descriptor), copies_left_(copies), parser_(new_parser()) {
  (void)fcntl(descriptor_, F_SETPIPE_SZ, kPipeBytes);
}

PrinterStreamParser SheetSource::new_parser() {
  return PrinterStreamParser([this](Sheet&& sheet) { complete_.push_back(std::move(sheet)); });
}

SheetSource::Next SheetSource::next(Sheet& sheet, StopRequest& stop) {
  sheet = Sheet{};
  while (complete_.empty()) {
    if (parser_.error()) {
      problem_ = describe(*parser_.error());
      return Next::kInvalid;
    }
    if (const std::optional<Next> end = read_more(stop)) {
      return *end;
    }
  }
  sheet = std::move(complete_.front());
  complete_.pop_front();
  return Next::kSheet;
}

std::optional<SheetSource::Next> SheetSource::read_more(StopRequest& stop) {
  std::array<std::uint8_t, 1 << 18> piece;
  if (!stop.wait_readable(descriptor_)) {
    return Next::kStopped;
  }
  const ssize_t got = read(descriptor_, piece.data(), piece.size());
  if (got > 0) {
    (void)parser_.feed(piece.data(), static_cast<std::size_t>(got));
    return std::nullopt;
  }
  if (got == 0) {
    return end_of_copy();
  }
  if (errno == EINTR || errno == EAGAIN) {
    return std::nullopt;
  }
  problem_ = std::strerror(errno);
  return Next::kFailed;
}

std::optional<SheetSource::Next> SheetSource::end_of_copy() {
  if (!parser_.finish()) {
    return std::nullopt;  // the caller reports the error of the parser
  }
  --copies_left_;
  if (copies_left_ <= 0) {
    return Next::kEnd;
  }
  if (lseek(descriptor_, 0, SEEK_SET) != 0) {
    problem_ = std::strerror(errno);
    return Next::kFailed;
  }
  parser_ = new_parser();
  return std::nullopt;
}

}  // namespace k905::backend
