// Which forms of the kernels this machine can run.
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

struct Choice {
  const Table* tables[2] = {};
  std::size_t count = 0;
};

Choice look_at_the_processor() {
  Choice choice;
  choice.tables[choice.count++] = &portable_table();
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) choice.tables[choice.count++] = &avx2_table();
#endif
  return choice;
}

const Choice& choice() {
  static const Choice made_once = look_at_the_processor();
  return made_once;
}

}  // namespace

const Table& chosen_table() { return *choice().tables[choice().count - 1]; }

std::span<const Table* const> all_tables() { return {choice().tables, choice().count}; }

}  // namespace kernels
