// Prints ordered photos as jobs of the right size: both photos of a shared sheet together; all
// copies of a photo in one job of a queue; single sheets if the destination cannot report the
// outcome.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "apps/print/sheet_printer.h"

namespace k905 {

// A photo and its sheets in the ledger that are to be printed.
struct PhotoOrder {
  std::string name;
  std::vector<std::int64_t> sheets;
  Picture page;
};

class OrderPrinter {
 public:
  // `on_printed` is called for each photo of an accepted job, with its place.
  OrderPrinter(const JobSetup& setup, SheetPrinter& printer,
               std::function<void(const std::string& name, const std::string& place)> on_printed);

  // Prints the jobs that are complete. False if nothing more can be printed now, with the reason in
  // `error` unless the program was asked to stop. Photos that were not printed wait in the ledger.
  [[nodiscard]] bool add(PhotoOrder order, std::string& error);
  // Prints photos that still wait for another one to share a sheet.
  [[nodiscard]] bool finish(std::string& error);
  // The photo that waits for another one to share its sheet, "" if none does.
  [[nodiscard]] std::string unpaired() const { return pages_.empty() ? "" : pages_.front().name; }

 private:
  const JobSetup& setup_;
  SheetPrinter& printer_;
  std::function<void(const std::string&, const std::string&)> on_printed_;
  std::size_t pages_per_job_;
  std::vector<PhotoOrder> orders_;  // with sheets that are not sent yet
  std::vector<SheetPrinter::Page> pages_;
};

}  // namespace k905
