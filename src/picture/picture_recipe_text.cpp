#include <algorithm>
#include <array>
#include <cmath>

#include "base/numbers.h"
#include "picture/picture_recipe.h"

namespace marvik {
namespace {

constexpr std::string_view kFirstLine = "Marvik picture recipe 1";
constexpr std::string_view kBlanks = " \t\r";
constexpr double kFarthest = 1e6;  // Å
constexpr size_t kLongestSkipped = 60;

constexpr std::array<const char*, 5> kRenditions{"wire", "ball", "ellipsoid", "pipes", "lit"};
constexpr std::array<const char*, 5> kOrders{"single", "double", "triple", "aromatic", "pi"};
constexpr std::array<const char*, 3> kStyles{"solid", "dashed", "dotted"};
constexpr std::array<const char*, 2> kSwitch{"off", "on"};
constexpr std::array<const char*, 2> kRenderers{"interactive", "opengl"};

// The words of one line, taken one after another.
struct Line {
  std::string_view rest;
  bool good = true;

  std::string_view Word() {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    const std::string_view word = rest.substr(0, rest.find_first_of(kBlanks));
    rest.remove_prefix(word.size());
    good &= !word.empty();
    return word;
  }
  double Number(double low, double high) {
    double value = 0.0;
    good = ParseWholeNumber(Word(), value) && value >= low && value <= high && good;
    return value;
  }
  int Whole(int low, int high) {
    const double value = Number(low, high);
    good &= value == std::floor(value);
    return good ? static_cast<int>(value) : low;
  }
  template <size_t n>
  int OneOf(const std::array<const char*, n>& words) {
    const std::string_view word = Word();
    const auto at = std::ranges::find(words, word);
    good &= at != words.end();
    return good ? static_cast<int>(at - words.begin()) : 0;
  }
  bool End() const { return good && rest.find_first_not_of(kBlanks) == std::string_view::npos; }
};

bool IsNearlyRotation(const std::array<std::array<double, 3>, 3>& m) {
  constexpr double kNear = 1e-3;
  for (size_t i = 0; i < 3; ++i) {
    for (size_t k = 0; k < 3; ++k) {
      const double dot = m[i][0] * m[k][0] + m[i][1] * m[k][1] + m[i][2] * m[k][2];
      if (!(std::abs(dot - (i == k ? 1.0 : 0.0)) < kNear)) return false;
    }
  }
  const auto minor = [&m](size_t a, size_t b) { return m[1][a] * m[2][b] - m[1][b] * m[2][a]; };
  return m[0][0] * minor(1, 2) - m[0][1] * minor(0, 2) + m[0][2] * minor(0, 1) > 0.0;
}

template <bool PictureLook::*flag>
void TakeSwitch(Line& line, PictureRecipe& recipe) {
  recipe.*flag = line.OneOf(kSwitch) == 1;
}
template <size_t i>
void TakeFigure(Line& line, PictureRecipe& recipe) {
  recipe.figure.*kRecipeFlags[i].flag = line.OneOf(kSwitch) == 1;
}
template <std::vector<std::string> PictureRecipe::*list>
void TakeName(Line& line, PictureRecipe& recipe) {
  (recipe.*list).emplace_back(line.Word());
}

void TakeRotation(Line& line, PictureRecipe& recipe) {
  for (auto& row : recipe.rotation) {
    for (double& v : row) v = line.Number(-1.001, 1.001);
  }
  line.good = line.good && IsNearlyRotation(recipe.rotation);
}

void TakeClip(Line& line, PictureRecipe& recipe) {
  const double front = line.Number(-kFarthest, kFarthest);
  const double back = line.Number(-kFarthest, kFarthest);
  line.good = line.good && back < front;
  recipe.clip = {front, back};
}

void TakeLabel(Line& line, PictureRecipe& recipe) {
  const std::string atom(line.Word());
  const double x = line.Number(-0.5, 0.5);
  recipe.placed.push_back({atom, x, line.Number(-0.5, 0.5)});
}

void TakeBond(Line& line, PictureRecipe& recipe) {
  PictureRecipe::Bond bond;
  bond.a = line.Word();
  bond.b = line.Word();
  bond.order = line.OneOf(kOrders);
  bond.style = line.OneOf(kStyles);
  bond.width = line.Number(0.001, 10.0);
  recipe.bonds.push_back(std::move(bond));
}

struct Entry {
  const char* word;
  void (*take)(Line&, PictureRecipe&);
};
constexpr Entry kEntries[] = {
    {"rotation", TakeRotation},
    {"radius", [](Line& l, PictureRecipe& r) { r.radius = l.Number(0.5, kFarthest); }},
    {"centre",
     [](Line& l, PictureRecipe& r) {
       for (double& v : r.centre) v = l.Number(-kFarthest, kFarthest);
     }},
    {"pan",
     [](Line& l, PictureRecipe& r) {
       for (double& v : r.pan) v = l.Number(-100.0, 100.0);
     }},
    {"depth-cue", [](Line& l, PictureRecipe& r) { r.depthCue = l.Whole(0, 100); }},
    {"clip", TakeClip},
    {"rendition", [](Line& l, PictureRecipe& r) { r.rendition = l.OneOf(kRenditions); }},
    {"labels", TakeSwitch<&PictureLook::labels>},
    {"hydrogen-labels", TakeSwitch<&PictureLook::hydrogenLabels>},
    {"hybrid-colours", TakeSwitch<&PictureLook::hybridColours>},
    {"cell", TakeSwitch<&PictureLook::cell>},
    {"peaks", TakeSwitch<&PictureLook::peaks>},
    {kRecipeFlags[0].word, TakeFigure<0>},
    {kRecipeFlags[1].word, TakeFigure<1>},
    {kRecipeFlags[2].word, TakeFigure<2>},
    {kRecipeFlags[3].word, TakeFigure<3>},
    {kRecipeFlags[4].word, TakeFigure<4>},
    {kRecipeFlags[5].word, TakeFigure<5>},
    {kRecipeFlags[6].word, TakeFigure<6>},
    {kRecipeFlags[7].word, TakeFigure<7>},
    {"probability", [](Line& l, PictureRecipe& r) { r.probability = l.Number(0.001, 1.0); }},
    {"size", [](Line& l, PictureRecipe& r) { r.picture.size = l.Whole(kSmallestPicture, kLargestPicture); }},
    {"resolution", [](Line& l, PictureRecipe& r) { r.picture.resolution = l.Number(0.0, kLargestResolution); }},
    {"background",
     [](Line& l, PictureRecipe& r) {
       const auto background = BackgroundNamed(l.Word());
       l.good &= background.has_value();
       r.picture.background = background.value_or(PictureBackground::Usual);
     }},
    {"renderer", [](Line& l, PictureRecipe& r) { r.picture.openGl = l.OneOf(kRenderers) == 1; }},
    {"black-white", [](Line& l, PictureRecipe& r) { r.picture.blackWhite = l.OneOf(kSwitch) == 1; }},
    {"layers", [](Line& l, PictureRecipe& r) { r.picture.layers = l.Whole(1, kMostLayers); }},
    {"hidden", TakeName<&PictureRecipe::hidden>},
    {"label", TakeLabel},
    {"no-label", TakeName<&PictureRecipe::labelsOff>},
    {"bond", TakeBond},
};

// One line into the recipe, which it leaves alone when it makes no sense.
bool TakeLine(std::string_view text, PictureRecipe& recipe) {
  Line line{text};
  const std::string_view word = line.Word();
  const auto* entry = std::ranges::find(kEntries, word, &Entry::word);
  if (entry == std::end(kEntries)) return false;
  const PictureLook before = recipe;
  const std::array sizes{recipe.placed.size(), recipe.labelsOff.size(), recipe.hidden.size(), recipe.bonds.size()};
  entry->take(line, recipe);
  if (line.End()) return true;
  static_cast<PictureLook&>(recipe) = before;
  recipe.placed.resize(sizes[0]);
  recipe.labelsOff.resize(sizes[1]);
  recipe.hidden.resize(sizes[2]);
  recipe.bonds.resize(sizes[3]);
  return false;
}

std::string_view TakeText(std::string_view& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  return line.substr(0, line.find_last_not_of(kBlanks) + 1);
}

// What a message can show of a line.
std::string Shown(std::string_view line) {
  std::string text = "\"" + std::string(line.substr(0, kLongestSkipped)) + "\"";
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
  return text;
}

}  // namespace

std::string RecipeText(const PictureRecipe& r) {
  std::string text = std::string(kFirstLine) + "\n";
  const auto& m = r.rotation;
  AppendPrintf(text, "rendition %s\nrotation", kRenditions[static_cast<size_t>(std::clamp(r.rendition, 0, 4))]);
  for (const auto& row : m) AppendPrintf(text, "  %.9g %.9g %.9g", row[0], row[1], row[2]);
  AppendPrintf(text, "\nradius %.9g\ncentre %.9g %.9g %.9g\npan %.9g %.9g\ndepth-cue %d\n", r.radius, r.centre[0],
               r.centre[1], r.centre[2], r.pan[0], r.pan[1], r.depthCue);
  if (r.clip) AppendPrintf(text, "clip %.9g %.9g\n", (*r.clip)[0], (*r.clip)[1]);
  AppendPrintf(text, "labels %s\nhydrogen-labels %s\nhybrid-colours %s\ncell %s\npeaks %s\n", kSwitch[r.labels],
               kSwitch[r.hydrogenLabels], kSwitch[r.hybridColours], kSwitch[r.cell], kSwitch[r.peaks]);
  AppendPrintf(text, "probability %.9g\nsize %d\n", r.probability, r.picture.size);
  for (const RecipeFlag& choice : kRecipeFlags)
    if (r.figure.*choice.flag) text.append(choice.word).append(" on\n");
  if (r.picture.resolution > 0.0) AppendPrintf(text, "resolution %.9g\n", r.picture.resolution);
  if (r.picture.background != PictureBackground::Usual)
    text.append("background ").append(NameOf(r.picture.background)).append("\n");
  if (r.picture.openGl) text += "renderer opengl\n";
  if (r.picture.openGl || r.picture.blackWhite) AppendPrintf(text, "black-white %s\n", kSwitch[r.picture.blackWhite]);
  if (r.picture.layers) AppendPrintf(text, "layers %d\n", *r.picture.layers);
  for (const std::string& name : r.hidden) text.append("hidden ").append(name).append("\n");
  for (const std::string& name : r.labelsOff) text.append("no-label ").append(name).append("\n");
  for (const PictureRecipe::Label& l : r.placed)
    text.append("label ").append(l.atom).append(Printf(" %.6g %.6g\n", l.x, l.y));
  for (const PictureRecipe::Bond& b : r.bonds) {
    text.append("bond ").append(b.a).append(" ").append(b.b);
    AppendPrintf(text, " %s %s %.6g\n", kOrders[static_cast<size_t>(std::clamp(b.order, 0, 4))],
                 kStyles[static_cast<size_t>(std::clamp(b.style, 0, 2))], b.width);
  }
  return text;
}

RecipeReading ReadRecipe(std::string_view text) {
  RecipeReading reading;
  if (text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
  if (TakeText(text) != kFirstLine) return reading;
  reading.recipe.emplace();
  while (!text.empty()) {
    const std::string_view line = TakeText(text);
    if (line.empty() || line[0] == '#') continue;
    if (!TakeLine(line, *reading.recipe)) reading.skipped.push_back(Shown(line));
  }
  return reading;
}

}  // namespace marvik
