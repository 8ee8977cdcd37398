#include "geometry/paper_table.h"
