#include "apps/print/order_printer.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace k905 {

namespace {

std::size_t pages_per_job(const JobSetup& setup) {
  return setup.pages_per_sheet > 1                   ? 2
         : setup.destination->target().queue.empty() ? 1
                                                     : std::numeric_limits<std::size_t>::max();
}

}  // namespace

OrderPrinter::OrderPrinter(const JobSetup& setup, SheetPrinter& printer,
                           std::function<void(const std::string&, const std::string&)> on_printed)
    : setup_(setup),
      printer_(printer),
      on_printed_(std::move(on_printed)),
      pages_per_job_(pages_per_job(setup)) {}

bool OrderPrinter::add(PhotoOrder order, std::string& error) {
  orders_.push_back(std::move(order));
  const PhotoOrder added{orders_.back().name, orders_.back().sheets, {}};
  for (const std::int64_t id : added.sheets) {
    pages_.push_back({id, added.name, nullptr});
    if (pages_.size() == pages_per_job_ && !finish(error)) {
      return false;
    }
  }
  // Photos that share a sheet wait for each other; all other jobs have one photo.
  return setup_.pages_per_sheet > 1 || finish(error);
}

bool OrderPrinter::finish(std::string& error) {
  if (pages_.empty()) {
    return true;
  }
  if (stop_requested()) {
    return false;
  }
  for (SheetPrinter::Page& page : pages_) {
    page.page = &std::ranges::find(orders_, page.name, &PhotoOrder::name)->page;
  }
  std::string place;
  if (!printer_.print(pages_, place, error)) {
    return false;
  }
  for (const SheetPrinter::Page& page : std::exchange(pages_, {})) {
    on_printed_(page.name, place);
  }
  // The last photo may have more sheets.
  orders_.erase(orders_.begin(), orders_.end() - 1);
  return true;
}

}  // namespace k905
