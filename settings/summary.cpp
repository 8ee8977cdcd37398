#include "settings/summary.h"
