#include "tests/apps/programs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "apps/image/photo.h"
#include "tests/support/build_paths.h"

namespace {

struct Source {
  const std::string& bytes;
  std::size_t at = 0;
};

ssize_t read_some(void* context, unsigned char* buffer, std::size_t count) {
  auto& source = *static_cast<Source*>(context);
  const std::size_t taken = std::min(count, source.bytes.size() - source.at);
  std::copy_n(source.bytes.begin() + static_cast<std::ptrdiff_t>(source.at), taken, buffer);
  source.at += taken;
  return static_cast<ssize_t>(taken);
}

std::string path_of(const std::string& program) { return K905_BINARY_DIR "/" + program; }

}  // namespace

ChildResult run_program(const ScratchFolder& folder, const std::string& program,
                        const std::vector<std::string>& arguments, const std::string& input) {
  ChildSetup setup;
  setup.program = path_of(program);
  setup.arguments = arguments;
  setup.arguments.insert(setup.arguments.begin(), program);
  setup.input = input;
  setup.working_folder = folder.path();
  return run_child(setup);
}

ChildResult preview(const ScratchFolder& folder, const std::vector<std::string>& arguments,
                    const std::string& input) {
  return run_program(folder, "k905-preview", arguments, input);
}

std::string run_on_terminal(const ScratchFolder& folder, const std::string& program,
                            const std::vector<std::string>& arguments) {
  int master = -1;
  int slave = -1;
  if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) {
    ADD_FAILURE() << "no pseudo-terminal";
    return "";
  }
  const std::string path = path_of(program);
  const pid_t child = fork();
  if (child == 0) {
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(nothing, STDOUT_FILENO);
    dup2(slave, STDERR_FILENO);
    close(master);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
      argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    if (chdir(folder.path().c_str()) == 0) {
      execv(path.c_str(), argv.data());
    }
    _exit(127);
  }
  close(slave);
  std::string text;
  char piece[4096];
  // After the last client has closed the terminal, read() fails.
  for (ssize_t got = 0; (got = read(master, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(got));
  }
  close(master);
  waitpid(child, nullptr, 0);
  return text;
}

std::vector<RasterPage> raster_pages(const std::string& stream) {
  Source source{stream};
  cups_raster_t* raster = cupsRasterOpenIO(read_some, &source, CUPS_RASTER_READ);
  std::vector<RasterPage> pages;
  RasterPage page{};
  while (raster != nullptr && cupsRasterReadHeader2(raster, &page.header) != 0) {
    const std::size_t line = page.header.cupsBytesPerLine;
    page.pixels.resize(line * page.header.cupsHeight);
    for (std::size_t y = 0; y < page.header.cupsHeight; ++y) {
      EXPECT_EQ(
          cupsRasterReadPixels(raster, page.pixels.data() + y * line, static_cast<unsigned>(line)),
          line);
    }
    pages.push_back(page);
  }
  cupsRasterClose(raster);
  EXPECT_EQ(source.at, stream.size()) << "bytes after the last page";
  return pages;
}

k905::Picture picture_in(const ScratchFolder& folder, const std::string& name) {
  std::string error;
  const auto picture = k905::read_photo(folder.path() + "/" + name, error);
  EXPECT_TRUE(picture) << name << ": " << error;
  return picture.value_or(k905::Picture{});
}
