// What a job keeps from page to page.
#pragma once

#include "pipeline/icc_convert.h"
#include "pipeline/stages.h"

class PageMemory {
 public:
  PageStages stages;  // of the page built last: what its log said
  IccMemory icc;      // the colour transform, while the profiles stay the same
};
