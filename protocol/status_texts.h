// What the printer's status codes mean.
#pragma once

// The text for a status code, "" for a code that is not known. Never null; not to be freed.
[[nodiscard]] const char* status_text(int code);
