#include <algorithm>
#include <array>
#include <iterator>
#include <unordered_map>
#include <unordered_set>

#include "files/res/atom_writer.h"
#include "files/res/header_pieces.h"
#include "files/res/layouts.h"
#include "files/res/source_changes.h"
#include "language/line_columns.h"

namespace marvik {

namespace {

// The part of the file that an atom belongs in.
enum Section : size_t { kMain, kBehindEnd, kGrown, kSections };

// Which of the atoms of one section keep their places in the file, by the longest run of lines that still ascends.
std::vector<const AtomRecord*> InFileOrder(const std::vector<const AtomRecord*>& atoms) {
  std::vector<size_t> tails;  // of the best run of each length
  std::vector<size_t> before(atoms.size(), atoms.size());
  for (size_t i = 0; i < atoms.size(); ++i) {
    const int32_t line = atoms[i]->sourceLine;
    if (line < 0) continue;
    const auto at = std::ranges::lower_bound(tails, line, {}, [&](size_t t) { return atoms[t]->sourceLine; });
    if (at != tails.begin()) before[i] = *std::prev(at);
    if (at == tails.end()) {
      tails.push_back(i);
    } else {
      *at = i;
    }
  }
  std::vector<const AtomRecord*> run;
  for (size_t i = tails.empty() ? atoms.size() : tails.back(); i < atoms.size(); i = before[i]) run.push_back(atoms[i]);
  return {run.rbegin(), run.rend()};
}

// Goes through the lines of the source once and writes what has become of each.
class AsReadWriter {
 public:
  AsReadWriter(const Document& document, const WriteOptions& options, std::string& text)
      : document_(document),
        source_(*document.instructions.source),
        options_(options),
        atoms_(document, FileLayout::AsRead),
        changes_(document),
        out_(text) {
    PlaceAtoms();
  }

  void Whole() {
    std::vector<int32_t> pending;
    for (int32_t line = 0; line < end_; ++line) {
      const LineRole role = RoleOf(line);
      if (const AtomRecord* atom = slots_[static_cast<size_t>(line)]) {
        Prelude(pending, atom);
        pending.clear();
        Loose(leading_[SectionOf(*atom)]);
        Repair(atom);
        Atom(*atom);
        Followers(atom);
        mainIsOut_ = mainIsOut_ || line == lastMain_;
        continue;
      }
      if (mainIsOut_ && (role == LineRole::End || changes_.IsHklf(line))) CloseMain(pending);
      if (role == LineRole::End) {
        End(line, pending);
      } else {
        pending.push_back(line);
      }
    }
    if (!ended_) CloseMain(pending);
    Prelude(pending, nullptr);
    if (!ended_ && !(options_.beforeEnd.empty() && options_.behindEnd.empty())) {
      Add(options_.beforeEnd);
      Add("END\n" + options_.behindEnd);
    }
    for (const Section section : {kBehindEnd, kGrown}) Loose(leading_[section]);
    if (!newGrown_) return;
    std::string grown;
    ComposeGrownSection(document_, grown);
    Add(grown);
  }

 private:
  // What is done with the state lines of one kind before an atom.
  enum class Plan { All, None, Last, Replace };
  using Plans = std::array<Plan, LayoutState::Kinds>;

  static Section SectionOf(const AtomRecord& atom) {
    return atom.Has(kFromGrownSection) ? kGrown : GoesBehindEnd(atom) ? kBehindEnd : kMain;
  }
  LineRole RoleOf(int32_t line) const { return source_.lines[static_cast<size_t>(line)].role; }
  const LayoutState& StateAt(int32_t line) const {
    return source_.states[static_cast<size_t>(source_.lines[static_cast<size_t>(line)].index)];
  }
  // Names on a positional line are those of the residue that it stands in; PART, AFIX and MOLE are for atoms.
  bool IsPositional(int32_t line) const {
    return StateAt(line).kind == LayoutState::Residue && changes_.IsPositional(line);
  }
  bool HasLine(const AtomRecord& atom) const {
    return atom.sourceLine >= 0 && static_cast<size_t>(atom.sourceLine) < source_.lines.size() &&
           RoleOf(atom.sourceLine) == LineRole::Atom;
  }
  void PlaceAtoms();
  void Prelude(const std::vector<int32_t>& pending, const AtomRecord* atom);
  void PreludeLine(int32_t line, const AtomRecord* atom, const Plans& plans, const std::array<int32_t, 4>& last);
  void LinesBefore(const AtomRecord& atom, const std::vector<int32_t>& pending);
  // The state lines that an atom still needs.
  void Repair(const AtomRecord* atom) {
    if (atom->IsPeak()) now_.afix = 0;
    for (const LayoutState::Kind kind : kStateKinds)
      if (!now_.Says(kind, StateOf(*atom))) AddState(kind, atom);
  }

  void NewLine() {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    const std::string& lineEnd = document_.instructions.lineEnd;
    if (out_.empty() || out_ == kByteOrderMark) return;
    if (out_.back() != '\n' && out_.back() != '\r') out_ += lineEnd;
    // Nothing followed the mark in the file, and it must not take what comes now.
    if (isOpen_) out_ += lineEnd;
    isOpen_ = false;
  }
  void Bytes(int32_t line) {
    NewLine();
    out_ += BytesOf(source_, line);
    isOpen_ = static_cast<size_t>(line) + 1 == source_.lines.size() && EndsInMark(BytesOf(source_, line));
  }
  static bool EndsInMark(std::string_view text) {
    const size_t last = text.find_last_not_of(" \t\r\n");
    return last != std::string_view::npos && text[last] == '=';
  }
  // Composed text, whose lines end in line feeds.
  void Add(std::string_view text) {
    if (text.empty()) return;
    NewLine();
    for (const char c : text) {
      if (c == '\n') {
        out_ += document_.instructions.lineEnd;
      } else {
        out_ += c;
      }
    }
    NewLine();
  }
  // One line whose inner line ends may be those of the file; a return that ends no line parts words.
  void AddLine(std::string text) {
    const auto ends = [&](size_t at) { return at + 1 == text.size() || text[at + 1] == '\n'; };
    const char instead = document_.instructions.lineEnd == "\r" ? '\n' : ' ';
    for (size_t at = text.size(); at-- > 0;) {
      if (text[at] != '\r') continue;
      text[at] = instead;
      if (instead == ' ' && ends(at)) text.erase(at, 1);
    }
    Add(text);
    isOpen_ = EndsInMark(text);
  }
  void AddState(LayoutState::Kind kind, const AtomRecord* atom) {
    std::string text;
    atoms_.State(kind, atom, text);
    Add(text);
    const AtomState wanted = atom ? StateOf(*atom) : AtomState{};
    LayoutState state{kind, wanted.hasOccupancy, 0, wanted.afixGroup, wanted.occupancy};
    state.value = kind == LayoutState::Part   ? wanted.part
                  : kind == LayoutState::Afix ? wanted.afix
                  : kind == LayoutState::Mole ? wanted.mole
                                              : wanted.residue;
    now_.Set(state);
  }
  void Atom(const AtomRecord& atom) {
    hasAtoms_ = true;
    const bool hasLine = HasLine(atom);
    if (hasLine && atoms_.HashOf(atom) == atom.sourceHash) {
      Bytes(atom.sourceLine);
    } else {
      std::string composed;
      atoms_.Line(atom, composed);
      const auto placed = hasLine ? Placed(BytesOf(source_, atom.sourceLine), composed) : std::nullopt;
      placed ? AddLine(*placed) : Add(composed);
    }
    if (atom.IsPeak()) now_.afix = read_.afix = 0;
  }
  // What a line left to be taken for granted, it need not say now.
  static std::optional<std::string> Placed(std::string_view bytes, std::string_view composed) {
    std::vector<std::string_view> words = WordsInFile(composed);
    const size_t had = WordsInFile(bytes).size();
    constexpr std::pair<size_t, std::string_view> kUsual[] = {{7, "0.050000"}, {6, "11.000000"}};
    for (const auto& [count, value] : kUsual)
      if (words.size() == count && count > had && words.back() == value) words.pop_back();
    return InColumns(bytes, words);
  }
  // Atoms that have no place of their own in the file, with what belongs to them.
  void Loose(std::vector<const AtomRecord*>& atoms) {
    for (const AtomRecord* atom : atoms) {
      if (const auto carried = carried_.find(atom); carried != carried_.end())
        for (const int32_t line : carried->second) Bytes(line);
      LinesBefore(*atom, {});
      if (atoms_.IsLeftToHfix(*atom)) continue;
      Repair(atom);
      Atom(*atom);
    }
    atoms.clear();
  }
  void Followers(const AtomRecord* atom) {
    if (const auto at = followers_.find(atom); at != followers_.end()) Loose(at->second);
  }
  void CloseMain(std::vector<int32_t>& pending) {
    if (mainIsClosed_) return;
    mainIsClosed_ = true;
    Prelude(pending, nullptr);
    pending.clear();
    Loose(leading_[kMain]);
    for (const LayoutState::Kind kind : kStateKinds)
      if (!now_.Says(kind, {}) && !now_.Says(kind, read_)) AddState(kind, nullptr);
  }
  void End(int32_t line, std::vector<int32_t>& pending) {
    Prelude(pending, nullptr);
    pending.clear();
    if (!ended_) Add(options_.beforeEnd);
    Bytes(line);
    if (!ended_) Add(options_.behindEnd);
    ended_ = true;
    now_ = read_ = {};
  }

  const Document& document_;
  const SourceLayout& source_;
  const WriteOptions& options_;
  const AtomWriter atoms_;
  const SourceChanges changes_;
  std::string& out_;

  std::vector<const AtomRecord*> slots_;  // by line of the source
  std::vector<const AtomRecord*> leading_[kSections];
  std::unordered_map<const AtomRecord*, std::vector<const AtomRecord*>> followers_;
  std::unordered_map<const AtomRecord*, std::vector<int32_t>> carried_;  // the remarks of atoms that have moved
  std::unordered_set<int32_t> isCarried_;
  int32_t end_ = 0;        // where the walk ends: before a section that is written anew
  int32_t lastMain_ = -1;  // the last line of an atom of the structure
  bool mainIsOut_ = false;
  bool mainIsClosed_ = false;
  bool behindHklf_ = false;
  bool hasAtoms_ = false;
  bool ended_ = false;
  bool newGrown_ = false;
  bool isOpen_ = false;  // what was written last ends in a continuation mark

  AtomState now_;   // what the lines that were written say
  AtomState read_;  // what the lines of the source say, those that were left out included
};

void AsReadWriter::PlaceAtoms() {
  std::vector<const AtomRecord*> sections[kSections];
  for (const AtomRecord* atom : Atoms(document_.atoms)) {
    newGrown_ = newGrown_ || (atom->generated && !(atom->IsHydrogen() && !atom->parent));
    if (!atom->generated) sections[SectionOf(*atom)].push_back(atom);
  }
  slots_.resize(source_.lines.size());
  end_ = static_cast<int32_t>(source_.lines.size());
  int32_t end = 0;  // the line of the first END
  while (end < end_ && RoleOf(end) != LineRole::End) ++end;
  if (newGrown_) {
    for (const AtomRecord* atom : sections[kGrown])
      if (HasLine(*atom)) end_ = std::min(end_, atom->sourceLine);
    for (int32_t line = end; line < end_; ++line)
      if (RoleOf(line) == LineRole::Grown) end_ = line;
    sections[kGrown].clear();
  }
  for (const Section section : {kMain, kBehindEnd, kGrown}) {
    const auto belongs = [&](const AtomRecord* atom) {
      return HasLine(*atom) && (atom->sourceLine < end) == (section == kMain) && !atoms_.IsLeftToHfix(*atom);
    };
    std::vector<const AtomRecord*> candidates;
    std::ranges::copy_if(sections[section], std::back_inserter(candidates), belongs);
    const bool inOrder = std::ranges::is_sorted(candidates, std::ranges::less_equal(), &AtomRecord::sourceLine);
    for (const AtomRecord* atom : inOrder ? candidates : InFileOrder(candidates))
      slots_[static_cast<size_t>(atom->sourceLine)] = atom;
    const AtomRecord* place = nullptr;
    for (const AtomRecord* atom : sections[section]) {
      if (HasLine(*atom) && slots_[static_cast<size_t>(atom->sourceLine)] == atom) {
        place = atom;
        if (section == kMain) lastMain_ = std::max(lastMain_, atom->sourceLine);
        continue;
      }
      (place ? followers_[place] : leading_[section]).push_back(atom);
      if (!HasLine(*atom) || slots_[static_cast<size_t>(atom->sourceLine)]) continue;
      std::vector<int32_t>& carried = carried_[atom];
      for (int32_t line = atom->sourceLine - 1; line >= 0; --line) {
        if (RoleOf(line) == LineRole::State) continue;
        if (RoleOf(line) != LineRole::Text) break;
        carried.insert(carried.begin(), line);
        isCarried_.insert(line);
      }
    }
  }
  mainIsOut_ = lastMain_ < 0;
}

void AsReadWriter::Prelude(const std::vector<int32_t>& pending, const AtomRecord* atom) {
  const AtomState wanted = atom ? StateOf(*atom) : AtomState{};
  std::array<int32_t, 4> last{-1, -1, -1, -1};
  bool removed = false;
  size_t start = 0;  // behind the header and the atoms that are gone
  for (size_t i = 0; i < pending.size(); ++i) {
    const LineRole role = RoleOf(pending[i]);
    removed = removed || role == LineRole::Atom;
    if (role == LineRole::State) last[StateAt(pending[i]).kind] = pending[i];
    const bool before = role == LineRole::Kept && atom && changes_.Of(pending[i]).owner == atom;
    if (role != LineRole::Text && role != LineRole::State && !before) start = i + 1;
  }
  Plans plans;
  for (const LayoutState::Kind kind : kStateKinds) {
    AtomState said = read_;
    if (last[kind] >= 0) said.Set(StateAt(last[kind]));
    const bool lastSays = last[kind] >= 0 && said.Says(kind, wanted);
    const bool untouched = !removed && now_.Says(kind, read_);
    // A peak is in no AFIX group, whatever was said before it.
    const bool any = !atom || (atom->IsPeak() && kind == LayoutState::Afix);
    plans[kind] = untouched && (lastSays || any) ? Plan::All
                  : now_.Says(kind, wanted)      ? Plan::None
                  : lastSays                     ? Plan::Last
                  : atom                         ? Plan::Replace
                                                 : Plan::None;
  }
  for (size_t i = 0; i <= pending.size(); ++i) {
    if (i == start && atom) {
      for (const LayoutState::Kind kind : kStateKinds) {
        const bool peak = atom->IsPeak() && kind == LayoutState::Afix;
        if (last[kind] < 0 && !peak && !now_.Says(kind, wanted)) AddState(kind, atom);
      }
    }
    if (i < pending.size()) PreludeLine(pending[i], atom, plans, last);
  }
  if (atom) LinesBefore(*atom, pending);
}

void AsReadWriter::PreludeLine(int32_t line, const AtomRecord* atom, const Plans& plans,
                               const std::array<int32_t, 4>& last) {
  Add(changes_.Before(line));
  const LineRole role = RoleOf(line);
  const SourceChanges::Line& now = changes_.Of(line);
  if (role == LineRole::Atom) {
    const std::string_view bytes = BytesOf(source_, line);
    if (bytes.starts_with('Q') || bytes.starts_with('q')) read_.afix = 0;
  } else if (role == LineRole::State) {
    const LayoutState& state = StateAt(line);
    const Plan plan = plans[state.kind];
    const bool isLast = last[state.kind] == line;
    const bool stays =
        IsPositional(line) ? !now.owner || now.owner == atom : plan == Plan::All || (plan == Plan::Last && isLast);
    read_.Set(state);
    if (stays) {
      Bytes(line);
      now_.Set(state);
    } else if (plan == Plan::Replace && isLast) {
      AddState(state.kind, atom);
    }
  } else if (role == LineRole::Text) {
    const bool dropped = behindHklf_ && options_.keeps && !options_.keeps(TextOf(source_, line));
    if (!dropped && !isCarried_.contains(line)) Bytes(line);
  } else if (now.stays && (!now.owner || now.owner == atom)) {
    if (now.isParked && !hasAtoms_) {
      Add(AsRemarks(now.text ? *now.text : TextOf(source_, line)));
    } else {
      now.text ? AddLine(*now.text) : Bytes(line);
    }
  }
  behindHklf_ = behindHklf_ || changes_.IsHklf(line);
  Add(changes_.Behind(line));
}

// Those that did not stand there in the file.
void AsReadWriter::LinesBefore(const AtomRecord& atom, const std::vector<int32_t>& pending) {
  for (const KeptLine& kept : atom.Extras().linesBefore) {
    if (!pending.empty() && kept.line >= pending.front() && kept.line <= pending.back()) continue;
    const bool isState = kept.line >= 0 && RoleOf(kept.line) == LineRole::State;
    if (isState && !IsPositional(kept.line)) continue;
    if (isState) now_.Set(StateAt(kept.line));
    const bool same = kept.line >= 0 && !changes_.Of(kept.line).text;
    same ? Bytes(kept.line) : AddLine(kept.text);
  }
}

}  // namespace

void ComposeAsRead(const Document& document, const WriteOptions& options, std::string& text) {
  AsReadWriter(document, options, text).Whole();
}

}  // namespace marvik
