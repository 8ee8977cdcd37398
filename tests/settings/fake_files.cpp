#include "tests/settings/fake_files.h"

#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace {
FakeFiles* in_force = nullptr;
}  // namespace

FakeFiles::FakeFiles(std::set<std::string> existing)
    : existing_(std::move(existing)), outer_(in_force) {
  in_force = this;
}

FakeFiles::~FakeFiles() { in_force = outer_; }

int FakeFiles::answer(const char* path) {
  asked_.emplace_back(path);
  if (existing_.count(path) != 0) {
    return 0;
  }
  errno = ENOENT;
  return -1;
}

extern "C" {

int __real_stat(const char* path, struct stat* status);

int __wrap_stat(const char* path, struct stat* status) {
  return in_force != nullptr ? in_force->answer(path) : __real_stat(path, status);
}
}
