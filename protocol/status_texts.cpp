#include "protocol/status_texts.h"

#include <array>

namespace {

struct StatusText {
  int code;
  const char* text;
};

constexpr auto kStatusTexts = std::to_array<StatusText>({
    {0, "Idling"},
    {1, "Printing"},
    {500, "Head cooling down"},
    {510, "Cooling the paper winding motor"},
    {900, "Standby Mode"},
    {1000, "Cover is open"},
    {1010, "No Scrap box"},
    {1100, "Paper End"},
    {1200, "Ribbon End"},
    {1300, "Paper jam"},
    {1400, "Ribbon errors (detect error, ribbon break)"},
    {1500, "Paper Definition Error (The setting is different from printer setting)"},
    {1600, "Data error (improper data)"},
    {2000, "Head voltage error"},
    {2100, "Head position error"},
    {2200, "Power supply fan stopped"},
    {2300, "Cutter error (Cut jamming etc.)"},
    {2400, "Pinch roller position error"},
    {2500, "Abnormal head temperature"},
    {2600, "Abnormal media temperature"},
    {2610, "Abnormal temperature of paper winding motor"},
    {2700, "Ribbon tension error"},
    {2800, "RF-ID module error"},
    {3000, "System error"},
    {5017, "Paper jam in duplex unit paper supply"},
    {5019, "Paper jam in duplex unit upper paper feed area"},
    {5023, "Paper jam in area of duplex unit shell"},
    {5027, "Paper jam in area of duplex unit eject slot"},
    {5049, "Duplex unit paper delivery motor malfunction"},
    {5065, "Duplex unit reversing block (shell) internal feed motor malfunction"},
    {5081, "Duplex unit pinch malfunction"},
    {5097, "Duplex unit act pass guide malfunction"},
    {5113, "Duplex unit side guide malfunction"},
    {5129, "Duplex unit skew correction malfunction"},
    {5145, "Duplex unit reverse block (shell) malfunction"},
    {5161, "Duplex unit feed tray malfunction"},
    {5177, "Duplex unit cut operation malfunction"},
    {5193, "Duplex unit tray error"},
    {5209, "Duplex unit maintenance cover open"},
    {5241, "Duplex unit system error"},
});

}  // namespace

const char* status_text(int code) {
  for (const StatusText& status : kStatusTexts) {
    if (status.code == code) {
      return status.text;
    }
  }
  return "";
}
