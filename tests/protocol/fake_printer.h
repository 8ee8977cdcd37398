// A printer on a pseudo-terminal that gives replies from a list.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// The 32-byte blocks it reads are recorded as "GROUP NAME" ("STATUS" alone if there is no name).
// The reply is sent byte for byte as it is in the list, including line ends; a question that is not
// in the list gets no reply, which costs the test a timeout of seconds.
class FakePrinter {
 public:
  explicit FakePrinter(std::map<std::string, std::string> answers);
  ~FakePrinter();
  FakePrinter(const FakePrinter&) = delete;
  FakePrinter& operator=(const FakePrinter&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

  // The questions so far, and the raw blocks.
  [[nodiscard]] std::vector<std::string> questions() const;
  [[nodiscard]] std::vector<std::string> blocks() const;

 private:
  void serve();

  std::map<std::string, std::string> answers_;
  std::string path_;
  int master_ = -1;
  int slave_ = -1;  // kept open, so that the terminal stays raw and never hangs up
  int stop_[2] = {-1, -1};
  mutable std::mutex lock_;
  std::vector<std::string> questions_;
  std::vector<std::string> blocks_;
  std::thread thread_;
};

// A K905 with paper; every reply has the length of a real one.
std::map<std::string, std::string> answers_of_a_k905();
