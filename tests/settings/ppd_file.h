// PPD files for tests, written as text.
#pragma once

#include <string>

// The lines every PPD begins with: product, no manufacturer, English.
std::string ppd_head();

// An option with its default choice and one choice of that name, as a UI block.
std::string ppd_option(const std::string& keyword, const std::string& choice);

// A temporary file that is removed with the object.
class PpdFile {
 public:
  explicit PpdFile(const std::string& text);
  ~PpdFile();
  PpdFile(const PpdFile&) = delete;
  PpdFile& operator=(const PpdFile&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};
