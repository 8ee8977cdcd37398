#include "protocol/print_page.h"
