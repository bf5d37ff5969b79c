#include "ui/area/atom_text.h"

#include <QStringList>
#include <algorithm>
#include <span>
#include <vector>

#include "base/numbers.h"
#include "crystal/displacement.h"
#include "model/placement.h"
#include "ui/text.h"

namespace marvik {
namespace {

QString Number(double value, int decimals) {
  return QString::fromStdString(Printf("%.*f", decimals, value));
}

QString Counted(size_t count, const char* one, const char* many) {
  return QStringLiteral("%1 %2").arg(count).arg(Translated(count == 1 ? one : many));
}

QString DisplacementText(const Document& document, const AtomRecord& atom) {
  if (!atom.IsAnisotropic()) return QStringLiteral("Uiso %1 Å²").arg(Number(atom.u[0], 4));
  const Mat3 tensor = CartesianTensor(atom, document.cell, document.matrix);
  const QString text = QStringLiteral("Ueq %1 Å²").arg(Number(PlainUeq(atom, MakeMetric(document.cell)), 4));
  return EllipsoidAxes(tensor).positiveDefinite ? text : text + Translated(", not positive definite");
}

// The nearest first. A bond stands with one of its atoms only.
QString NeighboursText(const Document& document, const AtomRecord& atom) {
  constexpr size_t kMost = 6;
  std::vector<std::pair<double, const AtomRecord*>> neighbours;
  for (const AtomRecord* other = document.atoms.head; other; other = other->next)
    ForEachOwnBond(other, [&](const AtomRecord* partner, const BondRecord*) {
      if (other != &atom && partner != &atom) return;
      const AtomRecord* end = other == &atom ? partner : other;
      neighbours.emplace_back(Distance(atom, *end), end);
    });
  std::ranges::sort(neighbours);
  QStringList bonded;
  for (const auto& [distance, end] : std::span(neighbours).first(std::min(neighbours.size(), kMost)))
    bonded << QStringLiteral("%1 %2").arg(ToText(end->name), Number(distance, 3));
  if (neighbours.size() > kMost) bonded << QStringLiteral("…");
  return bonded.isEmpty() ? QString() : QStringLiteral("– ") + bonded.join(QStringLiteral(", "));
}

}  // namespace

QString DescribeAtom(const Document& document, const AtomRecord& atom) {
  QStringList parts{ToText(atom.name)};
  if (atom.IsPeak()) {
    parts << Translated("peak of %1 e/Å³").arg(Number(atom.peakHeight, 2));
  } else {
    parts << (atom.element->atomicNumber == kUnknownRow ? Translated("no known element")
                                                        : ToText(atom.element->Symbol()));
  }
  parts << QStringLiteral("%1 %2 %3").arg(Number(atom.fract.x, 4), Number(atom.fract.y, 4), Number(atom.fract.z, 4));
  if (!atom.IsPeak()) parts << DisplacementText(document, atom);
  if (atom.part != 0) parts << Translated("part %1").arg(atom.part);
  if (atom.residue >= 0 && static_cast<size_t>(atom.residue) < document.residues.size()) {
    const Residue& residue = document.residues[static_cast<size_t>(atom.residue)];
    if (residue.number != 0)
      parts << Translated("residue %1 %2").arg(residue.number).arg(ToText(residue.className)).trimmed();
  }
  if (atom.generated != 0) parts << Translated("symmetry image");
  if (const QString bonded = NeighboursText(document, atom); !bonded.isEmpty()) parts << bonded;
  return parts.join(QStringLiteral("   "));
}

QString DescribeBond(const BondRecord& bond) {
  return QStringLiteral("%1 – %2   %3 Å")
      .arg(ToText(bond.owner->name), ToText(bond.partner->name), Number(Distance(*bond.owner, *bond.partner), 3));
}

QString DescribeCounts(const Document& document) {
  size_t atoms = 0;
  size_t peaks = 0;
  size_t bonds = 0;
  for (const AtomRecord* atom = document.atoms.head; atom; atom = atom->next) {
    ++(atom->IsPeak() ? peaks : atoms);
    ForEachOwnBond(atom, [&](const AtomRecord* partner, BondRecord*) {
      if (!atom->IsPeak() && !partner->IsPeak()) ++bonds;
    });
  }
  if (atoms + peaks == 0) return {};
  QStringList parts{Counted(atoms, "atom", "atoms")};
  if (peaks > 0) parts << Counted(peaks, "peak", "peaks");
  parts << Counted(bonds, "bond", "bonds");
  return parts.join(QStringLiteral(", "));
}

}  // namespace marvik
