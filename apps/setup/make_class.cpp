#include "apps/setup/make_class.h"

#include <algorithm>
#include <array>

#include "apps/base/queue_ppd.h"
#include "apps/setup/make_queue.h"
#include "apps/setup/printer_ppd.h"

namespace k905 {

namespace {

// Options that must be equal, so that every member makes the same sheet. Tone, borders and profile
// may differ: they can correct a single printer.
constexpr std::array<const char*, 6> kSheetOptions{"PageSize",  "K905Cut",    "StpLaminate",
                                                   "MediaType", "K905Ribbon", "Resolution"};

bool is_sheet_option(const std::string& keyword) {
  return std::ranges::any_of(kSheetOptions, [&](const char* option) { return keyword == option; });
}

struct Member {
  std::string name;
  Ppd ppd;
};

std::optional<std::string> compare(const Member& first, const Member& other, Findings& findings) {
  const auto difference = [&](const std::string& what, const std::string& one,
                              const std::string& two) {
    return what + " differs: " + one + " on " + first.name + ", " + two + " on " + other.name;
  };
  const ppd::Model* model = model_of(*first.ppd);
  const ppd::Model* other_model = model_of(*other.ppd);
  if (model != other_model) {
    return difference("the model", model->name, other_model->name);
  }
  for (const auto& [keyword, usual] : default_choices()) {
    const std::string one = default_choice(*first.ppd, keyword);
    const std::string two = default_choice(*other.ppd, keyword);
    if (one != two && is_sheet_option(keyword)) {
      return difference("the default " + keyword, one, two);
    }
    if (one != two) {
      findings.note(difference("the default " + keyword, one, two));
    }
  }
  return std::nullopt;
}

// The class is shared if all members are.
bool are_shared(Scheduler& scheduler, const std::vector<std::string>& members) {
  return std::ranges::all_of(members, [&](const std::string& member) {
    const auto state = scheduler.queue(member);
    return state && state->shared;
  });
}

std::optional<std::string> find_class_problem(const ClassPlan& plan, const QueueState* existing) {
  if (existing == nullptr) {
    return plan.update
               ? std::optional("there is no class " + plan.name + "; make it with --class " +
                               plan.name + " --member QUEUE ...")
               : std::nullopt;
  }
  if (existing->members.empty()) {
    return plan.name + " is a queue; give the class another name";
  }
  if (!plan.replace && !plan.update) {
    return "the class " + plan.name +
           " exists; --replace gives it these members and keeps its jobs, --update refreshes it";
  }
  return std::nullopt;
}

std::optional<std::string> plan_updates(Scheduler& scheduler,
                                        const std::vector<std::string>& members,
                                        std::vector<PlannedChange>& updates) {
  for (const std::string& member : members) {
    PlannedChange change;
    if (auto problem = plan_update(scheduler, member, false, change)) {
      return problem;
    }
    Findings notes;
    for (const Finding& finding : change.notes.all()) {
      notes.note(member + ": " + finding.text, finding.advice);
    }
    updates.push_back({.request = change.request, .notes = notes});
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> compare_members(Scheduler& scheduler,
                                           const std::vector<std::string>& members,
                                           Findings& findings) {
  std::optional<Member> first;
  for (const std::string& name : members) {
    const auto state = scheduler.queue(name);
    if (!state) {
      return "there is no queue " + name;
    }
    // CUPS would return the PPD file of the first member of the class.
    if (!state->members.empty()) {
      return name + " is a class; use its members instead";
    }
    Member member{.name = name, .ppd = read_queue_ppd(scheduler.http(), name.c_str())};
    if (!member.ppd || model_of(*member.ppd) == nullptr) {
      return name + " is not a queue for this printer";
    }
    if (!first) {
      first = std::move(member);
    } else if (auto fault = compare(*first, member, findings)) {
      return fault;
    }
  }
  return std::nullopt;
}

std::optional<std::string> make_class(Scheduler& scheduler, const ClassPlan& plan,
                                      Findings& findings) {
  const auto existing = scheduler.queue(plan.name);
  if (auto problem = find_class_problem(plan, existing ? &*existing : nullptr)) {
    return problem;
  }
  ClassRequest request{.name = plan.name,
                       .members = plan.members.empty() ? existing->members : plan.members,
                       .start = !plan.update};
  Findings check_findings;
  if (auto fault = compare_members(scheduler, request.members, check_findings)) {
    return fault;
  }
  std::vector<PlannedChange> updates;
  if (plan.update) {
    if (auto problem = plan_updates(scheduler, request.members, updates)) {
      return problem;
    }
  }
  for (const auto& [name, value] : recommended_attributes) {
    request.attributes.emplace_back(name, value);
  }
  const bool is_shared =
      plan.share.value_or(plan.update ? existing->shared : are_shared(scheduler, plan.members));
  request.attributes.emplace_back("printer-is-shared", is_shared ? "true" : "false");
  if (auto problem = change_queues(scheduler, updates, plan.share, plan.name, findings)) {
    return problem;
  }
  if (const auto problem = scheduler.change_class(request)) {
    return *problem + (updates.empty() ? "" : "; its members are updated already");
  }
  if (!plan.share && !plan.update) {
    findings.ok(is_shared ? "the class is shared, as its members are" : "the class is not shared");
  }
  return std::nullopt;
}

}  // namespace k905
