#include "draw/renderer/colour_scheme.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "chem/geometry/atom_geometry.h"
#include "draw/canvas/colours.h"
#include "model/coded_values.h"

namespace marvik {
namespace {

constexpr std::array<Rgb, kSchemeShades> kPartColours{{{138, 138, 138},
                                                       {230, 159, 0},
                                                       {86, 180, 233},
                                                       {0, 158, 115},
                                                       {240, 228, 66},
                                                       {0, 114, 178},
                                                       {213, 94, 0},
                                                       {204, 121, 167}}};
constexpr Rgb kLow{33, 102, 172};
constexpr Rgb kMiddle{190, 190, 190};
constexpr Rgb kHigh{178, 24, 43};
constexpr int kNoCharge = 3;  // the shade of

bool IsNumber(ColourBy by) {
  return by == ColourBy::Displacement || by == ColourBy::Occupancy;
}

}  // namespace

void ColourScheme::SetUp(const Document& document, ColourBy by) {
  document_ = &document;
  by_ = by;
  least_ = greatest_ = 0.0;
  if (!IsNumber(by)) return;
  bool first = true;
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) {
    const double value = ValueOf(*atom);
    if (atom->IsPeak() || !std::isfinite(value)) continue;
    least_ = first ? value : std::min(least_, value);
    greatest_ = first ? value : std::max(greatest_, value);
    first = false;
  }
}

double ColourScheme::ValueOf(const AtomRecord& atom) const {
  return by_ == ColourBy::Displacement ? ListedUeq(*document_, atom)
                                       : std::abs(DecodedOccupancy(atom, document_->instructions));
}

std::optional<int> ColourScheme::ShadeOf(const AtomRecord& atom) const {
  if (by_ == ColourBy::Element || atom.IsPeak()) return {};
  // Part -1 is as good as part 1 of its own.
  if (by_ == ColourBy::Part) return std::abs(atom.part) % kSchemeShades;
  if (by_ == ColourBy::Charge) return std::clamp(kNoCharge + atom.charge, 0, 2 * kNoCharge);
  const double range = greatest_ - least_;
  const double share = range > 1e-9 ? (ValueOf(atom) - least_) / range : 0.0;
  return std::isfinite(share) ? std::clamp(static_cast<int>(share * kSchemeShades), 0, kSchemeShades - 1) : 0;
}

Rgb ColourScheme::ColourOf(ColourBy by, int shade) {
  if (by == ColourBy::Part) return kPartColours[static_cast<size_t>(shade)];
  const double middle = by == ColourBy::Charge ? kNoCharge : 0.5 * (kSchemeShades - 1);
  const double off = (shade - middle) / middle;
  return off < 0.0 ? MixColours(kMiddle, kLow, -off) : MixColours(kMiddle, kHigh, std::min(off, 1.0));
}

std::vector<std::pair<int, std::string>> ColourScheme::Legend() const {
  std::array<bool, kSchemeShades> used{};
  if (!document_) return {};
  for (const AtomRecord* atom : Atoms(document_->atoms, kVisibleOnly)) {
    if (const auto shade = ShadeOf(*atom)) used[static_cast<size_t>(*shade)] = true;
  }
  std::vector<std::pair<int, std::string>> legend;
  const double step = (greatest_ - least_) / kSchemeShades;
  for (int shade = 0; shade < kSchemeShades; ++shade) {
    if (!used[static_cast<size_t>(shade)]) continue;
    const double from = least_ + shade * step;
    std::string text;
    if (by_ == ColourBy::Part) {
      text = Printf("part %d", shade);
    } else if (by_ == ColourBy::Charge) {
      text = shade == kNoCharge ? "no charge" : Printf("charge %+d", shade - kNoCharge);
    } else if (step < 1e-9) {
      text = Printf(by_ == ColourBy::Displacement ? "U %.3f Å²" : "occupancy %.2f", least_);
    } else {
      text = Printf(by_ == ColourBy::Displacement ? "U %.3f–%.3f Å²" : "occupancy %.2f–%.2f", from, from + step);
    }
    legend.emplace_back(shade, text);
  }
  return legend;
}

}  // namespace marvik
