#include "apps/base/spawn.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "apps/base/descriptor.h"
#include "apps/base/process_start.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"

namespace {

using k905::Child;
using k905::Descriptor;
using k905::spawn;
using k905::SpawnSetup;
using testing::ElementsAre;

SpawnSetup shell(const std::string& script) {
  SpawnSetup setup;
  setup.program = "/bin/sh";
  setup.arguments = {"sh", "-c", script};
  return setup;
}

// A file of the folder, open for reading and writing.
Descriptor open_file(const ScratchFolder& folder, const std::string& name) {
  return Descriptor(open((folder.path() + "/" + name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
}

// The script's standard output.
std::string output_of(SpawnSetup setup) {
  const ScratchFolder folder;
  const Descriptor output = open_file(folder, "output");
  setup.output = output.get();
  Child child = spawn(setup);
  EXPECT_TRUE(child);
  (void)child.wait();
  return *folder.read("output");
}

// Bit `signal` of the mask that /proc/PID/status shows.
std::string mask_of(int signal) {
  char text[32];
  std::snprintf(text, sizeof text, "%016lx", 1UL << (signal - 1));
  return text;
}

// Uses shell builtins only, because a shell blocks signals while it starts a program.
constexpr char kShowSignals[] =
    "while read -r line; do case $line in SigBlk*|SigIgn*) echo \"$line\" ;; esac; "
    "done < /proc/$$/status";

// The process that started the test may have ignored or blocked some.
void use_default_signals() {
  for (int number = 1; number <= SIGRTMAX; ++number) {
    std::signal(number, SIG_DFL);
  }
  const sigset_t none = k905::no_signals();
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

TEST(Spawn, GivesTheChildItsThreeDescriptors) {
  const ScratchFolder folder;
  folder.write("input", "page\n");
  const Descriptor input = open_file(folder, "input");
  const Descriptor output = open_file(folder, "output");
  const Descriptor error = open_file(folder, "error");
  SpawnSetup setup = shell("cat; echo bad >&2");
  setup.input = input.get();
  setup.output = output.get();
  setup.error = error.get();
  Child child = spawn(setup);
  ASSERT_TRUE(child);
  EXPECT_EQ(child.wait().code(), 0);
  EXPECT_EQ(folder.read("output"), "page\n");
  EXPECT_EQ(folder.read("error"), "bad\n");
}

TEST(Spawn, TakesStandardDescriptorsInAnyOrder) {
  const ScratchFolder folder;
  const Descriptor output = open_file(folder, "output");
  SpawnSetup setup = shell("echo answer; echo trouble >&2");
  setup.input = STDERR_FILENO;
  setup.output = output.get();
  setup.error = STDIN_FILENO;
  const ScratchFolder other;
  const Descriptor input = open_file(other, "input");
  const Descriptor before(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
  dup2(input.get(), STDIN_FILENO);
  Child child = spawn(setup);
  dup2(before.get(), STDIN_FILENO);
  EXPECT_EQ(child.wait().code(), 0);
  EXPECT_EQ(folder.read("output"), "answer\n");
  EXPECT_EQ(other.read("input"), "trouble\n");
}

TEST(Spawn, UsesTheNullDeviceForStreamsThatAreNotGiven) {
  EXPECT_EQ(output_of(shell("readlink /proc/$$/fd/0; readlink /proc/$$/fd/2")),
            "/dev/null\n/dev/null\n");
}

TEST(Spawn, PassesOneMoreDescriptorUnderItsNumberAndNoOther) {
  const ScratchFolder folder;
  const Descriptor passed = open_file(folder, "passed");
  const Descriptor kept = open_file(folder, "kept");
  const auto number = [](const Descriptor& file) { return std::to_string(file.get()); };
  SpawnSetup setup = shell("for n in " + number(passed) + " " + number(kept) +
                           "; do readlink /proc/$$/fd/$n || echo none; done");
  setup.inherited = passed.get();
  EXPECT_EQ(output_of(setup), folder.path() + "/passed\nnone\n");
}

TEST(Spawn, ChangesTheEnvironment) {
  setenv("K905_TEST_GONE", "1", 1);
  setenv("K905_TEST_KEPT", "2", 1);
  SpawnSetup setup = shell("echo \"${K905_TEST_GONE-unset} $K905_TEST_KEPT $K905_TEST_NEW\"");
  setup.environment = {{"K905_TEST_GONE", ""}, {"K905_TEST_NEW", "3"}};
  EXPECT_EQ(output_of(setup), "unset 2 3\n");
}

TEST(Spawn, SetsIgnoredAndBlockedSignals) {
  use_default_signals();
  SpawnSetup setup = shell(kShowSignals);
  setup.ignored = {SIGHUP};
  sigaddset(&setup.blocked, SIGTERM);
  EXPECT_THAT(lines_of(output_of(setup)),
              ElementsAre("SigBlk:\t" + mask_of(SIGTERM), "SigIgn:\t" + mask_of(SIGHUP)));
}

TEST(Spawn, ResetsSignalSettingsInTheChild) {
  const pid_t process = fork();
  if (process == 0) {
    use_default_signals();
    start_process();
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    std::signal(SIGUSR1, [](int) {});
    const std::string none(16, '0');
    const bool same = lines_of(output_of(shell(kShowSignals))) ==
                      std::vector<std::string>{"SigBlk:\t" + none, "SigIgn:\t" + none};
    leave_child(same ? 0 : 1);
  }
  EXPECT_EQ(wait_for_child(process).status, 0);
}

TEST(Spawn, ProgramThatCannotBeStartedReturnsNoChild) {
  SpawnSetup setup = shell("");
  setup.program = "/nowhere/program";
  const Child child = spawn(setup);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(child);
}

TEST(Spawn, ReportsHowTheChildEnded) {
  Child child = spawn(shell("exit 3"));
  EXPECT_EQ(child.wait().code(), 3);
  EXPECT_FALSE(child);
  child = spawn(shell("kill -SEGV $$"));
  EXPECT_EQ(child.wait().code(), 128 + SIGSEGV);
}

TEST(Spawn, ReportsHowTheChildEndedWhenSigchldWasIgnored) {
  const pid_t process = fork();
  if (process == 0) {
    std::signal(SIGCHLD, SIG_IGN);
    leave_child(spawn(shell("exit 3")).wait().code());
  }
  EXPECT_EQ(wait_for_child(process).status, 3);
}

TEST(Spawn, ChecksForTheEndWithoutWaiting) {
  k905::Pipe life;
  ASSERT_TRUE(life.open());
  SpawnSetup setup = shell("read -r line; exit 4");
  setup.input = life.read_end.get();
  Child child = spawn(setup);
  k905::ChildEnd end;
  EXPECT_FALSE(child.ended(end));
  life.write_end.reset();
  while (!child.ended(end)) {
  }
  EXPECT_EQ(end.code(), 4);
}

TEST(Spawn, ChildEndsWhenItsOwnerIsDestroyed) {
  k905::Pipe life;
  ASSERT_TRUE(life.open());
  {
    SpawnSetup setup = shell("exec sleep 300");
    setup.output = life.write_end.get();
    const Child child = spawn(setup);
    EXPECT_TRUE(child);
    life.write_end.reset();
  }
  char byte = 0;
  EXPECT_EQ(read(life.read_end.get(), &byte, 1), 0);
}

TEST(Spawn, AChildEndsWithTheProcessThatStartedIt) {
  k905::Pipe life;
  ASSERT_TRUE(life.open());
  const pid_t process = fork();
  if (process == 0) {
    SpawnSetup setup = shell("trap '' TERM; exec sleep 300");
    setup.output = life.write_end.get();
    const Child child = spawn(setup);
    kill(getpid(), SIGKILL);
  }
  life.write_end.reset();
  EXPECT_EQ(wait_for_child(process).signal, SIGKILL);
  char byte = 0;
  EXPECT_EQ(read(life.read_end.get(), &byte, 1), 0);
}

TEST(StartProcess, ReportsAClosedPipeAndTheFileSizeLimitAsErrors) {
  const pid_t process = fork();
  if (process == 0) {
    start_process();
    k905::Pipe pipe;
    const bool opened = pipe.open();
    pipe.read_end.reset();
    const bool failed = write(pipe.write_end.get(), "x", 1) < 0 && errno == EPIPE;
    raise(SIGXFSZ);
    leave_child(opened && failed ? 0 : 1);
  }
  EXPECT_EQ(wait_for_child(process).status, 0);
}

}  // namespace
