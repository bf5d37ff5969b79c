#include <algorithm>
#include <unordered_set>

#include "crystal/cell_metric.h"
#include "crystal/symmetry.h"
#include "files/res/instruction_forms.h"
#include "files/res/read_state.h"
#include "language/residues.h"
#include "language/tokenizer.h"
#include "model/coded_values.h"

namespace marvik {

namespace {

constexpr size_t kMismatchesListed = 20;

// Brings SFAC and UNIT into the order in which they are written. Gives the new place by the old one.
std::vector<size_t> ArrangeSfac(ReadState& s) {
  Instructions& in = s.document.instructions;
  const size_t n = in.sfac.size();
  std::vector<size_t> order(n);
  for (size_t i = 0; i < n; ++i) order[i] = i;
  std::stable_partition(order.begin(), order.end(), [&](size_t i) { return !in.sfacForms[i].longForm; });
  std::vector<size_t> place(n);
  for (size_t i = 0; i < n; ++i) place[order[i]] = i;
  if (std::is_sorted(order.begin(), order.end())) return place;
  const Instructions before = in;
  for (size_t i = 0; i < n; ++i) {
    in.sfac[i] = before.sfac[order[i]];
    in.sfacForms[i] = before.sfacForms[order[i]];
    if (before.unit.size() == n) in.unit[i] = before.unit[order[i]];
  }
  for (const char* key : {"SFAC", "UNIT"}) {
    const auto original = s.originals.find(key);
    if (original == s.originals.end()) continue;
    if (original->second.hasMore) s.Drop(original->second.text);
    s.originals.erase(original);
  }
  return place;
}

// From the label, but where its element is not on SFAC and the number's is, the number decides: CA in a protein, HO1.
class ElementRule {
 public:
  explicit ElementRule(ReadState& state) : s_(state), place_(ArrangeSfac(state)) {
    for (const int row : s_.document.instructions.sfac) onSfac_[static_cast<size_t>(row)] = row != kUnknownRow;
  }

  void Apply(AtomRecord& atom) {
    const std::vector<int>& sfac = s_.document.instructions.sfac;
    int row = ElementTable::ElementFromLabel(atom.name);
    const size_t number = static_cast<size_t>(std::abs(atom.sfacNumber));
    if (!atom.IsPeak() && number >= 1 && number <= sfac.size()) {
      const size_t index = place_[number - 1];
      const int sign = atom.sfacNumber < 0 ? -1 : 1;
      atom.sfacNumber = static_cast<int16_t>(sign * static_cast<int>(index + 1));
      if (!onSfac_[static_cast<size_t>(row)]) {
        row = sfac[index];
        atom.elementFromSfac = true;
      } else if (row != sfac[index]) {
        mismatches_.push_back(atom.name + " " + std::to_string(number));
      }
    }
    atom.element = &s_.document.elements[row];
  }

  // The label holds, so the atoms' numbers will change; the user has to know.
  void Report() const {
    if (mismatches_.empty()) return;
    std::string text = "The SFAC numbers of these atoms name other elements than their names do, and the names hold:";
    for (size_t i = 0; i < std::min(mismatches_.size(), kMismatchesListed); ++i) text += "\n" + mismatches_[i];
    if (mismatches_.size() > kMismatchesListed)
      text += "\n(" + std::to_string(mismatches_.size() - kMismatchesListed) + " more)";
    s_.messages.Show({MessageIcon::Information, "Atom Names and SFAC Numbers", text});
  }

 private:
  ReadState& s_;
  std::vector<size_t> place_;
  std::array<bool, kElementRows> onSfac_{};
  std::vector<std::string> mismatches_;
};

void SettleAtoms(ReadState& s) {
  ElementRule elements(s);
  AtomRecord* carrier = nullptr;
  bool inMainSection = true;
  for (AtomRecord* atom : Atoms(s.document.atoms)) {
    elements.Apply(*atom);
    if (atom->Has(kFromGrownSection) && inMainSection) {
      carrier = nullptr;
      inMainSection = false;
    }
    if (!atom->IsHydrogen()) {
      if (!atom->IsPeak()) carrier = atom;
    } else if (atom->IsRiding()) {
      atom->parent = carrier;
    }
  }
  elements.Report();
  DecodeAtoms(s.document);
  s.document.RecomputePositions();
}

// Atoms by name and residue number, letters in one case.
class AtomNames {
 public:
  explicit AtomNames(const Document& document) : document_(document) {
    for (AtomRecord* atom : Atoms(document.atoms)) byName_.try_emplace(UpperCase(QualifiedName(document, *atom)), atom);
  }

  // A name without a residue number is looked for in the given residue, then outside of all.
  AtomRecord* Find(const std::string& name, int residue) const {
    if (residue >= 0 && name.find('_') == std::string::npos) {
      AtomRecord probe;
      probe.name = name;
      probe.residue = residue;
      if (AtomRecord* atom = At(QualifiedName(document_, probe))) return atom;
    }
    return At(name.ends_with("_0") ? name.substr(0, name.size() - 2) : name);
  }

 private:
  AtomRecord* At(const std::string& name) const {
    const auto at = byName_.find(UpperCase(name));
    return at == byName_.end() ? nullptr : at->second;
  }

  const Document& document_;
  std::unordered_map<std::string, AtomRecord*> byName_;
};

// Groups that name an atom which is not there go back to being text.
void SettleNames(ReadState& s) {
  if (!s.refusedSameLines.empty()) {
    s.messages.Show({MessageIcon::Warning, "SAME Command Error:",
                     "Processing of previous SAME command not completed, skipping line:" + s.refusedSameLines});
  }
  if (s.pairLines.empty() && s.sameLines.empty()) return;
  const AtomNames names(s.document);
  for (const ReadState::SameLine& same : s.sameLines) {
    AtomExtras& extras = same.atom->MutableExtras();
    const bool known = std::all_of(extras.sameGroup->names.begin(), extras.sameGroup->names.end(),
                                   [&](const std::string& name) { return names.Find(name, -1) != nullptr; });
    if (known) continue;
    extras.sameGroup.reset();
    extras.linesBefore.insert(same.at, same.text + "\n");
  }
  for (const ReadState::PairLine& pair : s.pairLines) {
    AtomRecord* a = names.Find(pair.names[0], pair.residue);
    AtomRecord* b = names.Find(pair.names[1], pair.residue);
    if (!a || !b || a == b) {
      s.document.instructions.kept.push_back({KeptPlace::Body, pair.text});
      continue;
    }
    (pair.bind ? s.document.atoms.bindPairs : s.document.atoms.freePairs).Append(a, b);
    if (!pair.lost.empty()) s.Drop(pair.text);
  }
}

// The lattice code counts for all operators wherever its line stood.
void SettleSymmetry(ReadState& s) {
  SymmetryList& list = s.document.symmetry;
  AddSymmetryOperator(list, "SYMM X,Y,Z", s.document.latticeCode, kImpliedOperator, s.messages);
  for (const ReadState::SymmLine& line : s.symmLines) {
    const size_t at = list.size();
    AddSymmetryOperator(list, line.code, s.document.latticeCode, kSymmLineOperator, s.messages);
    if (line.text != line.code && at < list.size()) list[at].name = TextString(line.text, s.messages);
  }
}

// Where the model does not say all that the file said, the file's text goes along.
void SettleForms(ReadState& s) {
  for (const InstructionForm& form : InstructionForms()) {
    const auto original = s.originals.find(form.key);
    if (original == s.originals.end()) continue;
    std::string composed = form.compose(s.document);
    if (!original->second.hasMore && SameWords(original->second.code, composed)) continue;
    s.document.instructions.forms[form.key] = {std::move(composed), std::move(original->second.text)};
  }
}

}  // namespace

bool FinishReading(ReadState& s) {
  Document& document = s.document;
  if (!s.sawCell || !BuildOrthogonalisation(document.cell, document.matrix)) return false;
  s.FlushPending();
  for (size_t i = 0; i < document.residues.size(); ++i)
    if (!s.residueIsWritten[i]) s.Drop(document.residues[i].line);
  SettleAtoms(s);
  SettleNames(s);
  SettleSymmetry(s);
  SettleForms(s);
  document.instructions.lineEnd = s.source.LineEnd();
  std::reverse(document.instructions.kept.begin(), document.instructions.kept.end());
  std::reverse(document.atoms.hfix.begin(), document.atoms.hfix.end());
  return true;
}

}  // namespace marvik
