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

}  // namespace k905
