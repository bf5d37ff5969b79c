#include "check/lint/lint.h"

#include <algorithm>
#include <cmath>

#include "base/files.h"
#include "base/numbers.h"
#include "check/lint/lint_state.h"
#include "chem/hydrogens/hydrogen_geometry.h"
#include "language/line_source.h"
#include "language/residues.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {

namespace lint {

void LintState::Report(std::string_view rule, int line, const std::string& what, const std::string& second,
                       LintDetails details) {
  const auto at = std::ranges::find(LintRules(), rule, &LintRule::id);
  if (at == LintRules().end()) return;
  Finding finding{std::string(rule), at->level,  std::move(details.atoms), line, details.value, details.limit,
                  at->sentence,      at->repair, std::move(details.edit)};
  for (const auto& [mark, word] : {std::pair<std::string_view, const std::string&>{"{}", what}, {"{2}", second}}) {
    const size_t place = finding.text.find(mark);
    if (place != finding.text.npos) finding.text.replace(place, mark.size(), word.substr(0, 60));
  }
  findings.push_back(std::move(finding));
}

int VariableOf(double coded) {
  return SplitCodedValue(coded).variable;
}

double Decoded(const LintState& state, double coded) {
  const CodedParts parts = SplitCodedValue(coded);
  const auto at = static_cast<size_t>(std::max(parts.variable, 1)) - 1;
  return parts.variable >= 2 && at < state.freeVariables.size() ? parts.factor * state.freeVariables[at] + parts.offset
                                                                : parts.offset;
}

namespace {

using enum InstructionKeyword;

bool IsIn(InstructionKeyword keyword, std::initializer_list<InstructionKeyword> list) {
  return std::ranges::find(list, keyword) != list.end();
}

// Reads the lines one by one, with the states that they are in.
class Scanner {
 public:
  Scanner(LintState& state, const std::string& directory) : state_(state), source_(state.text), directory_(directory) {}

  void Scan() {
    SourceLine line;
    while (!ended_ && source_.Next(line)) {
      Count(line);
      Physical(line);
      if (line.head.keyword == kBlank || line.head.keyword == kRem || line.head.keyword == kTitl) {
        continue;
      }
      if (line.head.keyword == kInclude) {
        Include(line);
      } else if (line.head.keyword == kAtomLine) {
        AtomOrNothing(line);
      } else {
        Instruction(line);
      }
    }
    Ends();
  }

 private:
  void Count(const SourceLine& line) {
    const char* begin = line.raw.data();
    number_ += static_cast<int>(std::count(counted_, begin, lineEnd_));
    counted_ = begin;
    lines_ = 1 + static_cast<int>(std::count(line.raw.begin(), line.raw.end(), lineEnd_));
  }
  void Physical(const SourceLine& line);
  void Include(const SourceLine& line);
  void AtomOrNothing(const SourceLine& line);
  void Atom(const SourceLine& line, const std::vector<std::string_view>& words);
  void Instruction(SourceLine& line);
  void Repeated(const LintCommand& command);
  void State(const LintCommand& command);
  void Afix(const LintCommand& command);
  void CloseAfix();
  void CountAfix();
  void Ends();
  TextEdit Before(const std::string& text) const { return {number_, 0, text}; }
  TextEdit Without() const { return {number_, lines_, ""}; }

  LintState& state_;
  LineSource source_;
  std::string directory_;
  const char* counted_ = state_.text.data();
  char lineEnd_ = source_.LineEnd() == "\r" ? '\r' : '\n';
  int number_ = 1;
  int lines_ = 1;
  bool ended_ = false;
  bool sawHklf_ = false;
  std::set<int> fragments_;  // codes of FRAG
  std::set<InstructionKeyword> said_;
  std::map<std::string, int> lineOf_;
  int part_ = 0;
  double partOccupancy_ = 0.0;
  Residue residue_;
  int afix_ = 0;
  int afixLine_ = 0;
  int afixHydrogens_ = 0;
  int afixOthers_ = 0;
};

void Scanner::Physical(const SourceLine& line) {
  constexpr size_t kLongest = 80;
  std::string_view rest = line.raw;
  for (int i = 0; i < lines_; ++i) {
    const size_t end = std::min(rest.find(lineEnd_), rest.size());
    std::string_view physical = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    while (physical.ends_with('\r') || physical.ends_with(' ')) physical.remove_suffix(1);
    const bool isText = IsIn(line.head.keyword, {kRem, kTitl, kBlank});
    size_t length = isText ? 0 : std::min(physical.find('!'), physical.size());
    while (length > 0 && physical[length - 1] == ' ') --length;
    if (length > kLongest) {
      state_.Report("line-too-long", number_ + i, std::to_string(length), {}, {{}, double(length), double(kLongest)});
    }
    if (std::ranges::any_of(physical, [](char c) { return static_cast<unsigned char>(c) < 32 && c != '\t'; })) {
      state_.Report("strange-bytes", number_ + i);
    }
    if (i > 0 && !physical.empty() && physical[0] != ' ' && physical[0] != '\t') {
      state_.Report("continuation-not-indented", number_ + i, {}, {},
                    {{}, {}, {}, TextEdit{number_ + i, 1, " " + std::string(physical)}});
    }
  }
  if (line.open) state_.Report("continuation-open", number_);
  if (!line.lost.empty()) state_.Report("text-behind-continuation", number_, std::string(line.lost));
}

void Scanner::Include(const SourceLine& line) {
  std::string name(line.raw.substr(line.raw.find_first_not_of('+') == line.raw.npos ? line.raw.size()
                                                                                    : line.raw.find_first_not_of('+')));
  name.erase(std::min(name.find_first_of(" \t\r!"), name.size()));
  state_.includes = true;
  if (!directory_.empty() && !ReadWholeFile(directory_ + name).opened) {
    state_.Report("include-missing", number_, name);
  }
}

void Scanner::AtomOrNothing(const SourceLine& line) {
  std::vector<std::string_view> words;
  SplitWords(line.code, words);
  if (words.empty()) return;
  double value = 0.0;
  const auto numbers = std::ranges::count_if(words, [&](std::string_view w) { return ParseWholeNumber(w, value); });
  const bool named = (words[0][0] | 0x20) >= 'a' && (words[0][0] | 0x20) <= 'z';
  if (line.raw.find_first_of(" \t") == 0 && numbers < 4) return;  // indented text is a remark
  if (!named && numbers >= 4) {
    state_.Report("not-an-atom", number_, std::string(words[0]), {},
                  {{}, {}, {}, TextEdit{number_, 1, "REM " + std::string(line.raw)}});
  } else if (words.size() < 2 || numbers < 2 || !named) {
    state_.Report("unknown-word", number_, std::string(words[0]), {},
                  {{}, {}, {}, TextEdit{number_, 1, "REM " + std::string(line.raw)}});
  } else {
    Atom(line, words);
  }
}

void Scanner::Atom(const SourceLine&, const std::vector<std::string_view>& words) {
  const bool peak = (words[0][0] | 0x20) == 'q';
  if (sawHklf_) {
    if (!peak) state_.Report("ignored-behind-hklf", number_, std::string(words[0]));
    return;
  }
  LintAtom atom{UpperCase(words[0]), {}, number_, lines_, residue_.number, part_, partOccupancy_, {}};
  atom.fullName = atom.name + (atom.residue != 0 ? "_" + std::to_string(atom.residue) : "");
  for (size_t i = 1; i < words.size() && i <= 11; ++i) {
    double value = 0.0;
    if (!ParseWholeNumber(words[i], value)) {
      if (!peak) state_.Report("number-unreadable", number_, std::string(words[i]), {}, {{atom.fullName}});
      break;
    }
    atom.values.push_back(value);
  }
  if (peak) return;
  state_.lastLine = number_ + lines_ - 1;
  if (atom.values.size() < 4) {
    state_.Report("atom-short", number_, atom.name);
    return;
  }
  const int number = RoundHalfAway(atom.values[0]);
  const int row = number > 0 && static_cast<size_t>(number) <= state_.sfac.size()
                      ? state_.sfac[static_cast<size_t>(number - 1)]
                      : 0;
  const bool hydrogen = IsHydrogenRow(row);
  if (!hydrogen && afix_ >= 10) {
    const HfixGroup* code = FindHfixGroup(afix_ / 10);
    const bool rides = afix_ % 10 == 3 || afix_ % 10 == 4 || afix_ % 10 >= 7;
    if (code && rides) {
      state_.Report("afix-open", number_, std::to_string(afix_), atom.fullName,
                    {{atom.fullName}, {}, {}, Before("AFIX 0")});
      CountAfix();
      afix_ = 0;
    }
  }
  (hydrogen ? afixHydrogens_ : afixOthers_) += 1;
  state_.atoms.push_back(std::move(atom));
}

// What stands once in a file; of others each line adds.
void Scanner::Repeated(const LintCommand& c) {
  const bool once = IsIn(c.keyword, {kCell, kZerr, kLatt, kTemp, kSize, kLs, kCgls, kFmap, kPlan, kList, kMerg, kExti,
                                     kTwin, kSwat, kHklf, kDamp, kShel});
  if (once && !said_.insert(c.keyword).second) {
    state_.Report("said-twice", number_, c.command.name, {}, {{}, {}, {}, Without()});
  }
  const bool alike = IsIn(c.keyword, {kDfix, kDang, kSadi, kSimu, kDelu, kIsor, kFlat, kEadp, kExyz, kHfix, kSymm,
                                      kFree, kBind, kConf, kHtab});
  if (!alike || c.command.all.empty()) return;
  std::string text = c.command.name + "_" + c.command.residue;
  for (const std::string& word : c.command.all) text += " " + UpperCase(word);
  if (!lineOf_.emplace(text, number_).second && c.keyword != kSymm) {
    state_.Report("said-twice-alike", number_, {}, {}, {{}, {}, {}, Without()});
  }
}

void Scanner::Instruction(SourceLine& line) {
  LintCommand c{ParseInstruction(line), line.head.keyword, number_, lines_};
  if (c.keyword == kEnd) {
    ended_ = true;
    return;
  }
  if (c.keyword == kFrag) {
    if (!c.command.numbers.empty()) fragments_.insert(RoundHalfAway(c.command.numbers[0]));
    if (!source_.TakeFragment(line)) state_.Report("fragment-open", number_);
    return;
  }
  if (sawHklf_) {
    const bool later = c.keyword > kAtomLine;
    if (!IsIn(c.keyword, {kWght, kRem, kHklf, kPart, kAfix, kMole, kResi, kTitl}) && !later) {
      state_.Report("ignored-behind-hklf", number_, c.command.name, {}, {{}, {}, {}, Without()});
    }
    return;
  }
  Repeated(c);
  State(c);
  // Names of a pair are those of the residue that the line stands in.
  if (IsIn(c.keyword, {kBind, kFree}) && c.command.residue.empty() && residue_.number != 0)
    c.command.residue = std::to_string(residue_.number);
  if (c.keyword == kSfac) {
    std::vector<std::string_view> words;
    SplitWords(line.head.arguments, words);
    double value = 0.0;
    const bool longForm = words.size() > 9 && ParseWholeNumber(words[1], value);
    for (size_t i = 0; i < (longForm ? 1 : words.size()); ++i) {
      std::string_view label = words[i].starts_with('$') ? words[i].substr(1) : words[i];
      int row = ElementTable::ElementFromLabel(label);
      if (label.size() > 2 && label.find_first_of("+-0123456789") == label.npos) row = kUnknownRow;
      if (row == kUnknownRow && !longForm) state_.Report("sfac-unknown", number_, std::string(words[i]));
      if (!longForm && row != kUnknownRow && std::ranges::find(state_.sfac, row) != state_.sfac.end()) {
        state_.Report("sfac-twice", number_, std::string(words[i]));
      }
      state_.sfac.push_back(row == kUnknownRow ? 0 : row);
    }
  }
  if (c.keyword == kFvar) {
    state_.freeVariables.insert(state_.freeVariables.end(), c.command.numbers.begin(), c.command.numbers.end());
  }
  if (c.keyword == kHklf) {
    CloseAfix();
    if (afix_ != 0) {
      state_.Report("afix-open-at-end", afixLine_, std::to_string(afix_), {}, {{}, {}, {}, Before("AFIX 0")});
    }
    if (part_ != 0)
      state_.Report("part-open-at-end", number_, std::to_string(part_), {}, {{}, {}, {}, Before("PART 0")});
    if (residue_.number != 0) {
      state_.Report("resi-open-at-end", number_, std::to_string(residue_.number), {}, {{}, {}, {}, Before("RESI 0")});
    }
    sawHklf_ = true;
  } else {
    state_.lastLine = number_ + lines_ - 1;
  }
  state_.commands.push_back(std::move(c));
}

void Scanner::State(const LintCommand& c) {
  const auto& numbers = c.command.numbers;
  if (c.keyword == kPart) {
    part_ = numbers.empty() ? 0 : RoundHalfAway(numbers[0]);
    partOccupancy_ = numbers.size() > 1 ? numbers[1] : 0.0;
  } else if (c.keyword == kResi) {
    if (c.command.all.empty()) {
      state_.Report("resi-empty", number_);
      return;
    }
    std::string arguments;
    for (const std::string& word : c.command.all) arguments += word + " ";
    residue_ = ParseResidue(arguments);
    state_.residueNumbers.insert(residue_.number);
    if (!residue_.className.empty()) state_.residueClasses.insert(UpperCase(residue_.className));
  } else if (c.keyword == kAfix) {
    Afix(c);
  }
}

void Scanner::Afix(const LintCommand& c) {
  CloseAfix();
  afix_ = c.command.numbers.empty() ? 0 : RoundHalfAway(c.command.numbers[0]);
  afixLine_ = number_;
  const int m = afix_ / 10;
  const int n = afix_ % 10;
  const bool ring = m == 0 || m == 5 || m == 6 || m == 7 || m == 10 || m == 11;
  const bool known = ring || FindHfixGroup(m) || fragments_.contains(m) || state_.includes;
  if (afix_ < 0 || (afix_ != 0 && (n == 0 || !known))) state_.Report("afix-unknown", number_, std::to_string(afix_));
  if (state_.atoms.empty() && FindHfixGroup(m) && (n == 3 || n == 4 || n >= 7)) {
    state_.Report("afix-no-carrier", number_, std::to_string(afix_));
  }
}

void Scanner::CloseAfix() {
  CountAfix();
  afixHydrogens_ = 0;
  // AFIX 43 within a ring of AFIX 66 is followed by AFIX 65, which goes on with the ring.
  afixOthers_ = 0;
}

void Scanner::CountAfix() {
  const HfixGroup* code = afix_ >= 10 ? FindHfixGroup(afix_ / 10) : nullptr;
  const int n = afix_ % 10;
  if (!code || (n != 3 && n != 4 && n != 7 && n != 8) || afixHydrogens_ == code->hydrogens) return;
  if (state_.atoms.empty()) return;
  state_.Report(
      "afix-count", afixLine_, std::to_string(afix_),
      Printf("%d hydrogen%s, and %d follow", code->hydrogens, code->hydrogens == 1 ? "" : "s", afixHydrogens_));
  afixHydrogens_ = code->hydrogens;
}

void Scanner::Ends() {
  if (state_.atoms.empty()) state_.Report("no-atoms", 0);
  if (sawHklf_ && !ended_) state_.Report("no-end", number_, {}, {}, {{}, {}, {}, TextEdit{number_ + lines_, 0, "END"}});
  if (sawHklf_) return;
  const TextEdit hklf{state_.lastLine + 1, 0, ended_ ? "HKLF 4" : "HKLF 4\nEND"};
  state_.Report(ended_ ? "no-hklf" : "file-cut-off", number_, {}, {}, {{}, {}, {}, hklf});
}

}  // namespace

}  // namespace lint

std::vector<Finding> LintInstructionText(std::string_view text, const std::string& directory) {
  lint::LintState state(text);
  lint::Scanner(state, directory).Scan();
  lint::LintHeader(state);
  lint::LintAtoms(state);
  lint::LintCommands(state);
  lint::LintModel(state);
  std::ranges::stable_sort(state.findings, {}, &Finding::line);
  return std::move(state.findings);
}

}  // namespace marvik
