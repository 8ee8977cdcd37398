// Preloaded into k905-print by a test (LD_PRELOAD): appends to the file named by K905_STEPS_FILE,
// for each SQL statement that ends, the steps of SQLite's virtual machine and the statement. A step
// reads or compares at most one row, so the numbers show the cost of a statement independent of
// timing.
#include <dlfcn.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

namespace {

int append_steps(unsigned /*event*/, void* /*context*/, void* statement, void* /*nanoseconds*/) {
  auto* const ended = static_cast<sqlite3_stmt*>(statement);
  const char* path = std::getenv("K905_STEPS_FILE");
  std::FILE* file = path == nullptr ? nullptr : std::fopen(path, "a");
  if (file != nullptr) {
    std::fprintf(file, "%d %s\n", sqlite3_stmt_status(ended, SQLITE_STMTSTATUS_VM_STEP, 1),
                 sqlite3_sql(ended));
    std::fclose(file);
  }
  return 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int sqlite3_open_v2(const char* path,
                                                                      sqlite3** database, int flags,
                                                                      const char* system) {
  static auto* const next =
      reinterpret_cast<decltype(&sqlite3_open_v2)>(dlsym(RTLD_NEXT, "sqlite3_open_v2"));
  const int result = next(path, database, flags, system);
  if (result == SQLITE_OK) {
    sqlite3_trace_v2(*database, SQLITE_TRACE_PROFILE, append_steps, nullptr);
  }
  return result;
}
