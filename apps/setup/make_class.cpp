#include "apps/setup/make_class.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "apps/base/queue_ppd.h"
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

void check_plan(const QueuePlan& plan, const std::optional<Queue>& existing) {
  if (!existing && plan.update) {
    throw std::runtime_error("there is no class " + plan.name + "; make it with --class " +
                             plan.name + " --member QUEUE ...");
  }
  if (existing && existing->members.empty()) {
    throw std::runtime_error(plan.name + " is a queue; give the class another name");
  }
  if (existing && !plan.replace && !plan.update) {
    throw std::runtime_error("the class " + plan.name +
                             " exists; --replace gives it these members and keeps its jobs, "
                             "--update refreshes it");
  }
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
    } else if (auto difference = compare(*first, member, findings)) {
      return difference;
    }
  }
  return std::nullopt;
}

void make_class(Scheduler& scheduler, const QueuePlan& plan, Findings& findings) {
  const auto existing = scheduler.queue(plan.name);
  check_plan(plan, existing);
  QueueChange change{.name = plan.name,
                     .members = plan.members.empty() ? existing->members : plan.members,
                     .start = !plan.update};
  Findings ignored;
  if (const auto difference = compare_members(scheduler, change.members, ignored)) {
    throw std::runtime_error(*difference);
  }
  std::vector<QueueChange> updates;
  if (plan.update) {
    for (const std::string& member : change.members) {
      QueueChange update = plan_update(scheduler, member, false);
      update.notes = of_member(member, update.notes);
      updates.push_back(update);
    }
  }
  const bool is_shared =
      plan.share.value_or(plan.update ? existing->shared : are_shared(scheduler, plan.members));
  change.attributes.insert(recommended_attributes.begin(), recommended_attributes.end());
  change.attributes["printer-is-shared"] = is_shared ? "true" : "false";
  change_queues(scheduler, updates, plan.share, plan.name, findings);
  try {
    scheduler.change(change);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(
        error.what() + std::string(updates.empty() ? "" : "; its members are updated already"));
  }
  if (!plan.share && !plan.update) {
    findings.ok(is_shared ? "the class is shared, as its members are" : "the class is not shared");
  }
}

}  // namespace k905
