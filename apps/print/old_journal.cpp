// A line of text for each photo, after a first line that identifies the format:
//
//   taken HASH SIZE MODIFIED NAME
//   begun HASH SIZE MODIFIED NAME JOB TITLE
//
// Names and titles have %XX for every byte that is not a plain letter.
#include "apps/print/old_journal.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

namespace k905 {

namespace {

constexpr char kFirstLine[] = "k905-print journal 1";

template <typename Number>
bool parse(const std::string& text, Number& number, int base = 10) {
  const char* end = text.data() + text.size();
  const auto [rest, problem] = std::from_chars(text.data(), end, number, base);
  return problem == std::errc() && rest == end;
}

bool unescape(const std::string& escaped, std::string& text) {
  text.clear();
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] != '%') {
      text += escaped[i];
      continue;
    }
    unsigned byte = 0;
    if (i + 2 >= escaped.size() || !parse(escaped.substr(i + 1, 2), byte, 16)) {
      return false;
    }
    text += static_cast<char>(byte);
    i += 2;
  }
  return !text.empty();
}

bool parse_line(const std::string& line, Ledger::Earlier& photo) {
  std::istringstream words_of(line);
  std::vector<std::string> words;
  for (std::string word; words_of >> word;) {
    words.push_back(word);
  }
  const bool begun = !words.empty() && words[0] == "begun";
  // It is unknown whether a job that was begun came out; it is not printed again.
  photo.outcome = begun ? Outcome::in_doubt : Outcome::printed;
  // The time is not used: the bytes of the file are compared when it is seen again.
  return words.size() == (begun ? 7U : 5U) && (begun || words[0] == "taken") &&
         parse(words[1], photo.file.content.hash, 16) && parse(words[2], photo.file.content.size) &&
         unescape(words[4], photo.name);
}

}  // namespace

bool is_old_journal(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string line;
  return std::getline(file, line) && line == kFirstLine;
}

bool import_old_journal(const std::string& path, const std::string& folder, Ledger& ledger,
                        std::string& error) {
  if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
    return true;
  }
  std::ifstream file(path, std::ios::binary);
  std::string line;
  bool valid = std::getline(file, line) && line == kFirstLine;
  std::vector<Ledger::Earlier> photos;
  while (valid && std::getline(file, line)) {
    valid = parse_line(line, photos.emplace_back());
  }
  if (!valid) {
    error = path + ": not a journal of k905-print; move it away to print without it";
    return false;
  }
  ledger.add_earlier(folder, photos, "from the journal of an earlier version");
  if (std::rename(path.c_str(), (path + ".imported").c_str()) != 0) {
    error = path + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace k905
