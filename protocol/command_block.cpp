#include "protocol/command_block.h"
