#include "ppd/ppd_text.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <utility>

#include "paper/paper_table.h"
#include "paper/physical_size.h"

namespace {

// In points and portrait orientation, as CUPS expects: otherwise it does not find the standard name
// of the paper. rastertok905job rotates the pages.
std::string width_and_height(const ppd::PaperText& paper) {
  const PaperPoints size = paper_points(*find_paper_by_ppd_name(paper.ppd_name));
  std::ostringstream text;
  text << std::min(size.across, size.down) << " " << std::max(size.across, size.down);
  return text.str();
}

void write_head(std::ostream& out, const ppd::Model& model, const std::string& version) {
  const std::string name = model.name;
  out << R"(*PPD-Adobe: "4.3"
*% Queue description for the )"
      << model.nick_name << R"(, generated from the
*% filter's own paper table and its table of options: change those, not this file.
*FormatVersion: "4.3"
*FileVersion: ")"
      << version << R"("
*LanguageVersion: English
*LanguageEncoding: ISOLatin1
*PCFileName: ")"
      << model.pc_file_name << R"("
*Product: "()"
      << name << ")\"\n*Manufacturer: \"" << name << R"("
*ModelName: ")"
      << name << R"("
*ShortNickName: ")"
      << name << R"("
*NickName: ")"
      << model.nick_name << ", " << version << R"("
*PSVersion: "(3010.000) 0"
*LanguageLevel: "3"
*ColorDevice: True
*DefaultColorSpace: RGB
*FileSystem: False
*Throughput: "1"
*LandscapeOrientation: Plus90
*TTRasterizer: Type42
*% The device ID is a guess: the ID of the real printers is unknown. Desktops use it
*% only to propose this file; a queue does not need it.
*1284DeviceID: "MFG:)"
      << name << ";MDL:" << name << ";CLS:PRINTER;DES:" << name << R"(;"
*cupsVersion: 2.2
*cupsModelNumber: 0
*% The filters that run before this one repeat the pages for copies.
*cupsManualCopies: True
*% The printer does not support SNMP; queries would only delay jobs.
*cupsSNMPSupplies: False
*cupsLanguages: "en"
*cupsFilter2: "application/vnd.cups-raster application/vnd.k905 0 rastertok905job"
*% Pages of the photo filter, if it is installed.
*cupsFilter2: "application/vnd.k905-photo application/vnd.k905 0 rastertok905job"
*% Raster from phones and other systems needs no other filter. Its higher cost lets CUPS
*% convert documents to CUPS raster instead.
*cupsFilter2: "image/pwg-raster application/vnd.k905 10 rastertok905job"
*cupsFilter2: "image/urf application/vnd.k905 10 rastertok905job"
)";
}

using ppd::ChosenDefaults;

std::string default_of(const ChosenDefaults& chosen, const char* keyword, const char* usual) {
  const auto choice = chosen.find(keyword);
  return choice == chosen.end() ? usual : choice->second;
}

void write_page_sizes(std::ostream& out, const ChosenDefaults& chosen) {
  const std::string default_paper = default_of(chosen, "PageSize", ppd::default_paper);
  for (const auto& [keyword, text] :
       {std::pair{"PageSize", "Paper"}, std::pair{"PageRegion", "Paper region"}}) {
    out << "\n*OpenUI *" << keyword << "/" << text << ": PickOne\n"
        << "*OrderDependency: 10 AnySetup *" << keyword << "\n"
        << "*Default" << keyword << ": " << default_paper << "\n";
    for (const ppd::PaperText& paper : ppd::paper_texts) {
      out << "*" << keyword << " " << paper.ppd_name << "/" << paper.text << ": \"<</PageSize["
          << width_and_height(paper) << "]/ImagingBBox null>>setpagedevice\"\n";
    }
    out << "*CloseUI: *" << keyword << "\n";
  }
  out << "\n";
  for (const auto& [keyword, corner] :
       {std::pair{"ImageableArea", "0 0 "}, std::pair{"PaperDimension", ""}}) {
    out << "*Default" << keyword << ": " << default_paper << "\n";
    for (const ppd::PaperText& paper : ppd::paper_texts) {
      out << "*" << keyword << " " << paper.ppd_name << "/" << paper.text << ": \"" << corner
          << width_and_height(paper) << "\"\n";
    }
  }
}

void write_choice(std::ostream& out, const char* keyword, const ppd::Choice& choice) {
  out << "*" << keyword << " " << choice.name << "/" << choice.text << ": \"" << choice.code
      << "\"\n";
}

// Deliberate: the filter reads every default of ICCProfile as a file name, even "None". Therefore a
// PPD file that is written for the filter itself has no such default if no conversion is chosen.
// The PPD file of a queue has the default "None", because print dialogs need one; rastertok905job
// removes it from the copy for the job.
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
  struct Setting {
    const char* text;
    const char* name;
    const char* choice;
  };
  constexpr Setting qualities[] = {
      {"Draft", "low", ""}, {"Normal", "mid", ""}, {"High", "high", "*Resolution 300x600dpi\n"}};
  constexpr Setting modes[] = {{"color", "color", "*ColorModel RGB\n"},
                               {"black and white", "monochrome", "*ColorModel Gray\n"}};
  out << "\n";
  for (const Setting& quality : qualities) {
    for (const Setting& mode : modes) {
      out << "*APPrinterPreset " << quality.text << "_" << mode.name << "/" << quality.text
          << " quality, " << mode.text << ": \"\n"
          << mode.choice << quality.choice << "com.apple.print.preset.quality " << quality.name
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
