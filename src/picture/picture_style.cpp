#include "picture/picture_style.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "base/words.h"
#include "model/element_table.h"

namespace marvik {
namespace {

constexpr std::string_view kHead = "Marvik picture style ";
constexpr int kVersion = 1;
constexpr std::string_view kNone = "none";
constexpr char kOffOn[] = "off|on";
constexpr size_t kLongestShown = 60;

template <bool RenderOptions::*flag>
constexpr StyleField LookFlag(const char* key, const char* caption) {
  return {key,
          caption,
          kOffOn,
          0.0,
          -1.0,
          [](const PictureStyle& s) { return s.look.*flag ? 1.0 : 0.0; },
          [](PictureStyle& s, double v) { s.look.*flag = v > 0.0; }};
}
template <bool FigureChoices::*flag>
constexpr StyleField FigureFlag(const char* key, const char* caption, const char* words = kOffOn) {
  return {key,
          caption,
          words,
          0.0,
          -1.0,
          [](const PictureStyle& s) { return s.look.figure.*flag ? 1.0 : 0.0; },
          [](PictureStyle& s, double v) { s.look.figure.*flag = v > 0.0; }};
}
template <bool PictureOptions::*flag>
constexpr StyleField FileFlag(const char* key, const char* caption, const char* words = kOffOn) {
  return {key,
          caption,
          words,
          0.0,
          -1.0,
          [](const PictureStyle& s) { return s.picture.*flag ? 1.0 : 0.0; },
          [](PictureStyle& s, double v) { s.picture.*flag = v > 0.0; }};
}
template <double RenderOptions::*number>
constexpr StyleField LookNumber(const char* key, const char* caption, double low, double high) {
  return {key,
          caption,
          "",
          low,
          high,
          [](const PictureStyle& s) { return s.look.*number; },
          [](PictureStyle& s, double v) { s.look.*number = v; }};
}

constexpr StyleField kFields[] = {
    {"rendition", "Rendition", "wire|ball|ellipsoid|pipes|lit", 0.0, -1.0,
     [](const PictureStyle& s) -> double { return s.look.mode; },
     [](PictureStyle& s, double v) { s.look.mode = static_cast<int>(v); }},
    {"look", "Look", "dark|light|paper|classic", 0.0, -1.0,
     [](const PictureStyle& s) -> double { return static_cast<int>(s.look.look); },
     [](PictureStyle& s, double v) { s.look.look = static_cast<Look>(v); }},
    LookFlag<&RenderOptions::safeColours>("safe-colours", "Colours for colour-blind eyes"),
    {"colour-by", "What atoms are coloured by", "element|part|u|occupancy|charge", 0.0, -1.0,
     [](const PictureStyle& s) -> double { return static_cast<int>(s.look.figure.colourBy); },
     [](PictureStyle& s, double v) { s.look.figure.colourBy = static_cast<ColourBy>(v); }},
    LookNumber<&RenderOptions::probability>("probability", "Of ellipsoids", 0.001, 1.0),
    FigureFlag<&FigureChoices::hydrogensByU>("hydrogens", "Hydrogens among ellipsoids", "small|u"),
    {"polyhedra", "Elements with a polyhedron, such as Ti,Si, or none", ""},
    LookFlag<&RenderOptions::labels>("labels", "Labels"),
    LookFlag<&RenderOptions::hydrogenLabels>("hydrogen-labels", "Labels of hydrogens"),
    LookFlag<&RenderOptions::hybridLabelColoration>("hybrid-colours", "Labels coloured by hybridization"),
    {"label-form", "Form of labels", "plain|parentheses|subscript", 0.0, -1.0,
     [](const PictureStyle& s) -> double { return static_cast<int>(s.look.labelForm); },
     [](PictureStyle& s, double v) { s.look.labelForm = static_cast<LabelForm>(v); }},
    LookNumber<&RenderOptions::labelPoints>("label-size", "Points", 6.0, 36.0),
    FigureFlag<&FigureChoices::hydrogenBonds>("hydrogen-bonds", "Dashed hydrogen bonds"),
    FigureFlag<&FigureChoices::shortContacts>("short-contacts", "Dashed short contacts"),
    FigureFlag<&FigureChoices::measures>("measurements", "Distances and angles that the file keeps"),
    FigureFlag<&FigureChoices::planes>("planes", "Planes and centroids"),
    FigureFlag<&FigureChoices::restraints>("restraints", "Restraints by how well they are kept"),
    FigureFlag<&FigureChoices::paleMates>("mates", "Symmetry mates", "full|pale"),
    FigureFlag<&FigureChoices::bareMates>("symmetry-codes", "Numbers of operations on labels of mates", "on|off"),
    FigureFlag<&FigureChoices::taperedBonds>("bonds", "Bonds by depth", "even|tapered"),
    FigureFlag<&FigureChoices::ambientShadow>("shadow", "Shadow between lit bodies", "none|ambient"),
    LookFlag<&RenderOptions::showCell>("cell", "Unit cell"),
    FigureFlag<&FigureChoices::tripod>("tripod", "Directions of the axes"),
    FigureFlag<&FigureChoices::scaleBar>("scale-bar", "Scale bar"),
    FigureFlag<&FigureChoices::legend>("legend", "Legend of the colours"),
    {"size", "Pixels a side", "", kSmallestPicture, kLargestPicture,
     [](const PictureStyle& s) -> double { return s.picture.size; },
     [](PictureStyle& s, double v) { s.picture.size = static_cast<int>(v); }},
    {"resolution", "Dots per inch", "", 0.0, kLargestResolution,
     [](const PictureStyle& s) { return s.picture.resolution; },
     [](PictureStyle& s, double v) { s.picture.resolution = v; }},
    {"background", "Background", "usual|black|white|transparent", 0.0, -1.0,
     [](const PictureStyle& s) -> double { return static_cast<int>(s.picture.background); },
     [](PictureStyle& s, double v) { s.picture.background = static_cast<PictureBackground>(v); }},
    {"frames", "Side by side", "one|stereo|axes|turn", 0.0, -1.0,
     [](const PictureStyle& s) -> double { return static_cast<int>(s.picture.frames); },
     [](PictureStyle& s, double v) { s.picture.frames = static_cast<PictureFrames>(v); }},
    FileFlag<&PictureOptions::trim>("trim", "No empty rows"),
    FileFlag<&PictureOptions::openGl>("renderer", "Renderer", "interactive|opengl"),
    FileFlag<&PictureOptions::blackWhite>("black-white", "Patterns instead of colours"),
};

std::vector<std::string_view> PartsOf(std::string_view text, char at) {
  std::vector<std::string_view> parts;
  while (true) {
    const size_t end = std::min(text.find(at), text.size());
    parts.push_back(text.substr(0, end));
    if (end == text.size()) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string PolyhedraText(const std::vector<uint8_t>& rows) {
  ElementTable elements;
  std::string text;
  for (const uint8_t row : rows) text.append(text.empty() ? "" : ",").append(elements[row].Symbol());
  return text.empty() ? std::string(kNone) : text;
}

std::string TakePolyhedra(PictureStyle& style, std::string_view value) {
  std::vector<uint8_t> rows;
  for (const std::string_view symbol : value == kNone ? std::vector<std::string_view>() : PartsOf(value, ',')) {
    const int row = ElementTable::ElementFromLabel(symbol);
    ElementTable elements;
    if (row < 1 || row >= kUnknownRow || elements[row].Symbol().size() != symbol.size())
      return std::string(symbol) + " is no element.";
    rows.push_back(static_cast<uint8_t>(row));
  }
  style.look.figure.polyhedra = rows;
  return "";
}

std::string ValueOf(const StyleField& field, const PictureStyle& style) {
  if (!field.get) return PolyhedraText(style.look.figure.polyhedra);
  const double value = field.get(style);
  if (field.words[0] == '\0') return Printf("%.9g", value);
  const auto words = PartsOf(field.words, '|');
  return std::string(words[std::min(static_cast<size_t>(std::max(value, 0.0)), words.size() - 1)]);
}

std::string_view TakeLine(std::string_view& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return Trimmed(line, " \t\r");
}

}  // namespace

std::span<const StyleField> StyleFields() {
  return kFields;
}

std::string SetStyleField(PictureStyle& style, std::string_view key, std::string_view value) {
  const auto* field = std::ranges::find_if(kFields, [&](const StyleField& f) { return key == f.key; });
  if (field == std::end(kFields)) return "A picture style has no " + std::string(key) + ".";
  if (!field->set) return TakePolyhedra(style, value);
  if (field->words[0] != '\0') {
    const auto words = PartsOf(field->words, '|');
    const auto word = std::ranges::find(words, value);
    if (word == words.end())
      return std::string(key) + " is one of " + field->words + ", not " + std::string(value) + ".";
    field->set(style, static_cast<double>(word - words.begin()));
    return "";
  }
  double number = 0.0;
  const bool whole = key == std::string_view("size");
  if (!ParseWholeNumber(value, number) || !(number >= field->low && number <= field->high) ||
      (whole && number != std::floor(number)))
    return std::string(key) + Printf(" is a number from %g to %g, not ", field->low, field->high) + std::string(value) +
           ".";
  field->set(style, number);
  return "";
}

std::string StyleText(const PictureStyle& style) {
  std::string text = std::string(kHead) + std::to_string(kVersion) + "\n";
  for (const StyleField& field : kFields) text.append(field.key).append(" ").append(ValueOf(field, style)).append("\n");
  return text;
}

StyleReading ReadStyle(std::string_view text, PictureStyle& style) {
  StyleReading reading;
  if (text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
  const std::string_view head = TakeLine(text);
  double version = 0.0;
  if (!head.starts_with(kHead) || !ParseWholeNumber(head.substr(kHead.size()), version)) {
    reading.refusal = " is no picture style.";
  } else if (version != kVersion) {
    reading.refusal = Printf(" is a picture style of version %g; this program reads version %d.", version, kVersion);
  }
  if (!reading.refusal.empty()) return reading;
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    if (line.empty() || line[0] == '#') continue;
    const size_t blank = std::min(line.find_first_of(" \t"), line.size());
    if (SetStyleField(style, line.substr(0, blank), Trimmed(line.substr(blank), " \t")).empty()) continue;
    std::string shown(line.substr(0, kLongestShown));
    std::ranges::replace_if(
        shown, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    reading.skipped.push_back("\"" + shown + "\"");
  }
  return reading;
}

}  // namespace marvik
