#include "apps/backend/side_channel.h"

#include <cups/sidechannel.h>
#include <sys/stat.h>

#include <algorithm>
#include <string_view>

#include "apps/base/media_question.h"

namespace k905::backend {

namespace {

constexpr double kTimeoutS = 1.0;

}  // namespace

int find_side_channel() {
  struct stat status {};
  return fstat(kSideChannel, &status) == 0 && S_ISSOCK(status.st_mode) ? kSideChannel : -1;
}

bool answer_request(const std::function<std::string()>& loaded_media) {
  cups_sc_command_t command = CUPS_SC_CMD_NONE;
  cups_sc_status_t status = CUPS_SC_STATUS_NOT_IMPLEMENTED;
  char request[2048];
  int size = sizeof request;
  if (cupsSideChannelRead(&command, &status, request, &size, kTimeoutS) != 0) {
    return false;
  }
  std::string reply;
  status = CUPS_SC_STATUS_NOT_IMPLEMENTED;
  const std::string_view asked(request, static_cast<std::size_t>(std::max(size, 0)));
  if (command == CUPS_SC_CMD_SNMP_GET &&
      asked == std::string_view(kMediaNameOid, sizeof kMediaNameOid)) {
    const std::string media = loaded_media();
    status = media.empty() ? CUPS_SC_STATUS_IO_ERROR : CUPS_SC_STATUS_OK;
    reply = std::string(asked) + media;
  }
  return cupsSideChannelWrite(command, status, reply.data(),
                              status == CUPS_SC_STATUS_OK ? static_cast<int>(reply.size()) : 0,
                              kTimeoutS) == 0;
}

}  // namespace k905::backend
