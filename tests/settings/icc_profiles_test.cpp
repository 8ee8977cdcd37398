#include "settings/icc_profiles.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "tests/settings/fake_files.h"
#include "tests/support/captured_log.h"

namespace {

TEST(IccOption, NamesTheFileOfAChoiceOrTheTextAfterTheMarker) {
  const auto mapped = [](const std::string& file) {
    return "K905-1: Mapped choice to file: " + file + "\n";
  };
  const std::string no_marker = "K905-1: ICCPROFILE marker not found, not a known choice name\n";
  const std::string long_name(20000, 'n');
  const struct {
    std::string value;
    std::optional<std::string> name;
    std::string log;  // after the line that shows the value
  } cases[] = {
      {"sRGB", "sRGB.icc", mapped("sRGB.icc")},
      {"AdobeRGB", "AdobeRGB1998.icc", mapped("AdobeRGB1998.icc")},
      {"AppleRGB", "AppleRGB.icc", mapped("AppleRGB.icc")},
      {"PhotoRGB", "PhotoRGB.icc", mapped("PhotoRGB.icc")},
      {"K905RGB", "pm-905-wd-251126-5.icm", mapped("pm-905-wd-251126-5.icm")},
      {"PM-RV", "pm-rv-wd-251202-5.icm", mapped("pm-rv-wd-251202-5.icm")},
      {"PM-RS", "pm-rs-wd-251125-2.icm", mapped("pm-rs-wd-251125-2.icm")},
      {"adobergb", std::nullopt, no_marker},
      {"", std::nullopt, no_marker},
      {"ICCPROFILE(a)", std::nullopt, no_marker},
      {"x ICCPROFILE (my printer.icc) after) more", "my printer.icc",
       "K905-1: Extracted ICC profile name: my printer.icc\n"},
      {"ICCPROFILE ( a )", " a ", "K905-1: Extracted ICC profile name:  a \n"},
      {"ICCPROFILE (sRGB)", "sRGB", "K905-1: Extracted ICC profile name: sRGB\n"},
      {"ICCPROFILE (ICCPROFILE (a)", "ICCPROFILE (a",
       "K905-1: Extracted ICC profile name: ICCPROFILE (a\n"},
      {"ICCPROFILE (" + long_name + ")", long_name,
       "K905-1: Extracted ICC profile name: " + long_name + "\n"},
      {")ICCPROFILE (a", std::nullopt, "K905-1: ICCPROFILE closing parenthesis not found\n"},
      {"ICCPROFILE ()", std::nullopt, "K905-1: ICCPROFILE name is empty\n"},
  };
  for (const auto& [value, name, log] : cases) {
    char* parsed = nullptr;
    EXPECT_EQ(captured_log([&, &value = value] { parsed = parse_icc_profile_name(value.c_str()); }),
              "K905-1: Parsing ICC option value: " + value + "\n" + log);
    EXPECT_EQ(parsed != nullptr, name.has_value()) << value;
    EXPECT_EQ(parsed != nullptr ? parsed : "", name.value_or("")) << value;
    std::free(parsed);
  }
  EXPECT_EQ(captured_log([] { EXPECT_EQ(parse_icc_profile_name(nullptr), nullptr); }), "");
}

constexpr char kUntouched[] = "untouched";

struct Search {
  int result = 0;
  std::string path;
  std::string log;
};

Search search_for(const char* name) {
  Search search;
  char path[512];
  std::snprintf(path, sizeof path, "%s", kUntouched);
  search.log = captured_log([&] { search.result = find_icc_profile(name, path); });
  search.path = path;
  return search;
}

TEST(ProfileSearch, TriesEveryFolderWithEveryEndingInOrder) {
  const FakeFiles files;
  const Search search = search_for("p.icc");
  EXPECT_EQ(search.result, 0);
  EXPECT_EQ(search.path, kUntouched);
  EXPECT_EQ(search.log,
            "K905-1: Searching for ICC profile: p.icc\n"
            "K905-1: ICC profile not found: p.icc\n");
  std::vector<std::string> expected;
  for (const std::string folder : {"/Library/ColorSync/Profiles/", "/usr/local/share/color/icc/",
                                   "/opt/homebrew/share/color/icc/", "./", "/usr/share/color/icc/",
                                   "/usr/share/color/icc/colord/"}) {
    for (const char* ending : {"", ".icc", ".icm"}) {
      expected.push_back(folder + "p.icc" + ending);
    }
  }
  EXPECT_EQ(files.asked(), expected);
}

TEST(ProfileSearch, FoundFileEndsTheSearch) {
  const FakeFiles files({"/usr/local/share/color/icc/sRGB.icc", "./sRGB.icc"});
  const Search search = search_for("sRGB.icc");
  EXPECT_EQ(search.result, 1);
  EXPECT_EQ(search.path, "/usr/local/share/color/icc/sRGB.icc");
  EXPECT_EQ(search.log,
            "K905-1: Searching for ICC profile: sRGB.icc\n"
            "K905-1: Found ICC profile at: /usr/local/share/color/icc/sRGB.icc\n");
  EXPECT_EQ(files.asked().size(), 4U);
}

TEST(ProfileSearch, AbsolutePathIsTriedAsItIsAndThenInEveryFolder) {
  const FakeFiles there({"/profiles/a.icc"});
  const Search found = search_for("/profiles/a.icc");
  EXPECT_EQ(found.path, "/profiles/a.icc");
  EXPECT_EQ(found.log,
            "K905-1: Searching for ICC profile: /profiles/a.icc\n"
            "K905-1: Found ICC profile at absolute path: /profiles/a.icc\n");
  EXPECT_EQ(there.asked(), std::vector<std::string>{"/profiles/a.icc"});
  const FakeFiles elsewhere({"/opt/homebrew/share/color/icc//profiles/a.icm"});
  EXPECT_EQ(search_for("/profiles/a").path, "/opt/homebrew/share/color/icc//profiles/a.icm");
}

TEST(ProfileSearch, RelativeNameIsNotTriedByItself) {
  const FakeFiles files({"p.icc"});
  EXPECT_EQ(search_for("p.icc").result, 0);
}

TEST(ProfileSearch, MissingNameIsNotFoundAndNotLogged) {
  const FakeFiles files({"./", "."});
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    const Search search = search_for(name);
    EXPECT_EQ(search.result, 0);
    EXPECT_EQ(search.path, kUntouched);
    EXPECT_EQ(search.log, "");
  }
}

TEST(ProfileSearch, LongNameIsSearchedCompletelyAndCutInItsField) {
  const std::string name(600, 'n');
  const FakeFiles files({"./" + name + ".icc", "/" + name});
  const Search search = search_for(name.c_str());
  EXPECT_EQ(search.path, "./" + std::string(509, 'n'));
  EXPECT_EQ(search.log, "K905-1: Searching for ICC profile: " + name +
                            "\nK905-1: Found ICC profile at: ./" + name + ".icc\n");
  EXPECT_EQ(search_for(("/" + name).c_str()).path, "/" + std::string(510, 'n'));
}

TEST(ProfileSearch, NameLongerThanAnyPathIsNotFound) {
  // The start of the name exists, but a name is never cut to fit.
  const std::string name(70000, 'n');
  const FakeFiles files({"./" + name.substr(0, 4093), "./" + name.substr(0, 509)});
  const Search search = search_for(name.c_str());
  EXPECT_EQ(search.result, 0);
  EXPECT_EQ(search.path, kUntouched);
}

}  // namespace
