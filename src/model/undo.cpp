#include "model/undo.h"

#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace marvik {

namespace {

uint32_t SerialOf(const AtomRecord* atom) {
  return atom ? atom->serial : 0;
}

bool SameBonds(const AtomRecord& a, const AtomRecord& b) {
  const BondRecord* p = a.bonds;
  const BondRecord* q = b.bonds;
  for (; p && q; p = p->next, q = q->next)
    if (SerialOf(p->partner) != SerialOf(q->partner) || p->bits != q->bits || p->width != q->width) return false;
  return !p && !q;
}

// What a step may change of an atom; links, marks of the moment and what is computed from these are left out.
auto ValuesOf(const AtomRecord& a) {
  return std::tie(a.name, a.element->atomicNumber, a.fract, a.u, a.uCount, a.occupancy, a.part, a.partHasOccupancy,
                  a.partOccupancy, a.codedValues, a.peakHeight, a.afix, a.afixGroup, a.mole, a.residue, a.generated,
                  a.symmetryCode, a.flags2, a.hydrogenCount, a.charge, a.elementFromSfac, a.sfacNumber, a.afterEnd,
                  a.afterHklf, a.labelOffsetX, a.labelOffsetY, a.extras);
}

bool SameAtom(const AtomRecord& a, const AtomRecord& b) {
  constexpr uint8_t kNotSelected = static_cast<uint8_t>(~kSelected);
  return a.serial == b.serial && ValuesOf(a) == ValuesOf(b) && (a.flags & kNotSelected) == (b.flags & kNotSelected) &&
         SerialOf(a.parent) == SerialOf(b.parent) && SameBonds(a, b);
}

bool SamePairs(const PairList& a, const PairList& b) {
  if (a.pairs.size() != b.pairs.size()) return false;
  for (size_t i = 0; i < a.pairs.size(); ++i)
    if (SerialOf(a.pairs[i].first) != SerialOf(b.pairs[i].first) ||
        SerialOf(a.pairs[i].second) != SerialOf(b.pairs[i].second))
      return false;
  return true;
}

bool SameChain(const AtomRecord* a, const AtomRecord* b) {
  for (; a && b; a = a->next, b = b->next)
    if (!SameAtom(*a, *b)) return false;
  return !a && !b;
}

bool SameHfix(const std::vector<HfixEntry>& a, const std::vector<HfixEntry>& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (a[i].text != b[i].text || SerialOf(a[i].carrier) != SerialOf(b[i].carrier)) return false;
  return true;
}

size_t BytesOf(const Document& document) {
  size_t bytes = sizeof(Document) + document.atoms.MemoryBytes();
  for (const KeptLine& line : document.instructions.kept) bytes += sizeof line + line.text.size();
  return bytes;
}

}  // namespace

bool SameContent(const Document& a, const Document& b) {
  const auto subset = [](const Document& d) {
    std::vector<uint32_t> serials;
    for (const AtomRecord* atom : d.atoms.displaySubset) serials.push_back(atom->serial);
    return serials;
  };
  return a.cell == b.cell && a.latticeCode == b.latticeCode && a.symmetry == b.symmetry &&
         a.instructions == b.instructions && a.settings == b.settings && a.residues == b.residues &&
         a.atoms.hiddenParts == b.atoms.hiddenParts && a.atoms.trailingLines == b.atoms.trailingLines &&
         subset(a) == subset(b) && SamePairs(a.atoms.bindPairs, b.atoms.bindPairs) &&
         SamePairs(a.atoms.freePairs, b.atoms.freePairs) && SameHfix(a.atoms.hfix, b.atoms.hfix) &&
         SameChain(a.atoms.head, b.atoms.head) && SameChain(a.atoms.killedHead, b.atoms.killedHead);
}

std::string ChangeText(const Document& before, const Document& after) {
  // The numbers are those of another reading where an atom has the number of one and the name of another.
  std::unordered_map<uint32_t, std::string> numbered;
  std::unordered_set<std::string> known;
  for (const AtomRecord* atom : Atoms(before.atoms)) known.insert(numbered[atom->serial] = atom->name);
  bool anew = false;
  for (const AtomRecord* atom : Atoms(after.atoms)) {
    const auto was = numbered.find(atom->serial);
    anew = anew || ((was == numbered.end() || was->second != atom->name) && known.contains(atom->name));
  }
  const auto keyOf = [anew](const AtomRecord& atom) {
    return anew ? atom.name + '_' + std::to_string(atom.residue) : std::to_string(atom.serial);
  };
  std::unordered_map<std::string, const AtomRecord*> left;
  for (const AtomRecord* atom : Atoms(before.atoms)) left.emplace(keyOf(*atom), atom);
  std::vector<std::string> renamed, added, gone, changed;
  bool bonds = !SamePairs(before.atoms.bindPairs, after.atoms.bindPairs) ||
               !SamePairs(before.atoms.freePairs, after.atoms.freePairs);
  for (const AtomRecord* atom : Atoms(after.atoms)) {
    const auto found = left.find(keyOf(*atom));
    const AtomRecord* was = found == left.end() ? nullptr : found->second;
    if (was) left.erase(found);
    if (!was) {
      added.push_back(atom->name);
    } else if (was->name != atom->name) {
      renamed.push_back(was->name + " → " + atom->name);
    } else if (ValuesOf(*was) != ValuesOf(*atom)) {
      changed.push_back(atom->name);
    } else {
      bonds = bonds || (!anew && !SameBonds(*was, *atom));
    }
  }
  for (const AtomRecord* atom : Atoms(before.atoms))
    if (const auto found = left.find(keyOf(*atom)); found != left.end() && found->second == atom)
      gone.push_back(atom->name);
  std::string text;
  const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : "; ") + part; };
  const auto list = [&add](const char* sign, const std::vector<std::string>& names, const char* behind) {
    constexpr size_t kMostNames = 3;
    if (names.empty()) return;
    std::string part;
    for (const std::string& name : names) part += (part.empty() ? "" : ", ") + name;
    if (names.size() > kMostNames) part = std::to_string(names.size()) + " atoms";
    add(sign + part + behind);
  };
  list("", renamed, renamed.size() > 3 ? " renamed" : "");
  list("+ ", added, "");
  list("− ", gone, "");
  list("", changed, " changed");
  if (bonds && gone.empty() && added.empty()) add("bonds");
  if (before.cell != after.cell || before.latticeCode != after.latticeCode || before.symmetry != after.symmetry)
    add("cell or symmetry");
  if (before.instructions != after.instructions || before.settings != after.settings ||
      !SameHfix(before.atoms.hfix, after.atoms.hfix))
    add("instructions");
  return text;
}

UndoHistory::Step UndoHistory::Snapshot(const Document& document, std::string name) {
  return {std::move(name), std::make_unique<Document>(document), BytesOf(document), 0};
}

void UndoHistory::Begin(const Document& before, std::string name) {
  pending_ = Snapshot(before, std::move(name));
  pending_.state = state_;
}

bool UndoHistory::Settle(const Document& after, bool changesFile) {
  Step step = std::exchange(pending_, {});
  if (!step.document || SameContent(*step.document, after)) return false;
  undo_.push_back(std::move(step));
  redo_.clear();
  if (changesFile) state_ = ++lastState_;
  Trim();
  return true;
}

void UndoHistory::Trim() {
  size_t bytes = 0;
  for (const Step& step : undo_) bytes += step.bytes;
  while (undo_.size() > 1 && bytes > byteLimit_) {
    bytes -= undo_.front().bytes;
    undo_.pop_front();
  }
}

void UndoHistory::Replace(Document& document, Document& by) {
  std::unordered_map<uint32_t, size_t> order;
  for (size_t i = 0; i < document.atoms.selection.Size(); ++i) order[document.atoms.selection[i]->serial] = i;
  std::vector<AtomRecord*> selected(document.atoms.selection.Size());
  std::swap(document.atoms, by.atoms);
  document.atoms.AdoptElements(document.elements);
  document.atoms.selection.Clear();
  document.atoms.selectedBonds.clear();
  if (!order.empty())
    for (AtomRecord* atom : Atoms(document.atoms))
      if (const auto found = order.find(atom->serial); found != order.end()) selected[found->second] = atom;
  for (AtomRecord* atom : selected)
    if (atom) document.atoms.selection.Append(atom);
  document.cell = by.cell;
  document.matrix = by.matrix;
  document.latticeCode = by.latticeCode;
  document.symmetry = std::move(by.symmetry);
  document.instructions = std::move(by.instructions);
  document.settings = by.settings;
  document.residues = std::move(by.residues);
  document.MoleculeCentre = by.MoleculeCentre;
}

bool UndoHistory::Move(std::deque<Step>& from, std::deque<Step>& to, Document& document) {
  if (from.empty()) return false;
  Step step = std::move(from.back());
  from.pop_back();
  to.push_back(Snapshot(document, step.name));
  to.back().state = std::exchange(state_, step.state);
  Replace(document, *step.document);
  return true;
}

std::vector<std::string> UndoHistory::UndoNames() const {
  std::vector<std::string> names;
  for (const Step& step : undo_) names.push_back(step.name);
  return names;
}

std::vector<std::string> UndoHistory::RedoNames() const {
  std::vector<std::string> names;
  for (auto step = redo_.rbegin(); step != redo_.rend(); ++step) names.push_back(step->name);
  return names;
}

std::vector<UndoHistory::Moment> UndoHistory::Moments() const {
  std::vector<Moment> moments;
  for (const Step& step : undo_) moments.push_back({step.document.get(), step.state});
  moments.push_back({nullptr, state_});
  for (auto step = redo_.rbegin(); step != redo_.rend(); ++step) moments.push_back({step->document.get(), step->state});
  return moments;
}

bool UndoHistory::Undo(Document& document) {
  return Move(undo_, redo_, document);
}
bool UndoHistory::Redo(Document& document) {
  return Move(redo_, undo_, document);
}

void UndoHistory::Clear() {
  undo_.clear();
  redo_.clear();
  pending_ = {};
  state_ = ++lastState_;
}

}  // namespace marvik
