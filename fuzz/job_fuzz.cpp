// A raster stream through a complete job, with settings from the input. The stream is arbitrary
// bytes or a recipe: pages of every format with inconsistent headers, truncated and damaged, so
// that the pipeline is reached.
#include <cups/raster.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/wire/printer_stream.h"
#include "filter/raster_job.h"
#include "filter/startup.h"
#include "filter/two_up.h"
#include "fuzz/expect.h"
#include "fuzz/input.h"
#include "fuzz/log_lines.h"
#include "fuzz/memory_file.h"
#include "fuzz/replaced_stream.h"
#include "paper/paper_table.h"
#include "settings/job_arguments.h"
#include "settings/option_rules.h"
#include "settings/paper_argument.h"
#include "settings/ppd_defaults.h"
#include "settings/print_options.h"
#include "settings/summary.h"
#include "tests/support/environment_guard.h"
#include "tests/support/profile_builder.h"
#include "tests/support/raster_builder.h"

// A header can require more memory than there is: the sanitizer returns null as the system would.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=512";
}

namespace {
long allocations_to_failure = 0;

bool allocation_fails() { return allocations_to_failure > 0 && --allocations_to_failure == 0; }
}  // namespace

// The linker redirects the filter's allocations to these functions.
extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);

void* __wrap_malloc(std::size_t size) { return allocation_fails() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return allocation_fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, std::size_t size) {
  return allocation_fails() ? nullptr : __real_realloc(block, size);
}

}  // extern "C"

namespace {

// Profiles of every kind, by a path that a job can name.
std::vector<std::string> profile_paths() {
  static const std::string profiles[] = {wide_rgb_profile(), cmyk_table_profile(), gray_profile(),
                                         lab_profile(), hollow_rgb_profile()};
  static const MemoryFile files[] = {{profiles[0].data(), profiles[0].size()},
                                     {profiles[1].data(), profiles[1].size()},
                                     {profiles[2].data(), profiles[2].size()},
                                     {profiles[3].data(), profiles[3].size()},
                                     {profiles[4].data(), profiles[4].size()}};
  std::vector<std::string> paths;
  for (const MemoryFile& file : files) paths.push_back(file.path());
  return paths;
}

template <typename List>
auto one_of(Input& input, const List& list) {
  return list[input.byte() % std::size(list)];
}

// ---- settings ----

constexpr const char* kKeys[] = {
    "PageSize",          "StpBrightness",      "StpContrast",      "StpSaturation",
    "StpGamma",          "StpColorCorrection", "ColorModel",       "Resolution",
    "StpLaminate",       "StpCyanGamma",       "StpMagentaGamma",  "StpYellowGamma",
    "StpCyanBalance",    "StpMagentaBalance",  "StpYellowBalance", "StpLegacyDyesubGamma",
    "BleedTop",          "BleedBottom",        "BleedLeft",        "BleedRight",
    "StpLinearContrast", "ICCProfile"};
constexpr const char* kValues[] = {
    "0",     "1",        "True",         "None",       "1000",         "500",  "2000",
    "-1",    "100",      "-100",         "2147483647", "-99999999999", "nan",  "30",
    "-30",   "5000",     "RGB",          "CMYK",       "CMY",          "KCMY", "Gray",
    "Black", "Matte",    "Bright",       "Accurate",   "Desaturated",  "Hue",  "300x600",
    "6x4",   "w288h432", "w432h576-div2"};
constexpr const char* kFlags[] = {"--contrast",    "--saturation",  "--brightness",
                                  "--gamma",       "--color-model", "--color-correction",
                                  "--icc-profile", "--icc-intent",  "--paper-size"};
constexpr const char* kIntents[] = {"Relative", "Saturation", "Absolute", "Perceptual"};

std::string text(Input& input) {
  const std::vector<std::uint8_t> bytes = input.bytes(input.byte() % 40);
  // An argument ends at its first NUL.
  return {bytes.begin(), std::find(bytes.begin(), bytes.end(), std::uint8_t{0})};
}

std::string value(Input& input) {
  const std::uint8_t kind = input.byte();
  return kind % 8 == 0   ? text(input)
         : kind % 8 == 1 ? paper_sizes[kind / 8 % paper_sizes.size()].ppd_name
                         : one_of(input, kValues);
}

struct JobSettings {
  std::vector<std::string> arguments{"K905", "1", "me", "title", "1", ""};
  std::vector<std::pair<const char*, std::string>> queue_defaults;
  const char* ribbon = nullptr;
  std::size_t line_limit = 0;
  long failing_allocation = 0;  // counted from 1; 0: memory is never short
};

void add_setting(Input& input, JobSettings& settings) {
  std::vector<std::string>& arguments = settings.arguments;
  const std::uint8_t kind = input.byte();
  if (kind % 5 == 0) {
    arguments.emplace_back(one_of(input, kFlags));
    arguments.push_back(value(input));
  } else if (kind % 5 == 1) {
    arguments.emplace_back("--icc-profile");
    arguments.push_back(one_of(input, profile_paths()));
    arguments.emplace_back("--icc-intent");
    arguments.emplace_back(one_of(input, kIntents));
  } else {
    const char* const keyword = one_of(input, kKeys);
    const std::string choice = value(input);
    if (kind % 5 == 2) {
      arguments.push_back(std::string(keyword) + "=" + choice);
    } else {
      settings.queue_defaults.emplace_back(keyword, choice);
    }
  }
}

JobSettings settings_of(Input& input) {
  JobSettings settings;
  const std::uint8_t selection = input.byte();
  if ((selection & 1) != 0) settings.ribbon = "6x8";
  if ((selection & 2) != 0) settings.line_limit = 20 + 10 * std::size_t{input.byte()};
  if ((selection & 4) != 0) settings.arguments[3] = text(input);
  if ((selection & 8) != 0) settings.arguments[5] = "ICCProfile=" + text(input);
  if ((selection & 16) != 0) settings.arguments.insert(settings.arguments.end(), {"--copies", "2"});
  if ((selection & 32) != 0) settings.failing_allocation = 1 + input.byte() % 64;
  for (std::size_t count = input.byte() % 5; count > 0; --count) {
    add_setting(input, settings);
  }
  return settings;
}

// The steps of main() before the job.
void start_up(JobSettings settings) {
  std::vector<std::string>& arguments = settings.arguments;
  std::vector<char*> argv;
  argv.reserve(arguments.size());
  for (std::string& argument : arguments) argv.push_back(argument.data());
  const int argc = static_cast<int>(argv.size());
  log_start(argc, argv.data());
  take_ribbon_from_environment();
  read_ppd_defaults();
  for (const auto& [keyword, choice] : settings.queue_defaults) {
    apply_option(OptionSource::ppd, keyword, choice.c_str());
  }
  read_job_arguments(argc, argv.data());
  detect_ribbon();
  read_paper_argument(argc, argv.data());
  print_configuration_summary();
  // More copies would take too long.
  current_options.copies = std::min(current_options.copies, 2);
}

// ---- the stream ----

struct Format {
  unsigned colors;
  unsigned bits;
};
constexpr Format kFormats[] = {{3, 8}, {4, 8}, {1, 8}, {1, 1}, {3, 16}, {3, 8}, {4, 16}, {1, 16}};
constexpr std::uint32_t kUnusualNumbers[] = {
    0,         1,          2,          3,          7,          8,         64,
    300,       600,        1200,       1920,       0x7FFF,     0x10000,   0x100000,
    0x1000000, 0x20000000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFF00};

// Spaces with as many colors as the format has; the first is the usual one.
cups_cspace_t space_of(Format format, unsigned which) {
  constexpr cups_cspace_t kOne[] = {CUPS_CSPACE_W, CUPS_CSPACE_K, CUPS_CSPACE_SW,
                                    CUPS_CSPACE_DEVICE1};
  constexpr cups_cspace_t kThree[] = {CUPS_CSPACE_RGB, CUPS_CSPACE_CMY, CUPS_CSPACE_YMC,
                                      CUPS_CSPACE_SRGB, CUPS_CSPACE_DEVICE3};
  constexpr cups_cspace_t kFour[] = {CUPS_CSPACE_CMYK, CUPS_CSPACE_YMCK, CUPS_CSPACE_KCMY,
                                     CUPS_CSPACE_RGBA, CUPS_CSPACE_DEVICE4};
  return format.colors == 1   ? kOne[which % std::size(kOne)]
         : format.colors == 3 ? kThree[which % std::size(kThree)]
                              : kFour[which % std::size(kFour)];
}

cups_page_header2_t consistent_header(Input& input) {
  const Format format = one_of(input, kFormats);
  const auto width = static_cast<unsigned>(1 + input.below(200));
  const auto height = static_cast<unsigned>(1 + input.below(200));
  cups_page_header2_t header = page_header(width, height, format.colors, format.bits);
  const std::uint8_t sheet = input.byte();
  const PaperConfig& paper = paper_sizes[sheet % paper_sizes.size()];
  header.PageSize[sheet % 2] = static_cast<unsigned>(paper.page_width_pt);
  header.PageSize[1 - sheet % 2] = static_cast<unsigned>(paper.page_height_pt);
  const std::uint8_t mode = input.byte();
  header.HWResolution[1] = (mode & 1) != 0 ? 600 : 300;
  header.Orientation = static_cast<cups_orient_t>(mode / 2 % 4);
  header.cupsColorSpace = space_of(format, mode / 8);
  return header;
}

// Sets a number of the header, or puts text into one of its strings.
void corrupt_field(Input& input, std::string& header) {
  constexpr std::size_t kFirstNumber = offsetof(cups_page_header2_t, AdvanceDistance);
  constexpr std::size_t kAfterNumbers = offsetof(cups_page_header2_t, cupsString);
  const std::uint8_t kind = input.byte();
  if (kind % 8 == 0) {
    const std::string words = text(input);
    const std::size_t at = kind / 8 % 2 == 0 ? std::size_t{64} * (kind / 16 % 4) : kAfterNumbers;
    header.replace(at, words.size(), words);
    return;
  }
  const std::size_t at = kFirstNumber + 4 * (input.byte() % ((kAfterNumbers - kFirstNumber) / 4));
  const std::uint32_t number =
      kind % 8 == 1 ? input.value<std::uint32_t>() : one_of(input, kUnusualNumbers);
  std::memcpy(header.data() + at, &number, sizeof number);
}

void fill(Input& input, RasterPage& page) {
  const std::vector<std::uint8_t> pattern = input.bytes(1 + input.byte() % 32);
  for (std::size_t i = 0; i < page.pixels.size(); ++i) {
    page.pixels[i] = pattern[(i + i / 97) % pattern.size()];
  }
}

// One page after the four bytes that open a stream.
std::string page_of(Input& input, RasterKind kind) {
  RasterPage page = blank_page(consistent_header(input));
  fill(input, page);
  std::string bytes =
      kind == RasterKind::kCompressed ? raster_stream({page}, kind).substr(4) : raw_page(page);
  std::string header = bytes.substr(0, sizeof page.header);
  for (std::size_t count = input.byte() % 4; count > 0; --count) corrupt_field(input, header);
  return header + bytes.substr(header.size());
}

std::string stream_of_recipe(Input& input) {
  const std::uint8_t kind = input.byte();
  const bool compressed = kind % 2 == 1;
  const std::uint32_t sync = compressed ? CUPS_RASTER_SYNCv2 : CUPS_RASTER_SYNC;
  std::string stream(reinterpret_cast<const char*>(&sync), sizeof sync);
  for (std::size_t pages = 1 + kind / 2 % 3; pages > 0; --pages) {
    stream += page_of(input, compressed ? RasterKind::kCompressed : RasterKind::kUncompressed);
  }
  if (kind / 8 % 4 == 1) stream.resize(input.value<std::uint32_t>() % (stream.size() + 1));
  if (kind / 8 % 4 == 2) stream[input.value<std::uint32_t>() % stream.size()] ^= 1;
  if (kind / 8 % 4 == 3) stream += input.rest();
  return stream;
}

// ---- the run ----

int lowest_free_descriptor() {
  const int descriptor = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  close(descriptor);
  return descriptor;
}

std::size_t count_of(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

bool is_size_of_a_sheet(const k905::Sheet& sheet) {
  const auto is_canvas = [&sheet](const PaperConfig& paper) {
    const auto height = static_cast<std::uint32_t>(paper.canvas_height);
    return sheet.width == static_cast<std::uint32_t>(paper.canvas_width) &&
           (sheet.height == height || sheet.height == 2 * height);
  };
  return std::ranges::any_of(paper_sizes, is_canvas) ||
         (sheet.width == MERGE_CANVAS_WIDTH && sheet.height == MERGE_CANVAS_HEIGHT);
}

// The number of sheets.
std::size_t expect_complete_sheets(std::string_view output) {
  const k905::ParsedStream parsed = k905::parse_printer_stream(
      reinterpret_cast<const std::uint8_t*>(output.data()), output.size());
  expect(!parsed.error, "the printer gets complete sheets only");
  expect(std::ranges::all_of(parsed.sheets, is_size_of_a_sheet), "a sheet has a paper's size");
  return parsed.sheets.size();
}

// Returns a hash of the output for the printer.
std::uint64_t run_and_check(const JobSettings& settings, std::string_view stream) {
  const SettingsGuard settings_guard;
  const std::string limit = std::to_string(settings.line_limit);
  const EnvironmentGuard ppd("PPD", "/nonexistent/queue.ppd");
  const EnvironmentGuard ribbon("K905_RIBBON", settings.ribbon);
  const EnvironmentGuard message("CUPS_MAX_MESSAGE",
                                 settings.line_limit != 0 ? limit.c_str() : nullptr);
  ReplacedStream in(STDIN_FILENO, stream);
  ReplacedStream out(STDOUT_FILENO);
  ReplacedStream err(STDERR_FILENO);
  const int free_before = lowest_free_descriptor();
  start_up(settings);
  allocations_to_failure = settings.failing_allocation;
  const int status = run_raster_job();
  allocations_to_failure = 0;
  const int free_after = lowest_free_descriptor();
  for (ReplacedStream* replaced : {&in, &out, &err}) replaced->restore();

  const std::string_view output = out.content();
  const std::string_view log = err.content();
  expect(free_before == free_after, "every file is closed again");
  expect(status == 0 || (status == 1 && output.empty()), "the status is 0, or 1 with no output");
  expect_plain_log(log, settings.line_limit);
  const std::size_t sheets = expect_complete_sheets(output);
  expect(settings.line_limit != 0 || count_of(log, "K905-1: ===== PRINT CALL #") == sheets,
         "the log reports every sheet");
  return std::hash<std::string_view>()(output);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::uint8_t kind = input.byte();
  const JobSettings settings = settings_of(input);
  const std::string stream = kind % 4 == 0 ? input.rest() : stream_of_recipe(input);
  const std::uint64_t printed = run_and_check(settings, stream);
  // No state of a job affects the next, and no pixel is from uninitialized memory.
  if (kind % 16 == 1) {
    expect(run_and_check(settings, stream) == printed, "the same job prints the same");
  }
  return 0;
}
