#include "diag/debug_image.h"
