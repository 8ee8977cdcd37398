#include "settings/option_values.h"
