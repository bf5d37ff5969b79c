#include "file_facts.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>
#include <sstream>

namespace marvik::test {

namespace {

using Words = std::vector<std::string>;

std::string Upper(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  return text;
}

std::optional<double> NumberIn(const std::string& word) {
  const char* begin = word.data() + (word.starts_with("+") ? 1 : 0);
  double value = 0.0;
  const auto [end, error] = std::from_chars(begin, word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  return value;
}

std::string Canonical(const std::string& word) {
  const std::optional<double> value = NumberIn(word);
  if (!value) return Upper(word);
  char buffer[400];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, *value, std::chars_format::fixed, 6).ptr;
  const std::string text(buffer, end);
  return text == "-0.000000" ? "0.000000" : text;
}

Words Split(const std::string& text) {
  Words words;
  std::string word;
  for (const char c : text + " ") {
    if (std::string(" ,\t\r\n").find(c) == std::string::npos && c != '\0') {
      word += c;
    } else if (!word.empty()) {
      words.push_back(word);
      word.clear();
    }
  }
  return words;
}

std::string Joined(const Words& words, size_t from = 0) {
  std::string text;
  for (size_t i = from; i < words.size(); ++i) text.append(text.empty() ? "" : " ").append(Canonical(words[i]));
  return text;
}

Words PhysicalLines(std::string text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
  if (text.find('\n') == std::string::npos) std::replace(text.begin(), text.end(), '\r', '\n');
  Words lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    while (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

// One parse of a file, from its first line to its last.
class Parser {
 public:
  explicit Parser(const std::string& text) : lines_(PhysicalLines(text)) {}

  FileFacts Parse() {
    while (at_ < lines_.size()) Line();
    for (const std::string& line : before_) facts_.header.push_back(line + " behind the atoms");
    for (size_t i = 0; i < unit_.size(); ++i) {
      const std::string element = unit_.size() == sfac_.size() ? sfac_[i] : std::to_string(i);
      facts_.unit[element].append(Canonical(unit_[i])).append(" ");
    }
    std::sort(facts_.header.begin(), facts_.header.end());
    std::sort(facts_.scatterers.begin(), facts_.scatterers.end());
    return std::move(facts_);
  }

 private:
  // The words of the instruction at hand, continuation lines joined.
  Words Logical(bool mayContinue) {
    Words words;
    for (bool more = true; more && at_ < lines_.size();) {
      std::string line = lines_[at_++];
      if (!mayContinue) return Split(line);
      const size_t comment = line.find('!');
      if (comment != std::string::npos) {
        comment_ += line.substr(comment);
        line.resize(comment);
      }
      const size_t sign = line.rfind('=');
      more = sign != std::string::npos;
      if (more) line.resize(sign);
      for (const std::string& word : Split(line)) words.push_back(word);
    }
    return words;
  }

  void Line() {
    const std::string raw = lines_[at_];
    std::string head = Upper(raw.substr(0, 4));
    head.resize(4, ' ');
    if (raw.find_first_not_of(" \t\r") == std::string::npos) {
      ++at_;
      return;
    }
    comment_.clear();
    if (head == "REM ") {
      ++facts_.remarks;
      ++at_;
    } else if (head == "TITL" && facts_.title.empty() && !end_) {
      facts_.title = raw.substr(4, raw.find_last_not_of(" \t") - 3);
      ++at_;
    } else if (head == "    " || raw[0] == '+' || head == "TITL") {
      ++at_;
      raw[0] == '+' ? Place(raw) : Other(raw);
    } else {
      Instruction(head, Logical(true));
    }
  }

  void Instruction(const std::string& head, Words words) {
    if (words.empty()) return Other(comment_);
    const bool residue = words[0].size() > 4 && words[0][4] == '_';
    if (!residue && words[0].size() > 4 && head == "CELL") words = Split(head + " " + words[0].substr(4) + Rest(words));
    if (head == "END ") {
      end_ = true;
      state_ = {};
    } else if (!residue && State(head, words)) {
      return;
    } else if (end_ && !IsAtom(words)) {
      facts_.afterEnd.push_back(Joined(words));
    } else if (!residue && !end_ && Header(head, words)) {
      return;
    } else if (head == "SAME" || head == "HOPE" || (head == "MOVE") || (head == "ANIS" && !facts_.atoms.empty())) {
      Place(Joined(words));
    } else if (IsAtom(words)) {
      Atom(words);
    } else {
      Other(Joined(words));
    }
  }

  static std::string Rest(const Words& words) {
    std::string text;
    for (size_t i = 1; i < words.size(); ++i) text.append(" ").append(words[i]);
    return text;
  }

  static bool IsAtom(const Words& words) {
    static const Words keywords =
        Split("CELL ZERR UNIT FVAR WGHT HKLF TWIN MOVE LIST STIR DFIX SADI SUMP SIZE BASF MPLA");
    if (words.size() < 5 || NumberIn(words[0])) return false;
    if (std::find(keywords.begin(), keywords.end(), Upper(words[0].substr(0, 4))) != keywords.end()) return false;
    for (size_t i = 1; i < 5; ++i)
      if (!NumberIn(words[i])) return false;
    return true;
  }

  bool State(const std::string& head, const Words& words) {
    const std::string value = Joined(words, 1);
    if (head == "PART") state_.part = value.starts_with("0.000000") && words.size() == 2 ? "" : value;
    if (head == "MOLE") state_.mole = value == "0.000000" ? "" : value;
    if (head == "RESI") {
      Words sorted = Split(value);
      std::sort(sorted.begin(), sorted.end());
      state_.residue = value == "0.000000" || value.empty() ? "" : Joined(sorted);
    }
    if (head == "AFIX") {
      state_.afix = value == "0.000000" ? "" : value + Upper(comment_);
      if (!state_.afix.empty()) state_.newGroup = true;
    }
    return head == "PART" || head == "MOLE" || head == "RESI" || head == "AFIX";
  }

  bool Header(const std::string& head, const Words& words) {
    const Words arguments(words.begin() + 1, words.end());
    if (head == "SFAC") {
      Scatterers(arguments);
    } else if (head == "UNIT") {
      unit_ = arguments;
    } else if (head == "FVAR") {
      for (const std::string& word : arguments) {
        const bool tooSmall = facts_.freeVariables.empty() && NumberIn(word).value_or(1.0) < 0.03;
        facts_.freeVariables.append(tooSmall ? "1.000000" : Canonical(word)).append(" ");
      }
    } else if (head == "EQIV" || head == "DEFS" || head == "SYMM" || head == "BASF" ||
               (head == "OMIT" && words.size() == 4)) {
      facts_.ordered.push_back(Joined(words));
    } else {
      if (head == "HKLF") hklf_ = !facts_.atoms.empty();
      return false;
    }
    return true;
  }

  void Scatterers(const Words& arguments) {
    if (arguments.size() > 1 && NumberIn(arguments[1])) {
      sfac_.push_back(Upper(arguments[0]));
      facts_.scatterers.push_back(Joined(arguments));
      return;
    }
    for (const std::string& label : arguments) {
      sfac_.push_back(Upper(label));
      facts_.scatterers.push_back(Upper(label));
    }
  }

  void Place(const std::string& line) { end_ ? facts_.afterEnd.push_back(line) : before_.push_back(line); }

  void Other(const std::string& line) {
    if (end_) {
      facts_.afterEnd.push_back(line);
    } else if (hklf_ && !line.starts_with("HKLF")) {
      facts_.afterHklf.push_back(line);
    } else {
      facts_.header.push_back(Upper(line) + Upper(comment_));
    }
  }

  void Atom(const Words& words) {
    const int number = static_cast<int>(*NumberIn(words[1]));
    const bool peak = words[0][0] == 'Q' || words[0][0] == 'q';
    std::string fact = words[0] + " ";
    fact += !peak && number >= 1 && number <= static_cast<int>(sfac_.size()) ? sfac_[static_cast<size_t>(number) - 1]
                                                                             : words[1];
    Words values(words.begin() + 2, words.end());
    if (values.size() < 4) values.push_back("11.0");
    if (values.size() < 5) values.push_back("0.05");
    if (peak && values.size() < 6) values.push_back("0.0");
    fact.append(" ").append(Joined(values)).append(comment_);
    fact.append(" part ").append(state_.part).append(" afix ").append(state_.afix);
    fact.append(" mole ").append(state_.mole).append(" residue ").append(state_.residue);
    if (state_.newGroup) fact += " opens its group";
    state_.newGroup = false;
    if (end_) fact += " behind END";
    for (const std::string& line : before_) fact.append(" after ").append(line);
    before_.clear();
    facts_.atoms.push_back(fact);
  }

  struct InForce {
    std::string part, afix, mole, residue;
    bool newGroup = false;
  };

  Words lines_;
  size_t at_ = 0;
  FileFacts facts_;
  InForce state_;
  Words sfac_;
  Words unit_;
  Words before_;
  std::string comment_;
  bool hklf_ = false;
  bool end_ = false;
};

template <class Container>
void Compare(const char* what, const Container& before, const Container& after, std::vector<std::string>& result) {
  auto a = before.begin();
  auto b = after.begin();
  for (; a != before.end() && b != after.end(); ++a, ++b)
    if (*a != *b) result.push_back(std::string(what) + ": " + *a + " -> " + *b);
  for (; a != before.end(); ++a) result.push_back(std::string(what) + " lost: " + *a);
  for (; b != after.end(); ++b) result.push_back(std::string(what) + " new: " + *b);
}

}  // namespace

FileFacts FactsOf(const std::string& text) {
  return Parser(text).Parse();
}

std::vector<std::string> Differences(const FileFacts& before, const FileFacts& after) {
  std::vector<std::string> result;
  if (before.title != after.title) result.push_back(before.title + " -> " + after.title);
  std::vector<std::string> difference;
  std::set_difference(before.header.begin(), before.header.end(), after.header.begin(), after.header.end(),
                      std::back_inserter(difference));
  for (const std::string& line : difference) result.push_back(line + " is lost");
  difference.clear();
  std::set_difference(after.header.begin(), after.header.end(), before.header.begin(), before.header.end(),
                      std::back_inserter(difference));
  const std::vector<std::string> always{"LATT 1.000000", "FMAP 2.000000", "PLAN 20.000000"};
  for (const std::string& line : difference)
    if (std::find(always.begin(), always.end(), line) == always.end()) result.push_back(line + " is new");
  const auto kind = [](const std::string& a, const std::string& b) { return a.substr(0, 4) < b.substr(0, 4); };
  std::vector<std::string> orderedBefore = before.ordered;
  std::vector<std::string> orderedAfter = after.ordered;
  std::stable_sort(orderedBefore.begin(), orderedBefore.end(), kind);
  std::stable_sort(orderedAfter.begin(), orderedAfter.end(), kind);
  Compare("ordered", orderedBefore, orderedAfter, result);
  Compare("behind HKLF", before.afterHklf, after.afterHklf, result);
  Compare("behind END", before.afterEnd, after.afterEnd, result);
  Compare("scatterer", before.scatterers, after.scatterers, result);
  Compare("atom", before.atoms, after.atoms, result);
  if (before.unit != after.unit) result.push_back("UNIT differs");
  if (before.freeVariables != after.freeVariables &&
      !(before.freeVariables.empty() && after.freeVariables == "1.000000 "))
    result.push_back(before.freeVariables + " -> " + after.freeVariables);
  return result;
}

}  // namespace marvik::test
