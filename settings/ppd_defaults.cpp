#include "settings/ppd_defaults.h"
