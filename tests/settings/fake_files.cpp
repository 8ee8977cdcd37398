#include "tests/settings/fake_files.h"

#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace {
FakeFiles* active = nullptr;
}  // namespace

FakeFiles::FakeFiles(std::set<std::string> existing)
    : existing_(std::move(existing)), outer_(active) {
  active = this;
}

FakeFiles::~FakeFiles() { active = outer_; }

int FakeFiles::result_of(const char* path) {
  requested_.emplace_back(path);
  if (existing_.count(path) != 0) {
    return 0;
  }
  errno = ENOENT;
  return -1;
}

extern "C" {

int __real_stat(const char* path, struct stat* status);

int __wrap_stat(const char* path, struct stat* status) {
  return active != nullptr ? active->result_of(path) : __real_stat(path, status);
}
}
