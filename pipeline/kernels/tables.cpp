// Which forms of the kernels this machine can run.
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

struct Choice {
  const Table* tables[3] = {};
  std::size_t count = 0;

  void add(const Table& table) { tables[count++] = &table; }
};

// From plain to fast.
Choice look_at_the_processor() {
  Choice choice;
  choice.add(portable_table());
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2")) {
    choice.add(avx2_table());
    if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi")) {
      choice.add(avx512_table());
    }
  }
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
