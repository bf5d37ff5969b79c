#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "draw/canvas/canvas.h"

struct FT_FaceRec_;
struct FT_LibraryRec_;

namespace marvik {

// The file of a sans-serif face for labels: the first found of a short list of faces with the widths of Arial, then of
// other common ones, in the folders where systems keep their fonts; then whatever fontconfig offers. Empty when there
// is none.
std::string FindSansFontFile();

// Takes the first character off a UTF-8 text; a byte that is not part of one gives '?'. 0 at the end.
char32_t TakeCharacter(std::string_view& text);

// Anti-aliased glyphs of one face at one size, kept as they are first used. For one thread at a time; any number of
// instances may live side by side.
class LabelFont {
 public:
  // `pixels` is the size of the em, cut to 4..1000. A file that is no font gives the built-in bitmap letters.
  explicit LabelFont(double pixels) : LabelFont(pixels, FindSansFontFile()) {}
  LabelFont(double pixels, const std::string& file);
  ~LabelFont();
  LabelFont(const LabelFont&) = delete;
  LabelFont& operator=(const LabelFont&) = delete;

  struct Glyph {
    int left = 0;  // first column, counted from the pen
    int top = 0;   // rows above the base line
    int width = 0;
    int height = 0;
    double advance = 0.0;
    std::vector<uint8_t> cover;  // rows from the top, 0..255
  };
  // A character that the face lacks looks like '?'.
  const Glyph& GlyphOf(char32_t character);

  double Pixels() const { return pixels_; }
  void SetPixels(double pixels);
  bool IsBuiltIn() const { return face_ == nullptr; }
  // Pixels above and below the base line that a line of text takes, both positive.
  double Ascent() const { return ascent_; }
  double Descent() const { return descent_; }
  double Width(std::string_view utf8, const TextShift& shift = {});
  double WidthOf(const TextRun& run) { return (run.shifted ? Shifted() : *this).WidthOfPlain(run.text); }
  // The same face in the size of subscripts and superscripts.
  LabelFont& Shifted();

 private:
  struct FaceDeleter {
    void operator()(FT_FaceRec_* face) const;
  };
  struct LibraryDeleter {
    void operator()(FT_LibraryRec_* library) const;
  };
  double WidthOfPlain(std::string_view utf8);
  Glyph MakeGlyph(char32_t character) const;
  Glyph MakeFaceGlyph(unsigned index) const;
  Glyph MakeBitmapGlyph(char32_t character) const;

  double pixels_ = 12.0;
  double ascent_ = 0.0;
  double descent_ = 0.0;
  int bitmapScale_ = 1;  // of the built-in letters
  std::unique_ptr<FT_LibraryRec_, LibraryDeleter> library_;
  std::unique_ptr<FT_FaceRec_, FaceDeleter> face_;
  std::array<std::unique_ptr<Glyph>, 128> ascii_;
  std::unordered_map<char32_t, Glyph> others_;
  std::string file_;
  std::unique_ptr<LabelFont> shifted_;  // made when it is needed
};

}  // namespace marvik
