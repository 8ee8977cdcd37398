// Color profiles: how names become files, and how files with any content are used. The first byte
// selects one of these.
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/expect.h"
#include "fuzz/input.h"
#include "fuzz/log_lines.h"
#include "fuzz/memory_file.h"
#include "fuzz/replaced_stream.h"
#include "pipeline/stages.h"
#include "settings/icc_profiles.h"
#include "settings/option_values.h"
#include "settings/print_options.h"
#include "tests/settings/fake_files.h"
#include "tests/support/environment_guard.h"
#include "tests/support/profile_builder.h"
#include "tests/support/reference_state.h"

// A profile can require more memory than there is: the sanitizer returns null as the system would.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=512";
}

namespace {

// ---- names ----

// The file of a name, found by a second, simple implementation.
std::string expected_path(const std::string& name, const std::set<std::string>& files) {
  if (name.empty()) return "";
  if (name[0] == '/' && files.contains(name)) return name;
  for (const char* folder : icc_profile_folders) {
    for (const char* extension : icc_profile_extensions) {
      if (std::string path = folder + name + extension; files.contains(path)) return path;
    }
  }
  return "";
}

// The text between the first "ICCPROFILE (" and the next ")".
std::string marked_name(const std::string& value) {
  const std::string mark = "ICCPROFILE (";
  const std::size_t begin = value.find(mark);
  const std::size_t end = begin == std::string::npos ? begin : value.find(')', begin + mark.size());
  if (end == std::string::npos) return "";
  return value.substr(begin + mark.size(), end - begin - mark.size());
}

std::string expected_name(const std::string& value) {
  for (const IccChoice& row : icc_choice_to_filename) {
    if (row.choice != nullptr && value == row.choice) return row.file_name;
  }
  return marked_name(value);
}

// The input: a name, and the folders that have files with this name or a similar one.
void check_name(Input& input) {
  const std::string value = input.until('\0');
  std::set<std::string> files;
  while (!input.empty()) {
    const std::uint8_t kind = input.byte();
    const std::string more = kind % 16 == 15 ? input.until('\0') : "";
    const std::string path = (kind % 8 < 6 ? icc_profile_folders[kind % 8] : "") +
                             (kind % 16 < 8 ? expected_name(value) : value) + more +
                             icc_profile_extensions[kind / 16 % 3];
    if (path.size() < PATH_MAX) files.insert(path);  // no system has longer ones
  }
  const FakeFiles fake(files);
  ReplacedStream err(STDERR_FILENO);
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> name(parse_icc_profile_name(value.c_str()));
  std::array<char, 512> of_name{"as before"};
  std::array<char, 512> of_value{"as before"};
  const int name_found = find_icc_profile(name.get(), of_name);
  const int value_found = find_icc_profile(value.c_str(), of_value);
  err.restore();

  expect(expected_name(value) == (name != nullptr ? name.get() : ""), "the name of a value");
  const auto expect_found = [&](int found, const std::array<char, 512>& path,
                                const std::string& of) {
    const std::string wanted = expected_path(of, files);
    expect(found == (wanted.empty() ? 0 : 1), "a file is found if one exists");
    expect(path.data() == (wanted.empty() ? "as before" : wanted.substr(0, path.size() - 1)),
           "the path of the first existing file");
  };
  expect_found(name_found, of_name, expected_name(value));
  expect_found(value_found, of_value, value);
  expect_plain_log(err.content());
}

// ---- files ----

struct Rows {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint8_t> rgb;  // chunky
};

Rows rows_of(Input& input) {
  Rows rows{1 + input.byte() % 64U, 1 + input.byte() % 40U, {}};
  const std::uint32_t step = input.value<std::uint32_t>();
  rows.rgb.resize(3 * rows.width * rows.height);
  for (std::size_t i = 0; i < rows.rgb.size(); ++i) {
    rows.rgb[i] = static_cast<std::uint8_t>(i * step >> 8);
  }
  return rows;
}

// Inputs of type "damaged profile" start from these.
const std::vector<std::string>& valid_profiles() {
  static const std::vector<std::string> profiles = {wide_rgb_profile(), gray_profile(),
                                                    lab_profile(), hollow_rgb_profile(),
                                                    cmyk_table_profile()};
  return profiles;
}

// Arbitrary bytes, or a valid profile with some bytes changed.
std::string profile_bytes(Input& input, bool damaged_one) {
  if (!damaged_one) return input.rest();
  std::string bytes = valid_profiles()[input.byte() % valid_profiles().size()];
  for (std::size_t changes = input.byte() % 16; changes > 0; --changes) {
    // The most significant bytes are at the beginning: header and list of tags.
    const bool anywhere = input.byte() % 4 == 0;
    const std::size_t at = input.below(anywhere ? bytes.size() : 400) % bytes.size();
    bytes[at] = static_cast<char>(input.byte());
  }
  if (input.byte() % 8 == 1) bytes.resize(input.below(bytes.size()));
  return bytes;
}

// Passes the rows through the adjust stage. Its log has further lines before and after those of the
// conversion.
void convert(const PrintOptions& options, IccTransform& icc, Rows& rows) {
  AdjustStage stage;
  stage.prepare(options, rows.width, rows.height, icc);
  std::vector<std::uint8_t> planes[3];
  for (auto& plane : planes) plane.resize(rows.width + kernels::kRowSlack);
  const PlaneRow row = {{planes[0].data(), planes[1].data(), planes[2].data()}};
  for (std::size_t y = 0; y < rows.height; ++y) {
    std::uint8_t* const rgb = rows.rgb.data() + 3 * rows.width * y;
    for (std::size_t i = 0; i < 3 * rows.width; ++i) row.plane[i % 3][i / 3] = rgb[i];
    stage.row(row);
    for (std::size_t i = 0; i < 3 * rows.width; ++i) rgb[i] = row.plane[i % 3][i / 3];
  }
  stage.report(options);
}

// The lines of the conversion in the log of the stage.
std::string_view conversion_log(std::string_view log) {
  const std::size_t begin = log.find("K905-1: Before ICC");
  return log.substr(begin, log.find("K905-1: Image adjustments applied") - begin);
}

reference::Image image_of(const Rows& rows) {
  reference::Image image;
  image.width = static_cast<int>(rows.width);
  image.height = static_cast<int>(rows.height);
  for (std::size_t i = 0; i < rows.rgb.size(); ++i) image.plane[i % 3].push_back(rows.rgb[i]);
  return image;
}

void check_file(Input& input, std::uint8_t kind) {
  constexpr const char* kIntents[] = {"Perceptual", "Relative", "Saturation", "Absolute"};
  const std::string intent = kIntents[kind / 4 % 4];
  const bool as_source = kind / 16 % 2 == 1;
  Rows rows = rows_of(input);
  const std::string bytes = profile_bytes(input, kind / 32 % 2 == 1);
  const MemoryFile malformed(bytes.data(), bytes.size());
  const MemoryFile valid(valid_profiles()[0].data(), valid_profiles()[0].size());

  const ReferenceJob job;
  reference::PlainFilter plain(job);
  plain.settings.icc_enabled = true;
  plain.settings.icc_name = "printer";
  plain.settings.icc_intent = intent;
  plain.settings.color_base_path = as_source ? malformed.path() : valid.path();
  plain.settings.icc_path = as_source ? valid.path() : malformed.path();
  reference::Image image = image_of(rows);
  plain.convert_icc(image);

  PrintOptions options{.paper_config = nullptr};
  options.icc_enabled = 1;
  copy_text(options.icc_profile_name, plain.settings.icc_name.c_str());
  copy_text(options.icc_intent, intent.c_str());
  copy_text(options.color_base_profile_path, plain.settings.color_base_path.c_str());
  copy_text(options.icc_profile_path, plain.settings.icc_path.c_str());
  const EnvironmentGuard ppd("PPD", "/nonexistent/queue.ppd");  // no debug images
  Rows again = rows;
  ReplacedStream err(STDERR_FILENO);
  IccTransform icc;
  convert(options, icc, rows);
  ReplacedStream second_err(STDERR_FILENO);
  convert(options, icc, again);
  second_err.restore();
  err.restore();

  std::string wanted;
  for (const std::string& line : plain.log) wanted += line + "\n";
  expect(image_of(rows).plane[0] == image.plane[0] && image_of(rows).plane[1] == image.plane[1] &&
             image_of(rows).plane[2] == image.plane[2],
         "the colors of Little CMS");
  expect(conversion_log(err.content()) == wanted, "the log equals that of the plain reference");
  expect(again.rgb == rows.rgb, "the cached transform gives the same colors");
  expect(conversion_log(second_err.content()) == wanted,
         "the log is the same with the cached transform");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::uint8_t kind = input.byte();
  if (kind % 4 == 0) {
    check_name(input);
  } else {
    check_file(input, kind);
  }
  return 0;
}
