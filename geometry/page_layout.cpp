#include "geometry/page_layout.h"
