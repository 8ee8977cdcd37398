#include "apps/base/queue_ppd.h"

#include <unistd.h>

#include <fstream>
#include <iterator>

namespace k905 {

Ppd read_queue_ppd(http_t* http, const char* queue, std::string* text) {
  char path[1024] = "";
  time_t changed = 0;
  if (cupsGetPPD3(http, queue, &changed, path, sizeof path) != HTTP_STATUS_OK) {
    return nullptr;
  }
  if (text != nullptr) {
    std::ifstream file(path, std::ios::binary);
    text->assign(std::istreambuf_iterator<char>(file), {});
  }
  Ppd ppd(ppdOpenFile(path));
  unlink(path);
  return ppd;
}

std::string marked_choice(ppd_file_t& ppd, const std::string& keyword) {
  const ppd_choice_t* choice = ppdFindMarkedChoice(&ppd, keyword.c_str());
  // Marking a page size unmarks the page region and vice versa.
  if (choice == nullptr && keyword == "PageSize") {
    choice = ppdFindMarkedChoice(&ppd, "PageRegion");
  }
  return choice == nullptr ? "" : choice->choice;
}

std::string default_choice(ppd_file_t& ppd, const std::string& keyword) {
  const ppd_option_t* option = ppdFindOption(&ppd, keyword.c_str());
  return option == nullptr ? "" : option->defchoice;
}

void mark_finish(ppd_file_t& ppd, int count, cups_option_t* options) {
  const auto value = [&](const char* name) {
    const char* found = cupsGetOption(name, count, options);
    return std::string(found == nullptr ? "" : found);
  };
  if (!value("StpLaminate").empty()) {
    return;
  }
  std::string type = marked_choice(ppd, "MediaType");
  const std::string named = value("media-type");
  if (value("MediaType").empty() && !named.empty()) {
    type = named.find("matte") != std::string::npos   ? "Matte"
           : named.find("gloss") != std::string::npos ? "Glossy"
                                                      : type;
  }
  // Other types keep the finish of the queue.
  ppd_option_t* const finish = ppdFindOption(&ppd, "StpLaminate");
  if (finish != nullptr && ppdFindChoice(finish, type.c_str()) != nullptr) {
    ppdMarkOption(&ppd, "StpLaminate", type.c_str());
  }
}

}  // namespace k905
