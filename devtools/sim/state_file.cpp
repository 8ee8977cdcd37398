#include "devtools/sim/state_file.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

namespace {

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) {
    return "";
  }
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool is_blank_or_comment(const std::string& line) {
  const std::string text = trimmed(line);
  return text.empty() || text.front() == '#';
}

std::string key_of(const std::string& line) { return trimmed(line.substr(0, line.find('='))); }

std::string line_for(const PrinterState& state, const StateField& field) {
  return std::string(field.key) + " = " + field_text(state, field) + "\n";
}

std::optional<std::string> apply_line(const std::string& line, PrinterState& state) {
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos) {
    return "expected key = value";
  }
  const StateField* field = find_state_field(key_of(line));
  if (field == nullptr) {
    return "unknown key '" + key_of(line) + "'";
  }
  return set_field(state, *field, trimmed(line.substr(equals + 1)));
}

std::string text_of_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

std::optional<std::string> parse_state(const std::string& text, PrinterState& state) {
  PrinterState parsed = state;
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (is_blank_or_comment(line)) {
      continue;
    }
    if (const std::optional<std::string> problem = apply_line(line, parsed)) {
      return "line " + std::to_string(number) + ": " + *problem;
    }
  }
  state = parsed;
  return std::nullopt;
}

std::string update_state_text(const std::string& text, const PrinterState& state) {
  std::string updated;
  std::set<const StateField*> present;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const StateField* field = is_blank_or_comment(line) ? nullptr : find_state_field(key_of(line));
    if (field == nullptr) {
      updated += line + "\n";
    } else {
      present.insert(field);
      updated += line_for(state, *field);
    }
  }
  for (const StateField& field : state_fields()) {
    if (!present.contains(&field)) {
      updated += line_for(state, field);
    }
  }
  return updated;
}

std::optional<std::string> load_state(const std::string& path, PrinterState& state) {
  if (!std::filesystem::exists(path)) {
    return std::nullopt;
  }
  const std::optional<std::string> problem = parse_state(text_of_file(path), state);
  return problem ? std::optional(path + ", " + *problem) : std::nullopt;
}

std::optional<std::string> save_state(const std::string& path, const PrinterState& state) {
  if (path.empty()) {
    return std::nullopt;
  }
  const std::string new_path = path + ".new";
  {
    std::ofstream file(new_path, std::ios::binary | std::ios::trunc);
    file << update_state_text(text_of_file(path), state);
    if (!file.flush()) {
      return new_path + " cannot be written";
    }
  }
  std::error_code failure;
  std::filesystem::rename(new_path, path, failure);
  if (failure) {
    return path + " cannot be written: " + failure.message();
  }
  return std::nullopt;
}
