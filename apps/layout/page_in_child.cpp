// The child returns its result through an anonymous file: a text, then the pixels.
#include "apps/layout/page_in_child.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string_view>

#include "apps/base/descriptor.h"
#include "apps/base/spawn.h"
#include "apps/base/write_all.h"

namespace k905 {

namespace {

constexpr const char* kChild = "k905: photo decoder";  // the name that ps shows
constexpr int kExitPage = 0;
constexpr int kExitNoAnswer = 1;                     // the result could not be written
constexpr int kExitError = 3;                        // the text is the reason
constexpr rlim_t kMaxMemoryBytes = rlim_t{1} << 30;  // address space, in bytes
constexpr rlim_t kMaxCpuSeconds = 120;               // of CPU time

// The text, which ends with a NUL: a warning, or the reason why there is no page.
bool write_answer(int out, const PreparedPhoto& prepared, const std::string& error) {
  const std::string& text = error.empty() ? prepared.warning : error;
  const auto& bytes = prepared.picture.bytes;
  return write_all(out, {text.c_str(), text.size() + 1}) &&
         write_all(out, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void limit_this_process() {
  const rlimit memory{kMaxMemoryBytes, kMaxMemoryBytes};
  const rlimit time{kMaxCpuSeconds, kMaxCpuSeconds};
  const rlimit no_core{0, 0};
#if !defined(__SANITIZE_ADDRESS__)  // the sanitizer reserves terabytes of address space
  setrlimit(RLIMIT_AS, &memory);
#else
  (void)memory;
#endif
  setrlimit(RLIMIT_CPU, &time);
  setrlimit(RLIMIT_CORE, &no_core);
}

// Calls `use` for each number of a request, in the order of the child's arguments.
template <typename Place, typename Options, typename Use>
void for_each_number(Place& place, Options& options, const Use& use) {
  use(place.page_width);
  use(place.page_height);
  use(place.visible_width);
  use(place.visible_height);
  use(place.dots_across);
  use(place.fine);
  use(options.fit);
  use(options.rotate);
}

// The photo is standard input.
int make_page(int out, const SheetPlace& place, const PrepareOptions& options) {
  limit_this_process();
  std::string error;
  std::optional<PreparedPhoto> prepared;
  try {
    Descriptor file = open_photo_file("-", error);
    load_modules_for(file);
    const auto photo = file ? Photo::open(std::move(file), error) : std::nullopt;
    if (photo) {
      prepared = prepare(*photo, place, options, error);
    }
  } catch (const std::exception&) {
    error = "the photo needs too much memory";
  }
  const bool has_page = prepared.has_value();
  if (!has_page) prepared.emplace();
  if (!write_answer(out, *prepared, error)) {
    return kExitNoAnswer;
  }
  return has_page ? kExitPage : kExitError;
}

// The pixels follow the text; their size is known.
std::optional<PreparedPhoto> read_answer(int in, bool has_page, const SheetPlace& place,
                                         std::string& error) {
  struct stat status {};
  if (fstat(in, &status) != 0) {
    error = std::strerror(errno);
    return std::nullopt;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  void* mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, in, 0);
  if (mapped == MAP_FAILED) {
    error = kNotEnoughMemory;
    return std::nullopt;
  }
  const std::string_view answer(static_cast<const char*>(mapped), size);
  const std::string text(answer.substr(0, answer.find('\0')));
  const std::string_view pixels = answer.substr(text.size() + 1);
  PreparedPhoto prepared{.picture = {}, .warning = text};
  const PixelSize drawn = picture_size(place);
  prepared.picture.width = drawn.width;
  prepared.picture.height = drawn.height;
  prepared.picture.channels = static_cast<int>(pixels.size() / drawn.width / drawn.height);
  prepared.picture.bytes.assign(pixels.begin(), pixels.end());
  munmap(mapped, size);
  if (!has_page) {
    error = text;
    return std::nullopt;
  }
  return prepared;
}

}  // namespace

std::optional<PreparedPhoto> page_in_child(const std::string& path, const SheetPlace& place,
                                           const PrepareOptions& options, std::string& error) {
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
  // The parent decides how these signals affect the current sheet.
  setup.ignored = {SIGINT, SIGTERM, SIGHUP};
  for_each_number(place, options, [&](auto number) {
    setup.arguments.push_back(std::to_string(std::uint32_t{number}));
  });
  Child child = answer ? spawn(setup) : Child();
  if (!child) {
    error = kNotEnoughMemory;
    return std::nullopt;
  }
  const int status = child.wait().code();
  if (status != kExitPage && status != kExitError) {
    error = "the photo cannot be decoded: it is malformed or needs too much memory or time";
    return std::nullopt;
  }
  return read_answer(answer.get(), status == kExitPage, place, error);
}

std::optional<int> make_page_as_child(int argc, char** argv) {
  SheetPlace place;
  PrepareOptions options;
  int numbers = 0;
  for_each_number(place, options, [&numbers](const auto&) { ++numbers; });
  if (argc != 2 + numbers || std::strcmp(argv[0], kChild) != 0) {
    return std::nullopt;
  }
  char** next = argv + 2;
  for_each_number(place, options, [&]<typename Number>(Number& number) {
    number = static_cast<Number>(std::strtoul(*next++, nullptr, 10));
  });
  return make_page(static_cast<int>(std::strtol(argv[1], nullptr, 10)), place, options);
}

}  // namespace k905
