#include "protocol/status_texts.h"
