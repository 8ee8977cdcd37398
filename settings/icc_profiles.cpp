#include "settings/icc_profiles.h"
