#include "settings/job_arguments.h"
