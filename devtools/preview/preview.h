// Converts printer streams to images and lines, sheet by sheet.
#pragma once

#include <string>
#include <vector>

#include "apps/base/program.h"

struct PreviewOptions {
  std::vector<std::string> files;  // "-" is standard input
  std::string output = "sheet";
  std::string contact;  // one image for all sheets instead of one for each
  std::string proof;    // the printer's profile, by path or name
  std::uint32_t columns = 3;
  std::uint32_t width = 0;  // 0: not set
  bool raw = false;
  bool canvas = false;
  bool check = false;
  bool dump = false;
};

// Checks the files, writes a line or a dump of every sheet to standard output, writes the images,
// and returns the exit status.
[[nodiscard]] int show_files(const CLI::App& app, const PreviewOptions& options);
