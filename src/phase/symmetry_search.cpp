#include "phase/symmetry_search.h"

#include <algorithm>
#include <cmath>
#include <gemmi/symmetry.hpp>
#include <map>

#include "base/numbers.h"
#include "crystal/symmetry.h"
#include "phase/phase_overlap.h"

namespace marvik::phase {
namespace {

constexpr size_t kMostReflections = 4000;
constexpr size_t kPeaks = Overlap::kPeaks;

// x = B x' between coordinates of the cell and of the primitive basis.
Mat3 BasisOf(const Centring& centring) {
  return Transposed(Mat3{centring.p});
}

Rotation OnPrimitive(const Rotation& r, const Centring& centring) {
  const Mat3 basis = BasisOf(centring);
  Mat3 m;
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j) m.m[i][j] = r[i][j];
  const Mat3 turned = Inverse(basis) * m * basis;
  Rotation out{};
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j) out[i][j] = RoundHalfAway(turned.m[i][j]);
  return out;
}

// E·exp(iφ) of every reflection of the sphere, on the primitive basis.
using Sphere = std::map<Miller, std::complex<double>>;

Sphere SphereOf(const PhaseSet& phases) {
  Sphere sphere;
  for (const PhasedReflection& r : phases.reflections) {
    const auto f = std::complex<double>(r.phase) * static_cast<double>(r.e);
    sphere[r.h] = f;
    sphere[{-r.h[0], -r.h[1], -r.h[2]}] = std::conj(f);
  }
  return sphere;
}

class Search {
 public:
  Search(const DataStatistics& data, const PhaseSet& phases) : data_(data), sphere_(SphereOf(phases)) {
    for (const PhasedReflection& r : phases.reflections) {
      if (r.e > 1.0f && r.s2 < 0.25f) strong_.push_back(&r);
    }
    std::stable_sort(strong_.begin(), strong_.end(), [](const auto* a, const auto* b) { return a->e > b->e; });
    if (strong_.size() > kMostReflections) strong_.resize(kMostReflections);
  }

  const Overlap& OverlapOf(const Rotation& rotation) {
    const auto found = overlaps_.find(rotation);
    if (found != overlaps_.end()) return found->second;
    Overlap& o = overlaps_[rotation];
    o.rotation = rotation;
    double sum = 0.0;
    for (const PhasedReflection* r : strong_) {
      const Miller image = Turned(r->h, rotation);
      const auto at = sphere_.find(image);
      if (image == r->h || at == sphere_.end()) continue;
      const auto term = at->second * std::conj(std::complex<double>(r->phase) * static_cast<double>(r->e));
      o.h.push_back(r->h);
      o.terms.push_back(term);
      sum += std::abs(term);
    }
    for (auto& t : o.terms) t /= std::max(sum, 1e-30);
    o.MakeMap();
    o.FindPeaks();
    return o;
  }

  // Finds the origin; false when the phases say nothing about one of the operations.
  bool Place(GroupCandidate& candidate);
  // The operation's translation where the phases have their origin, on the primitive basis.
  Vector Translation(const Rotation& rotation, const Vector& t, const Vector& origin) const {
    const Vector turned = TurnedVector(rotation, origin);
    Vector u{};
    for (size_t i = 0; i < 3; ++i) u[i] = t[i] + origin[i] - turned[i];
    return u;
  }
  void CountAbsences(GroupCandidate& candidate) const;

 private:
  struct Operation {
    Rotation r{};
    Vector t{};
  };
  std::vector<Operation> OperationsOf(const SpaceGroup& group) const;
  // Places of operations that make all the others.
  static std::vector<size_t> GeneratorsOf(const std::vector<Operation>& operations);
  void RefineOrigin(const std::vector<Operation>& operations, Vector& origin);

  const DataStatistics& data_;
  Sphere sphere_;
  std::vector<const PhasedReflection*> strong_;
  std::map<Rotation, Overlap> overlaps_;
};

std::vector<Search::Operation> Search::OperationsOf(const SpaceGroup& group) const {
  const Mat3 inverse = Inverse(BasisOf(data_.centring));
  std::vector<Operation> operations;
  for (const SymmetryOperator& op : group.pointOperators) {
    if (op.r == SymmetryOperator{}.r) continue;
    const Fractional t = inverse * op.Apply({});
    operations.push_back({OnPrimitive(op.r, data_.centring), {t.x, t.y, t.z}});
  }
  return operations;
}

std::vector<size_t> Search::GeneratorsOf(const std::vector<Operation>& operations) {
  std::vector<size_t> generators;
  std::vector<Rotation> made;
  for (size_t i = 0; i < operations.size() && made.size() <= operations.size(); ++i) {
    if (std::find(made.begin(), made.end(), operations[i].r) != made.end()) continue;
    generators.push_back(i);
    if (made.empty()) made.push_back({{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}});
    made.push_back(operations[i].r);
    for (size_t a = 0; a < made.size(); ++a) {
      for (size_t b = 0; b < made.size(); ++b) {
        const Rotation product = Product(made[a], made[b]);
        if (std::find(made.begin(), made.end(), product) == made.end()) made.push_back(product);
      }
    }
  }
  return generators;
}

bool Search::Place(GroupCandidate& candidate) {
  const std::vector<Operation> operations = OperationsOf(candidate.group);
  if (operations.empty()) return true;
  std::vector<const Overlap*> overlaps;
  for (const Operation& op : operations) {
    overlaps.push_back(&OverlapOf(op.r));
    if (overlaps.back()->peaks.empty()) return false;
  }
  const std::vector<size_t> generators = GeneratorsOf(operations);
  std::vector<std::array<int, 3>> matrix;
  for (const size_t g : generators) {
    for (size_t i = 0; i < 3; ++i) {
      std::array<int, 3> row{};
      for (size_t j = 0; j < 3; ++j) row[j] = (i == j) - operations[g].r[i][j];
      matrix.push_back(row);
    }
  }
  const ModularEquations equations(matrix);
  double best = -2.0;
  Vector origin{};
  size_t combinations = 1;
  for (size_t i = 0; i < generators.size(); ++i) combinations *= kPeaks;
  for (size_t n = 0; n < combinations; ++n) {
    std::vector<double> b;
    bool there = true;
    for (size_t g = 0, rest = n; g < generators.size(); ++g, rest /= kPeaks) {
      const auto& peaks = overlaps[generators[g]]->peaks;
      there = there && rest % kPeaks < peaks.size();
      if (!there) break;
      for (size_t i = 0; i < 3; ++i) b.push_back(peaks[rest % kPeaks][i] - operations[generators[g]].t[i]);
    }
    if (!there) continue;
    for (const Vector& o : equations.Solve(b)) {
      double sum = 0.0;
      for (size_t i = 0; i < operations.size(); ++i)
        sum += overlaps[i]->Interpolated(Translation(operations[i].r, operations[i].t, o));
      if (sum > best) best = sum, origin = o;
    }
  }
  RefineOrigin(operations, origin);
  candidate.mean = 0.0;
  candidate.least = 1.0;
  for (size_t i = 0; i < operations.size(); ++i) {
    const double t = overlaps[i]->At(Translation(operations[i].r, operations[i].t, origin));
    candidate.mean += t / static_cast<double>(operations.size());
    candidate.least = std::min(candidate.least, t);
  }
  candidate.origin = {origin[0], origin[1], origin[2]};
  return true;
}

// Least squares on the places of the operations' own maxima near those that the origin asks for.
void Search::RefineOrigin(const std::vector<Operation>& operations, Vector& origin) {
  Mat3 normal = Mat3::Diagonal(1e-3, 1e-3, 1e-3);
  Vector right{};
  for (const Operation& op : operations) {
    const Overlap& overlap = OverlapOf(op.r);
    const Vector u = Translation(op.r, op.t, origin);
    for (const Vector& peak : overlap.peaks) {
      Vector off{};
      bool near = true;
      for (size_t i = 0; i < 3; ++i) {
        off[i] = peak[i] - u[i] - std::round(peak[i] - u[i]);
        near = near && std::fabs(off[i]) * static_cast<double>(overlap.grid[i]) < 2.0;
      }
      if (!near) continue;
      for (size_t i = 0; i < 3; ++i) {
        for (size_t j = 0; j < 3; ++j) {
          const double aij = (i == j) - op.r[i][j];
          right[j] += aij * off[i];
          for (size_t k = 0; k < 3; ++k) normal.m[j][k] += aij * ((i == k) - op.r[i][k]);
        }
      }
      break;
    }
  }
  const Mat3 inverse = Inverse(normal);
  for (size_t i = 0; i < 3; ++i)
    for (size_t j = 0; j < 3; ++j) origin[i] += inverse.m[i][j] * right[j];
}

void Search::CountAbsences(GroupCandidate& candidate) const {
  double all = 0.0, forbidden = 0.0;
  for (const Reflection& r : data_.merged) {
    all += r.intensity / r.sigma;
    if (!candidate.group.IsAbsent(r.h)) continue;
    ++candidate.absent;
    forbidden += r.intensity / r.sigma;
  }
  all /= static_cast<double>(data_.merged.size());
  if (candidate.absent > 0 && all > 0.0)
    candidate.absences = std::max(0.0, forbidden / static_cast<double>(candidate.absent) / all);
}

int LattOf(const gemmi::SpaceGroup& group) {
  const std::string letters = "PIRFABC";
  const size_t at = letters.find(group.hm[0]);
  return at == std::string::npos ? 1 : static_cast<int>(at) + 1;
}

bool FromTable(const gemmi::SpaceGroup& entry, const DataStatistics& data, GroupCandidate& candidate) {
  const gemmi::GroupOps ops = entry.operations();
  if (ops.cen_ops.size() != data.centring.points.size()) return false;
  for (const auto& c : ops.cen_ops) {
    const bool known = std::any_of(data.centring.points.begin(), data.centring.points.end(), [&](const auto& p) {
      return std::fabs(p[0] - c[0] / 24.0) + std::fabs(p[1] - c[1] / 24.0) + std::fabs(p[2] - c[2] / 24.0) < 1e-6;
    });
    if (!known) return false;
  }
  for (const gemmi::Op& op : ops.sym_ops) {
    Rotation r{};
    const int sign = op.det_rot() > 0 ? 1 : -1;
    for (size_t i = 0; i < 3; ++i)
      for (size_t j = 0; j < 3; ++j) r[i][j] = sign * op.rot[i][j] / gemmi::Op::DEN;
    if (std::find(data.laue.begin(), data.laue.end(), r) == data.laue.end()) return false;
  }
  candidate.latt = LattOf(entry);
  gemmi::Op centre = gemmi::Op::identity();
  for (size_t i = 0; i < 3; ++i) centre.rot[i][i] = -gemmi::Op::DEN;
  const bool centric = std::find(ops.sym_ops.begin(), ops.sym_ops.end(), centre) != ops.sym_ops.end();
  if (!centric) candidate.latt = -candidate.latt;
  for (const gemmi::Op& op : ops.sym_ops) {
    if (op == gemmi::Op::identity()) continue;
    // With a centre at the origin one of each pair says it all.
    if (centric && op.det_rot() < 0) continue;
    candidate.symm.push_back(op.triplet());
  }
  std::string problem;
  auto group = MakeSpaceGroup(candidate.latt, ListOperators(candidate.latt, candidate.symm), problem);
  if (!group) return false;
  candidate.group = std::move(*group);
  candidate.symbol = entry.xhm();
  candidate.number = entry.number;
  return true;
}

// Whether two groups are one but for their origin: each operation has the same translation in the frame of the phases.
bool SameOperations(const Search& search, const DataStatistics& data, const GroupCandidate& a,
                    const GroupCandidate& b) {
  if (a.Order() != b.Order()) return false;
  const Mat3 inverse = Inverse(BasisOf(data.centring));
  const auto translation = [&](const SymmetryOperator& op, const Fractional& origin) {
    const Fractional t = inverse * op.Apply({});
    return search.Translation(OnPrimitive(op.r, data.centring), {t.x, t.y, t.z}, {origin.x, origin.y, origin.z});
  };
  return std::all_of(a.group.pointOperators.begin(), a.group.pointOperators.end(), [&](const SymmetryOperator& op) {
    return std::any_of(b.group.pointOperators.begin(), b.group.pointOperators.end(),
                       [&](const SymmetryOperator& other) {
                         if (op.r != other.r) return false;
                         const Vector u = translation(op, a.origin), v = translation(other, b.origin);
                         for (size_t i = 0; i < 3; ++i) {
                           const double d = u[i] - v[i];
                           if (std::fabs(d - std::round(d)) > 0.04) return false;
                         }
                         return true;
                       });
  });
}

}  // namespace

std::vector<GroupCandidate> RankSpaceGroups(const DataStatistics& data, const PhaseSet& phases) {
  Search search(data, phases);
  std::vector<GroupCandidate> candidates;
  for (const gemmi::SpaceGroup& entry : gemmi::spacegroup_tables::main) {
    GroupCandidate candidate;
    if (!FromTable(entry, data, candidate) || !search.Place(candidate)) continue;
    const auto same = std::find_if(candidates.begin(), candidates.end(),
                                   [&](const GroupCandidate& c) { return SameOperations(search, data, candidate, c); });
    if (same == candidates.end()) {
      search.CountAbsences(candidate);
      candidates.push_back(std::move(candidate));
    } else if (candidate.group.centric && !same->group.centric) {
      candidate.absences = same->absences;
      candidate.absent = same->absent;
      *same = std::move(candidate);
    }
  }
  std::stable_sort(candidates.begin(), candidates.end(), [](const GroupCandidate& a, const GroupCandidate& b) {
    if (a.Fits() != b.Fits()) return a.Fits();
    if (a.Fits() && a.Order() != b.Order()) return a.Order() > b.Order();
    return a.mean > b.mean;
  });
  return candidates;
}

std::vector<GroupCandidate> GivenSpaceGroup(const Problem& problem, const DataStatistics& data,
                                            const PhaseSet& phases) {
  Search search(data, phases);
  GroupCandidate candidate;
  std::string sentence;
  const auto group = MakeSpaceGroup(problem.lattice, ListOperators(problem.lattice, problem.symm), sentence);
  if (!group) return {};
  candidate.group = *group;
  candidate.symbol = group->symbol.empty() ? "as given" : group->symbol;
  candidate.latt = problem.lattice;
  candidate.symm = problem.symm;
  if (!search.Place(candidate)) return {};
  search.CountAbsences(candidate);
  return {candidate};
}

std::vector<AveragedReflection> AveragePhases(const DataStatistics& data, const PhaseSet& phases,
                                              const GroupCandidate& candidate) {
  const Sphere sphere = SphereOf(phases);
  const Vector origin{candidate.origin.x, candidate.origin.y, candidate.origin.z};
  std::vector<AveragedReflection> averaged;
  for (const PhasedReflection& r : phases.reflections) {
    const Miller h = data.centring.FromPrimitive(r.h);
    const Miller representative = candidate.group.Representative(h, true);
    if (representative != h && representative != Miller{-h[0], -h[1], -h[2]}) continue;
    std::complex<double> sum;
    for (const SymmetryOperator& op : candidate.group.pointOperators) {
      const Miller image = data.centring.ToPrimitive(op.ApplyToIndices(h));
      const auto at = sphere.find(image);
      if (at == sphere.end()) continue;
      // F(h) = F(hR) exp(2πi h·t), each taken to the group's origin first.
      const double shift = op.PhaseShift(h) - Dot(image, origin);
      sum += at->second * std::polar(1.0, kTurn * shift);
    }
    averaged.push_back({h, sum / static_cast<double>(candidate.group.pointOperators.size()),
                        std::sqrt(static_cast<double>(r.e) * static_cast<double>(r.f))});
  }
  return averaged;
}

}  // namespace marvik::phase
