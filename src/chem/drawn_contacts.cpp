#include "chem/drawn_contacts.h"

#include <algorithm>
#include <unordered_map>

#include "chem/bonds/crowding.h"
#include "chem/bonds/hybridization.h"
#include "chem/bonds/van_der_waals.h"
#include "chem/hanging_contacts.h"

namespace marvik {
namespace {

constexpr double kSamePlace = 0.05;  // Å

// Finds the atom that is drawn where an image stands: itself, or what was grown or packed there.
class ShownAtoms {
 public:
  explicit ShownAtoms(const Document& document) {
    for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) bySource_[SourceOf(*atom)].push_back(atom);
  }
  const AtomRecord* At(const NeighbourImage& image) const {
    const auto images = bySource_.find(SourceOf(*image.atom));
    if (images == bySource_.end()) return nullptr;
    const auto at = std::ranges::find_if(
        images->second, [&](const AtomRecord* atom) { return Distance(atom->position, image.position) <= kSamePlace; });
    return at == images->second.end() ? nullptr : *at;
  }

 private:
  static uint32_t SourceOf(const AtomRecord& atom) { return atom.sourceSerial ? atom.sourceSerial : atom.serial; }
  std::unordered_map<uint32_t, std::vector<const AtomRecord*>> bySource_;
};

// Van der Waals, of what is shown, Å.
double LongestRadius(const Document& document) {
  double longest = 0.0;
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly))
    longest = std::max(longest, VanDerWaalsRadius(ChemicalNumber(*atom)));
  return longest;
}

}  // namespace

std::vector<DrawnContact> ContactsShown(const Document& document, bool hydrogenBonds, bool shortContacts) {
  std::vector<DrawnContact> contacts;
  const double longest = LongestRadius(document);
  if (longest == 0.0 || FindCrowded(document)) return contacts;
  const ShownAtoms shown(document);
  const GeometryUncertainty none(document, nullptr);
  const EnvironmentSearch search(document, 2.0 * longest, none);
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const bool isShown = document.atoms.Passes(atom, kVisibleOnly);
    const bool isDonated = hydrogenBonds && atom->IsHydrogen();
    if (atom->IsPeak() || !(isDonated || (shortContacts && isShown))) continue;
    const Environment around = search.About(*atom, 2.0 * longest);
    for (const HydrogenBond& bond : around.hydrogenBonds) {
      const AtomRecord* from = isShown ? atom : shown.At(bond.donor);
      const AtomRecord* to = shown.At(bond.acceptor);
      if (isDonated && from && to) contacts.push_back({from, to, ContactLine::HydrogenBond});
    }
    if (!shortContacts || !isShown) continue;
    for (const EnvironmentContact& contact : around.contacts) {
      if (contact.kind != ContactKind::Short) continue;
      const AtomRecord* to = shown.At(contact.image);
      if (to && to->serial > atom->serial) contacts.push_back({atom, to, ContactLine::Short});
    }
  }
  return contacts;
}

std::vector<HangingContact> HangingContacts(const Document& document, bool hydrogenBonds, bool shortContacts,
                                            size_t most) {
  std::vector<HangingContact> contacts;
  const double reach = 2.0 * LongestRadius(document);
  if (reach == 0.0 || FindCrowded(document)) return contacts;
  const ShownAtoms shown(document);
  const GeometryUncertainty none(document, nullptr);
  const EnvironmentSearch search(document, reach, none);
  const auto add = [&](const AtomRecord* from, const NeighbourImage& to, bool hydrogenBond) {
    if (!shown.At(to)) contacts.push_back({from, to.atom, to.symmetryCode, to.position, hydrogenBond});
  };
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) {
    if (atom->IsPeak()) continue;
    const Environment around = search.About(*atom, reach);
    for (const HydrogenBond& bond : around.hydrogenBonds) {
      if (!hydrogenBonds) break;
      const auto isHere = [&](const NeighbourImage& image) {
        return Distance(image.position, atom->position) <= kSamePlace;
      };
      if (isHere(bond.hydrogen)) add(atom, bond.acceptor, true);
      if (isHere(bond.acceptor)) add(atom, bond.hydrogen, true);
    }
    for (const EnvironmentContact& contact : around.contacts)
      if (shortContacts && contact.kind == ContactKind::Short) add(atom, contact.image, false);
    if (contacts.size() >= most) break;
  }
  contacts.resize(std::min(contacts.size(), most));
  return contacts;
}

}  // namespace marvik
