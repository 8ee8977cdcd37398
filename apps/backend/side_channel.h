// The side channel, on which the filters of a job send requests to the backend. The scheduler opens
// it.
#pragma once

#include <functional>
#include <string>

namespace k905::backend {

// The channel's descriptor, -1 when there is none. To be called before any file is opened.
[[nodiscard]] int find_side_channel();

// Reads a request and answers it. The only supported request is for the name of the loaded media.
// `loaded_media` returns "" as long as the printer cannot be asked: the request then fails, and the
// filter asks again. False if no more requests will come.
[[nodiscard]] bool answer_request(const std::function<std::string()>& loaded_media);

}  // namespace k905::backend
