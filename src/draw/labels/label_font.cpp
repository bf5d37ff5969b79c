#include "draw/labels/label_font.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <fstream>

#include "base/files.h"
#include "draw/labels/bitmap_font.h"
#include "draw/labels/fontconfig_calls.h"

namespace marvik {

namespace {

constexpr double kSmallestPixels = 4.0;
constexpr double kLargestPixels = 1000.0;

// Reading fontconfig's set-up costs a good part of a short run, so the usual places are tried first. Faces with the
// widths of Arial come before others.
constexpr const char* kFontFiles[] = {
    "/usr/share/fonts/truetype/msttcorefonts/Arial.ttf",
    "/usr/share/fonts/truetype/msttcorefonts/arial.ttf",
    "/System/Library/Fonts/Supplemental/Arial.ttf",
    "/Library/Fonts/Arial.ttf",
    "/usr/share/fonts/truetype/liberation/LiberationSans-Regular.ttf",
    "/usr/share/fonts/truetype/liberation2/LiberationSans-Regular.ttf",
    "/usr/share/fonts/liberation-sans/LiberationSans-Regular.ttf",
    "/usr/share/fonts/liberation-sans-fonts/LiberationSans-Regular.ttf",
    "/usr/share/fonts/liberation/LiberationSans-Regular.ttf",
    "/usr/share/fonts/truetype/croscore/Arimo-Regular.ttf",
    "/usr/share/fonts/opentype/urw-base35/NimbusSans-Regular.otf",
    "/usr/share/fonts/urw-base35/NimbusSans-Regular.otf",
    "/usr/share/fonts/gsfonts/NimbusSans-Regular.otf",
    "/usr/share/fonts/truetype/freefont/FreeSans.ttf",
    "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
    "/usr/share/fonts/dejavu-sans-fonts/DejaVuSans.ttf",
    "/usr/share/fonts/dejavu/DejaVuSans.ttf",
    "/usr/share/fonts/TTF/DejaVuSans.ttf",
    "/usr/share/fonts/truetype/noto/NotoSans-Regular.ttf",
    "/usr/share/fonts/noto/NotoSans-Regular.ttf",
};

bool IsReadable(const std::string& path) {
  return std::ifstream(path, std::ios::binary).good();
}

// With a configuration of its own, so that nothing is shared with other users of fontconfig in the process.
std::string FileFromFontconfig() {
  std::string found;
  if (!LoadFontconfigCalls()) return found;
  FcConfig* config = FcInitLoadConfigAndFonts();
  if (!config) return found;
  FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>("Arial:scalable=true:weight=80:slant=0"));
  if (pattern && FcConfigSubstitute(config, pattern, FcMatchPattern)) {
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    if (FcPattern* match = FcFontMatch(config, pattern, &result)) {
      FcChar8* file = nullptr;
      if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch) found = reinterpret_cast<const char*>(file);
      FcPatternDestroy(match);
    }
  }
  if (pattern) FcPatternDestroy(pattern);
  FcConfigDestroy(config);
  return IsReadable(found) ? found : std::string();
}

}  // namespace

std::string FindSansFontFile() {
  if (const auto windows = EnvironmentValue("windir")) {
    const std::string arial = *windows + "\\Fonts\\arial.ttf";
    if (IsReadable(arial)) return arial;
  }
  for (const char* file : kFontFiles) {
    if (IsReadable(file)) return file;
  }
  return FileFromFontconfig();
}

char32_t TakeCharacter(std::string_view& text) {
  if (text.empty()) return 0;
  const auto byteAt = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byteAt(0);
  const size_t length = lead < 0x80 ? 1 : lead >= 0xf0 && lead < 0xf5 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc2 ? 2 : 0;
  char32_t character = length == 1 ? lead : lead & (0x7fu >> length);
  bool valid = length > 0 && lead < 0xf5 && length <= text.size() && lead != 0;
  for (size_t i = 1; valid && i < length; ++i) {
    valid = (byteAt(i) & 0xc0u) == 0x80u;
    character = character << 6 | (byteAt(i) & 0x3fu);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = character >= 0xd800 && character < 0xe000;
  if (!valid || character < kSmallest[length] || character > 0x10ffff || surrogate) {
    text.remove_prefix(1);
    return U'?';
  }
  text.remove_prefix(length);
  return character;
}

void LabelFont::FaceDeleter::operator()(FT_FaceRec_* face) const {
  FT_Done_Face(face);
}

void LabelFont::LibraryDeleter::operator()(FT_LibraryRec_* library) const {
  FT_Done_FreeType(library);
}

LabelFont::LabelFont(double pixels, const std::string& file) : file_(file) {
  FT_Library library = nullptr;
  FT_Face face = nullptr;
  if (!file.empty() && FT_Init_FreeType(&library) == 0) {
    library_.reset(library);
    if (FT_New_Face(library, file.c_str(), 0, &face) == 0) face_.reset(face);
    if (face_ && (!FT_IS_SCALABLE(face) || FT_Select_Charmap(face, FT_ENCODING_UNICODE) != 0)) face_.reset();
  }
  SetPixels(pixels);
}

LabelFont::~LabelFont() = default;

void LabelFont::SetPixels(double pixels) {
  pixels_ = pixels > kSmallestPixels ? std::min(pixels, kLargestPixels) : kSmallestPixels;
  ascii_ = {};
  others_.clear();
  shifted_.reset();
  if (face_ && FT_Set_Char_Size(face_.get(), 0, std::lround(pixels_ * 64.0), 72, 72) != 0) face_.reset();
  if (face_) {
    ascent_ = static_cast<double>(face_->size->metrics.ascender) / 64.0;
    descent_ = -static_cast<double>(face_->size->metrics.descender) / 64.0;
    return;
  }
  // Seven rows look like the capitals of a face whose em is ten.
  bitmapScale_ = std::max(1, static_cast<int>(std::lround(pixels_ / 10.0)));
  ascent_ = (kBitmapRows + 1) * bitmapScale_;
  descent_ = 2 * bitmapScale_;
}

const LabelFont::Glyph& LabelFont::GlyphOf(char32_t character) {
  if (character < ascii_.size()) {
    auto& slot = ascii_[character];
    if (!slot) slot = std::make_unique<Glyph>(MakeGlyph(character));
    return *slot;
  }
  const auto found = others_.find(character);
  if (found != others_.end()) return found->second;
  return others_.emplace(character, MakeGlyph(character)).first->second;
}

LabelFont::Glyph LabelFont::MakeGlyph(char32_t character) const {
  // A prime, a double prime and a minus.
  static constexpr std::pair<char32_t, char32_t> kAlike[] = {{0x2032, U'\''}, {0x2033, U'"'}, {0x2212, U'-'}};
  const unsigned index = face_ ? FT_Get_Char_Index(face_.get(), character) : 0;
  for (const auto& [missing, other] : kAlike)
    if (index == 0 && character == missing) return MakeGlyph(other);
  if (!face_) return MakeBitmapGlyph(character);
  return MakeFaceGlyph(index != 0 ? index : FT_Get_Char_Index(face_.get(), U'?'));
}

LabelFont::Glyph LabelFont::MakeFaceGlyph(unsigned index) const {
  Glyph glyph;
  if (FT_Load_Glyph(face_.get(), index, FT_LOAD_RENDER | FT_LOAD_TARGET_LIGHT) != 0) return glyph;
  const FT_GlyphSlot slot = face_->glyph;
  glyph.advance = static_cast<double>(slot->advance.x) / 64.0;
  const FT_Bitmap& bitmap = slot->bitmap;
  if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY || !bitmap.buffer) return glyph;
  glyph.left = slot->bitmap_left;
  glyph.top = slot->bitmap_top;
  glyph.width = static_cast<int>(bitmap.width);
  glyph.height = static_cast<int>(bitmap.rows);
  glyph.cover.reserve(size_t{bitmap.width} * bitmap.rows);
  for (unsigned y = 0; y < bitmap.rows; ++y) {
    const unsigned char* row = bitmap.buffer + static_cast<ptrdiff_t>(y) * bitmap.pitch;
    glyph.cover.insert(glyph.cover.end(), row, row + bitmap.width);
  }
  return glyph;
}

LabelFont::Glyph LabelFont::MakeBitmapGlyph(char32_t character) const {
  const bool known = character >= kBitmapFirst && character < kBitmapFirst + kBitmapCount;
  const auto& columns = kBitmapLetters[(known ? character : U'?') - kBitmapFirst];
  Glyph glyph;
  glyph.top = kBitmapRows * bitmapScale_;
  glyph.width = kBitmapColumns * bitmapScale_;
  glyph.height = kBitmapRows * bitmapScale_;
  glyph.advance = (kBitmapColumns + 1) * bitmapScale_;
  for (int y = 0; y < glyph.height; ++y) {
    for (int x = 0; x < glyph.width; ++x) {
      const unsigned column = columns[static_cast<size_t>(x / bitmapScale_)];
      glyph.cover.push_back(column >> (y / bitmapScale_) & 1 ? 255 : 0);
    }
  }
  return glyph;
}

LabelFont& LabelFont::Shifted() {
  if (!shifted_) shifted_ = std::make_unique<LabelFont>(pixels_ * kShiftedSize, file_);
  return *shifted_;
}

double LabelFont::Width(std::string_view utf8, const TextShift& shift) {
  double width = 0.0;
  for (const TextRun& run : RunsOf(utf8, shift)) {
    if (!run.text.empty()) width += WidthOf(run);
  }
  return width;
}

double LabelFont::WidthOfPlain(std::string_view utf8) {
  double width = 0.0;
  while (const char32_t character = TakeCharacter(utf8)) width += GlyphOf(character).advance;
  return width;
}

}  // namespace marvik
