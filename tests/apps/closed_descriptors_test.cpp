// Every program with every combination of its standard descriptors closed: no file that it opens
// gets one of their numbers, so that no message is written into a sheet or into another file.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <thread>

#include "tests/apps/picture_files.h"
#include "tests/apps/programs.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"

namespace {

namespace fs = std::filesystem;

constexpr char kBinaries[] = K905_BINARY_DIR "/";

struct ProgramRun {
  const char* name;
  const char* program;
  std::vector<std::string> arguments;
  bool reads_input = false;  // without input the exit status is 1
  int status = 0;
};

const ProgramRun kRuns[] = {
    {.name = "Filter",
     .program = "rastertok905",
     .arguments = {"1", "me", "t", "1", ""},
     .reads_input = true},
    {.name = "Adapter",
     .program = "rastertok905job",
     .arguments = {"1", "me", "t", "1", "StpLaminate=Matte"},
     .reads_input = true},
    {.name = "PrintToFile",
     .program = "k905-print",
     .arguments = {"--to", "job.prn", "a.png", "broken.png", "a.png"},
     .status = 1},
    {.name = "Preview", .program = "k905-print", .arguments = {"--preview", "sheet.png", "a.png"}},
    {.name = "Status", .program = "k905-status", .arguments = {"/nowhere/lp0"}, .status = 2},
    {.name = "Raster", .program = "k905-raster", .arguments = {"-o", "other.ras", "a.png"}},
    {.name = "PreviewOfStream",
     .program = "k905-preview",
     .arguments = {"-o", "seen", "sheets.prn"}},
};

std::string small_png() { return png_file(3, 2, {}, std::vector<std::uint8_t>(18, 90)); }

// Creates the files that the programs read.
void prepare(const ScratchFolder& folder) {
  static const std::pair<std::string, std::string> made = [] {
    const ScratchFolder scratch;
    scratch.write("a.png", small_png());
    EXPECT_EQ(run_program(scratch, "k905-raster", {"-o", "page.ras", "a.png"}).status, 0);
    EXPECT_EQ(run_program(scratch, "k905-print", {"--to", "sheets.prn", "a.png"}).status, 0);
    return std::pair(*scratch.read("page.ras"), *scratch.read("sheets.prn"));
  }();
  folder.write("input", made.first);
  folder.write("sheets.prn", made.second);
  folder.write("a.png", small_png());
  folder.write("broken.png", "\x89PNG broken");
}

ChildSetup setup_of(const ProgramRun& run, const ScratchFolder& folder) {
  ChildSetup setup;
  setup.program = kBinaries + std::string(run.program);
  setup.arguments = run.arguments;
  setup.arguments.insert(setup.arguments.begin(), run.program);
  setup.environment = {{"PPD", K905_BINARY_DIR "/ppd/K905.ppd"},
                       {"CUPS_SERVER", "/nowhere/cups.sock"},
                       {"HOME", "/nonexistent"},
                       {"PATH", "/usr/bin:/bin"}};
  setup.working_folder = folder.path();
  return setup;
}

bool is_closed(unsigned which, int standard) { return (which >> standard & 1U) != 0; }

// Runs with the standard descriptors of `closed` (bits) closed and the others on files.
ChildEnd run_with_closed(const ProgramRun& run, const ScratchFolder& folder, unsigned closed) {
  const auto file = [&](const char* name, int flags) {
    return open((folder.path() + "/" + name).c_str(), flags | O_CLOEXEC, 0600);
  };
  const int in = is_closed(closed, 0) ? -1 : file("input", O_RDONLY);
  const int out = is_closed(closed, 1) ? -1 : file("output", O_WRONLY | O_CREAT);
  const int err = is_closed(closed, 2) ? -1 : file("errors", O_WRONLY | O_CREAT);
  const int child = start_child(setup_of(run, folder), in, out, err);
  for (const int descriptor : {in, out, err}) {
    if (descriptor >= 0) {
      close(descriptor);
    }
  }
  return wait_for_child(child);
}

// All files except the log, which contains process ids.
std::map<std::string, std::string> files_in(const ScratchFolder& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::directory_iterator(folder.path())) {
    const std::string name = entry.path().filename();
    if (name != "errors") {
      files[name] = read_file(entry.path());
    }
  }
  return files;
}

class ClosedDescriptors : public testing::TestWithParam<ProgramRun> {};

TEST_P(ClosedDescriptors, ChangeNoFile) {
  const ProgramRun& run = GetParam();
  const ScratchFolder undisturbed;
  prepare(undisturbed);
  EXPECT_EQ(run_with_closed(run, undisturbed, 0).status, run.status);
  const auto wanted_files = files_in(undisturbed);

  for (unsigned closed = 1; closed < 8; ++closed) {
    SCOPED_TRACE("closed: " + std::string(is_closed(closed, 0) ? "0" : "") +
                 (is_closed(closed, 1) ? "1" : "") + (is_closed(closed, 2) ? "2" : ""));
    const ScratchFolder folder;
    prepare(folder);
    const ChildEnd end = run_with_closed(run, folder, closed);
    const bool has_nothing_to_do = run.reads_input && is_closed(closed, 0);
    EXPECT_EQ(end.signal, 0);
    EXPECT_EQ(end.status, has_nothing_to_do ? 1 : run.status);
    auto wanted = wanted_files;
    if (is_closed(closed, 1)) {
      wanted.erase("output");
    } else if (has_nothing_to_do) {
      wanted["output"] = "";
    }
    EXPECT_TRUE(files_in(folder) == wanted);
    EXPECT_EQ(read_file(folder.path() + "/errors").find('\x1b'), std::string::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(Programs, ClosedDescriptors, testing::ValuesIn(kRuns),
                         [](const auto& instance) { return std::string(instance.param.name); });

// This program runs until it is stopped, and keeps its state in a file.
TEST(ClosedDescriptorsOfTheSimulator, ChangeNoFile) {
  const ProgramRun run{
      .name = "Simulator", .program = "k905-sim", .arguments = {"--state", "state"}};
  std::string wanted;
  for (unsigned closed = 0; closed < 8; ++closed) {
    const ScratchFolder folder;
    folder.write("input", "");
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    const int child =
        start_child(setup_of(run, folder), is_closed(closed, 0) ? -1 : null,
                    is_closed(closed, 1) ? -1 : null, is_closed(closed, 2) ? -1 : null);
    close(null);
    for (int i = 0; i < 30000 && folder.read("state").value_or("").empty(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    kill(child, SIGTERM);
    const ChildEnd end = wait_for_child(child);
    EXPECT_TRUE(end.status == 0 || end.signal == SIGTERM) << closed;
    const std::string state = folder.read("state").value_or("");
    EXPECT_NE(state, "");
    wanted = closed == 0 ? state : wanted;
    EXPECT_EQ(state, wanted) << closed;
  }
}

}  // namespace
