// The tables of kernels, and which of them this CPU can run.
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

Table make_portable_table() {
  Table table = {};
  table.name = "portable";
  add_formats(table);
  add_color(table);
  add_resize(table);
  add_tone(table);
  add_rotate(table);
  return table;
}

#if defined(__x86_64__)
Table make_avx2_table() {
  Table table = portable_table();
  table.name = "avx2";
  add_formats_avx2(table);
  add_color_avx2(table);
  add_resize_avx2(table);
  add_tone_avx2(table);
  add_rotate_avx2(table);
  return table;
}

const Table& avx512_table() {
  static const Table table = [] {
    Table with_avx512 = avx2_table();
    with_avx512.name = "avx512";
    add_tone_avx512(with_avx512);
    return with_avx512;
  }();
  return table;
}
#elif defined(__aarch64__)
const Table& neon_table() {
  static const Table table = [] {
    Table with_neon = portable_table();
    with_neon.name = "neon";
    add_formats_neon(with_neon);
    add_resize_neon(with_neon);
    add_tone_neon(with_neon);
    add_rotate_neon(with_neon);
    return with_neon;
  }();
  return table;
}
#endif

struct Choice {
  const Table* tables[3] = {};
  std::size_t count = 0;

  void add(const Table& table) { tables[count++] = &table; }
};

// From the slowest to the fastest.
Choice detect_cpu_features() {
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
#elif defined(__aarch64__)
  choice.add(neon_table());
#endif
  return choice;
}

const Choice& choice() {
  static const Choice detected = detect_cpu_features();
  return detected;
}

}  // namespace

const Table& portable_table() {
  static const Table table = make_portable_table();
  return table;
}

#if defined(__x86_64__)
const Table& avx2_table() {
  static const Table table = make_avx2_table();
  return table;
}
#endif

const Table& chosen_table() { return *choice().tables[choice().count - 1]; }

std::span<const Table* const> all_tables() { return {choice().tables, choice().count}; }

}  // namespace kernels
