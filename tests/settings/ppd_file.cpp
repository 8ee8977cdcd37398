#include "tests/settings/ppd_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

std::string ppd_head() {
  return "*PPD-Adobe: \"4.3\"\n"
         "*FormatVersion: \"4.3\"\n"
         "*FileVersion: \"1.0\"\n"
         "*LanguageVersion: English\n"
         "*LanguageEncoding: ISOLatin1\n"
         "*PCFileName: \"TEST.PPD\"\n"
         "*Product: \"(Test Printer)\"\n"
         "*ModelName: \"Test 1\"\n"
         "*ShortNickName: \"Test 1\"\n"
         "*NickName: \"Test 1, for tests\"\n"
         "*PSVersion: \"(3010.000) 0\"\n"
         "*LanguageLevel: \"3\"\n";
}

std::string ppd_option(const std::string& keyword, const std::string& choice) {
  return "*OpenUI *" + keyword + "/A name: PickOne\n" +  //
         "*Default" + keyword + ": " + choice + "\n" +   //
         "*" + keyword + " " + choice + "/A choice: \"\"\n" + "*CloseUI: *" + keyword + "\n";
}

PpdFile::PpdFile(const std::string& text) {
  path_ = testing::TempDir() + "k905_ppd_XXXXXX";
  const int file = mkstemp(path_.data());
  EXPECT_GE(file, 0);
  close(file);
  std::ofstream(path_, std::ios::binary) << text;
}

PpdFile::~PpdFile() { unlink(path_.c_str()); }
