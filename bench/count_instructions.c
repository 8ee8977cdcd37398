// A plugin of the emulator qemu that counts the instructions a program executes, its libraries
// included, and writes the number to the file that COUNT_FILE names.
//
// Debian's packages have no header for plugins, so the few functions are declared here.
// PLUGIN_VERSION is the version of that interface; these functions are the same in all of them.
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#ifndef PLUGIN_VERSION
#define PLUGIN_VERSION 1
#endif
#define EXPORT __attribute__((visibility("default")))

typedef uint64_t Id;
struct qemu_plugin_tb;  // a piece of code without a jump in it

extern size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* piece);
extern void qemu_plugin_register_vcpu_tb_trans_cb(Id id, void (*)(Id, struct qemu_plugin_tb*));
extern void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb* piece,
                                                 void (*)(unsigned, void*), int flags, void* data);
extern void qemu_plugin_register_atexit_cb(Id id, void (*)(Id, void*), void* data);

EXPORT int qemu_plugin_version = PLUGIN_VERSION;

static uint64_t executed;

static void count(unsigned cpu, void* instructions) {
  (void)cpu;
  executed += (uintptr_t)instructions;
}

static void watch(Id id, struct qemu_plugin_tb* piece) {
  (void)id;
  void* instructions = (void*)(uintptr_t)qemu_plugin_tb_n_insns(piece);
  qemu_plugin_register_vcpu_tb_exec_cb(piece, count, 0, instructions);
}

static void report(Id id, void* data) {
  (void)id;
  (void)data;
  const char* path = getenv("COUNT_FILE");
  FILE* file = path != NULL ? fopen(path, "w") : NULL;
  if (file == NULL) return;
  fprintf(file, "%" PRIu64 "\n", executed);
  fclose(file);
}

EXPORT int qemu_plugin_install(Id id, const void* info, int argc, char** argv) {
  (void)info;
  (void)argc;
  (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, watch);
  qemu_plugin_register_atexit_cb(id, report, NULL);
  return 0;
}
