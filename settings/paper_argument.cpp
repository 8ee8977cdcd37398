#include "settings/paper_argument.h"
