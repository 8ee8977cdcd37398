// What a job keeps from page to page.
#pragma once

#include <cups/raster.h>

#include "pipeline/icc_transform.h"
#include "pipeline/stages.h"

class PageMemory {
 public:
  PageStages stages;  // of the page built last: what its log said
  IccCache icc;       // the color transform, while the profiles stay the same

  // A page whose stages lack memory fails once its lines are read, and they are gone. Whoever wants
  // to try it again is told before the first one is read, and answers with the stream to read
  // instead, or null, logged, when there is none.
  cups_raster_t* (*before_lines_are_lost)(void* whose, cups_raster_t* raster) = nullptr;
  void* whose = nullptr;
};
