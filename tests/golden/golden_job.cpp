#include "tests/golden/golden_job.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"

namespace {

namespace fs = std::filesystem;

fs::path folder() { return K905_SOURCE_DIR "/tests/golden"; }

std::vector<std::string> words_of(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

// True if the line is valid.
bool read_line(GoldenJob& job, const std::string& key, const std::string& rest) {
  const std::vector<std::string> words = words_of(rest);
  if (key == "raster") {
    job.raster = words;
  } else if (key == "ppd") {
    for (const std::string& word : words) {
      const std::size_t equals = word.find('=');
      if (equals == std::string::npos) {
        return false;
      }
      job.ppd.groups[0].options.push_back({word.substr(0, equals), word.substr(equals + 1)});
    }
  } else if (key == "options") {
    job.filter_arguments[5] = rest;
  } else if (key == "arguments") {
    job.filter_arguments.insert(job.filter_arguments.end(), words.begin(), words.end());
  } else if (key == "ribbon") {
    job.ribbon = rest;
  } else if (key == "status") {
    job.status = std::stoi(rest);
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::vector<std::string> golden_job_names() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder())) {
    if (fs::exists(entry.path() / "recipe")) {
      names.push_back(entry.path().filename());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<GoldenJob> read_golden_job(const std::string& name, std::string& error) {
  GoldenJob job;
  job.name = name;
  job.ppd.groups = {{"Printing", {}}};
  job.filter_arguments = {"rastertok905", "1", "me", name, "1", ""};
  std::ifstream file(folder() / name / "recipe");
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') {
      continue;
    }
    const std::size_t blank = line.find(' ');
    const std::string rest = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (!read_line(job, line.substr(0, blank), rest)) {
      error = "invalid line: " + line;
      return std::nullopt;
    }
  }
  return job;
}

std::string accepted_text(const std::string& job, const std::string& file) {
  return read_file(folder() / job / file);
}

bool has_accepted_log(const std::string& job) { return fs::exists(folder() / job / "log"); }

void accept_text(const std::string& job, const std::string& file, const std::string& text) {
  std::ofstream(folder() / job / file, std::ios::binary) << text;
}

std::string redacted(const std::string& log, int process_id) {
  const std::string line = "K905-1: Process ID: " + std::to_string(process_id) + "\n";
  std::string text = log;
  const std::size_t at = text.find(line);
  if (at != std::string::npos) {
    text.replace(at, line.size(), "K905-1: Process ID: (redacted)\n");
  }
  return text;
}
