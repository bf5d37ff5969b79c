#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "draw/canvas/image.h"

struct FT_FaceRec_;
struct FT_LibraryRec_;

namespace marvik {

// A character as one-bit pixels. Offsets and advance are 26.6 fixed point, that is 64ths of a pixel.
struct Glyph {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t bytesPerRow = 0;
  std::vector<uint8_t> bitmap;  // rows from the top, the leftmost pixel in the highest bit; empty without any area
  int32_t originX = 0;          // of its lower left corner from the pen, multiples of 64
  int32_t originY = 0;
  int32_t advance = 0;

  bool Has(uint32_t x, uint32_t y) const { return (bitmap[y * bytesPerRow + x / 8] >> (7 - x % 8) & 1) != 0; }
};

// Glyphs by 8-bit character code, kept until the size of the font changes.
struct GlyphCache {
  std::array<std::optional<Glyph>, 256> glyphs;
  std::array<bool, 256> built{};  // looked for, though the face may have had none
};

// The labels' face at one size. 8-bit codes are Latin-1 characters; the resolution is 96 pixels per inch.
class TrueTypeFont {
 public:
  TrueTypeFont();
  ~TrueTypeFont();
  TrueTypeFont(const TrueTypeFont&) = delete;
  TrueTypeFont& operator=(const TrueTypeFont&) = delete;

  // False when the file cannot be read, holds no scalable face, or cannot be had at that size. IsOpen tells which.
  bool openFont(const std::string& fileName, int pointSize);
  bool IsOpen() const { return face_ != nullptr; }
  // Drops the glyphs; false, with the old size kept, when the face cannot be had at the new one.
  bool setPointSize(int pointSize);
  int PointSize() const { return pointSize_; }
  // Point size (26.6) times resolution over 4608: the em's height in whole pixels.
  int emHeightPixels() const;
  // Pixels that a line of text takes above and below its base line, both positive.
  double Ascent() const;
  double Descent() const;
  double Width(std::string_view text);

  // Paints a text whose pen starts at pixel (x, y) of its base line; y counts rows from the picture's top, as in the
  // image. What lies outside the picture is cut off. Characters that the face lacks are skipped.
  void drawText(Image& image, int x, int y, std::string_view text, Rgb colour);

 private:
  const Glyph* GlyphOf(unsigned char code);
  std::optional<Glyph> BuildGlyph(unsigned char code) const;

  struct FaceDeleter {
    void operator()(FT_FaceRec_* face) const;
  };
  struct LibraryDeleter {
    void operator()(FT_LibraryRec_* library) const;
  };
  std::unique_ptr<FT_LibraryRec_, LibraryDeleter> library_;
  std::unique_ptr<FT_FaceRec_, FaceDeleter> face_;
  int pointSize_ = 0;
  GlyphCache cache_;
};

}  // namespace marvik
