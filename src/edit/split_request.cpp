#include <algorithm>
#include <iterator>

#include "edit/edit_split.h"
#include "language/atom_names.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr std::array<FieldRange, 10> kFields{{
    {"parts", "Parts", 2.0, 3.0},
    WordField("way", "How the parts lie", "axis|peaks|rotation|inversion|reflection|symmetry"),
    {"distance", "Distance of the parts in Å", 0.05, 5.0},
    {"to", "Peaks that the parts go to"},
    {"about", "Atoms of the axis, centre or plane"},
    {"angle", "Angle of the rotation", -360.0, 360.0},
    {"fvar", "Free variable", 2.0, 99.0},
    {"value", "Value of a new free variable", 0.01, 0.99},
    WordField("distances", "Distance restraints", "sadi|same|none"),
    WordField("displacements", "Displacement restraints", "simu|rigu|both|equal|none"),
}};
const FieldRange& Field(std::string_view key) {
  return *FindField(kFields, key);
}

// The place of a word among those of its field, 0 where it is not given.
int WordAt(const EditArguments& arguments, const char* key, EditFault& fault) {
  const std::string* text = arguments.Find(key);
  if (!text || fault) return 0;
  int at = 0;
  std::string_view rest = Field(key).words;
  for (; !rest.empty(); ++at) {
    const std::string_view word = rest.substr(0, rest.find('|'));
    if (word == *text) return at;
    rest.remove_prefix(std::min(rest.size(), word.size() + 1));
  }
  fault = {key, std::string(Field(key).caption) + ": one of " + Field(key).words + " is wanted, not " + *text + "."};
  return 0;
}

void TakePlaces(const Document& document, const EditArguments& arguments, SplitRequest& request, EditFault& fault) {
  for (const char* key : {"to", "about"}) {
    const std::string* text = arguments.Find(key);
    std::vector<std::string_view> words;
    if (text && !fault) SplitWords(*text, words);
    for (const std::string_view word : words) {
      AtomRecord* atom = FindAtomByText(document, word);
      const bool peaks = key[0] == 't';
      if (!atom) {
        fault = {key, std::string(Field(key).caption) + ": couldn't find " + std::string(word) + " in the atom list."};
      } else if (peaks && !atom->IsPeak()) {
        fault = {key, std::string(Field(key).caption) + ": " + atom->name + " is no peak."};
      } else if (peaks) {
        request.peaks.push_back(atom);
      } else {
        request.about.push_back(atom->fract);
      }
    }
  }
}

}  // namespace

std::span<const FieldRange> SplitFields() {
  return kFields;
}

std::optional<SplitRequest> ParseSplit(const Document& document, const EditArguments& arguments, EditFault& fault) {
  fault = UnknownFieldFault(arguments, kFields);
  SplitRequest request;
  const auto number = [&](const char* key) -> std::optional<double> {
    const std::string* text = fault ? nullptr : arguments.Find(key);
    return text ? ReadFieldNumber(Field(key), *text, fault) : std::nullopt;
  };
  request.parts = static_cast<int>(number("parts").value_or(2.0));
  request.distance = number("distance");
  request.angle = number("angle").value_or(180.0);
  if (const auto fvar = number("fvar")) request.fvar = static_cast<int>(*fvar);
  request.value = number("value").value_or(0.5);
  request.way = static_cast<SplitWay>(WordAt(arguments, "way", fault));
  request.distances = static_cast<SplitDistances>(WordAt(arguments, "distances", fault));
  request.displacements = static_cast<SplitDisplacements>(WordAt(arguments, "displacements", fault));
  TakePlaces(document, arguments, request, fault);
  if (fault) return std::nullopt;
  constexpr SplitWay kByPlaces[] = {SplitWay::Axis, SplitWay::Inversion, SplitWay::Rotation, SplitWay::Reflection};
  const size_t places = request.about.size();
  if (!arguments.Find("way") && places < std::size(kByPlaces)) request.way = kByPlaces[places];
  if (!arguments.Find("way") && !request.peaks.empty()) request.way = SplitWay::Peaks;
  const bool bySymmetry = request.way == SplitWay::Symmetry;
  const auto wants = bySymmetry ? 0 : std::ranges::find(kByPlaces, request.way) - std::begin(kByPlaces);
  if (request.way == SplitWay::Peaks ? request.peaks.empty() : wants != static_cast<std::ptrdiff_t>(places)) {
    fault = {
        request.way == SplitWay::Peaks ? "to" : "about",
        "One atom is a centre of inversion, two are an axis of rotation, three a plane; peaks are named by \"to\"."};
  } else if (request.parts == 3 && request.way >= SplitWay::Inversion) {
    fault = {"parts", "Parts: an inversion or a reflection makes two of them, and symmetry as many as it has."};
  }
  return fault ? std::nullopt : std::optional(request);
}

}  // namespace marvik
