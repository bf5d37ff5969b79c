#include "draw/labels/text_drawing.h"

#include <algorithm>
#include <cmath>

namespace marvik {
namespace {

constexpr int kWidestRim = 24;  // pixels

// Of pixels that are not premultiplied.
uint32_t InkOver(uint32_t under, uint32_t ink, unsigned cover) {
  const unsigned below = under >> 24;
  if (below == 255) return BlendPixel(under, ink, cover);
  const unsigned kept = (255 - cover) * below / 255;
  const unsigned alpha = cover + kept;
  if (alpha == 0) return 0;
  uint32_t pixel = alpha << 24;
  for (int shift = 0; shift < 24; shift += 8)
    pixel |= ((ink >> shift & 255) * cover + (under >> shift & 255) * kept) / alpha << shift;
  return pixel;
}

// Where the pen stands behind the text.
double DrawRun(const Surface& surface, LabelFont& font, CanvasPoint base, std::string_view text, uint32_t ink) {
  const int line = PixelHolding(base.y);
  double pen = base.x;
  while (const char32_t character = TakeCharacter(text)) {
    const LabelFont::Glyph& glyph = font.GlyphOf(character);
    const int left = PixelHolding(pen) + glyph.left;
    const int top = line - glyph.top;
    pen += glyph.advance;
    const int x0 = std::max(0, -left);
    const int x1 = std::min(glyph.width, surface.width - left);
    const int y1 = std::min(glyph.height, surface.height - top);
    for (int y = std::max(0, -top); y < y1; ++y) {
      const uint8_t* cover = glyph.cover.data() + ptrdiff_t{y} * glyph.width;
      uint32_t* row = surface.Row(top + y) + left;
      for (int x = x0; x < x1; ++x) {
        if (cover[x]) row[x] = InkOver(row[x], ink, cover[x]);
      }
    }
  }
  return pen;
}

void DrawRuns(const Surface& surface, LabelFont& font, CanvasPoint base, std::string_view text, const TextShift& shift,
              Rgb colour) {
  double pen = base.x;
  for (const TextRun& run : RunsOf(text, shift)) {
    if (run.text.empty()) continue;
    LabelFont& sized = run.shifted ? font.Shifted() : font;
    pen = DrawRun(surface, sized, {pen, base.y + run.down * font.Pixels()}, run.text, PixelOf(colour));
  }
}

}  // namespace

void DrawText(const Surface& surface, LabelFont& font, CanvasPoint base, std::string_view text, const TextLook& look) {
  if (!(std::abs(base.x) <= kFarthest) || !(std::abs(base.y) <= kFarthest)) return;
  const int rim = look.rim > 0.0 ? std::clamp(static_cast<int>(std::lround(look.rim)), 1, kWidestRim) : 0;
  for (int dy = -rim; dy <= rim; ++dy) {
    for (int dx = -rim; dx <= rim; ++dx) {
      if ((dx != 0 || dy != 0) && dx * dx + dy * dy <= rim * rim + 1)
        DrawRuns(surface, font, {base.x + dx, base.y + dy}, text, look.shift, look.rimColour);
    }
  }
  DrawRuns(surface, font, base, text, look.shift, look.colour);
}

}  // namespace marvik
