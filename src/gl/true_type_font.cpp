#include "gl/true_type_font.h"

#include <algorithm>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include "gl/gl_picture.h"

namespace marvik {
namespace {

constexpr int kResolution = 96;  // pixels per inch; 8 points are then a 60th of 600 pixels
constexpr int kUnit = 64;        // of 26.6 numbers
// A glyph of more pixels to a side is not drawn.
constexpr FT_Pos kLargestGlyph = 8192;
constexpr int kStandardPoints = 8;
constexpr int kLargestStandardBitmap = 600;
constexpr float kLeastEmShare = 0.016666668f;

// To whole pixels, toward minus infinity.
constexpr int WholePixels(int64_t units) {
  return static_cast<int>((units - ((units % kUnit) + kUnit) % kUnit) / kUnit);
}

}  // namespace

TrueTypeFont::TrueTypeFont() = default;
TrueTypeFont::~TrueTypeFont() = default;

void TrueTypeFont::FaceDeleter::operator()(FT_FaceRec_* face) const {
  FT_Done_Face(face);
}

void TrueTypeFont::LibraryDeleter::operator()(FT_LibraryRec_* library) const {
  FT_Done_FreeType(library);
}

bool TrueTypeFont::openFont(const std::string& fileName, int pointSize) {
  face_.reset();
  cache_ = {};
  FT_Library library = nullptr;
  if (!library_ && FT_Init_FreeType(&library) == 0) library_.reset(library);
  FT_Face face = nullptr;
  if (!library_ || fileName.empty() || FT_New_Face(library_.get(), fileName.c_str(), 0, &face) != 0) return false;
  face_.reset(face);
  if (!FT_IS_SCALABLE(face) || FT_Select_Charmap(face, FT_ENCODING_UNICODE) != 0) {
    face_.reset();
    return false;
  }
  return setPointSize(pointSize);
}

bool TrueTypeFont::setPointSize(int pointSize) {
  if (!face_ || pointSize < 1 || pointSize > 0x7fffff) return false;
  if (FT_Set_Char_Size(face_.get(), 0, FT_F26Dot6{pointSize} * kUnit, kResolution, kResolution) != 0) {
    if (pointSize_ > 0) FT_Set_Char_Size(face_.get(), 0, FT_F26Dot6{pointSize_} * kUnit, kResolution, kResolution);
    return false;
  }
  pointSize_ = pointSize;
  cache_ = {};
  return true;
}

int TrueTypeFont::emHeightPixels() const {
  return static_cast<int>(int64_t{pointSize_} * kUnit * kResolution / 4608);
}

double TrueTypeFont::Ascent() const {
  return face_ ? static_cast<double>(face_->size->metrics.ascender) / kUnit : 0.0;
}

double TrueTypeFont::Descent() const {
  return face_ ? -static_cast<double>(face_->size->metrics.descender) / kUnit : 0.0;
}

const Glyph* TrueTypeFont::GlyphOf(unsigned char code) {
  if (!cache_.built[code]) {
    cache_.glyphs[code] = BuildGlyph(code);
    cache_.built[code] = true;
  }
  return cache_.glyphs[code] ? &*cache_.glyphs[code] : nullptr;
}

std::optional<Glyph> TrueTypeFont::BuildGlyph(unsigned char code) const {
  const unsigned index = face_ ? FT_Get_Char_Index(face_.get(), code) : 0;
  if (index == 0 || FT_Load_Glyph(face_.get(), index, FT_LOAD_NO_BITMAP | FT_LOAD_TARGET_MONO) != 0) return {};
  const FT_GlyphSlot slot = face_->glyph;
  Glyph glyph;
  glyph.advance = static_cast<int32_t>(slot->advance.x);
  if (slot->format != FT_GLYPH_FORMAT_OUTLINE) return glyph;
  FT_BBox box;
  FT_Outline_Get_CBox(&slot->outline, &box);
  box.xMin &= -kUnit;
  box.yMin &= -kUnit;
  const FT_Pos width = (box.xMax - box.xMin + kUnit - 1) / kUnit;
  const FT_Pos height = (box.yMax - box.yMin + kUnit - 1) / kUnit;
  if (width <= 0 || height <= 0 || width > kLargestGlyph || height > kLargestGlyph) return glyph;
  glyph.width = static_cast<uint32_t>(width);
  glyph.height = static_cast<uint32_t>(height);
  glyph.bytesPerRow = (glyph.width + 7) / 8;
  glyph.bitmap.assign(size_t{glyph.bytesPerRow} * glyph.height, 0);
  glyph.originX = static_cast<int32_t>(box.xMin);
  glyph.originY = static_cast<int32_t>(box.yMin);
  FT_Bitmap bitmap{};
  bitmap.rows = glyph.height;
  bitmap.width = glyph.width;
  bitmap.pitch = static_cast<int>(glyph.bytesPerRow);
  bitmap.buffer = glyph.bitmap.data();
  bitmap.pixel_mode = FT_PIXEL_MODE_MONO;
  FT_Outline_Translate(&slot->outline, -box.xMin, -box.yMin);
  if (FT_Outline_Get_Bitmap(library_.get(), &slot->outline, &bitmap) != 0) glyph.bitmap.clear();
  return glyph;
}

double TrueTypeFont::Width(std::string_view text) {
  int64_t width = 0;
  for (const char c : text) {
    if (const Glyph* glyph = GlyphOf(static_cast<unsigned char>(c))) width += glyph->advance;
  }
  return static_cast<double>(width) / kUnit;
}

void TrueTypeFont::drawText(Image& image, int x, int y, std::string_view text, Rgb colour) {
  const uint32_t ink = PixelOf(colour);
  int64_t penX = int64_t{x} * kUnit;
  const int64_t penY = -int64_t{y} * kUnit;
  for (const char c : text) {
    const Glyph* glyph = GlyphOf(static_cast<unsigned char>(c));
    if (!glyph) continue;
    if (!glyph->bitmap.empty()) {
      const int left = WholePixels(penX + glyph->originX);
      const int top = -WholePixels(penY + glyph->originY) - static_cast<int>(glyph->height) + 1;
      const int right = std::min(static_cast<int>(glyph->width), image.width - left);
      const int bottom = std::min(static_cast<int>(glyph->height), image.height - top);
      for (int row = std::max(0, -top); row < bottom; ++row) {
        for (int column = std::max(0, -left); column < right; ++column) {
          if (glyph->Has(static_cast<uint32_t>(column), static_cast<uint32_t>(row)))
            image.At(left + column, top + row) = ink;
        }
      }
    }
    penX += glyph->advance;
  }
}

int properPointSize(const std::string& fontFile, int bitmapSize) {
  TrueTypeFont font;
  if (bitmapSize <= kLargestStandardBitmap || !font.openFont(fontFile, kStandardPoints)) return kStandardPoints;
  for (int points = kStandardPoints; font.setPointSize(points); ++points) {
    if (static_cast<float>(font.emHeightPixels()) / static_cast<float>(bitmapSize) >= kLeastEmShare) break;
  }
  return font.PointSize();
}

}  // namespace marvik
