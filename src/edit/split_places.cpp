#include "edit/split_places.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "chem/geometry/atom_geometry.h"
#include "crystal/displacement.h"
#include "crystal/site_symmetry.h"
#include "model/placement.h"

namespace marvik {
namespace {

constexpr double kOnElement = 0.02;        // Å
constexpr double kSmallestDistance = 0.3;  // Å, of parts along an axis
constexpr double kPeakReach = 3.2;         // Å, of the peaks that are an atom's parts
constexpr double kMostStrain = 0.6;        // Å, of the distances from such a peak to the atom's neighbours
constexpr double kFarWeight = 0.1;         // of the way to the peak beside that
constexpr double kLeastLeft = 0.2;         // of the displacement along the line of the parts
constexpr double kMostStart = 2.5;         // times the usual Ueq, for a refinement to start from

Mat3 Rotation(const Cartesian& axis, double degrees) {
  const double c = std::cos(degrees * kRadiansPerDegree);
  const double s = std::sin(degrees * kRadiansPerDegree);
  const Cartesian n = Normalised(axis);
  Mat3 r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r[i][static_cast<size_t>(j)] = (1.0 - c) * n[i] * n[j] + (i == j ? c : 0.0);
  r[0][1] -= s * n.z, r[1][0] += s * n.z;
  r[0][2] += s * n.y, r[2][0] -= s * n.y;
  r[1][2] -= s * n.x, r[2][1] += s * n.x;
  return r;
}

// Works in the right-handed frame of the metric.
class Placer {
 public:
  Placer(const Document& document, const std::vector<AtomRecord*>& atoms, const SplitRequest& request)
      : document_(document), atoms_(atoms), request_(request), metric_(MakeMetric(document.cell)), bonds_(document) {
    most_ = kMostStart * UsualU();
  }

  std::vector<AtomParts> Place(std::vector<AtomRecord*>& used, std::string& fault) {
    parts_.resize(atoms_.size());
    if (request_.way == SplitWay::Peaks) OnPeaks(used);
    for (size_t i = 0; i < atoms_.size() && fault.empty(); ++i) {
      if (!parts_[i].empty()) continue;
      const bool alongAxis = request_.way <= SplitWay::Peaks || request_.way == SplitWay::Symmetry;
      fault = alongAxis ? AlongAxis(i) : Moved(i);
    }
    for (size_t i = 0; i < atoms_.size() && fault.empty() && request_.way != SplitWay::Symmetry; ++i)
      fault = KeepOnSite(i);
    if (!fault.empty()) parts_.clear();
    return std::move(parts_);
  }

 private:
  Cartesian PlaceOf(size_t i) const { return metric_.ToCartesian(atoms_[i]->fract); }
  Mat3 TensorOf(size_t i) const { return metric_.CartesianU(atoms_[i]->u); }
  size_t Count() const { return static_cast<size_t>(request_.parts); }

  // What is left of a tensor when parts `half` to both sides of the middle take over from it.
  std::array<double, 6> Reduced(size_t i, const Cartesian& direction, double half) const {
    if (!atoms_[i]->IsAnisotropic()) return atoms_[i]->u;
    Mat3 tensor = TensorOf(i);
    const double along = Dot(direction, Inverse(tensor) * direction);
    if (!(along > 0.0)) return atoms_[i]->u;
    const double less = std::min(half * half, (1.0 - kLeastLeft) / along);
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c) tensor[r][static_cast<size_t>(c)] -= less * direction[r] * direction[c];
    // What an atom that stood for two has swollen to is no start for either.
    const Eigen3 eigen = SymmetricEigen(tensor);
    if (!(eigen.values[2] > most_)) return FileTensor(metric_, tensor);
    const auto value = [&](size_t k) { return std::min(eigen.values[k], most_); };
    return FileTensor(metric_,
                      Transposed(eigen.vectors) * Mat3::Diagonal(value(0), value(1), value(2)) * eigen.vectors);
  }

  // The median of the atoms that are not split.
  double UsualU() const {
    std::vector<double> values;
    for (const AtomRecord* atom : Atoms(document_.atoms)) {
      const bool counts = !atom->IsHydrogen() && !atom->IsPeak() && atom->generated == 0;
      const double u = counts && std::ranges::find(atoms_, atom) == atoms_.end() ? PlainUeq(*atom, metric_) : 0.0;
      if (u > 0.0) values.push_back(u);
    }
    if (values.empty()) return 0.05;
    const auto middle = values.begin() + std::ssize(values) / 2;
    std::ranges::nth_element(values, middle);
    return *middle;
  }

  AtomParts Line(size_t i, const Cartesian& direction, double half) const {
    AtomParts parts;
    const std::array<double, 6> u = Reduced(i, direction, half);
    for (size_t k = 0; k < Count(); ++k) {
      const double at = 1.0 - 2.0 * static_cast<double>(k) / static_cast<double>(Count() - 1);
      parts.push_back({metric_.ToFractional(PlaceOf(i) + direction * (at * half)), u});
    }
    return parts;
  }

  // The side on which the first part lies is that which leaves the distances to neighbours with parts as they are.
  std::string AlongAxis(size_t i) {
    const AtomRecord& atom = *atoms_[i];
    const auto operations = SiteOperationsOf(document_, metric_, atom.fract);
    const bool bySymmetry = request_.way == SplitWay::Symmetry;
    if (bySymmetry && operations.size() < 2) {
      parts_[i].assign(Count(), {atom.fract, atom.u});
      return {};
    }
    if (!atom.IsAnisotropic())
      return atom.name + " is isotropic, with no axis to be split along; choose peaks, or make it anisotropic first.";
    const Eigen3 eigen = SymmetricEigen(TensorOf(i));
    if (!(eigen.values[0] > 0.0)) return "The displacement tensor of " + atom.name + " is not positive definite.";
    for (int axis = 2; axis >= 0; --axis) {
      const double spread = eigen.values[static_cast<size_t>(axis)] - eigen.values[axis == 2 ? 1 : 0];
      double half = std::max(std::sqrt(std::max(spread, 0.0) * (Count() == 3 ? 1.5 : 1.0)), kSmallestDistance / 2.0);
      if (request_.distance) half = *request_.distance / 2.0;
      const auto direction = eigen.Vector<CartesianSpace>(axis);
      AtomParts parts = Line(i, direction, half);
      if (StaysOn(operations, parts.front().fract) == bySymmetry) continue;
      AtomParts turned = Line(i, direction * -1.0, half);
      parts_[i] = Strain(i, turned) < Strain(i, parts) - 1e-9 ? std::move(turned) : std::move(parts);
      return {};
    }
    return LeavesSite(atom);
  }

  double Strain(size_t i, const AtomParts& parts) const {
    double strain = 0.0;
    for (const AtomRecord* neighbour : bonds_.Of(*atoms_[i])) {
      const auto at = static_cast<size_t>(std::ranges::find(atoms_, neighbour) - atoms_.begin());
      if (at == atoms_.size() || parts_[at].empty()) continue;
      const double wanted = Length(PlaceOf(at) - PlaceOf(i));
      for (size_t k = 0; k < parts.size(); ++k) {
        const double is = std::sqrt(metric_.DistanceSquared(parts[k].fract, parts_[at][k].fract));
        strain += (is - wanted) * (is - wanted);
      }
    }
    return strain;
  }

  // How much the distances to an atom's neighbours would change if it stood there, Å.
  double StrainAt(size_t i, const Fractional& x) const {
    double sum = 0.0;
    double count = 0.0;
    for (const AtomRecord* neighbour : bonds_.Of(*atoms_[i])) {
      if (neighbour->IsHydrogen() || neighbour->IsPeak()) continue;
      const double now = std::sqrt(metric_.DistanceSquared(atoms_[i]->fract, neighbour->fract));
      const double then = std::sqrt(metric_.DistanceSquared(x, neighbour->fract));
      sum += (now - then) * (now - then);
      count += 1.0;
    }
    return count > 0.0 ? std::sqrt(sum / count) : 0.0;
  }

  // Each peak goes to the atom whose neighbours fit it best and that has a part to give, best pairs first.
  void OnPeaks(std::vector<AtomRecord*>& used) {
    struct Pair {
      double cost;
      size_t atom;
      size_t peak;
      Fractional x;
    };
    std::vector<Pair> pairs;
    for (size_t i = 0; i < atoms_.size(); ++i) {
      for (size_t q = 0; q < request_.peaks.size(); ++q) {
        const Fractional x = NearestImage(request_.peaks[q]->fract, atoms_[i]->fract);
        const double distance = std::sqrt(metric_.DistanceSquared(x, atoms_[i]->fract));
        const double strain = StrainAt(i, x);
        if (distance < kPeakReach && strain < kMostStrain) pairs.push_back({strain + kFarWeight * distance, i, q, x});
      }
    }
    std::ranges::sort(pairs, {}, &Pair::cost);
    std::vector<std::vector<Fractional>> taken(atoms_.size());
    std::vector<bool> isUsed(request_.peaks.size(), false);
    for (const Pair& pair : pairs) {
      if (isUsed[pair.peak] || taken[pair.atom].size() == Count()) continue;
      isUsed[pair.peak] = true;
      used.push_back(request_.peaks[pair.peak]);
      taken[pair.atom].push_back(pair.x);
    }
    for (size_t i = 0; i < atoms_.size(); ++i) {
      std::vector<Fractional>& places = taken[i];
      if (places.size() + 1 == Count()) places.insert(places.begin(), atoms_[i]->fract);
      if (places.size() != Count()) continue;
      const Cartesian way = metric_.ToCartesian(places.back()) - metric_.ToCartesian(places.front());
      const std::array<double, 6> u = Reduced(i, Normalised(way), Length(way) / 2.0);
      for (const Fractional& place : places) parts_[i].push_back({place, u});
    }
  }

  Fractional NearestImage(const Fractional& x, const Fractional& to) const {
    Fractional best = x;
    double least = metric_.DistanceSquared(x, to);
    for (const ListedOperator& op : document_.symmetry) {
      Fractional image = op.Apply(x);
      for (int i = 0; i < 3; ++i) image[i] -= std::round(image[i] - to[i]);
      const double distance = metric_.DistanceSquared(image, to);
      if (distance >= least - 1e-6) continue;
      least = distance;
      best = image;
    }
    return best;
  }

  std::string Moved(size_t i) {
    std::vector<Cartesian> about;
    for (const Fractional& x : request_.about) about.push_back(metric_.ToCartesian(x));
    Cartesian axis = about.size() > 1 ? about[1] - about[0] : Cartesian{0.0, 0.0, 1.0};
    if (request_.way == SplitWay::Reflection) axis = Cross(axis, about[2] - about[0]);
    if (Length(axis) < 1e-3) return "The places that the parts are to lie about do not give a line or a plane.";
    for (size_t k = 0; k < Count(); ++k) {
      // A reflection is a half turn and an inversion.
      Mat3 r = request_.way == SplitWay::Inversion    ? Mat3::Diagonal(-1.0, -1.0, -1.0)
               : request_.way == SplitWay::Reflection ? Rotation(axis, 180.0) * Mat3::Diagonal(-1.0, -1.0, -1.0)
                                                      : Rotation(axis, request_.angle * static_cast<double>(k));
      if (k == 0) r = Mat3::Identity();
      PartPlace part{metric_.ToFractional(about[0] + r * (PlaceOf(i) - about[0])), atoms_[i]->u};
      if (atoms_[i]->IsAnisotropic()) part.u = FileTensor(metric_, r * TensorOf(i) * Transposed(r));
      if (k == 0) part.fract = atoms_[i]->fract;
      parts_[i].push_back(part);
    }
    return {};
  }

  bool StaysOn(const std::vector<SymmetryOperator>& operations, const Fractional& x) const {
    return std::ranges::all_of(operations, [&](const SymmetryOperator& op) {
      return metric_.DistanceSquared(op.Apply(x), x) < 25.0 * kOnElement * kOnElement;
    });
  }
  static std::string LeavesSite(const AtomRecord& atom) {
    return atom.name +
           " lies on a special position, which its parts would leave: symmetry makes the second part there. Split it "
           "by "
           "symmetry instead.";
  }
  std::string KeepOnSite(size_t i) {
    const auto operations = SiteOperationsOf(document_, metric_, atoms_[i]->fract);
    if (operations.size() < 2) return {};
    for (PartPlace& part : parts_[i]) {
      if (!StaysOn(operations, part.fract)) return LeavesSite(*atoms_[i]);
      part.fract = ProjectOnSite(operations, part.fract);
      if (atoms_[i]->IsAnisotropic()) part.u = ProjectDisplacement(metric_, operations, part.u);
    }
    return {};
  }

  const Document& document_;
  const std::vector<AtomRecord*>& atoms_;
  const SplitRequest& request_;
  const Metric metric_;
  const BondPartners bonds_;
  double most_ = 0.0;  // Å²
  std::vector<AtomParts> parts_;
};

}  // namespace

std::vector<SymmetryOperator> SiteOperationsOf(const Document& document, const Metric& metric, const Fractional& x) {
  const std::vector<SymmetryOperator> group(document.symmetry.begin(), document.symmetry.end());
  return SiteOperations(group, metric, x, kOnElement);
}

std::array<double, 6> FileTensor(const Metric& metric, const Mat3& cartesian) {
  const auto& e = metric.reciprocalEdges;
  const Mat3 back = Inverse(metric.orthogonal * Mat3::Diagonal(e[0], e[1], e[2]));
  return FileOrderOf(back * cartesian * Transposed(back));
}

std::vector<AtomParts> PlaceParts(const Document& document, const std::vector<AtomRecord*>& atoms,
                                  const SplitRequest& request, std::vector<AtomRecord*>& used, std::string& fault) {
  return Placer(document, atoms, request).Place(used, fault);
}

}  // namespace marvik
