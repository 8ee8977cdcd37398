#include "apps/adapter/job_ppd.h"

#include <cups/cups.h>
#include <cups/file.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <utility>

#include "apps/adapter/job_paper.h"
#include "apps/base/anonymous_file.h"
#include "apps/base/cups_handles.h"
#include "apps/base/profiles.h"
#include "apps/base/queue_ppd.h"
#include "ppd/option_table.h"

namespace {

constexpr std::size_t kMaxPpdBytes = std::size_t{64} << 20;

using k905::CupsOptions;
using k905::Ppd;

// True for everything that exists and is not a regular file: opening a FIFO would block.
bool is_not_regular_file(const char* path) {
  struct stat status = {};
  return stat(path, &status) == 0 && !S_ISREG(status.st_mode);
}

std::string marked_choice(ppd_file_t* ppd, const char* keyword) {
  const ppd_choice_t* choice = ppdFindMarkedChoice(ppd, keyword);
  // "Custom" means a value that is not a choice of the file; the filter could not read it.
  if (choice == nullptr || std::strcmp(choice->choice, "Custom") == 0) return "";
  return choice->choice;
}

// Marking a page size unmarks the page region and vice versa, but the filter reads the defaults of
// both.
std::string marked_page_size(ppd_file_t* ppd) {
  const std::string size = marked_choice(ppd, "PageSize");
  return size.empty() ? marked_choice(ppd, "PageRegion") : size;
}

std::map<std::string, std::string> marked_choices(ppd_file_t* ppd) {
  std::map<std::string, std::string> choices;
  for (const char* keyword :
       {"ColorModel", "Resolution", "BleedTop", "BleedBottom", "BleedLeft", "BleedRight"}) {
    choices[keyword] = marked_choice(ppd, keyword);
  }
  return choices;
}

bool names_a_page_size(std::string_view keyword) {
  return keyword == "PageSize" || keyword == "PageRegion" || keyword == "ImageableArea" ||
         keyword == "PaperDimension";
}

// The option whose default the line sets, or nothing.
std::optional<std::string> default_keyword(std::string_view line) {
  constexpr std::string_view start = "*Default";
  if (!line.starts_with(start)) return std::nullopt;
  line.remove_prefix(start.size());
  const std::size_t end = line.find_first_of(": \t");
  if (end == 0 || end == std::string_view::npos) return std::nullopt;
  return std::string(line.substr(0, end));
}

std::string choice_to_write(ppd_file_t* ppd, const std::string& keyword,
                            const std::string& page_size) {
  if (names_a_page_size(keyword)) return page_size.empty() ? marked_page_size(ppd) : page_size;
  return marked_choice(ppd, keyword.c_str());
}

// Deliberate: without its line the option has an empty default, which the filter reads as "no
// conversion"; it would read "None" as the name of a profile.
bool means_no_profile(const std::string& keyword, const std::string& choice) {
  return keyword == "ICCProfile" && choice == ppd::no_profile;
}

void write_default(std::string& copy, const std::string& keyword, const std::string& choice) {
  if (means_no_profile(keyword, choice)) return;
  copy += "*Default" + keyword + ": " + choice + "\n";
}

// Options that have no default in the file.
void append_missing_defaults(std::string& copy, ppd_file_t* ppd, const std::string& page_size,
                             const std::set<std::string>& seen) {
  for (int g = 0; g < ppd->num_groups; ++g) {
    const ppd_group_t& group = ppd->groups[g];
    for (int o = 0; o < group.num_options; ++o) {
      const std::string keyword = group.options[o].keyword;
      const std::string choice = choice_to_write(ppd, keyword, page_size);
      if (!choice.empty() && !seen.contains(keyword)) write_default(copy, keyword, choice);
    }
  }
}

// Lines may end with CR, LF or both; libcups accepts all three.
std::string_view take_line(std::string_view& text) {
  const std::size_t end = text.find_first_of("\r\n");
  const std::string_view line = text.substr(0, end);
  if (end == std::string_view::npos) {
    text = {};
  } else {
    text.remove_prefix(text.substr(end, 2) == "\r\n" ? end + 2 : end + 1);
  }
  return line;
}

// Read through libcups, which also opens compressed PPD files.
std::optional<std::string> read_file(const char* path) {
  cups_file_t* file = cupsFileOpen(path, "r");
  if (file == nullptr) return std::nullopt;
  std::string text;
  char block[16384];
  while (text.size() < kMaxPpdBytes) {
    const ssize_t count = cupsFileRead(file, block, sizeof block);
    if (count <= 0) break;  // negative at the end of the file
    text.append(block, static_cast<std::size_t>(count));
  }
  const bool whole = cupsFileEOF(file) != 0;
  cupsFileClose(file);
  if (!whole) return std::nullopt;
  return text;
}

// Replaces the choice "By paper and finish" with the profile for the job's paper and finish. False
// with the reason in `error` if there is none.
bool replace_profile_by_paper(std::string& copy, const std::string& page_size,
                              const std::string& finish, std::string& error) {
  const std::string line = std::string("*DefaultICCProfile: ") + ppd::profile_by_paper + "\n";
  const std::size_t at = copy.find("\n" + line);
  if (at == std::string::npos) return true;
  const auto profile = k905::profile_by_paper(page_size, finish, error);
  if (!profile) return false;
  std::string named;
  write_default(named, "ICCProfile", *profile);
  copy.replace(at + 1, line.size(), named);
  return true;
}

}  // namespace

std::string with_marked_defaults(std::string_view text, ppd_file_t* ppd,
                                 const std::string& page_size) {
  std::string copy;
  copy.reserve(text.size() + 1024);
  std::set<std::string> seen;
  while (!text.empty()) {
    const std::string_view line = take_line(text);
    const std::optional<std::string> keyword = default_keyword(line);
    const std::string choice = keyword ? choice_to_write(ppd, *keyword, page_size) : "";
    if (choice.empty()) {
      copy.append(line) += '\n';
    } else {
      write_default(copy, *keyword, choice);
      seen.insert(*keyword);
    }
  }
  append_missing_defaults(copy, ppd, page_size, seen);
  return copy;
}

JobPpd make_job_ppd(const char* path, const char* job_options) {
  JobPpd job;
  if (path == nullptr) {
    job.failure = "the variable PPD is not set";
    return job;
  }
  if (is_not_regular_file(path)) {
    job.failure = std::string(path) + ": is not a regular file";
    return job;
  }
  const Ppd ppd(ppdOpenFile(path));
  if (!ppd) {
    int line = 0;
    job.failure = std::string(path) + ": " + ppdErrorString(ppdLastError(&line));
    return job;
  }
  const CupsOptions options(job_options);
  k905::JobPaper chosen = k905::mark_job_choices(ppd.get(), options.count(), options.all());
  if (!chosen.refusal.empty()) {
    job.refusal = std::move(chosen.refusal);
    return job;
  }
  k905::mark_finish(*ppd, options.count(), options.all());
  job.paper = chosen.paper;
  job.choices = marked_choices(ppd.get());
  if (job.paper != nullptr) job.choices["PageSize"] = job.paper->ppd_name;
  job.scaling = options.value("print-scaling");
  const std::string ribbon = marked_choice(ppd.get(), "K905Ribbon");
  if (ribbon == "6x4" || ribbon == "6x8") job.ribbon = ribbon;

  const std::optional<std::string> text = read_file(path);
  if (!text) {
    job.failure = std::string(path) + ": cannot be read";
    return job;
  }
  const std::string page_size = job.paper == nullptr ? "" : job.paper->ppd_name;
  std::string copy = with_marked_defaults(*text, ppd.get(), page_size);
  if (!replace_profile_by_paper(copy, page_size, marked_choice(ppd.get(), "StpLaminate"),
                                job.refusal)) {
    return job;
  }
  job.descriptor = anonymous_file_with("k905-job.ppd", copy);
  if (job.descriptor < 0) {
    job.failure = std::string("a private PPD file: ") + std::strerror(errno);
  } else {
    fcntl(job.descriptor, F_SETFD, 0);  // the filter opens it after the exec
  }
  return job;
}
