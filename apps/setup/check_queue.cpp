#include <pwd.h>
#include <sys/stat.h>

#include "apps/base/profiles.h"
#include "apps/base/queue_ppd.h"
#include "apps/setup/check.h"
#include "apps/setup/installation.h"
#include "apps/setup/make_class.h"
#include "apps/setup/printer_ppd.h"
#include "apps/setup/sharing.h"

namespace k905 {

namespace {

void mark_defaults(Scheduler& scheduler, const std::string& queue, ppd_file_t& ppd) {
  ppdMarkDefaults(&ppd);
  const Dest dest(cupsGetNamedDest(scheduler.http(), queue.c_str(), nullptr));
  const int count = dest ? dest->num_options : 0;
  cups_option_t* const options = dest ? dest->options : nullptr;
  cupsMarkOptions(&ppd, count, options);
  mark_finish(ppd, count, options);
}

void check_ppd(const std::string& queue, const std::string& text, const ppd::Model& model,
               Findings& findings) {
  const std::string update = "k905-setup --update " + queue;
  if (text.find(" rastertok905job\"") == std::string::npos) {
    findings.problem(
        "the queue does not use rastertok905job, so options of a single job have no effect",
        update);
  } else if (!differ_in_defaults_only(text, installed_ppd(model, {}))) {
    findings.problem("the queue's PPD file is not the one that is installed", update);
  }
}

void check_state(const std::string& queue, const Queue& state, Findings& findings) {
  if (!state.accepting) {
    findings.problem("the queue does not take jobs", "cupsaccept " + queue);
  }
  if (state.stopped) {
    findings.problem("the queue has been stopped", "cupsenable " + queue);
  }
}

std::string refusal(const Queue& state) {
  for (const std::string& reason : state.reasons) {
    if (reason.starts_with("cups-insecure-filter")) {
      return "CUPS refuses to run a filter that users other than root can change";
    }
    if (reason.starts_with("cups-missing-filter")) {
      return "CUPS does not find a filter that the queue needs";
    }
  }
  return "CUPS could not start it";
}

void check_job(const std::string& queue, const Queue& state, const QueueJob& job,
               Findings& findings) {
  const std::string id = std::to_string(job.id);
  const std::string name = "job " + id + (job.title.empty() ? "" : " (" + job.title + ")");
  const std::string command = "lp -i " + queue + "-" + id + " -H ";
  if (job.state == IPP_JSTATE_STOPPED) {
    // Enabling the queue does not restart it.
    findings.problem(name + " is stuck: " + refusal(state), command + "restart");
  } else if (job.state == IPP_JSTATE_HELD) {
    findings.note(name + " is held until it is released", command + "resume");
  } else if (job.state == IPP_JSTATE_PROCESSING) {
    findings.note(name + " is printing");
  } else {
    findings.note(name + " is waiting");
  }
}

void check_defaults_of_jobs(const std::string& queue, const Queue& state, Findings& findings) {
  if (state.scaling == "fill") {
    findings.ok("photos fill the paper");
  } else {
    findings.problem("photos whose shape differs from the paper are printed with white edges",
                     "lpadmin -p " + queue + " -o print-scaling-default=fill");
  }
  if (state.error_policy != "retry-current-job" && state.error_policy != "retry-job") {
    findings.problem(
        "when the printer stops during a job, CUPS will do \"" + state.error_policy + "\"",
        "lpadmin -p " + queue + " -o printer-error-policy=retry-current-job");
  }
}

// A default that the file does not offer is not marked: the filter reads its text, for example as
// the number 0, which prints a black or a white sheet. A profile may be any file. Options that are
// not in the file have no default: some have no effect and are left out of dialogs.
void check_choice_of(const std::string& queue, ppd_file_t& ppd, const std::string& keyword,
                     const std::string& usual, Findings& findings) {
  const bool is_offered = ppdFindOption(&ppd, keyword.c_str()) != nullptr;
  if (is_offered && keyword != "ICCProfile" && marked_choice(ppd, keyword).empty()) {
    findings.problem("the queue's default " + keyword + "=" + default_choice(ppd, keyword) +
                         " is not one of its choices; the filter may read it as 0",
                     "lpadmin -p " + queue + " -o " + keyword + "=" + usual);
  }
}

// Every job with these defaults would be refused.
void check_cut(const std::string& queue, ppd_file_t& ppd, Findings& findings) {
  Choices choices{{"PageSize", marked_choice(ppd, "PageSize")},
                  {"K905Cut", marked_choice(ppd, "K905Cut")}};
  std::string error;
  if (!choices["PageSize"].empty() && !choices["K905Cut"].empty() && !apply_cut(choices, error)) {
    findings.problem(error + ", so jobs with the defaults of the queue are refused",
                     "lpadmin -p " + queue + " -o K905Cut=None");
  }
}

void check_choices(const std::string& queue, ppd_file_t& ppd, Findings& findings) {
  const int before = findings.problems();
  for (const auto& [keyword, usual] : default_choices()) {
    check_choice_of(queue, ppd, keyword, usual, findings);
  }
  if (findings.problems() == before) {
    findings.ok("every default is one of its choices");
  }
  check_cut(queue, ppd, findings);
}

constexpr char kUnreadable[] = " cannot be read by the user that CUPS runs filters as, so ";

// CUPS starts filters in the root folder.
std::string find_profile(const std::string& name) { return find_profile_file(name, "/"); }

void check_profile(const std::string& name, const std::string& effect, Findings& findings) {
  const std::string path = find_profile(name);
  struct stat status {};
  if (path.empty() || stat(path.c_str(), &status) != 0) {
    findings.problem("the profile " + name + " is not found, so " + effect,
                     "copy it to /usr/local/share/color/icc/");
  } else if (!S_ISREG(status.st_mode)) {
    findings.problem(path + " is not a file, so " + effect, "copy the profile there");
  } else if (!is_readable_by_filters(status)) {
    findings.problem(path + kUnreadable + effect, "chmod 644 " + path);
  } else {
    findings.ok("the profile " + name + " is " + path);
  }
}

void check_profile_table(Findings& findings) {
  const std::string path = find_profile(kProfileTable);
  std::string error = std::string("the table ") + kProfileTable + " is not found";
  const auto rows = path.empty() ? std::nullopt : read_profile_table(path, error);
  if (!rows) {
    findings.problem(error + ", so nothing is printed",
                     "write it to /usr/local/share/color/icc/, see rastertok905job(8)");
    return;
  }
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && !is_readable_by_filters(status)) {
    findings.problem(path + kUnreadable + "nothing is printed", "chmod 644 " + path);
    return;
  }
  findings.ok("the profiles of papers and finishes are in " + path);
  for (const PaperProfile& row : *rows) {
    if (row.profile != ppd::no_profile) {
      check_profile(row.profile, "nothing is printed on " + row.paper + " " + row.finish, findings);
    }
  }
}

void check_profiles(ppd_file_t& ppd, Findings& findings) {
  // The filter reads the default also if it is not one of the choices.
  const std::string marked = marked_choice(ppd, "ICCProfile");
  const std::string profile = marked.empty() ? default_choice(ppd, "ICCProfile") : marked;
  if (profile.empty() || profile == ppd::no_profile) {
    findings.ok("colors are sent unchanged, without a printer profile");
    return;
  }
  if (profile == ppd::profile_by_paper) {
    check_profile_table(findings);
  } else {
    check_profile(profile, "colors are converted to sRGB instead", findings);
  }
  if (marked_choice(ppd, "ColorBase") == "Vivid") {
    check_profile("AdobeRGB.icc", "photos are treated as sRGB instead", findings);
  }
}

void check_paper(ppd_file_t& ppd, Findings& findings) {
  const std::string paper = marked_choice(ppd, "PageSize");
  const std::string ribbon = marked_choice(ppd, "K905Ribbon");
  findings.ok("paper " + paper + ", " + marked_choice(ppd, "StpLaminate") + ", " +
              marked_choice(ppd, "Resolution") + ", ribbon " + ribbon);
  if (ribbon == "6x8" && paper.starts_with("w288h432")) {
    findings.note("two pages share a 6x8 sheet; a single page is printed at the end of its job");
  }
}

void check_jobs(Scheduler& scheduler, const std::string& queue, const Queue& state,
                Findings& findings) {
  for (const QueueJob& job : scheduler.jobs(queue)) {
    check_job(queue, state, job, findings);
  }
}

void check_one_queue(Scheduler& scheduler, const std::string& queue, const Queue& state,
                     Findings& findings) {
  std::string text;
  const Ppd ppd = read_queue_ppd(scheduler.http(), queue.c_str(), &text);
  const ppd::Model* model = ppd ? model_of(*ppd) : nullptr;
  if (model == nullptr) {
    findings.problem(queue + " is not a queue for this printer",
                     "k905-setup --replace " + queue + " --device URI");
    return;
  }
  mark_defaults(scheduler, queue, *ppd);
  check_ppd(queue, text, *model, findings);
  check_device(scheduler, queue, state, has_kept_device(*ppd), findings);
  check_jobs(scheduler, queue, state, findings);
  check_state(queue, state, findings);
  check_paper(*ppd, findings);
  check_defaults_of_jobs(queue, state, findings);
  check_choices(queue, *ppd, findings);
  check_profiles(*ppd, findings);
}

void check_member(Scheduler& scheduler, const std::string& member, Findings& findings) {
  Findings all;
  if (const auto state = scheduler.queue(member)) {
    check_one_queue(scheduler, member, *state, all);
  }
  findings.add(of_member(member, all));
  if (all.problems() == 0) {
    findings.ok("member " + member + " is ready to print");
  }
}

void check_class(Scheduler& scheduler, const std::string& name, const Queue& state,
                 Findings& findings) {
  for (const std::string& member : state.members) {
    check_member(scheduler, member, findings);
  }
  if (const auto difference = compare_members(scheduler, state.members, findings)) {
    findings.problem(*difference,
                     "give the members the same defaults: k905-setup --replace MEMBER ...");
  } else {
    findings.ok("all members have the same model, paper, finish and ribbon");
  }
  check_jobs(scheduler, name, state, findings);
  check_state(name, state, findings);
  check_defaults_of_jobs(name, state, findings);
}

}  // namespace

bool is_readable_by_filters(const struct stat& status) {
  // cppcheck-suppress getpwnamCalled
  const passwd* lp = getpwnam("lp");
  const mode_t needed = lp != nullptr && status.st_uid == lp->pw_uid   ? S_IRUSR
                        : lp != nullptr && status.st_gid == lp->pw_gid ? S_IRGRP
                                                                       : S_IROTH;
  return (status.st_mode & needed) != 0;
}

void check_queue(Scheduler& scheduler, const std::string& queue, Findings& findings) {
  const auto state = scheduler.queue(queue);
  if (!state) {
    findings.problem("there is no queue " + queue, "lpstat -v lists the queues");
    return;
  }
  if (state->members.empty()) {
    check_one_queue(scheduler, queue, *state, findings);
  } else {
    check_class(scheduler, queue, *state, findings);
  }
  check_sharing(scheduler, queue, *state, findings);
}

}  // namespace k905
