#pragma once

#include <optional>
#include <string>

#include "refine/job/session.h"
#include "refine/output/geometry.h"

namespace marvik {

// Sections of the listing, each a block of lines.
std::string BondTable(const Session& session, const Geometry& geometry);
std::string TorsionTable(const Session& session, const Geometry& geometry);       // CONF
std::string HydrogenBondTable(const Session& session, const Geometry& geometry);  // HTAB
std::string PlaneTable(const Session& session);                                   // MPLA
// RTAB: the atoms, two to four, of each line that names some, with the line's word for it and their names.
struct RequestedQuantity {
  std::string kind;
  std::string names;
  std::vector<SiteImage> images;
};
std::vector<RequestedQuantity> RequestedQuantities(const Session& session);
std::string RequestedTable(const Session& session, const Geometry& geometry);

// Every restraint at the refined model. Lengths in Å, volumes in Å³, displacements in Å²; of several equal distances
// the target is their mean.
struct RestraintLine {
  std::string instruction;
  std::string atoms;
  double target = 0.0;
  double value = 0.0;
  double sigma = 1.0;
  double chi2 = 0.0;     // as it counts in the restrained S
  double counted = 1.0;  // restraints that the line stands for
};
std::vector<RestraintLine> RestraintLinesOf(const Session& session);
std::string RestraintTable(const Session& session);

// A rotation that is none of the crystal, with the fraction of a second component under it that fits Fo² best, and R1
// of the strong reflections that it relates, without and with that fraction.
struct TwinCandidate {
  std::array<double, 9> matrix{};  // of indices as columns, as on TWIN
  double fraction = 0.0;
  double single = 0.0;
  double twinned = 0.0;
  double overlapping = 1.0;  // share of the reflections that fall on others
};
// Those of the lattice that would lower R1, best first; for data that are not refined as those of a twin.
std::vector<TwinCandidate> FindTwinLaws(const Session& session);
// Twofold turns about rows and normals of planes, with indices up to two, that bring only some of the reflections near
// others: such as the worst of those that are stronger than calculated fall on (Cooper, Gould, Parsons & Watkin, J.
// Appl. Cryst. 35 (2002) 168). The best three; R1 is of all reflections.
std::vector<TwinCandidate> FindPartialTwinLaws(const Session& session);
// How overlapping reflections of HKLF 5 relate another component to the first: indices of the one are matrix times
// those of the other. Where equivalents are mixed no matrix fits, and there is none.
struct ComponentLaw {
  int component = 2;
  size_t pairs = 0;
  double rms = 0.0;  // of the indices
  Mat3 matrix;
  double angle = 0.0;  // degrees
  Cartesian axis;      // of length one
};
std::vector<ComponentLaw> ComponentLaws(const Session& session);
std::string TwinTable(const Session& session);
std::string DisplacementTable(const Session& session);    // principal values, and atoms that may be split
std::string PlacedHydrogenTable(const Session& session);  // of riding groups

std::string ComposeListing(const Session& session, const std::string& console);

std::string FriedelSentence(double factor);

// Flack's parameter from the quotients (I+ - I-)/(I+ + I-) of Friedel pairs (Parsons, Flack & Wagner, Acta Cryst. B69
// (2013) 249), for groups without a centre; of twins where the law turns no hand into the other. Pairs that say little
// are left out.
struct FlackResult {
  struct Pair {
    Miller h{};
    double observed = 0.0;  // quotients
    double calculated = 0.0;
    double weight = 0.0;  // share of the whole
  };
  bool present = false;
  Measured x;
  size_t pairs = 0;
  std::vector<Pair> strongest;  // that weigh most
};
FlackResult EstimateFlack(const Session& session);
// The same where there are no pairs, from a fit of all intensities by x and a scale (H. D. Flack, Acta Cryst. A39
// (1983) 876); nothing for twins and where the hands do not differ.
std::optional<Measured> FitHand(const Session& session);

// The probability of the hand from the differences of Friedel pairs, by Bayes' theorem with errors distributed
// normally (R. W. W. Hooft, L. H. Straver & A. L. Spek, J. Appl. Cryst. 41 (2008) 96-103).
struct HooftResult {
  bool present = false;
  Measured y;             // 0 for the right hand, 1 for the wrong one
  double right = 0.0;     // probability that the hand is right, the other hand being all else that may be,
  double rightOf3 = 0.0;  // or a racemic twin too,
  double racemic = 0.0;
  double wrongOf3 = 0.0;
  size_t pairs = 0;
};
HooftResult EstimateHooft(const Session& session);
std::string HandTable(const Session& session);

struct LinearStudy;  // linear_study.h
std::string RestraintCostTable(const Session& session, const LinearStudy& study);
std::string InfluenceTable(const Session& session, const LinearStudy& study);
std::string StrangeElementTable(const Session& session);

std::string CompletenessTable(const Session& session);  // by shells of resolution
std::string InconsistentTable(const Session& session);  // equivalents that do not agree
// Symmetry that the group has not: of the model's own atoms, and conditions on reflections that the data keep.
std::string MissedSymmetryTable(const Session& session);
// A sentence on one reflection that makes more than a quarter of R1 or of the misfit, "" without one.
std::string DominantReflection(const Session& session);

}  // namespace marvik
