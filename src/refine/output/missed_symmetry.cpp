#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "base/numbers.h"
#include "crystal/image_search.h"
#include "crystal/lattice_rotations.h"
#include "crystal/symmetry.h"
#include "refine/output/tables.h"

namespace marvik {
namespace {

constexpr double kSameSite = 0.35;  // Å
constexpr double kMostOfTheAtoms = 0.9;
constexpr size_t kMostSites = 400;
constexpr size_t kMostPassed = 200'000;  // images; a second or less
constexpr size_t kMostInOnePlace = 100;
constexpr double kSameMetric = 0.03;

// The atoms that the symmetry of a structure is judged by.
std::vector<size_t> HeavySites(const Structure& structure) {
  std::vector<size_t> heavy;
  for (size_t i = 0; i < structure.sites.size(); ++i)
    if (!structure.sites[i].hydrogen && structure.sites[i].part == 0 && structure.sites[i].occupancy > 0.0)
      heavy.push_back(i);
  return heavy;
}

std::vector<Fractional> PlacesOf(const Structure& structure, const std::vector<size_t>& sites) {
  std::vector<Fractional> places;
  for (const size_t i : sites) places.push_back(structure.sites[i].x);
  return places;
}

class SiteMapper {
 public:
  explicit SiteMapper(const Structure& structure)
      : structure_(structure),
        heavy_(HeavySites(structure)),
        search_(PlacesOf(structure, heavy_), structure.group.all, structure.metric.cell, kSameSite) {
    std::map<int, std::vector<size_t>> byElement;
    for (const size_t i : heavy_) byElement[structure.sites[i].scatterer].push_back(i);
    for (auto& [element, sites] : byElement)
      if (rarest_.empty() || sites.size() < rarest_.size()) rarest_ = sites;
  }

  struct Match {
    double share = 0.0;
    double rms = 0.0;  // Å
    Fractional shift;
  };

  // The best translation behind a rotation.
  Match Best(const std::array<int, 9>& r) {
    Match best;
    if (heavy_.size() < 3 || heavy_.size() > kMostSites) return best;
    const Fractional first = Turn(r, structure_.sites[rarest_[0]].x);
    for (const size_t other : rarest_)
      for (const SymmetryOperator& op : structure_.group.all) {
        if (passed_ > kMostPassed) return best;
        const Match match = Try(r, op.Apply(structure_.sites[other].x) - first);
        if (match.share > best.share) best = match;
      }
    return best;
  }

 private:
  static Fractional Turn(const std::array<int, 9>& r, const Fractional& x) {
    Fractional out;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) out[i] += r[static_cast<size_t>(3 * i + j)] * x[j];
    return out;
  }

  Match Try(const std::array<int, 9>& r, const Fractional& shift) {
    Match match;
    match.shift = shift;
    size_t lost = 0;
    double sum = 0.0;
    for (const size_t i : heavy_) {
      const double d2 = Nearest(Turn(r, structure_.sites[i].x) + shift, structure_.sites[i].scatterer);
      if (d2 > kSameSite * kSameSite) {
        if (++lost > heavy_.size() * (1.0 - kMostOfTheAtoms)) return {};
      } else {
        sum += d2;
      }
    }
    match.share = 1.0 - static_cast<double>(lost) / static_cast<double>(heavy_.size());
    match.rms = std::sqrt(sum / static_cast<double>(heavy_.size() - lost));
    return match;
  }

  // The square of the distance to the nearest atom of a kind, a large number where none is near.
  double Nearest(const Fractional& place, int scatterer) {
    passed_ += search_.Cost();
    double best = 1e9;
    if (!search_.FindNear(place, kSameSite, found_, kMostInOnePlace)) return best;
    for (const AtomImage& image : found_)
      if (structure_.sites[heavy_[image.atom]].scatterer == scatterer)
        best = std::min(best, image.distance * image.distance);
    return best;
  }

  const Structure& structure_;
  std::vector<size_t> heavy_;
  ImageSearch search_;  // over these
  std::vector<AtomImage> found_;
  size_t passed_ = 0;
  std::vector<size_t> rarest_;
};

std::string ModelSymmetry(const Session& s) {
  const SpaceGroup& group = s.structure.group;
  SiteMapper mapper(s.structure);
  std::string out;
  // An operation and its inverse are one, and so are those that differ by one of the group.
  std::set<Miller> known{group.Representative({3, 5, 8}, false)};
  for (const std::array<double, 9>& rotation : LatticeRotations(s.structure.metric, group, kSameMetric)) {
    if (std::ranges::any_of(rotation, [](double v) { return v != std::round(v); })) continue;
    std::array<int, 9> r{};
    std::ranges::transform(rotation, r.begin(), [](double v) { return static_cast<int>(v); });
    for (const int sign : {1, -1}) {
      for (int& v : r) v *= sign == -1 ? -1 : 1;
      Miller h{};
      const Miller probe{3, 5, 8};
      for (size_t i = 0; i < 3; ++i) h[i] = probe[0] * r[i] + probe[1] * r[3 + i] + probe[2] * r[6 + i];
      if (!known.insert(group.Representative(h, false)).second) continue;
      const SiteMapper::Match match = mapper.Best(r);
      if (match.share < kMostOfTheAtoms) continue;
      SymmetryOperator op;
      for (size_t i = 0; i < 9; ++i) op.r[i / 3][i % 3] = r[i];
      const std::string operation = OperatorText(op);
      Fractional t = match.shift;
      for (int k = 0; k < 3; ++k) t[k] -= std::floor(t[k]);
      AppendPrintf(out, " %s, shifted by %.3f %.3f %.3f: takes %.0f %% of the atoms onto atoms, within %.3f A (rms)\n",
                   operation.c_str(), t.x, t.y, t.z, 100.0 * match.share, match.rms);
    }
  }
  if (out.empty()) return out;
  return "\n Symmetry of the model's atoms that the space group has not: is it one of higher symmetry?\n" + out;
}

// A rule of absence that a lattice or an operation would make: in which reflections, and which are absent.
struct Condition {
  const char* text;
  std::array<int, 3> zero;  // indices that have to be 0
  std::array<int, 3> sum;   // coefficients of what must be a multiple
  int multiple;
};
constexpr Condition kConditions[] = {
    {"h+k odd: C centring", {0, 0, 0}, {1, 1, 0}, 2},      {"h+l odd: B centring", {0, 0, 0}, {1, 0, 1}, 2},
    {"k+l odd: A centring", {0, 0, 0}, {0, 1, 1}, 2},      {"h+k+l odd: I centring", {0, 0, 0}, {1, 1, 1}, 2},
    {"0kl, k odd: b glide", {1, 0, 0}, {0, 1, 0}, 2},      {"0kl, l odd: c glide", {1, 0, 0}, {0, 0, 1}, 2},
    {"0kl, k+l odd: n glide", {1, 0, 0}, {0, 1, 1}, 2},    {"h0l, h odd: a glide", {0, 1, 0}, {1, 0, 0}, 2},
    {"h0l, l odd: c glide", {0, 1, 0}, {0, 0, 1}, 2},      {"h0l, h+l odd: n glide", {0, 1, 0}, {1, 0, 1}, 2},
    {"hk0, h odd: a glide", {0, 0, 1}, {1, 0, 0}, 2},      {"hk0, k odd: b glide", {0, 0, 1}, {0, 1, 0}, 2},
    {"hk0, h+k odd: n glide", {0, 0, 1}, {1, 1, 0}, 2},    {"h00, h odd: screw axis", {0, 1, 1}, {1, 0, 0}, 2},
    {"0k0, k odd: screw axis", {1, 0, 1}, {0, 1, 0}, 2},   {"00l, l odd: screw axis", {1, 1, 0}, {0, 0, 1}, 2},
    {"00l, l not 3n: screw axis", {1, 1, 0}, {0, 0, 1}, 3}};

// Whether the Laue group has an operation that a rule may come from.
bool MayHold(const SpaceGroup& group, const Condition& c) {
  const int zeros = c.zero[0] + c.zero[1] + c.zero[2];
  if (zeros == 0) return true;
  Miller turned{3, 5, 8};
  for (size_t i = 0; i < 3; ++i)
    if (zeros == 1 ? c.zero[i] == 1 : c.zero[i] == 0) turned[i] = -turned[i];
  if (c.multiple == 3) turned = {5, -8, 8};
  const bool three = c.multiple == 3;
  return three ? group.Representative({3, 5, 8}, true) == group.Representative({5, -8, 8}, true) ||
                     group.Representative({3, 5, 8}, true) == group.Representative({-8, 3, 8}, true)
               : group.Representative({3, 5, 8}, true) == group.Representative(turned, true);
}

std::string KeptConditions(const Session& s) {
  std::string out;
  if (s.observations.Components() != 1) return out;
  const Calculated& c = s.result.calculated;
  for (const Condition& condition : kConditions) {
    // Where the group has no operation that could make it, it takes more to be no accident.
    const size_t enough = MayHold(s.structure.group, condition) ? 3 : 8;
    std::array<double, 2> sums{};
    std::array<size_t, 2> counts{};
    for (size_t i = 0; i < c.fo2.size(); ++i) {
      const Miller& h = s.observations.indices[0][i];
      bool inZone = c.sigma[i] > 0.0;
      int sum = 0;
      for (size_t k = 0; k < 3; ++k) {
        inZone = inZone && (condition.zero[k] == 0 || h[k] == 0);
        sum += condition.sum[k] * h[k];
      }
      if (!inZone) continue;
      const size_t absent = sum % condition.multiple != 0;
      sums[absent] += c.fo2[i] / c.sigma[i];
      ++counts[absent];
    }
    if (counts[0] < 3 || counts[1] < enough) continue;
    const double present = sums[0] / static_cast<double>(counts[0]);
    const double gone = sums[1] / static_cast<double>(counts[1]);
    if (present < 5.0 || gone > 1.5 || gone > 0.1 * present) continue;
    AppendPrintf(out, " %s: %zu reflections have a mean I/su of %.1f, the %zu others %.1f\n", condition.text, counts[1],
                 gone, counts[0], present);
  }
  return out.empty() ? out : "\n Reflections that look absent, though the space group allows them\n" + out;
}

}  // namespace

std::string MissedSymmetryTable(const Session& s) {
  return ModelSymmetry(s) + KeptConditions(s);
}

}  // namespace marvik
