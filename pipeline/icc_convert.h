// The conversion through ICC profiles: everything that touches Little CMS.
//
// Degrades, never fails: whatever goes wrong, the colours stay and the log says so.
#pragma once

#include <cstddef>
#include <cstdint>

struct PrintOptions;

// What may live from page to page: the transform, as long as profiles and intent stay the same.
class IccMemory;

class IccConversion {
 public:
  // To be worked out in icc_convert.cpp together with AdjustStage: prepare / row / report.
};
