#include "report/coordinate_sigmas.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>

#include "base/files.h"
#include "base/numbers.h"

namespace marvik {
namespace {

std::string Lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return result;
}

// "0.1234(5)" is 0.1234 with an uncertainty of 5 units of its last digit. False when it is no number at all.
bool TakeWithSigma(std::string_view word, double& value, double& sigma) {
  sigma = 0.0;
  const size_t used = ParseNumber(word, value);
  if (used == 0) return false;
  if (used == word.size()) return true;
  double units = 0.0;
  if (word[used] != '(' || !word.ends_with(')') ||
      !ParseWholeNumber(word.substr(used + 1, word.size() - used - 2), units))
    return false;
  const size_t point = word.substr(0, used).find('.');
  const double digits = point == std::string_view::npos ? 0.0 : static_cast<double>(used - point - 1);
  sigma = units * std::pow(10.0, -digits);
  return true;
}

// Words of a CIF: quoted ones without their quotes, text fields as one word, comments left out.
class CifWords {
 public:
  explicit CifWords(std::string_view text) : rest_(text) {}

  bool Next(std::string& word, bool& isQuoted) {
    SkipBlanks();
    if (rest_.empty()) return false;
    isQuoted = true;
    if (rest_[0] == ';' && lineStart_) {
      const size_t end = std::min(rest_.find("\n;", 1), rest_.size());
      word.assign(rest_.substr(1, end - 1));
      Drop(std::min(end + 2, rest_.size()));
      return true;
    }
    if (rest_[0] == '\'' || rest_[0] == '"') {
      // A quote ends the word only before a blank.
      size_t end = 1;
      while (end < rest_.size() && rest_[end] != '\n' &&
             (rest_[end] != rest_[0] || (end + 1 < rest_.size() && !IsBlank(rest_[end + 1]))))
        ++end;
      word.assign(rest_.substr(1, end - 1));
      Drop(std::min(end + 1, rest_.size()));
      return true;
    }
    isQuoted = false;
    size_t end = 0;
    while (end < rest_.size() && !IsBlank(rest_[end])) ++end;
    word.assign(rest_.substr(0, end));
    Drop(end);
    return true;
  }

 private:
  static bool IsBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
  void Drop(size_t count) {
    if (count > 0) lineStart_ = rest_[count - 1] == '\n' || rest_[count - 1] == '\r';
    rest_.remove_prefix(count);
  }
  void SkipBlanks() {
    while (!rest_.empty()) {
      if (rest_[0] == '#') {
        Drop(std::min(rest_.find('\n'), rest_.size()));
      } else if (IsBlank(rest_[0])) {
        Drop(1);
      } else {
        return;
      }
    }
  }

  std::string_view rest_;
  bool lineStart_ = true;
};

bool IsSameAtom(const AtomRecord& atom, const ListedCoordinates& listed) {
  for (size_t i = 0; i < 3; ++i)
    if (std::fabs(atom.fract[static_cast<int>(i)] - listed.fract[i]) > std::clamp(3.0 * listed.sigma[i], 0.0015, 0.005))
      return false;
  return true;
}

std::vector<std::string> FilesBeside(const std::string& current) {
  const std::string base = BaseNameOf(current);
  std::vector<std::string> files{base + ".cif", base + ".lst"};
  constexpr std::string_view kTranslated = "_cif";
  if (base.ends_with(kTranslated))
    files.insert(files.begin(), base.substr(0, base.size() - kTranslated.size()) + ".cif");
  return files;
}

}  // namespace

std::vector<ListedCoordinates> CoordinatesInCif(std::string_view text) {
  std::vector<ListedCoordinates> found;
  CifWords words(text);
  std::string word;
  bool quoted = false;
  std::vector<std::string> names;
  std::vector<std::string> row;
  bool inLoop = false;
  const auto takeRow = [&] {
    ListedCoordinates listed;
    bool complete = true;
    for (size_t i = 0; i < names.size(); ++i) {
      std::string name = names[i];
      std::replace(name.begin(), name.end(), '.', '_');
      if (name == "_atom_site_label") listed.label = row[i];
      for (size_t k = 0; k < 3; ++k)
        if (name == std::string("_atom_site_fract_") + "xyz"[k])
          complete = complete && TakeWithSigma(row[i], listed.fract[k], listed.sigma[k]);
    }
    if (complete && !listed.label.empty()) found.push_back(listed);
    row.clear();
  };
  while (words.Next(word, quoted)) {
    const std::string lower = quoted ? std::string() : Lowered(word);
    if (!quoted && (lower == "loop_" || lower.starts_with("data_"))) {
      if (!found.empty()) break;
      inLoop = lower == "loop_";
      names.clear();
      row.clear();
    } else if (!quoted && word.starts_with('_')) {
      if (!found.empty()) break;
      if (!row.empty() || !inLoop) inLoop = false;
      if (inLoop) names.push_back(lower);
    } else if (inLoop && std::any_of(names.begin(), names.end(), [](const std::string& name) {
                 return name == "_atom_site_fract_x" || name == "_atom_site.fract_x";
               })) {
      row.push_back(word);
      if (row.size() == names.size()) takeRow();
    }
  }
  return found;
}

std::vector<ListedCoordinates> CoordinatesInListing(std::string_view text) {
  std::map<std::string, ListedCoordinates> byLabel;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    std::vector<std::string_view> words;
    for (size_t at = 0; words.size() < 4;) {
      const size_t from = line.find_first_not_of(" \t\r", at);
      if (from == std::string_view::npos) break;
      at = std::min(line.find_first_of(" \t\r", from), line.size());
      words.push_back(line.substr(from, at - from));
    }
    if (words.size() < 4 || !std::isalpha(static_cast<unsigned char>(words[0][0]))) continue;
    ListedCoordinates listed{std::string(words[0]), {}, {}};
    bool complete = true;
    for (size_t k = 0; k < 3; ++k) complete = complete && TakeWithSigma(words[k + 1], listed.fract[k], listed.sigma[k]);
    if (complete && listed.sigma != std::array<double, 3>{}) byLabel[listed.label] = listed;
  }
  std::vector<ListedCoordinates> found;
  for (const auto& [label, listed] : byLabel) found.push_back(listed);
  return found;
}

CoordinateSigmas FindCoordinateSigmas(const Document& document, ReportState& state) {
  CoordinateSigmas sigmas;
  if (document.CurrentFile.empty()) return sigmas;
  std::map<std::string, std::vector<const AtomRecord*>> byLabel;
  for (const AtomRecord* atom : Atoms(document.atoms, kNoGenerated)) byLabel[Lowered(atom->name)].push_back(atom);
  for (const std::string& path : FilesBeside(document.CurrentFile)) {
    const auto stamp = StampOf(path);
    if (!stamp) continue;
    if (state.sigmaPath != path || state.sigmaStamp != stamp) {
      const FileContent file = ReadWholeFile(path);
      state.sigmaPath = path;
      state.sigmaStamp = stamp;
      state.listed = path.ends_with(".cif") ? CoordinatesInCif(file.content) : CoordinatesInListing(file.content);
    }
    size_t matched = 0;
    for (const ListedCoordinates& listed : state.listed)
      for (const AtomRecord* atom : byLabel[Lowered(listed.label)]) {
        if (!IsSameAtom(*atom, listed)) continue;
        ++matched;
        if (listed.sigma != std::array<double, 3>{}) sigmas.bySerial[atom->serial] = listed.sigma;
      }
    if (matched * 2 >= state.listed.size() && !sigmas.bySerial.empty()) {
      sigmas.source = FileNameOf(path);
      return sigmas;
    }
    sigmas.bySerial.clear();
  }
  return sigmas;
}

}  // namespace marvik
