// The child sends its answer through an anonymous file: a fixed head, the texts, the pixels.
#include "apps/layout/page_in_child.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <vector>

#include "apps/base/descriptor.h"
#include "apps/base/spawn.h"
#include "apps/base/write_whole.h"

namespace k905 {

namespace {

constexpr const char* kChild = "k905-print: photo decoder";  // its name for ps
constexpr rlim_t kMostMemory = rlim_t{1} << 30;              // address space, in bytes
constexpr rlim_t kMostSeconds = 120;                         // of processor time

struct Head {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::int32_t channels = 0;
  std::uint32_t warning_length = 0;
  std::uint32_t error_length = 0;  // not 0: there is no page
};

bool write_bytes(int descriptor, const void* bytes, std::size_t count) {
  return write_whole(descriptor, {static_cast<const char*>(bytes), count});
}

bool write_answer(int out, const std::optional<Prepared>& prepared, const std::string& error) {
  Head head;
  if (prepared) {
    head = {prepared->page.width, prepared->page.height, prepared->page.channels,
            static_cast<std::uint32_t>(prepared->warning.size()), 0};
  } else {
    head.error_length = static_cast<std::uint32_t>(error.size());
  }
  if (!write_bytes(out, &head, sizeof head)) {
    return false;
  }
  if (!prepared) {
    return write_bytes(out, error.data(), error.size());
  }
  return write_bytes(out, prepared->warning.data(), prepared->warning.size()) &&
         write_bytes(out, prepared->page.bytes.data(), prepared->page.bytes.size());
}

void limit_this_process() {
  const rlimit memory{kMostMemory, kMostMemory};
  const rlimit time{kMostSeconds, kMostSeconds};
  const rlimit no_core{0, 0};
#if !defined(__SANITIZE_ADDRESS__)  // the sanitizer reserves terabytes
  setrlimit(RLIMIT_AS, &memory);
#else
  (void)memory;
#endif
  setrlimit(RLIMIT_CPU, &time);
  setrlimit(RLIMIT_CORE, &no_core);
}

// Numbers of the request, in the order of the child's arguments.
std::vector<std::string> request(const SheetPlace& place, const Preparation& options) {
  std::vector<std::string> numbers;
  for (const std::uint32_t number :
       {place.page_width, place.page_height, place.seen_width, place.seen_height,
        std::uint32_t{place.fine}, std::uint32_t{options.whole}, std::uint32_t{options.turn}}) {
    numbers.push_back(std::to_string(number));
  }
  return numbers;
}
constexpr int kNumbers = 7;

void read_request(char** numbers, SheetPlace& place, Preparation& options) {
  const auto number = [numbers](int index) {
    return static_cast<std::uint32_t>(std::strtoul(numbers[index], nullptr, 10));
  };
  place.page_width = number(0);
  place.page_height = number(1);
  place.seen_width = number(2);
  place.seen_height = number(3);
  place.fine = number(4) != 0;
  options.whole = number(5) != 0;
  options.turn = number(6) != 0;
}

// The photo is standard input.
int make_page(int out, const SheetPlace& place, const Preparation& options) {
  limit_this_process();
  std::string error;
  std::optional<Prepared> prepared;
  try {
    Descriptor file = open_photo_file("-", error);
    const auto photo = file ? Photo::open(std::move(file), error) : std::nullopt;
    if (photo) {
      prepared = prepare(*photo, place, options, error);
    }
  } catch (const std::exception&) {
    error = "not enough memory for the photo";
  }
  return write_answer(out, prepared, error) ? 0 : 1;
}

bool read_bytes(int descriptor, void* bytes, std::size_t count) {
  auto* to = static_cast<char*>(bytes);
  while (count > 0) {
    const ssize_t got = read(descriptor, to, count);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return false;
    }
    to += got;
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

std::optional<Prepared> read_answer(int in, std::string& error) {
  Head head;
  if (lseek(in, 0, SEEK_SET) != 0 || !read_bytes(in, &head, sizeof head)) {
    error = "the decoder gave no answer";
    return std::nullopt;
  }
  if (head.error_length != 0) {
    error.resize(head.error_length);
    (void)read_bytes(in, error.data(), error.size());
    return std::nullopt;
  }
  Prepared prepared;
  prepared.page.width = head.width;
  prepared.page.height = head.height;
  prepared.page.channels = head.channels;
  prepared.warning.resize(head.warning_length);
  prepared.page.bytes.resize(prepared.page.row_bytes() * head.height);
  if (!read_bytes(in, prepared.warning.data(), prepared.warning.size()) ||
      !read_bytes(in, prepared.page.bytes.data(), prepared.page.bytes.size())) {
    error = "the decoder's answer is incomplete";
    return std::nullopt;
  }
  return prepared;
}

}  // namespace

std::optional<Prepared> page_in_child(const std::string& path, const SheetPlace& place,
                                      const Preparation& options, std::string& error) {
  const Descriptor file = open_photo_file(path, error);
  if (!file) {
    return std::nullopt;
  }
  const Descriptor answer(memfd_create("page", MFD_CLOEXEC));
  SpawnSetup setup;
  setup.program = "/proc/self/exe";
  setup.arguments = {kChild, std::to_string(answer.get())};
  setup.input = file.get();
  setup.output = STDERR_FILENO;
  setup.error = STDERR_FILENO;
  setup.inherited = answer.get();
  // What these mean to the sheet in hand is decided by the parent.
  setup.ignored = {SIGINT, SIGTERM, SIGHUP};
  std::ranges::copy(request(place, options), std::back_inserter(setup.arguments));
  Child child = answer ? spawn(setup) : Child();
  if (!child) {
    error = kNotEnoughMemory;
    return std::nullopt;
  }
  if (child.wait().code() != 0) {
    error = "the photo cannot be decoded: it is malformed or needs too much memory or time";
    return std::nullopt;
  }
  return read_answer(answer.get(), error);
}

std::optional<int> make_page_as_child(int argc, char** argv) {
  if (argc != 2 + kNumbers || std::strcmp(argv[0], kChild) != 0) {
    return std::nullopt;
  }
  SheetPlace place;
  Preparation options;
  read_request(argv + 2, place, options);
  return make_page(static_cast<int>(std::strtol(argv[1], nullptr, 10)), place, options);
}

}  // namespace k905
