#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <numbers>

#include "crystal/cell_metric.h"
#include "files/res/reader.h"
#include "refine/job/prepare.h"
#include "refine/job/session.h"
#include "refine/map/fourier.h"
#include "refine/output/refined_uncertainties.h"
#include "refine/output/tables.h"

#include "models.h"

namespace marvik {
namespace {

SiteImage ImageOfSite(int site) {
  SiteImage image;
  image.site = site;
  return image;
}

TEST(Flack, TellsTheHands) {
  const Structure truth = MakeCrystal(GroupNamed("P 21 21 21"), 12, 4);
  Session s;
  s.structure = truth;
  s.observations = SimulateData(truth, 0.9);
  s.result.calculated = CalculateAt(s.structure, s.observations);
  const FlackResult right = EstimateFlack(s);
  ASSERT_TRUE(right.present);
  EXPECT_NEAR(right.x.value, 0.0, 0.01);
  EXPECT_GT(right.pairs, 100u);
  const HooftResult odds = EstimateHooft(s);
  EXPECT_NEAR(odds.y.value, 0.0, 0.01);
  EXPECT_NEAR(odds.right, 1.0, 1e-6);
  for (Site& site : s.structure.sites) site.x = -site.x;
  s.result.calculated = CalculateAt(s.structure, s.observations);
  EXPECT_NEAR(EstimateFlack(s).x.value, 1.0, 0.02);
  EXPECT_NEAR(EstimateHooft(s).y.value, 1.0, 0.02);
  EXPECT_NEAR(EstimateHooft(s).wrongOf3, 1.0, 1e-6);
  // With one of each pair there are no quotients, and the fit tells the hands.
  s.observations = SimulateData(truth, 0.9);
  for (Miller& h : s.observations.indices[0]) h = truth.group.Representative(h, true);
  for (const double hand : {0.0, 1.0}) {
    s.structure = truth;
    for (Site& site : s.structure.sites) site.x = hand > 0.0 ? -site.x : site.x;
    s.result.calculated = CalculateAt(s.structure, s.observations);
    const Calculated wanted = CalculateAt(truth, s.observations);
    for (size_t i = 0; i < wanted.fc2.size(); ++i) s.result.calculated.fo2[i] = 1.01 * wanted.fc2[i];
    EXPECT_FALSE(EstimateFlack(s).present);
    ASSERT_TRUE(FitHand(s));
    EXPECT_NEAR(FitHand(s)->value, hand, 0.01);
  }
  s.structure = MakeCrystal(GroupNamed("P -1"), 12, 4);
  EXPECT_FALSE(FitHand(s));
  EXPECT_FALSE(EstimateFlack(s).present);
}

// Lattices that other rotations would fit: two axes, a face diagonal as the image of an axis of two cells, and a
// threefold axis of a centred lattice, whose law has halves.
TEST(TwinLaws, AreFoundInTheLatticeWithTheirFraction) {
  const struct {
    const char* name;
    CellParameters cell;
    std::array<double, 9> law;
  } kCases[] = {{"P 1 21/c 1", {8.1, 11.3, 9.7, 90, 90.1, 90}, {1, 0, 0, 0, -1, 0, 0, 0, -1}},
                {"P 1 21/c 1", {5.0, 11.3, 9.7, 90, 121.03, 90}, {1, 0, -2, 0, -1, 0, 0, 0, -1}},
                {"C 1 2/c 1", {7.0, 12.13, 9.7, 90, 90.1, 90}, {-0.5, -1.5, 0, 0.5, -0.5, 0, 0, 0, 1}}};
  for (const auto& twin : kCases) {
    GroupCase group = GroupNamed(twin.name);
    group.cell = twin.cell;
    const Structure truth = MakeCrystal(group, 12, 4);
    Session s;
    s.structure = truth;
    s.observations = SimulateData(truth, 0.9);
    s.result.calculated = CalculateAt(truth, s.observations);
    EXPECT_TRUE(FindTwinLaws(s).empty());
    Calculated& c = s.result.calculated;
    std::map<Miller, size_t> byIndex;
    const auto& indices = s.observations.indices[0];
    for (size_t i = 0; i < indices.size(); ++i) byIndex[truth.group.Representative(indices[i], true)] = i;
    for (size_t i = 0; i < indices.size(); ++i) {
      std::array<double, 3> t{};
      for (size_t k = 0; k < 3; ++k)
        for (size_t j = 0; j < 3; ++j) t[k] += indices[i][j] * twin.law[3 * j + k];
      const Miller image{static_cast<int>(std::lround(t[0])), static_cast<int>(std::lround(t[1])),
                         static_cast<int>(std::lround(t[2]))};
      const auto partner = byIndex.find(truth.group.Representative(image, true));
      if (partner != byIndex.end()) c.fo2[i] = 0.72 * c.fc2[i] + 0.28 * c.fc2[partner->second];
    }
    const std::vector<TwinCandidate> laws = FindTwinLaws(s);
    ASSERT_FALSE(laws.empty()) << twin.name;
    EXPECT_NEAR(laws[0].fraction, 0.28, 0.02);
    EXPECT_LT(laws[0].twinned, 0.3 * laws[0].single);
    Miller image{}, byInstruction{};
    for (size_t k = 0; k < 3; ++k) {
      for (size_t j = 0; j < 3; ++j) {
        image[k] += static_cast<int>(std::lround(2 * (static_cast<double>(j) + 1) * twin.law[3 * j + k]));
        byInstruction[k] += static_cast<int>(std::lround(2 * (static_cast<double>(j) + 1) * laws[0].matrix[3 * k + j]));
      }
    }
    EXPECT_EQ(truth.group.Representative(byInstruction, true), truth.group.Representative(image, true)) << twin.name;
  }
}

// Half a turn about a brings h = 0 and what is near in other layers of this cell onto reflections.
TEST(TwinLaws, OfLatticesThatOverlapInPartAreFoundToo) {
  GroupCase group = GroupNamed("P 1 21/c 1");
  group.cell = {7.1, 9.3, 11.7, 90, 98, 90};
  const Structure truth = MakeCrystal(group, 12, 4);
  Session s;
  s.structure = truth;
  s.observations = SimulateData(truth, 0.8);
  s.result.calculated = CalculateAt(truth, s.observations);
  EXPECT_TRUE(FindPartialTwinLaws(s).empty());
  const auto& indices = s.observations.indices[0];
  std::map<Miller, double> fc2;
  Calculated& c = s.result.calculated;
  for (size_t i = 0; i < indices.size(); ++i) fc2[truth.group.Representative(indices[i], true)] = c.fc2[i];
  const double slope = 2.0 * 11.7 / 7.1 * std::cos(98.0 * std::numbers::pi / 180.0);
  size_t overlapping = 0;
  for (size_t i = 0; i < indices.size(); ++i) {
    const Miller& h = indices[i];
    // The images of the axes are a, -b and 2(c cos beta / a) a - c.
    const double l = slope * h[0] - h[2];
    const Miller image{h[0], -h[1], static_cast<int>(std::lround(l))};
    const auto partner = fc2.find(truth.group.Representative(image, true));
    const bool there = std::fabs(l - image[2]) < 0.2;
    overlapping += there;
    c.fo2[i] = 0.7 * c.fc2[i] + (there && partner != fc2.end() ? 0.3 * partner->second : 0.0);
  }
  const std::vector<TwinCandidate> laws = FindPartialTwinLaws(s);
  ASSERT_FALSE(laws.empty());
  EXPECT_NEAR(laws[0].fraction, 0.3, 0.02);
  EXPECT_NEAR(std::fabs(laws[0].matrix[6]), std::fabs(slope), 1e-6);
  EXPECT_NEAR(laws[0].overlapping, static_cast<double>(overlapping) / static_cast<double>(indices.size()), 0.05);
  EXPECT_LT(laws[0].twinned, 0.4 * laws[0].single);

  // The same law from data that hold both components: two lines where they overlap.
  s.job.hkl.code = 5;
  const size_t count = indices.size();
  s.observations.indices.resize(2);
  s.observations.batch.assign(2, std::vector<int>(count, 1));
  for (size_t i = 0; i < count; ++i) {
    const Miller h = s.observations.indices[0][i];
    const double l = slope * h[0] - h[2];
    s.observations.indices[1].push_back({h[0], -h[1], static_cast<int>(std::lround(l))});
    s.observations.batch[1][i] = std::fabs(l - std::lround(l)) < 0.2 ? 2 : 0;
  }
  const std::vector<ComponentLaw> components = ComponentLaws(s);
  ASSERT_EQ(components.size(), 1u);
  EXPECT_EQ(components[0].pairs, overlapping);
  // Whole indices, and few of h, tell no more.
  EXPECT_NEAR(components[0].matrix[2][0], slope, 0.05);
  EXPECT_NEAR(components[0].angle, 180.0, 1.0);
  const auto axis = truth.metric.fractional * components[0].axis;
  EXPECT_NEAR(std::fabs(axis.z / axis.x), 0.0, 0.01) << "[1 0 0]";
}

TEST(DifferenceMap, ShowsTheAtomThatIsMissing) {
  for (const char* name : {"P 1 21/c 1", "P 61", "R -3", "F d d 2"}) {
    const Structure truth = MakeCrystal(GroupNamed(name), 31, 5);
    const Observations o = SimulateData(truth, 0.9);
    Structure model = truth;
    model.sites.pop_back();
    const DensityMap map = MakeMap(model, o, CalculateAt(model, o));
    const std::vector<Peak> peaks = FindPeaks(model, map, 3, false);
    ASSERT_FALSE(peaks.empty());
    double nearest = 1e9;
    for (const SymmetryOperator& op : truth.group.all) {
      Fractional d = op.Apply(peaks[0].x) - truth.sites[4].x;
      for (int k = 0; k < 3; ++k) d[k] -= std::round(d[k]);
      nearest = std::min(nearest, std::sqrt(truth.metric.DistanceSquared(d, {})));
    }
    EXPECT_LT(nearest, 0.15) << name;
    const double second = peaks.size() > 1 ? peaks[1].height : 0.0;
    EXPECT_GT(peaks[0].height, 1.9 * second) << name << ": one peak for one atom and its equivalents";
    EXPECT_NEAR(peaks[0].siteFraction, 1.0, 1e-9);
  }
}

TEST(DensityMaps, OfOtherKindsHoldTheAtomsAndTheElectrons) {
  const Structure truth = MakeCrystal(GroupNamed("P 21 21 21"), 31, 5);
  const Observations o = SimulateData(truth, 0.7);
  Structure model = truth;
  model.sites[2].x.x += 0.01;
  const Calculated c = CalculateAt(model, o);
  const DensityMap difference = MakeMap(model, o, c);
  const DensityMap observed = MakeMap(model, o, c, MapKind::Observed);
  const DensityMap twice = MakeMap(model, o, c, MapKind::TwiceObserved);
  double sum = 0.0;
  for (const float v : observed.values) sum += static_cast<double>(v);
  const double electrons = 4 * (6 + 8 + 16 + 30 + 6);
  EXPECT_NEAR(sum / static_cast<double>(observed.values.size()), electrons / truth.metric.volume, 1e-4);
  for (long i = 0; i < 500; ++i) {
    const double expected = static_cast<double>(observed.At(i, 3 * i, 7 * i) + difference.At(i, 3 * i, 7 * i));
    EXPECT_NEAR(static_cast<double>(twice.At(i, 3 * i, 7 * i)), expected, 2e-3) << "2Fo - Fc is Fo and Fo - Fc";
  }
  const std::vector<Peak> peaks = FindPeaks(model, observed, 5, false);
  ASSERT_EQ(peaks.size(), 5u);
  EXPECT_EQ(peaks[0].nearest, 3) << "zinc";
  for (const Peak& p : peaks) EXPECT_LT(p.distance, 0.12);
}

TEST(RigidGroups, KeepTheirShapeAndFindTheirPlace) {
  Structure truth = MakeCrystal(GroupNamed("P 1 21/c 1"), 2, 7);
  constexpr double pi = std::numbers::pi;
  for (int i = 0; i < 6; ++i) {
    Site& site = truth.sites[static_cast<size_t>(i)];
    site.scatterer = 0;
    site.afix = 66;
    site.afixGroup = 1;
    const Cartesian place{3.0 + 1.39 * std::cos(pi * i / 3), 4.0 + 1.39 * std::sin(pi * i / 3) * 0.8,
                          3.0 + 1.39 * std::sin(pi * i / 3) * 0.6};
    site.x = truth.metric.ToFractional(place);
  }
  const Observations o = SimulateData(truth, 0.9);
  Structure model = truth;
  for (size_t i = 0; i < 6; ++i) {
    // Turned and moved, and out of shape besides.
    const Cartesian p = truth.metric.ToCartesian(truth.sites[i].x);
    model.sites[i].x = model.metric.ToFractional(
        {p.x + 0.08 + 0.03 * (p.y - 4.0), p.y - 0.05 - 0.03 * (p.x - 3.0), p.z + 0.02 * (i % 2 ? 1 : -1)});
  }
  std::vector<std::string> notes;
  std::vector<RigidGroup> rigid = FindRigidGroups(model, {}, notes);
  ASSERT_EQ(rigid.size(), 1u);
  EXPECT_TRUE(notes.empty());
  const Refined r = RefineModel(model, o, PlainJob(10), {}, rigid);
  const auto turns = std::count_if(r.parametrisation.parameters.begin(), r.parametrisation.parameters.end(),
                                   [](const Parameter& p) { return p.kind == ParameterKind::GroupRotation; });
  EXPECT_EQ(turns, 3);
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(std::sqrt(model.metric.DistanceSquared(model.sites[i].x, model.sites[(i + 1) % 6].x)), 1.39, 1e-6);
    EXPECT_LT(std::sqrt(model.metric.DistanceSquared(model.sites[i].x, truth.sites[i].x)), 0.002) << i;
  }
}

TEST(Blocks, HoldTheAtomsOfOtherCycles) {
  const Structure truth = MakeCrystal(GroupNamed("P 1 21/c 1"), 3, 3);
  const Observations o = SimulateData(truth, 1.0);
  for (const bool gradients : {false, true}) {
    Structure model = truth;
    for (Site& site : model.sites) site.x.x += 0.002;
    const double start = model.sites[1].x.x;
    Job job = PlainJob(1);
    job.conjugateGradients = gradients;
    job.commands = {ParseInstruction("BLOC 1 -1 X1"), ParseInstruction("BLOC 2 -1 X2")};
    RefineModel(model, o, job);
    EXPECT_NE(model.sites[0].x.x, start);
    EXPECT_DOUBLE_EQ(model.sites[1].x.x, start) << "X2 has its turn in the second cycle";
    EXPECT_NE(model.sites[1].u[0], truth.sites[1].u[0]) << "and its displacements in the first";
    EXPECT_NE(model.sites[2].x.x, truth.sites[2].x.x + 0.002) << "what no BLOC names always moves";
    job.cycles = 15;
    RefineModel(model, o, job);
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(model.sites[i].x.x, truth.sites[i].x.x, 1e-4) << "turn by turn";
  }
}

TEST(Uncertainties, ShrinkWithTheDataAndVanishForWhatRides) {
  const Structure truth = MakeCrystal(GroupNamed("P 1 21/c 1"), 3, 3);
  const auto sigma = [&](double resolution) {
    Observations o = SimulateData(truth, resolution);
    std::mt19937 random(5);
    std::normal_distribution<double> noise;
    for (size_t i = 0; i < o.Size(); ++i) o.intensity[i] += o.sigma[i] * noise(random);
    Structure model = truth;
    model.sites[2].code[0] = 10.0 + model.sites[2].x.x;
    const Refined r = RefineModel(model, o, PlainJob(4));
    const Geometry geometry(model, r.parametrisation, r.result.covariance, {});
    EXPECT_EQ(geometry.Raw(2, 0).su, 0.0) << "a fixed coordinate has none";
    // The spread of the found values against the true ones is of the size of the uncertainties.
    double chi = 0.0;
    for (int k = 0; k < 3; ++k)
      chi += std::pow((model.sites[0].x[k] - truth.sites[0].x[k]) / geometry.Raw(0, k).su, 2) / 3.0;
    EXPECT_LT(chi, 6.0);
    EXPECT_GT(chi, 0.01);
    const Measured distance = geometry.Measure({ImageOfSite(0), ImageOfSite(1)});
    EXPECT_GT(distance.su, 0.0);
    const Geometry withCell(model, r.parametrisation, r.result.covariance, {0.05, 0.05, 0.05, 0, 0.5, 0});
    const double both = withCell.Measure({ImageOfSite(0), ImageOfSite(1)}).su;
    EXPECT_GT(both, distance.su);
    // Reports on the document say the same.
    Document document;
    document.cell = model.metric.cell;
    EXPECT_TRUE(BuildOrthogonalisation(document.cell, document.matrix));
    std::array<AtomRecord, 2> atoms;
    std::array<GeometrySite, 2> sites;
    ElementTable table;
    for (size_t i = 0; i < 2; ++i) {
      atoms[i].serial = static_cast<uint32_t>(i + 1);
      atoms[i].element = &table[6];
      model.sites[i].atom = &atoms[i];
      sites[i] = {&atoms[i], 0, model.sites[i].x};
    }
    const RefinedUncertainties source(model, r.parametrisation, r.result.covariance, {0.05, 0.05, 0.05, 0, 0.5, 0});
    EXPECT_NEAR(*GeometryUncertainty(document, &source).OfGeometry(sites), both, 0.02 * both);
    for (size_t k = 0; k < 3; ++k)
      EXPECT_DOUBLE_EQ(source.Of(atoms[0])->fract[k], geometry.Raw(0, kRawX + static_cast<int>(k)).su);
    EXPECT_DOUBLE_EQ(source.Of(atoms[0])->u[3], geometry.Raw(0, kRawU + 3).su);
    return geometry.Raw(0, 0).su;
  };
  EXPECT_LT(sigma(0.8), 0.7 * sigma(1.2));
  EXPECT_EQ(WithSu({1.23456, 0.0023}, 4), "1.235(2)");
  EXPECT_EQ(WithSu({109.47, 0.0}, 1), "109.5");
}

TEST(Preparation, MovesAtomsAndTakesTheInstructionsOut) {
  const std::string text =
      "TITL t\nCELL 0.7 7 8 9 90 90 90\nZERR 4 0 0 0 0 0 0\nLATT -1\nSFAC C O H\nUNIT 4 4 8\nANIS C1 $H\nFVAR 1 0.4\n"
      "C1 1 0.1 0.2 0.3 11 0.04\nMOVE 1 1 1 -1\nC2 1 10.1 0.2 21.0 11 0.05\nO1 2 0.3 0.3 0.3 11 0.05\n"
      "H1 3 0.4 0.3 0.3 11 0.05\nH2 3 0.3 0.4 0.3 11 -1.5\nHKLF 4\nEND\n";
  RecordingMessages messages;
  Document document;
  ASSERT_TRUE(ReadInstructionText(document, text, messages));
  std::vector<AtomRecord*> fresh;
  std::vector<std::string> notes;
  PrepareDocument(document, messages, fresh, notes);
  const AtomRecord* c1 = document.atoms.FindAtom("C1");
  const AtomRecord* c2 = document.atoms.FindAtom("C2");
  EXPECT_DOUBLE_EQ(c1->fract.x, 0.1) << "before MOVE nothing moves";
  EXPECT_TRUE(c1->IsAnisotropic());
  EXPECT_FALSE(c2->IsAnisotropic());
  EXPECT_TRUE(document.atoms.FindAtom("H1")->IsAnisotropic());
  EXPECT_FALSE(document.atoms.FindAtom("H2")->IsAnisotropic()) << "rides";
  EXPECT_NEAR(c2->fract.x, 0.9, 1e-12);
  EXPECT_NEAR(c2->codedValues[kCodedX], 10.9, 1e-12) << "a fixed coordinate moves with its code";
  EXPECT_NEAR(c2->fract.y, 0.8, 1e-12);
  EXPECT_NEAR(c2->fract.z, 0.4, 1e-6) << "a tied one cannot";
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_NEAR(document.atoms.FindAtom("O1")->fract.z, 0.7, 1e-12);
  for (const Instruction& command : InstructionsOf(document)) EXPECT_NE(command.name, "MOVE");
}

}  // namespace
}  // namespace marvik
