// The options of a print dialog: every option of the queue's PPD file except the page sizes, which
// are in the paper table. Constant data only; the generator writes it to the PPD file, and tests
// compare it with what the filter reads.
//
// A number in a choice's name is as the filter reads it: thousandths for tone, millimeters for
// borders. "None" means neutral.
#pragma once

#include <array>
#include <span>

namespace ppd {

struct Choice {
  const char* name;       // for the filter, `lp -o` and `lpadmin -o`
  const char* text;       // in dialogs
  const char* code = "";  // page device settings for the filters that make the raster
};

enum class Widget { pick_one, check_box };

struct Option {
  const char* keyword;
  const char* text;
  std::span<const Choice> choices;
  const char* default_choice;
  Widget widget = Widget::pick_one;
};

struct Group {
  const char* name;
  const char* text;
  std::span<const Option> options;
  bool in_dialogs = true;  // otherwise an option is written only if it is chosen
};

// A printer that the filter supports. All models have the same command set; they differ in name and
// color profile.
struct Model {
  const char* name;  // model name, also the file's name without ".ppd"
  const char* pc_file_name;
  const char* nick_name;
  const char* profile;  // null if the model has none
  const char* profile_text;
};

inline constexpr std::array<Model, 4> models{{
    {"K905", "K905.PPD", "K905 dye-sublimation photo printer", "pm-905-wd-251126-5.icm",
     "K905 (pm-905-wd-251126-5)"},
    {"RV-40", "RV40.PPD", "RV-40 dye-sublimation photo printer", "pm-rv-wd-251202-5.icm",
     "RV-40 (pm-rv-wd-251202-5)"},
    {"RV-40W", "RV40W.PPD", "RV-40W dye-sublimation photo printer", nullptr, nullptr},
    {"RS-30", "RS30.PPD", "RS-30 dye-sublimation photo printer", "pm-rs-wd-251125-2.icm",
     "RS-30 (pm-rs-wd-251125-2)"},
}};

// The description of each paper, by PageSize name. Papers that are cut are selected by a separate
// option; their names are kept for scripts and for queues that have one as their default.
struct PaperText {
  const char* ppd_name;
  const char* text;
};

inline constexpr std::array<PaperText, 9> paper_texts{{
    {"B7", "5 x 3.5 in (13 x 9 cm)"},
    {"w360h360", "5 x 5 in (13 x 13 cm)"},
    {"w360h504", "5 x 7 in (13 x 18 cm)"},
    {"w288h432", "6 x 4 in (15 x 10 cm)"},
    {"w432h432", "6 x 6 in (15 x 15 cm)"},
    {"w432h576", "6 x 8 in (15 x 20 cm)"},
    {"w288h432-div2", "6 x 4 in, cut into two 6 x 2 strips"},
    {"w432h576-div2", "6 x 8 in, cut into two 6 x 4"},
    {"w432h576-div4", "6 x 8 in, cut into four 6 x 2 strips"},
}};
inline constexpr char default_paper[] = "w288h432";

// The choice of ICCProfile for no conversion. The filter takes every value for a file name, so
// rastertok905job removes this default from the job's PPD file.
inline constexpr char no_profile[] = "None";

// Also a choice of ICCProfile: rastertok905job replaces it, in the job's PPD file, with the profile
// that the administrator's table has for the paper and the finish.
inline constexpr char profile_by_paper[] = "ByPaper";

inline constexpr std::array<Choice, 2> color_models{{
    {"RGB", "Color", "<</cupsColorSpace 1/cupsColorOrder 0/cupsBitsPerColor 8>>setpagedevice"},
    // Gray in which 255 is white. Color space 3, in which 255 is black, would print a negative.
    {"Gray", "Black and white",
     "<</cupsColorSpace 0/cupsColorOrder 0/cupsBitsPerColor 8>>setpagedevice"},
}};

inline constexpr std::array<Choice, 2> resolutions{{
    {"300dpi", "300 dpi", "<</HWResolution[300 300]>>setpagedevice"},
    {"300x600dpi", "300 x 600 dpi (fine)", "<</HWResolution[300 600]>>setpagedevice"},
}};

inline constexpr std::array<Choice, 3> cuts{{
    {"None", "Not cut"},
    {"6x4", "6 x 4 in (two from a 6 x 8 sheet)"},
    {"6x2", "6 x 2 in strips (two from a 6 x 4, four from a 6 x 8 sheet)"},
}};

inline constexpr std::array<Choice, 2> finishes{{{"Glossy", "Glossy"}, {"Matte", "Matte"}}};

// The finish under the name that driverless clients use. The filter reads only StpLaminate;
// rastertok905job copies the choice there.
inline constexpr std::array<Choice, 3> media_types{{
    {"Auto", "Same as Finish"},
    {"Glossy", "Glossy"},
    {"Matte", "Matte"},
}};

inline constexpr std::array<Choice, 3> ribbons{{
    {"Auto", "As loaded (6 x 4 if unknown)"},
    {"6x4", "6 x 4"},
    {"6x8", "6 x 8 (two 6 x 4 pages share a sheet)"},
}};

inline constexpr std::array<Choice, 21> gains{{
    {"-500", "-50 %"}, {"-450", "-45 %"}, {"-400", "-40 %"},     {"-350", "-35 %"},
    {"-300", "-30 %"}, {"-250", "-25 %"}, {"-200", "-20 %"},     {"-150", "-15 %"},
    {"-100", "-10 %"}, {"-50", "-5 %"},   {"None", "Unchanged"}, {"50", "+5 %"},
    {"100", "+10 %"},  {"150", "+15 %"},  {"200", "+20 %"},      {"250", "+25 %"},
    {"300", "+30 %"},  {"350", "+35 %"},  {"400", "+40 %"},      {"450", "+45 %"},
    {"500", "+50 %"},
}};

inline constexpr std::array<Choice, 17> gammas{{
    {"500", "0.5 (darker)"},
    {"600", "0.6"},
    {"700", "0.7"},
    {"800", "0.8"},
    {"900", "0.9"},
    {"None", "1.0 (unchanged)"},
    {"1100", "1.1"},
    {"1200", "1.2"},
    {"1300", "1.3"},
    {"1400", "1.4"},
    {"1500", "1.5"},
    {"1600", "1.6"},
    {"1700", "1.7"},
    {"1800", "1.8"},
    {"1900", "1.9"},
    {"2000", "2.0"},
    {"2200", "2.2 (lighter)"},
}};

// Factors for the values of a plane: a higher value prints less dye.
inline constexpr std::array<Choice, 13> balances{{
    {"700", "0.70 (more dye)"},
    {"750", "0.75"},
    {"800", "0.80"},
    {"850", "0.85"},
    {"900", "0.90"},
    {"950", "0.95"},
    {"None", "1.00 (unchanged)"},
    {"1050", "1.05"},
    {"1100", "1.10"},
    {"1150", "1.15"},
    {"1200", "1.20"},
    {"1250", "1.25"},
    {"1300", "1.30 (less dye)"},
}};

inline constexpr std::array<Choice, 2> switches{{{"False", "Off"}, {"True", "On"}}};

inline constexpr std::array<Choice, 5> color_corrections{{
    {"None", "None"},
    {"Bright", "Bright (10 % lighter)"},
    {"Accurate", "Accurate (slightly less saturated)"},
    {"Hue", "Hue (mixes red and blue slightly)"},
    {"Desaturated", "Desaturated"},
}};

inline constexpr std::array<Choice, 2> color_bases{{{"Normal", "sRGB"}, {"Vivid", "Adobe RGB"}}};

// The generator puts the model's own profile in front of these.
inline constexpr std::array<Choice, 6> profiles{{
    {no_profile, "No conversion"},
    {profile_by_paper, "By paper and finish"},
    {"sRGB.icc", "sRGB"},
    {"AdobeRGB1998.icc", "Adobe RGB (1998)"},
    {"AppleRGB.icc", "Apple RGB"},
    {"PhotoRGB.icc", "Photo RGB"},
}};

inline constexpr std::array<Choice, 23> bleeds{{
    {"-6.0", "-6 mm"}, {"-5.0", "-5 mm"},   {"-4.0", "-4 mm"},  {"-3.5", "-3.5 mm"},
    {"-3.0", "-3 mm"}, {"-2.5", "-2.5 mm"}, {"-2.0", "-2 mm"},  {"-1.5", "-1.5 mm"},
    {"-1.0", "-1 mm"}, {"-0.5", "-0.5 mm"}, {"0.0", "Default"}, {"0.5", "+0.5 mm"},
    {"1.0", "+1 mm"},  {"1.5", "+1.5 mm"},  {"2.0", "+2 mm"},   {"2.5", "+2.5 mm"},
    {"3.0", "+3 mm"},  {"3.5", "+3.5 mm"},  {"4.0", "+4 mm"},   {"5.0", "+5 mm"},
    {"6.0", "+6 mm"},  {"8.0", "+8 mm"},    {"10.0", "+10 mm"},
}};

inline constexpr std::array<Choice, 3> image_types{
    {{"Photo", "Photograph"}, {"Graphics", "Graphics"}, {"Text", "Text"}}};
inline constexpr std::array<Choice, 2> color_precisions{{{"Normal", "Normal"}, {"Best", "Best"}}};
inline constexpr std::array<Choice, 3> shrink_outputs{
    {{"Shrink", "Shrink"}, {"Crop", "Crop"}, {"Expand", "Expand"}}};

inline constexpr std::array<Option, 6> general_options{{
    {"MediaType", "Finish for this job", media_types, "Auto"},
    {"ColorModel", "Color", color_models, "RGB"},
    {"Resolution", "Resolution", resolutions, "300dpi"},
    {"StpLaminate", "Finish", finishes, "Glossy"},
    {"K905Cut", "Cut the sheet into", cuts, "None"},
    {"K905Ribbon", "Ribbon in the printer", ribbons, "Auto"},
}};

inline constexpr std::array<Option, 6> tone_options{{
    {"StpBrightness", "Brightness", gains, "None"},
    {"StpContrast", "Contrast", gains, "None"},
    {"StpSaturation", "Saturation", gains, "None"},
    {"StpGamma", "Gamma", gammas, "None"},
    {"StpLinearContrast", "Contrast boost", switches, "False", Widget::check_box},
    {"StpLegacyDyesubGamma", "Dye-sublimation gamma (0.45)", switches, "False", Widget::check_box},
}};

inline constexpr std::array<Option, 9> color_options{{
    {"StpColorCorrection", "Color correction", color_corrections, "None"},
    {"ICCProfile", "Printer profile", profiles, no_profile},
    {"ColorBase", "Color space of photos (with a printer profile)", color_bases, "Normal"},
    {"StpCyanGamma", "Cyan gamma", gammas, "None"},
    {"StpMagentaGamma", "Magenta gamma", gammas, "None"},
    {"StpYellowGamma", "Yellow gamma", gammas, "None"},
    {"StpCyanBalance", "Cyan balance", balances, "None"},
    {"StpMagentaBalance", "Magenta balance", balances, "None"},
    {"StpYellowBalance", "Yellow balance", balances, "None"},
}};

// The filter reads BleedA to BleedD after these four options, for the same fields. They are not
// offered, because their defaults would override the choices made here.
//
// Deliberate: left and right are exchanged. The page is mirrored after the filter has applied the
// borders; the texts name the edges of the finished sheet.
inline constexpr std::array<Option, 4> bleed_options{{
    {"BleedTop", "Top edge (A)", bleeds, "0.0"},
    {"BleedBottom", "Bottom edge (B)", bleeds, "0.0"},
    {"BleedRight", "Left edge (D)", bleeds, "0.0"},
    {"BleedLeft", "Right edge (C)", bleeds, "0.0"},
}};

// The filter reads and logs these options; they do not change the sheet.
inline constexpr std::array<Option, 4> log_only_options{{
    {"StpImageType", "Image type", image_types, "Photo"},
    {"StpColorPrecision", "Color precision", color_precisions, "Normal"},
    {"StpNoCutWaste", "No cut waste", switches, "False", Widget::check_box},
    {"StpiShrinkOutput", "Shrink output", shrink_outputs, "Shrink"},
}};

inline constexpr std::array<Group, 5> groups{{
    {"General", "General", general_options},  // the page sizes are in this group, too
    {"Tone", "Tone", tone_options},
    {"Color", "Color management", color_options},
    {"Bleed", "Border adjustment", bleed_options},
    {"LogOnly", "Logged only, no effect on the print", log_only_options, false},
}};

}  // namespace ppd
