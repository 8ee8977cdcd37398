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
  // Marking a page size unmarks the page region, and the other way round.
  if (choice == nullptr && keyword == "PageSize") {
    choice = ppdFindMarkedChoice(&ppd, "PageRegion");
  }
  return choice == nullptr ? "" : choice->choice;
}

std::string default_choice(ppd_file_t& ppd, const std::string& keyword) {
  const ppd_option_t* option = ppdFindOption(&ppd, keyword.c_str());
  return option == nullptr ? "" : option->defchoice;
}

}  // namespace k905
