#include "edit/edit_label.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "edit/edit_names.h"
#include "edit/edit_riding.h"
#include "language/residues.h"
#include "language/tokenizer.h"

namespace marvik {
namespace {

constexpr std::array<FieldRange, 3> kFields{{{"first", "First number", 0.0, 999.0},
                                             WordField("prefix", "Prefix", "$|TEXT"),
                                             WordField("suffix", "Suffix", "TEXT")}};
constexpr const FieldRange& kFirst = kFields[0];
constexpr size_t kLongest = 4;

// The only atom that a hydrogen can be named after, null when there is none or more than one.
AtomRecord* CarrierOf(const AtomRecord* hydrogen, const std::unordered_map<const AtomRecord*, AtomRecord*>& bonded) {
  if (hydrogen->parent) return hydrogen->parent;
  const auto at = bonded.find(hydrogen);
  return at == bonded.end() ? nullptr : at->second;
}

class Planner {
 public:
  Planner(const Document& document, const std::vector<AtomRecord*>& atoms, const GroupLabel& label)
      : document_(document), label_(label) {
    FindCarriers();
    std::unordered_set<const AtomRecord*> chosen(atoms.begin(), atoms.end());
    for (AtomRecord* atom : atoms) {
      const bool follows = atom->IsHydrogen() && CarrierOf(atom, bonded_);
      if (!follows) leaders_.push_back(atom);
    }
    const std::unordered_set<const AtomRecord*> leading(leaders_.begin(), leaders_.end());
    for (AtomRecord* atom : Atoms(document.atoms)) {
      AtomRecord* carrier = atom->IsHydrogen() && !IsGrownAtom(*atom) ? CarrierOf(atom, bonded_) : nullptr;
      if (carrier && (leading.contains(carrier) || chosen.contains(atom))) followers_[carrier].push_back(atom);
    }
    for (AtomRecord* leader : leaders_) moving_.insert(leader);
    for (const auto& [carrier, hydrogens] : followers_) moving_.insert(hydrogens.begin(), hydrogens.end());
    for (const AtomRecord* atom : Atoms(document.atoms)) {
      if (!IsGrownAtom(*atom) && !moving_.contains(atom)) taken_.insert(Key(*atom, atom->name));
    }
  }

  // The names from a first number on; stops at the first that cannot be.
  LabelPlan Plan(int first) const {
    LabelPlan plan;
    std::set<std::string> used;
    const auto give = [&](AtomRecord* atom, const std::string& name, const char* field) {
      if (plan.fault) return;
      plan.fault = CheckAtomName(name, field, field == kFirst.key ? kFirst.caption : "Name");
      if (!plan.fault && !Take(used, *atom, name)) {
        plan.fault = {field, "First number: another atom is called " + name + " already."};
      }
      plan.names.emplace_back(atom, name);
    };
    int number = first;
    std::vector<std::pair<AtomRecord*, std::string>> numbers;
    for (AtomRecord* atom : leaders_) {
      const std::string tail = std::to_string(number++) + label_.suffix;
      give(atom, PrefixFor(*atom) + tail, kFirst.key);
      if (plan.fault) return plan;
      numbers.emplace_back(atom, tail);
    }
    for (const auto& [carrier, tail] : numbers) NameHydrogens(*carrier, tail, used, plan);
    for (AtomRecord* carrier : OtherCarriers()) {
      NameHydrogens(*carrier, LabelNumber(carrier->name) + LabelSuffix(carrier->name), used, plan);
    }
    return plan;
  }

 private:
  void FindCarriers() {
    const auto note = [this](const AtomRecord* hydrogen, AtomRecord* other) {
      if (!hydrogen->IsHydrogen() || other->IsHydrogen()) return;
      const auto [at, isNew] = bonded_.try_emplace(hydrogen, other);
      if (!isNew) at->second = nullptr;
    };
    for (AtomRecord* atom : Atoms(document_.atoms)) {
      ForEachOwnBond(atom, [&](AtomRecord* partner, const BondRecord*) {
        note(atom, partner);
        note(partner, atom);
      });
    }
  }
  std::string Key(const AtomRecord& atom, const std::string& name) const {
    AtomRecord probe;
    probe.name = name;
    probe.residue = atom.residue;
    return UpperCase(QualifiedName(document_, probe));
  }
  bool Take(std::set<std::string>& used, const AtomRecord& atom, const std::string& name) const {
    const std::string key = Key(atom, name);
    return !taken_.contains(key) && used.insert(key).second;
  }
  std::string PrefixFor(const AtomRecord& atom) const {
    if (!label_.prefix.empty()) return label_.prefix;
    return std::string(atom.IsPeak() ? "Q" : atom.element->Symbol());
  }
  std::vector<AtomRecord*> OtherCarriers() const {
    std::vector<AtomRecord*> others;
    for (AtomRecord* atom : Atoms(document_.atoms)) {
      if (followers_.contains(atom) && std::ranges::find(leaders_, atom) == leaders_.end()) others.push_back(atom);
    }
    return others;
  }
  // H12; H12A, H12B where there are several or the name is not free; shorter where that has more than four characters.
  void NameHydrogens(const AtomRecord& carrier, const std::string& tail, std::set<std::string>& used,
                     LabelPlan& plan) const {
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    const auto at = followers_.find(&carrier);
    if (at == followers_.end() || plan.fault) return;
    for (AtomRecord* hydrogen : at->second) {
      const std::string stem = std::string(hydrogen->element->Symbol()) + tail;
      std::string name = stem.size() <= kLongest ? stem : "";
      bool found = at->second.size() == 1 && !name.empty() && Take(used, *hydrogen, name);
      for (size_t kept = std::min(stem.size(), kLongest - 1); !found && kept > 0; --kept) {
        for (size_t n = 0; n < kLetters.size() && !found; ++n) {
          name = stem.substr(0, kept) + kLetters[n];
          found = Take(used, *hydrogen, name);
        }
      }
      if (!found)
        plan.fault = {kFirst.key, "First number: there is no free name for a hydrogen of " + carrier.name + "."};
      plan.names.emplace_back(hydrogen, name);
    }
  }

  const Document& document_;
  const GroupLabel& label_;
  std::unordered_map<const AtomRecord*, AtomRecord*> bonded_;
  std::vector<AtomRecord*> leaders_;
  std::map<const AtomRecord*, std::vector<AtomRecord*>> followers_;
  std::unordered_set<const AtomRecord*> moving_;
  std::unordered_set<std::string> taken_;
};

}  // namespace

std::string LabelNumber(std::string_view name) {
  const size_t start = std::min(name.find_first_of("0123456789"), name.size());
  const size_t end = std::min(name.find_first_not_of("0123456789", start), name.size());
  return std::string(name.substr(start, end - start));
}

std::string LabelSuffix(std::string_view name) {
  const size_t start = std::min(name.find_first_of("0123456789"), name.size());
  return std::string(name.substr(std::min(name.find_first_not_of("0123456789", start), name.size())));
}

std::span<const FieldRange> GroupLabelFields() {
  return kFields;
}

std::optional<GroupLabel> ParseGroupLabel(const EditArguments& arguments, EditFault& fault) {
  GroupLabel label;
  fault = UnknownFieldFault(arguments, kFields);
  if (const std::string* prefix = arguments.Find("prefix"); prefix && *prefix != "$") label.prefix = *prefix;
  if (const std::string* suffix = arguments.Find("suffix")) label.suffix = *suffix;
  const std::string* first = arguments.Find("first");
  if (!fault && !first) fault = {kFirst.key, std::string(kFirst.caption) + ": a number is missing."};
  if (!fault && !label.prefix.empty()) fault = CheckAtomName(label.prefix, "prefix", "Prefix");
  if (!fault && !label.suffix.empty()) {
    fault = CheckAtomName("A" + label.suffix, "suffix", "Suffix");
    const bool digit = label.suffix[0] >= '0' && label.suffix[0] <= '9';
    if (digit)
      fault = {"suffix", "Suffix: \"" + label.suffix + "\" begins with a digit, which the number would swallow."};
  }
  const auto number = fault ? std::nullopt : ReadFieldInteger(kFirst, *first, fault);
  if (!number) return std::nullopt;
  label.first = *number;
  return label;
}

LabelPlan PlanGroupLabels(const Document& document, const std::vector<AtomRecord*>& atoms, const GroupLabel& label) {
  constexpr int kMostTried = 999;
  const Planner planner(document, atoms, label);
  LabelPlan plan = planner.Plan(label.first);
  if (!plan.fault) return plan;
  for (int first = label.first + 1; first <= kMostTried; ++first) {
    if (planner.Plan(first).fault) continue;
    plan.fault.text += " All names are free from " + std::to_string(first) + " on.";
    break;
  }
  return plan;
}

void ApplyNames(Document& document, const std::vector<std::pair<AtomRecord*, std::string>>& names,
                ElementChooser& elements) {
  // In two steps by names that no file has, so that a name that one atom leaves and another takes is not mixed up in
  // the lines that hold it.
  std::vector<std::string> holding;
  for (size_t i = 0; i < names.size(); ++i) {
    AtomRecord* atom = names[i].first;
    holding.push_back(std::string("\x01").append(std::to_string(i)));
    if (!HolderOfName(document, atom->name, atom->residue, atom)) {
      ReplaceNameElsewhere(document, atom->name, holding[i], atom->residue);
    }
  }
  for (size_t i = 0; i < names.size(); ++i) {
    ReplaceNameElsewhere(document, holding[i], names[i].second, names[i].first->residue);
  }
  for (const auto& [atom, name] : names) SetAtomName(document, atom, name, elements);
  elements.Finish();
}

}  // namespace marvik
