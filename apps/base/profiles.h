// Color profiles of the printer: finds the file of a profile, and the profile for a paper and a
// finish.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace k905 {

// The file of a profile named by path or by a name in one of the filter's profile folders; "" when
// there is none. `working_folder` is the filter's, with a slash at its end.
[[nodiscard]] std::string find_profile_file(const std::string& name,
                                            const std::string& working_folder = "./");

// The table that ICCProfile=ByPaper selects, in one of the profile folders. A line has a paper by
// any usual name, a finish and a profile by name, separated by blanks; "*" is any paper or finish,
// "None" no conversion. Text after a "#" is a comment. The first line that matches is used.
inline constexpr char kProfileTable[] = "k905-profiles.txt";

struct PaperProfile {
  std::string paper;  // PageSize name, or "*"
  std::string finish;
  std::string profile;
};

// All lines of the table. Null with the reason in `error` when one is malformed.
[[nodiscard]] std::optional<std::vector<PaperProfile>> read_profile_table(const std::string& path,
                                                                          std::string& error);

// The profile for that paper, cut or not, and finish; "None" if no line matches. Null with the
// reason in `error` if the table cannot be used or the profile has no file: the sheet would have
// wrong colors.
[[nodiscard]] std::optional<std::string> profile_by_paper(const std::string& page_size,
                                                          const std::string& finish,
                                                          std::string& error);

}  // namespace k905
