#include "geometry/page_header.h"
