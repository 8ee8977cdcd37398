#include "tests/jobs/job_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/child_process.h"
#include "tests/support/reference.h"

namespace {

namespace fs = std::filesystem;

constexpr char kPpdName[] = "queue.ppd";
constexpr char kLogName[] = "rastertok905_debug.log";
constexpr char kImageFolder[] = "k905_debug";

void compare_logs(const std::vector<std::string>& got, const std::vector<std::string>& wanted) {
  const auto [g, w] = std::mismatch(got.begin(), got.end(), wanted.begin(), wanted.end());
  if (g == got.end() && w == wanted.end()) {
    return;
  }
  std::string before;
  for (auto line = w - std::min<std::ptrdiff_t>(4, w - wanted.begin()); line != w; ++line) {
    before += "    " + *line + "\n";
  }
  ADD_FAILURE() << "log line " << w - wanted.begin() + 1 << " differs, after\n"
                << before << "  filter    " << (g != got.end() ? *g : "(end of the log)")
                << "\n  reference " << (w != wanted.end() ? *w : "(end of the log)");
}

// Describes the position of a byte in the sheets in terms of the wire format.
std::string position_of(const std::string& stream, std::size_t offset) {
  std::size_t at = 0;
  int sheet = 1;
  while (at + 32 <= stream.size()) {
    const std::string group = stream.substr(at + 2, 5);
    const std::string name = stream.substr(at + 8, 6);
    const std::size_t payload = std::strtoul(stream.substr(at + 24, 8).c_str(), nullptr, 10);
    if (offset < at + 32 + payload) {
      std::string place = "sheet " + std::to_string(sheet);
      place.append(", ").append(group).append(" ").append(name);
      if (offset >= at + 32 + 1088 && group == "IMAGE") {
        const std::size_t pixel = offset - at - 32 - 1088;
        place +=
            ", row " + std::to_string(pixel / 1920) + ", column " + std::to_string(pixel % 1920);
      }
      return place;
    }
    at += 32 + payload;
    sheet += name == "START " ? 1 : 0;
  }
  return "after the last sheet";
}

void compare_output(const std::string& got, const std::string& wanted) {
  const auto [g, w] = std::mismatch(got.begin(), got.end(), wanted.begin(), wanted.end());
  if (g == got.end() && w == wanted.end()) {
    return;
  }
  const auto offset = static_cast<std::size_t>(w - wanted.begin());
  std::size_t different = 0;
  for (std::size_t i = 0; i < std::min(got.size(), wanted.size()); ++i) {
    different += got[i] != wanted[i] ? 1 : 0;
  }
  ADD_FAILURE() << "printer data: " << got.size() << " bytes, reference " << wanted.size() << "; "
                << different << " differ, the first at " << offset << " ("
                << position_of(wanted, offset)
                << "): " << (g != got.end() ? static_cast<int>(static_cast<unsigned char>(*g)) : -1)
                << " instead of "
                << (w != wanted.end() ? static_cast<int>(static_cast<unsigned char>(*w)) : -1);
}

// The newest image of each tag in a folder; a later page may overwrite an image or add another.
std::map<std::string, fs::path> images_in(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::map<std::string, fs::path> newest;
  for (const fs::path& file : files) {
    newest[file.stem().string().substr(16)] = file;  // after "YYYYmmdd_HHMMSS_"
  }
  return newest;
}

void compare_images(const fs::path& folder, const std::map<std::string, std::string>& wanted) {
  if (!fs::exists(folder)) {
    EXPECT_TRUE(wanted.empty()) << "no images at all";
    return;
  }
  const std::map<std::string, fs::path> got = images_in(folder);
  for (const auto& [tag, file] : got) {
    EXPECT_TRUE(wanted.contains(tag)) << "an unexpected image " << file;
  }
  for (const auto& [tag, bytes] : wanted) {
    const auto file = got.find(tag);
    if (file == got.end()) {
      ADD_FAILURE() << "no image " << tag;
      continue;
    }
    const std::string image = read_file(file->second.string());
    EXPECT_TRUE(image == bytes) << "image " << tag << " differs";
  }
}

}  // namespace

void JobRecipe::choose(const std::string& keyword, const std::string& choice) {
  if (ppd->groups.empty()) {
    ppd->groups.push_back({"K905", {}});
  }
  ppd->groups[0].options.push_back({keyword, choice});
}

void expect_like_reference(const JobRecipe& recipe) {
  const ScratchFolder work;
  const ScratchFolder tmp;
  for (const auto& [name, bytes] : recipe.files) {
    (void)work.write(name, bytes);
  }
  ChildSetup child;
  child.program = filter_program();
  child.arguments = recipe.arguments;
  child.input = recipe.input;
  child.working_folder = work.path();
  ReferenceJob job;
  job.arguments = recipe.arguments;
  job.input = recipe.input;
  job.working_folder = work.path();
  job.ribbon = recipe.ribbon;
  job.max_message = recipe.max_message;
  if (!recipe.ribbon.empty()) {
    child.environment["K905_RIBBON"] = recipe.ribbon;
  }
  if (recipe.max_message != 0) {
    child.environment["CUPS_MAX_MESSAGE"] = std::to_string(recipe.max_message);
  }
  std::string tmp_folder = tmp.path();
  if (recipe.ppd) {
    job.ppd_file = recipe.ppd;
    job.ppd_path = work.write(kPpdName, ppd_text(*recipe.ppd));
    child.environment["PPD"] = *job.ppd_path;
  } else if (private_tmp_possible()) {
    child.private_tmp = tmp.path();
  } else {
    // Without a private /tmp the real one is used; no other test may use it at the same time.
    tmp_folder = "/tmp";
    fs::remove_all(fs::path(tmp_folder) / kImageFolder);
  }

  const ChildResult got = run_child(child);
  job.process_id = got.process_id;
  const ReferenceResult wanted = reference_run(job);

  EXPECT_EQ(got.signal, 0);
  EXPECT_EQ(got.status, wanted.status);
  if (recipe.ppd) {
    compare_logs(redacted_log(got.log), wanted.log);
  } else {
    EXPECT_EQ(got.log, "") << "a run by hand logs to its file only";
    compare_logs(redacted_log(read_file(tmp_folder + "/" + kLogName)), wanted.log);
    compare_images(fs::path(tmp_folder) / kImageFolder, wanted.images);
  }
  compare_output(got.output, wanted.output);
}
