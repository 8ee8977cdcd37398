#include "apps/print/printer_destination.h"

#include <utility>

#include "device/media_check.h"

namespace k905 {

namespace {

class PrinterDestination final : public Destination {
 public:
  PrinterDestination(FilterDestinationSetup filter, PrinterOutputSetup printer)
      : name_(printer.name), target_(printer.target), printer_(std::move(printer)) {
    const PaperConfig& paper = *sheet_place(filter.choices).paper;
    media_ = media_for_sheet(static_cast<std::uint32_t>(paper.canvas_width),
                             static_cast<std::uint32_t>(paper.canvas_height));
    filter.on_sheet = [this](const Sheet& sheet) {
      std::string error;
      return printer_.print(sheet, error) ? "" : error;
    };
    filter_ = make_filter_destination(std::move(filter));
  }
  ~PrinterDestination() override { abandon(); }

  [[nodiscard]] const Choices& choices() const override { return filter_->choices(); }

  [[nodiscard]] SheetTarget target() const override {
    SheetTarget target;
    target.device = target_;
    return target;
  }

  [[nodiscard]] std::string obstacle() override { return printer_.obstacle_now(media_); }

  [[nodiscard]] bool begin(const JobName& name, StartedJob& started, std::string& error) override {
    const bool is_ready = printer_.begin(media_, error);
    started.printer = printer_.printer();
    const bool is_started = is_ready && filter_->begin(name, started, error);
    if (!is_started) {
      printer_.close();
    }
    return is_started;
  }

  [[nodiscard]] bool page(const Picture& page, std::string& error) override {
    return filter_->page(page, error) || explain(error);
  }

  [[nodiscard]] bool end(std::string& place, std::string& error) override {
    if (!filter_->end(place, error)) {
      return explain(error);
    }
    printer_.close();
    const int left = printer_.prints_left();
    place = name_ +
            (left < 0 ? ""
                      : ", " + std::to_string(left) + (left == 1 ? " print left" : " prints left"));
    return true;
  }

  void abandon() override {
    filter_->abandon();
    printer_.close();
  }

  [[nodiscard]] KnownPrinter printer() const override { return printer_.printer(); }

  [[nodiscard]] bool may_have_printed() const override {
    return printer_.printed() > 0 || printer_.is_in_doubt();
  }

 private:
  // Always returns false. Adds the number of sheets that came out and need not be printed again.
  bool explain(std::string& error) {
    printer_.close();
    if (printer_.printed() > 0) {
      error += "; sheets printed before: " + std::to_string(printer_.printed());
    }
    return false;
  }

  std::string name_;
  std::string target_;
  std::string media_;  // for a sheet of one page
  PrinterOutput printer_;
  std::unique_ptr<Destination> filter_;
};

}  // namespace

std::unique_ptr<Destination> make_printer_destination(FilterDestinationSetup filter,
                                                      PrinterOutputSetup printer) {
  return std::make_unique<PrinterDestination>(std::move(filter), std::move(printer));
}

}  // namespace k905
