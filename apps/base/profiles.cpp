#include "apps/base/profiles.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "apps/base/choices.h"
#include "paper/paper_names.h"
#include "ppd/option_table.h"
#include "settings/icc_profiles.h"

namespace k905 {

namespace {

constexpr char kAny[] = "*";
constexpr std::size_t kMaxChoiceLength = 40;  // the limit of libcups for choices in a PPD file

bool exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

// Returns the error in the row, or "". Replaces the paper with its PageSize name.
std::string error_in_row(PaperProfile& row) {
  if (row.paper != kAny && page_size_name(row.paper).empty()) {
    return unknown_paper(row.paper);
  }
  row.paper = row.paper == kAny ? kAny : page_size_name(row.paper);
  std::string error;
  if (row.finish != kAny && !check_choice("StpLaminate", row.finish, error)) {
    return error;
  }
  const bool is_name =
      row.profile.size() <= kMaxChoiceLength && row.profile.find('/') == std::string::npos;
  return is_name ? "" : "not the name of a file in a profile folder: " + row.profile;
}

// A row also applies to the cut variants of its paper.
bool matches(const PaperProfile& row, const std::string& page_size, const std::string& finish) {
  const PaperConfig* named = find_paper_by_ppd_name(row.paper.c_str());
  const PaperConfig* wanted = find_paper_by_ppd_name(page_size.c_str());
  const bool is_paper = row.paper == kAny || named == wanted ||
                        find_cut_variant(*named, "6x2") == wanted ||
                        find_cut_variant(*named, "6x4") == wanted;
  return is_paper && (row.finish == kAny || row.finish == finish);
}

}  // namespace

std::string find_profile_file(const std::string& name, const std::string& working_folder) {
  if (name.empty()) {
    return "";
  }
  if (name.front() == '/' && exists(name)) {
    return name;
  }
  for (const std::string folder : icc_profile_folders) {
    for (const char* extension : icc_profile_extensions) {
      std::string candidate = (folder == "./" ? working_folder : folder) + name + extension;
      if (exists(candidate)) {
        return candidate;
      }
    }
  }
  return "";
}

std::optional<std::vector<PaperProfile>> read_profile_table(const std::string& path,
                                                            std::string& error) {
  std::ifstream file(path);
  std::vector<PaperProfile> rows;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    std::istringstream words(line.substr(0, line.find('#')));
    PaperProfile row;
    if (!(words >> row.paper)) {
      continue;
    }
    std::string more;
    const bool has_three = static_cast<bool>(words >> row.finish >> row.profile);
    error = !has_three || words >> more ? "not a paper, a finish and a profile" : error_in_row(row);
    if (!error.empty()) {
      error.insert(0, path + ", line " + std::to_string(number) + ": ");
      return std::nullopt;
    }
    rows.push_back(row);
  }
  if (!file.eof()) {
    error = path + ": cannot be read";
    return std::nullopt;
  }
  return rows;
}

std::optional<std::string> profile_by_paper(const std::string& page_size, const std::string& finish,
                                            std::string& error) {
  const std::string path = find_profile_file(kProfileTable);
  if (path.empty()) {
    error = std::string("the table of profiles, ") + kProfileTable + ", is not found";
    return std::nullopt;
  }
  const auto rows = read_profile_table(path, error);
  if (!rows) {
    return std::nullopt;
  }
  const auto row = std::ranges::find_if(
      *rows, [&](const auto& each) { return matches(each, page_size, finish); });
  const std::string profile = row == rows->end() ? ppd::no_profile : row->profile;
  if (profile != ppd::no_profile && find_profile_file(profile).empty()) {
    error = "the profile " + profile + " is not found";
    return std::nullopt;
  }
  return profile;
}

}  // namespace k905
