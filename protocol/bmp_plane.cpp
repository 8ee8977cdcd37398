#include "protocol/bmp_plane.h"
