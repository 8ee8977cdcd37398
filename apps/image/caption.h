// A few words under a picture, without a font of the system.
#pragma once

#include <string>

#include "apps/image/picture.h"

// At scale 1: the height of a line without space around it, and from one letter to the next.
inline constexpr std::uint32_t kCaptionHeight = 7;
inline constexpr std::uint32_t kCaptionAdvance = 6;

// Draws the text in black at x, y (top left), every dot `scale` pixels wide; what does not fit on
// the 8-bit colour picture is cut. Letters are shown as capitals, unknown characters as blanks.
void draw_caption(Picture& picture, const std::string& text, std::uint32_t x, std::uint32_t y,
                  std::uint32_t scale);
