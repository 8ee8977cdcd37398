#include "tests/faults/faulty_write.h"

#include <cstdlib>
#include <cstring>

namespace {

// A write that returns 0 loses the remaining bytes, but does not count as a failure.
enum class Outcome { kComplete, kShort, kFailed };

class Replay {
 public:
  explicit Replay(const FaultyWrite& fault) : fault_(fault) {}

  ReferenceResult applied_to(const ReferenceResult& undisturbed) {
    result_ = undisturbed;
    result_.log.clear();
    result_.output.clear();
    std::size_t at = 0;
    for (const std::string& line : undisturbed.log) {
      result_.log.push_back(line);
      const bool image = line.rfind("K905-1: send IMAGE ", 0) == 0;
      if (!image && line.rfind("K905-1: send CNTRL ", 0) != 0) {
        continue;
      }
      const auto payload = std::strtoul(undisturbed.output.substr(at + 24, 8).c_str(), nullptr, 10);
      if (!image) {
        (void)write_block(undisturbed.output.substr(at, 32 + payload));
      } else if (write_block(undisturbed.output.substr(at, 32)) == Outcome::kFailed ||
                 write_image(undisturbed.output.substr(at + 32, payload)) == Outcome::kFailed) {
        result_.log.push_back("K905-1: send " + line.substr(19, 1) + " plane failed");
      }
      at += 32 + payload;
    }
    return result_;
  }

 private:
  Outcome write_block(const std::string& bytes) {
    ++count_;
    if (count_ != fault_.number && !(fault_.and_later && count_ > fault_.number)) {
      result_.output += bytes;
      return Outcome::kComplete;
    }
    result_.log.push_back(fault_.result == 0
                              ? "K905-1: write returned 0"
                              : std::string("K905-1: write error: ") + std::strerror(fault_.error));
    return fault_.result == 0 ? Outcome::kShort : Outcome::kFailed;
  }

  Outcome write_image(const std::string& image) {
    const Outcome header = write_block(image.substr(0, 1088));
    return header == Outcome::kComplete ? write_block(image.substr(1088)) : header;
  }

  const FaultyWrite& fault_;
  ReferenceResult result_;
  long count_ = 0;
};

}  // namespace

ReferenceResult with_faulty_write(const ReferenceResult& undisturbed, const FaultyWrite& fault) {
  return Replay(fault).applied_to(undisturbed);
}
