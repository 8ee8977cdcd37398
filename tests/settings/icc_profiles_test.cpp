#include "settings/icc_profiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "tests/settings/fake_files.h"
#include "tests/support/captured_log.h"

namespace {

struct Parsed {
  std::optional<std::string> name;
  std::string log;
};

Parsed parsed(const char* value) {
  Parsed result;
  result.log = captured_log([&] {
    char* name = parse_icc_profile_name(value);
    if (name != nullptr) {
      result.name = name;
    }
    std::free(name);
  });
  return result;
}

TEST(IccChoices, EveryChoiceStandsForItsFile) {
  const std::pair<const char*, const char*> choices[] = {
      {"sRGB", "sRGB.icc"},
      {"AdobeRGB", "AdobeRGB1998.icc"},
      {"AppleRGB", "AppleRGB.icc"},
      {"PhotoRGB", "PhotoRGB.icc"},
      {"K905RGB", "pm-905-wd-251126-5.icm"},
      {"PM-RV", "pm-rv-wd-251202-5.icm"},
      {"PM-RS", "pm-rs-wd-251125-2.icm"},
  };
  ASSERT_EQ(icc_choice_to_filename.size(), std::size(choices) + 1);
  for (std::size_t i = 0; i < std::size(choices); ++i) {
    const auto [choice, file] = choices[i];
    EXPECT_STREQ(icc_choice_to_filename[i].choice, choice);
    const Parsed result = parsed(choice);
    EXPECT_EQ(result.name, file);
    EXPECT_EQ(result.log, std::string("K905-1: Parsing ICC option value: ") + choice +
                              "\nK905-1: Mapped choice to file: " + file + "\n");
  }
  EXPECT_EQ(icc_choice_to_filename.back().choice, nullptr);
  EXPECT_EQ(icc_choice_to_filename.back().file_name, nullptr);
}

TEST(IccChoices, NullIsAnsweredSilently) {
  const Parsed result = parsed(nullptr);
  EXPECT_EQ(result.name, std::nullopt);
  EXPECT_EQ(result.log, "");
}

TEST(IccChoices, AChoiceInLowerCaseIsNoChoice) {
  const Parsed result = parsed("adobergb");
  EXPECT_EQ(result.name, std::nullopt);
  EXPECT_EQ(result.log,
            "K905-1: Parsing ICC option value: adobergb\n"
            "K905-1: ICCPROFILE marker not found, not a known choice name\n");
}

TEST(IccChoices, AnEmptyValueNamesNothing) {
  const Parsed result = parsed("");
  EXPECT_EQ(result.name, std::nullopt);
  EXPECT_EQ(result.log,
            "K905-1: Parsing ICC option value: \n"
            "K905-1: ICCPROFILE marker not found, not a known choice name\n");
}

TEST(IccMarker, TheNameStandsBetweenTheMarkerAndTheNextParenthesis) {
  const Parsed result = parsed("before ICCPROFILE (my printer.icc) after) more");
  EXPECT_EQ(result.name, "my printer.icc");
  EXPECT_EQ(result.log,
            "K905-1: Parsing ICC option value: before ICCPROFILE (my printer.icc) after) more\n"
            "K905-1: Extracted ICC profile name: my printer.icc\n");
}

TEST(IccMarker, BlanksOfTheNameAreKept) { EXPECT_EQ(parsed("ICCPROFILE ( a )").name, " a "); }

TEST(IccMarker, AChoiceBehindTheMarkerIsTakenAsAFileName) {
  EXPECT_EQ(parsed("ICCPROFILE (sRGB)").name, "sRGB");
}

TEST(IccMarker, TheFirstMarkerCounts) {
  EXPECT_EQ(parsed("ICCPROFILE (ICCPROFILE (a)").name, "ICCPROFILE (a");
}

TEST(IccMarker, WithoutTheBlankItIsNoMarker) {
  EXPECT_EQ(parsed("ICCPROFILE(a)").name, std::nullopt);
}

TEST(IccMarker, WithoutAClosingParenthesisThereIsNoName) {
  const Parsed result = parsed(")ICCPROFILE (a");
  EXPECT_EQ(result.name, std::nullopt);
  EXPECT_EQ(result.log,
            "K905-1: Parsing ICC option value: )ICCPROFILE (a\n"
            "K905-1: ICCPROFILE closing parenthesis not found\n");
}

TEST(IccMarker, AnEmptyNameIsNoName) {
  const Parsed result = parsed("ICCPROFILE ()");
  EXPECT_EQ(result.name, std::nullopt);
  EXPECT_EQ(result.log,
            "K905-1: Parsing ICC option value: ICCPROFILE ()\n"
            "K905-1: ICCPROFILE name is empty\n");
}

TEST(IccMarker, AVeryLongNameIsTakenWhole) {
  const std::string name(20000, 'n');
  EXPECT_EQ(parsed(("ICCPROFILE (" + name + ")").c_str()).name, name);
}

struct Search {
  int result = 0;
  std::string path;
  std::string log;
};

constexpr char kUntouched[] = "untouched";

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
  EXPECT_EQ(files.asked(), (std::vector<std::string>{
                               "/Library/ColorSync/Profiles/p.icc",
                               "/Library/ColorSync/Profiles/p.icc.icc",
                               "/Library/ColorSync/Profiles/p.icc.icm",
                               "/usr/local/share/color/icc/p.icc",
                               "/usr/local/share/color/icc/p.icc.icc",
                               "/usr/local/share/color/icc/p.icc.icm",
                               "/opt/homebrew/share/color/icc/p.icc",
                               "/opt/homebrew/share/color/icc/p.icc.icc",
                               "/opt/homebrew/share/color/icc/p.icc.icm",
                               "./p.icc",
                               "./p.icc.icc",
                               "./p.icc.icm",
                               "/usr/share/color/icc/p.icc",
                               "/usr/share/color/icc/p.icc.icc",
                               "/usr/share/color/icc/p.icc.icm",
                               "/usr/share/color/icc/colord/p.icc",
                               "/usr/share/color/icc/colord/p.icc.icc",
                               "/usr/share/color/icc/colord/p.icc.icm",
                           }));
}

TEST(ProfileSearch, FindsAFileOfLocalPackagesAfterThreeMisses) {
  const FakeFiles files({"/usr/local/share/color/icc/sRGB.icc", "./sRGB.icc"});
  const Search search = search_for("sRGB.icc");
  EXPECT_EQ(search.result, 1);
  EXPECT_EQ(search.path, "/usr/local/share/color/icc/sRGB.icc");
  EXPECT_EQ(search.log,
            "K905-1: Searching for ICC profile: sRGB.icc\n"
            "K905-1: Found ICC profile at: /usr/local/share/color/icc/sRGB.icc\n");
  EXPECT_EQ(files.asked().size(), 4U);
}

TEST(ProfileSearch, AddsAnEndingAlsoToANameThatHasOne) {
  const FakeFiles files({"./p.icc.icm"});
  EXPECT_EQ(search_for("p.icc").path, "./p.icc.icm");
}

TEST(ProfileSearch, PrefersTheBareNameToItsEndings) {
  const FakeFiles files({"./p", "./p.icc", "./p.icm"});
  EXPECT_EQ(search_for("p").path, "./p");
}

TEST(ProfileSearch, AFolderWithAnEndingComesBeforeALaterFolderWithTheName) {
  const FakeFiles files({"/Library/ColorSync/Profiles/p.icm", "./p"});
  EXPECT_EQ(search_for("p").path, "/Library/ColorSync/Profiles/p.icm");
}

TEST(ProfileSearch, TheWorkingFolderComesBeforeTheLinuxFoldersOnly) {
  const FakeFiles files({"./p.icc", "/usr/share/color/icc/p.icc"});
  EXPECT_EQ(search_for("p").path, "./p.icc");
  const FakeFiles installed({"./p.icc", "/opt/homebrew/share/color/icc/p.icm"});
  EXPECT_EQ(search_for("p").path, "/opt/homebrew/share/color/icc/p.icm");
}

TEST(ProfileSearch, LinuxFoldersAreSearchedToo) {
  {
    const FakeFiles files({"/usr/share/color/icc/p.icc", "/usr/share/color/icc/colord/p.icc"});
    EXPECT_EQ(search_for("p").path, "/usr/share/color/icc/p.icc");
  }
  const FakeFiles files({"/usr/share/color/icc/colord/p.icc"});
  EXPECT_EQ(search_for("p.icc").path, "/usr/share/color/icc/colord/p.icc");
}

TEST(ProfileSearch, AnExistingAbsolutePathIsTakenAsItIs) {
  const FakeFiles files({"/profiles/a.icc"});
  const Search search = search_for("/profiles/a.icc");
  EXPECT_EQ(search.result, 1);
  EXPECT_EQ(search.path, "/profiles/a.icc");
  EXPECT_EQ(search.log,
            "K905-1: Searching for ICC profile: /profiles/a.icc\n"
            "K905-1: Found ICC profile at absolute path: /profiles/a.icc\n");
  EXPECT_EQ(files.asked(), std::vector<std::string>{"/profiles/a.icc"});
}

TEST(ProfileSearch, AnAbsolutePathThatDoesNotExistIsGluedToEveryFolder) {
  const FakeFiles files({"/opt/homebrew/share/color/icc//profiles/a.icm"});
  const Search search = search_for("/profiles/a");
  EXPECT_EQ(search.result, 1);
  EXPECT_EQ(search.path, "/opt/homebrew/share/color/icc//profiles/a.icm");
  EXPECT_EQ(files.asked()[0], "/profiles/a");
  EXPECT_EQ(files.asked()[1], "/Library/ColorSync/Profiles//profiles/a");
}

TEST(ProfileSearch, NoNameIsNotFoundSilently) {
  const FakeFiles files({"./", "."});
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    const Search search = search_for(name);
    EXPECT_EQ(search.result, 0);
    EXPECT_EQ(search.path, kUntouched);
    EXPECT_EQ(search.log, "");
  }
}

TEST(ProfileSearch, ANameLongerThanTheFieldIsSearchedWholeAndOnlyTheFieldIsCut) {
  const std::string name(600, 'n');
  const FakeFiles files({"./" + name + ".icc"});
  const Search search = search_for(name.c_str());
  EXPECT_EQ(search.result, 1);
  EXPECT_EQ(search.path, "./" + std::string(509, 'n'));
  EXPECT_EQ(search.log, "K905-1: Searching for ICC profile: " + name +
                            "\nK905-1: Found ICC profile at: ./" + name + ".icc\n");
}

TEST(ProfileSearch, ALongAbsolutePathIsCutInTheFieldOnly) {
  const std::string name = "/" + std::string(600, 'n');
  const FakeFiles files({name});
  const Search search = search_for(name.c_str());
  EXPECT_EQ(search.result, 1);
  EXPECT_EQ(search.path, name.substr(0, 511));
}

TEST(ProfileSearch, ANameThatNoFileCanHaveIsNotFound) {
  // The start of the name exists, but a name is never cut to fit.
  const std::string name(70000, 'n');
  const FakeFiles files({"./" + name.substr(0, 4093), "./" + name.substr(0, 509)});
  const Search search = search_for(name.c_str());
  EXPECT_EQ(search.result, 0);
  EXPECT_EQ(search.path, kUntouched);
}

// The same with the file system as it is.
class ProfilesOnDisk : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "k905_profiles_XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    before_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_);
    // Nobody has installed a profile of this name.
    name_ = "k905-test-" + std::filesystem::path(folder_).filename().string();
  }
  void TearDown() override {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(folder_);
  }
  static void touch(const std::string& path) { std::ofstream(path) << "x"; }

  std::string folder_;
  std::filesystem::path before_;
  std::string name_;
};

TEST_F(ProfilesOnDisk, AFileOfTheWorkingFolderIsFound) {
  EXPECT_EQ(search_for(name_.c_str()).result, 0);
  touch(name_ + ".icm");
  EXPECT_EQ(search_for(name_.c_str()).path, "./" + name_ + ".icm");
}

TEST_F(ProfilesOnDisk, AnAbsolutePathIsFound) {
  const std::string path = folder_ + "/a profile.icc";
  touch(path);
  EXPECT_EQ(search_for(path.c_str()).path, path);
}

TEST_F(ProfilesOnDisk, APathOfMoreThan512BytesIsFound) {
  std::string path = folder_;
  for (int i = 0; i < 4; ++i) {
    path += "/" + std::string(200, static_cast<char>('a' + i));
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  }
  path += "/profile.icc";
  touch(path);
  const Search search = search_for(path.c_str());
  EXPECT_EQ(search.result, 1);
  EXPECT_EQ(search.path, path.substr(0, 511));
}

TEST_F(ProfilesOnDisk, AFolderCountsAsFoundHere) {
  // Whether a file can be opened as a profile is asked by the conversion, which falls back to sRGB.
  ASSERT_EQ(mkdir(name_.c_str(), 0700), 0);
  EXPECT_EQ(search_for(name_.c_str()).path, "./" + name_);
}

TEST_F(ProfilesOnDisk, AnInstalledProfileComesBeforeTheWorkingFolder) {
  const std::filesystem::path installed = "/usr/local/share/color/icc";
  std::error_code problem;
  const bool made = std::filesystem::create_directories(installed, problem);
  const std::string file = (installed / (name_ + ".icc")).string();
  touch(file);
  if (access(file.c_str(), F_OK) != 0) {
    GTEST_SKIP() << installed << " is not writable";
  }
  touch(name_);
  const Search search = search_for(name_.c_str());
  std::filesystem::remove(file);
  if (made) {
    std::filesystem::remove(installed, problem);
    std::filesystem::remove(installed.parent_path(), problem);
  }
  EXPECT_EQ(search.path, file);
}

}  // namespace
