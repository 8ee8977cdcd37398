#include "protocol/controls.h"
