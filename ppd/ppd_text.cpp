#include "ppd/ppd_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "paper/paper_table.h"
#include "paper/physical_size.h"

namespace {

struct PageSize {
  const char* name;
  const char* text;
  std::string width;  // points, as written into the file
  std::string height;
};

std::string points(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  std::string number = text;
  number.erase(number.find_last_not_of('0') + 1);
  if (number.back() == '.') number.pop_back();
  return number;
}

// In portrait orientation, as CUPS expects: otherwise it does not find the standard name of the
// paper. rastertok905job rotates the pages.
PageSize page_size(const ppd::PaperText& entry) {
  const PaperPoints size = paper_points(*find_paper_by_ppd_name(entry.ppd_name));
  return {entry.ppd_name, entry.text, points(std::min(size.across, size.down)),
          points(std::max(size.across, size.down))};
}

void write_head(std::ostream& out, const ppd::Model& model, const std::string& version) {
  const std::string name = model.name;
  out << "*PPD-Adobe: \"4.3\"\n"
         "*% Queue description for the "
      << model.nick_name
      << ", generated from the\n"
         "*% filter's own paper table and its table of options: change those, not this file.\n"
         "*FormatVersion: \"4.3\"\n"
         "*FileVersion: \""
      << version
      << "\"\n"
         "*LanguageVersion: English\n"
         "*LanguageEncoding: ISOLatin1\n"
         "*PCFileName: \""
      << model.pc_file_name
      << "\"\n"
         "*Product: \"("
      << name
      << ")\"\n"
         "*Manufacturer: \""
      << name
      << "\"\n"
         "*ModelName: \""
      << name
      << "\"\n"
         "*ShortNickName: \""
      << name
      << "\"\n"
         "*NickName: \""
      << model.nick_name << ", " << version
      << "\"\n"
         "*PSVersion: \"(3010.000) 0\"\n"
         "*LanguageLevel: \"3\"\n"
         "*ColorDevice: True\n"
         "*DefaultColorSpace: RGB\n"
         "*FileSystem: False\n"
         "*Throughput: \"1\"\n"
         "*LandscapeOrientation: Plus90\n"
         "*TTRasterizer: Type42\n"
         "*% The device ID is a guess: the ID of the real printers is unknown. Desktops use it\n"
         "*% only to propose this file; a queue does not need it.\n"
         "*1284DeviceID: \"MFG:"
      << name << ";MDL:" << name << ";CLS:PRINTER;DES:" << name
      << ";\"\n"
         "*cupsVersion: 2.2\n"
         "*cupsModelNumber: 0\n"
         "*% Earlier filters repeat the pages for copies.\n"
         "*cupsManualCopies: True\n"
         "*% The printer does not support SNMP; queries would only delay jobs.\n"
         "*cupsSNMPSupplies: False\n"
         "*cupsLanguages: \"en\"\n"
         "*cupsFilter2: \"application/vnd.cups-raster application/vnd.k905 0 rastertok905job\"\n"
         "*% Pages of the photo filter, if it is installed.\n"
         "*cupsFilter2: \"application/vnd.k905-photo application/vnd.k905 0 rastertok905job\"\n"
         "*% Raster from phones and other systems needs no other filter. Its higher cost lets "
         "CUPS\n"
         "*% convert documents to CUPS raster instead.\n"
         "*cupsFilter2: \"image/pwg-raster application/vnd.k905 10 rastertok905job\"\n"
         "*cupsFilter2: \"image/urf application/vnd.k905 10 rastertok905job\"\n";
}

using ppd::ChosenDefaults;

std::string default_of(const ChosenDefaults& chosen, const char* keyword, const char* usual) {
  const auto choice = chosen.find(keyword);
  return choice == chosen.end() ? usual : choice->second;
}

void write_page_sizes(std::ostream& out, const ChosenDefaults& chosen) {
  const std::string paper_name = default_of(chosen, "PageSize", ppd::default_paper);
  for (const char* keyword : {"PageSize", "PageRegion"}) {
    const char* text = std::strcmp(keyword, "PageSize") == 0 ? "Paper" : "Paper region";
    out << "\n*OpenUI *" << keyword << "/" << text << ": PickOne\n"
        << "*OrderDependency: 10 AnySetup *" << keyword << "\n"
        << "*Default" << keyword << ": " << paper_name << "\n";
    for (const ppd::PaperText& paper : ppd::paper_texts) {
      const PageSize page = page_size(paper);
      out << "*" << keyword << " " << page.name << "/" << page.text << ": \"<</PageSize["
          << page.width << " " << page.height << "]/ImagingBBox null>>setpagedevice\"\n";
    }
    out << "*CloseUI: *" << keyword << "\n";
  }
  out << "\n*DefaultImageableArea: " << paper_name << "\n";
  for (const ppd::PaperText& paper : ppd::paper_texts) {
    const PageSize page = page_size(paper);
    out << "*ImageableArea " << page.name << "/" << page.text << ": \"0 0 " << page.width << " "
        << page.height << "\"\n";
  }
  out << "*DefaultPaperDimension: " << paper_name << "\n";
  for (const ppd::PaperText& paper : ppd::paper_texts) {
    const PageSize page = page_size(paper);
    out << "*PaperDimension " << page.name << "/" << page.text << ": \"" << page.width << " "
        << page.height << "\"\n";
  }
}

void write_choice(std::ostream& out, const char* keyword, const ppd::Choice& choice) {
  out << "*" << keyword << " " << choice.name << "/" << choice.text << ": \"" << choice.code
      << "\"\n";
}

// Deliberate: the filter takes every default of ICCProfile for a file name, so a file for the
// filter has none if no conversion is chosen. A queue's file has it, because dialogs need a
// default; rastertok905job removes it from the job's copy.
bool is_chosen_no_profile(const ppd::Option& option, const ChosenDefaults& chosen) {
  return std::strcmp(option.keyword, "ICCProfile") == 0 &&
         default_of(chosen, option.keyword, "") == ppd::no_profile;
}

void write_option(std::ostream& out, const ppd::Option& option, const ppd::Model& model,
                  const ChosenDefaults& chosen) {
  const char* widget = option.widget == ppd::Widget::check_box ? "Boolean" : "PickOne";
  out << "*OpenUI *" << option.keyword << "/" << option.text << ": " << widget << "\n"
      << "*OrderDependency: 20 AnySetup *" << option.keyword << "\n";
  if (!is_chosen_no_profile(option, chosen)) {
    out << "*Default" << option.keyword << ": "
        << default_of(chosen, option.keyword, option.default_choice) << "\n";
  }
  if (std::strcmp(option.keyword, "ICCProfile") == 0 && model.profile != nullptr) {
    write_choice(out, option.keyword, {model.profile, model.profile_text});
  }
  for (const ppd::Choice& choice : option.choices) write_choice(out, option.keyword, choice);
  out << "*CloseUI: *" << option.keyword << "\n";
}

// What "print-quality" and "print-color-mode" of a job set. Only high quality sets a resolution;
// otherwise that of the queue applies.
void write_presets(std::ostream& out) {
  struct Quality {
    const char* text;
    const char* name;
    const char* settings;
  };
  struct Mode {
    const char* text;
    const char* name;
    const char* settings;
  };
  constexpr Quality qualities[] = {
      {"Draft", "low", ""}, {"Normal", "mid", ""}, {"High", "high", "*Resolution 300x600dpi\n"}};
  constexpr Mode modes[] = {{"color", "color", "*ColorModel RGB\n"},
                            {"black and white", "monochrome", "*ColorModel Gray\n"}};
  out << "\n";
  for (const Quality& quality : qualities) {
    for (const Mode& mode : modes) {
      out << "*APPrinterPreset " << quality.text << "_" << mode.name << "/" << quality.text
          << " quality, " << mode.text << ": \"\n"
          << mode.settings << quality.settings << "com.apple.print.preset.quality " << quality.name
          << "\ncom.apple.print.preset.output-mode " << mode.name << "\"\n*End\n";
    }
  }
}

void write_group(std::ostream& out, const ppd::Group& group, const ppd::Model& model,
                 const ChosenDefaults& chosen) {
  const auto is_written = [&](const ppd::Option& option) {
    return group.in_dialogs || chosen.contains(option.keyword);
  };
  if (std::ranges::none_of(group.options, is_written)) {
    return;
  }
  out << "\n*OpenGroup: " << group.name << "/" << group.text << "\n";
  if (&group == &ppd::groups.front()) {
    write_page_sizes(out, chosen);
  }
  for (const ppd::Option& option : group.options) {
    if (is_written(option)) {
      out << "\n";
      write_option(out, option, model, chosen);
    }
  }
  out << "*CloseGroup: " << group.name << "\n";
}

// PPD readers expect at least one font, although a raster printer has none.
void write_tail(std::ostream& out) {
  out << "\n*DefaultFont: Courier\n"
         "*Font Courier: Standard \"(1.05)\" Standard ROM\n";
}

}  // namespace

std::string ppd::ppd_text(const Model& model, const std::string& version,
                          const ChosenDefaults& chosen) {
  std::ostringstream out;
  write_head(out, model, version);
  for (const Group& group : groups) {
    write_group(out, group, model, chosen);
  }
  write_presets(out);
  write_tail(out);
  return out.str();
}
