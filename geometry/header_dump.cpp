#include "geometry/header_dump.h"
