#include "protocol/transport.h"
