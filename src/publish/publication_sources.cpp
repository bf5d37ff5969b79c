#include <algorithm>
#include <array>
#include <functional>

#include "base/files.h"
#include "base/numbers.h"
#include "base/words.h"
#include "files/cif/cif_writer.h"
#include "files/start/job_start.h"
#include "publish/publication.h"

namespace marvik {
namespace {

constexpr size_t kLongestLine = 400;

void Put(KnownItems& items, const std::string& name, const std::string& value) {
  if (!value.empty() && value != "?")
    items.items.try_emplace(LowerCase(name), KnownItems::Item{name, CifValueText(CifMarkup(value))});
}

// Largest first.
void PutSizes(KnownItems& items, std::vector<double> sizes) {
  constexpr const char* kNames[] = {"_exptl_crystal_size_max", "_exptl_crystal_size_mid", "_exptl_crystal_size_min"};
  std::ranges::sort(sizes, std::ranges::greater());
  for (size_t i = 0; i < 3 && sizes.size() == 3; ++i) Put(items, kNames[i], Printf("%.3f", sizes[i]));
}

// The numbers of a line; digits within a word are none.
std::vector<double> NumbersIn(std::string_view line) {
  std::vector<double> numbers;
  for (size_t at = 0; at < line.size();) {
    const bool begins = at == 0 || std::string_view(" \t=:x,(/").find(line[at - 1]) != line.npos;
    double value = 0.0;
    const size_t used = begins ? ParseNumber(line.substr(at), value) : 0;
    if (used > 0) numbers.push_back(value);
    at += std::max<size_t>(used, 1);
  }
  return numbers;
}

// What a line has to name, in lower case; each word may have variants behind "|".
struct Phrase {
  std::array<const char*, 3> words;
  const char* item;  // gets the first number, or without `numbers` what stands behind ":" or "="
  const char* second = nullptr;
  bool numbers = false;
};
constexpr Phrase kPhrases[] = {
    {{"minimum and maximum", "transmission"},
     "_exptl_absorpt_correction_T_min",
     "_exptl_absorpt_correction_T_max",
     true},
    {{"tmin|t_min|t(min)|minimum transmission"}, "_exptl_absorpt_correction_T_min", nullptr, true},
    {{"tmax|t_max|t(max)|maximum transmission"}, "_exptl_absorpt_correction_T_max", nullptr, true},
    {{"crystal", "colour|color"}, "_exptl_crystal_colour"},
    {{"crystal", "shape|habit|description"}, "_exptl_crystal_description"},
    {{"reflections used|reflections for", "cell"}, "_cell_measurement_reflns_used", nullptr, true},
    {{"theta", "cell"}, "_cell_measurement_theta_min", "_cell_measurement_theta_max", true},
    {{"absorption correction"}, "_exptl_absorpt_correction_type"},
    {{"diffractometer"}, "_diffrn_measurement_device_type"},
    {{"monochromator"}, "_diffrn_radiation_monochromator"},
    {{"detector type"}, "_diffrn_detector_type"},
    {{"tube voltage|generator voltage"}, "_diffrn_source_voltage", nullptr, true},
    {{"tube current|generator current"}, "_diffrn_source_current", nullptr, true},
};

bool Names(const std::string& line, const char* words) {
  for (std::string_view rest = words; !rest.empty();) {
    const size_t bar = std::min(rest.find('|'), rest.size());
    if (line.find(rest.substr(0, bar)) != line.npos) return true;
    rest.remove_prefix(std::min(bar + 1, rest.size()));
  }
  return false;
}

void PutLine(KnownItems& items, std::string_view line) {
  const std::string lower = LowerCase(line);
  const size_t mark = std::min(line.find_first_of(":="), line.size());
  const std::string_view behind = Trimmed(line.substr(std::min(mark + 1, line.size())));
  if (Names(lower, "crystal size|crystal dimensions")) return PutSizes(items, NumbersIn(behind));
  for (const Phrase& phrase : kPhrases) {
    const auto named = [&](const char* words) { return !words || Names(lower, words); };
    if (!std::ranges::all_of(phrase.words, named)) continue;
    if (!phrase.numbers) {
      const std::string value(behind);
      // A word that the item takes, in whatever case.
      const std::string word = PublicationFault(phrase.item, LowerCase(value)).empty() ? LowerCase(value) : value;
      const PublicationField* field = FindPublicationField(phrase.item);
      if (field && PublicationFault(phrase.item, word).empty())
        Put(items, phrase.item, field->IsOnlyWords() ? word : value);
      continue;
    }
    // "theta(min) = 2.1": what stands behind the sign counts; a line without one counts whole.
    const std::vector<double> numbers = NumbersIn(mark < line.size() ? behind : line);
    const char* names[] = {phrase.item, phrase.second};
    const size_t wanted = phrase.second ? 2 : 1;
    for (size_t i = 0; i < wanted && numbers.size() >= wanted; ++i) {
      const std::string value = Printf("%.6g", numbers[i]);
      if (PublicationFault(names[i], value).empty()) Put(items, names[i], value);
    }
  }
}

KnownItems ReadListing(std::string_view text) {
  KnownItems items;
  while (!text.empty()) {
    const size_t end = std::min(text.find_first_of("\r\n"), text.size());
    if (end > 0 && end < kLongestLine) PutLine(items, text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return items;
}

// The first line of such a listing names the program.
void PutProgram(KnownItems& items, std::string_view text) {
  const std::string_view head = Trimmed(text.substr(0, 4000), " \t\r\n*-+=|#");
  const std::string_view line = Trimmed(head.substr(0, std::min(head.find_first_of("\r\n"), head.size())), " \t*-+=|#");
  if (line.size() > 3 && line.size() < 200) Put(items, "_exptl_absorpt_process_details", std::string(line));
}

KnownItems ReadParameters(std::string_view text) {
  const JobStart start = ReadParameterFile(text);
  KnownItems items;
  Put(items, "_exptl_crystal_colour", start.colour);
  Put(items, "_exptl_crystal_description", start.shape);
  PutSizes(items, start.sizes);
  return items;
}

}  // namespace

PublicationSource ReadPublicationSource(const std::string& path) {
  PublicationSource source{FileNameOf(path), {}};
  const std::string text = ReadWholeFile(path).content;
  const std::string extension = LowerExtensionOf(path);
  if (extension == "p4p") {
    source.items = ReadParameters(text);
  } else if (extension.starts_with("cif") || Trimmed(text, " \t\r\n").starts_with("data_") || text.starts_with('_')) {
    source.items = ReadKnownItems(text);
  } else {
    source.items = ReadListing(text);
    if (extension == "abs") PutProgram(source.items, text);
  }
  return source;
}

std::vector<PublicationSource> SourcesBeside(const std::string& base) {
  std::vector<PublicationSource> sources;
  for (const char* extension : {".p4p", ".cif_od", ".abs", ".sum", ".log"}) {
    if (!StampOf(base + extension)) continue;
    PublicationSource source = ReadPublicationSource(base + extension);
    if (!source.items.items.empty() || !source.items.loops.empty()) sources.push_back(std::move(source));
  }
  return sources;
}

}  // namespace marvik
