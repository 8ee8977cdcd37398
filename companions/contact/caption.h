// A few words under a picture, without a font of the system.
#pragma once

#include <string>

#include "companions/pictures/picture.h"

inline constexpr std::uint32_t kCaptionHeight = 7;  // of a line at scale 1, without space around it

// Draws the text in black at x, y (top left), every dot `scale` pixels wide; what does not fit on
// the 8-bit colour picture is cut. Letters are shown as capitals, unknown characters as blanks.
void draw_caption(Picture& picture, const std::string& text, std::uint32_t x, std::uint32_t y,
                  std::uint32_t scale);
