#include "protocol/status_query.h"
