#include <cmath>
#include <gtest/gtest.h>

#include "files/res/reader.h"
#include "refine/constraints/hydrogens.h"
#include "refine/structure/atom_names.h"

#include "models.h"

namespace marvik {
namespace {

// Neighbours at bonding distance make restraints possible: a chain of carbons with an oxygen.
Structure MakeChain() {
  Structure s = MakeCrystal(GroupCases()[0], 5, 8);
  const Cartesian places[] = {{1, 1, 1},       {2.4, 1.3, 1.2}, {2.9, 2.7, 1.0}, {4.3, 2.9, 1.5},
                              {4.9, 4.2, 1.1}, {4.2, 5.3, 1.9}, {2.8, 5.1, 1.6}, {2.2, 3.8, 2.2}};
  for (size_t i = 0; i < 8; ++i) {
    s.sites[i].x = s.metric.ToFractional(places[i]);
    s.sites[i].name = s.sites[i].label = "C" + std::to_string(i + 1);
    s.sites[i].scatterer = i % 3 == 1 ? 1 : 0;
  }
  s.freeVariables = {1.43, 0.4};
  return s;
}

TEST(Refinement, BringsAPerturbedModelBack) {
  for (const bool gradients : {false, true}) {
    for (const char* name : {"P 1 21/c 1", "P 21 21 21", "P 61", "I 41/a:2"}) {
      const Structure truth = MakeCrystal(GroupNamed(name), 42, 4);
      const Observations o = SimulateData(truth, 0.9);
      Structure model = truth;
      std::mt19937 random(9);
      std::uniform_real_distribution<double> off(-0.1, 0.1);
      for (Site& site : model.sites) {
        site.x = model.metric.ToFractional(model.metric.ToCartesian(site.x) +
                                           Cartesian{off(random), off(random), off(random)});
        site.u[0] += 0.01;
      }
      model.scale *= 1.1;
      Job job = PlainJob(gradients ? 25 : 10);
      job.conjugateGradients = gradients;
      const RefinementResult r = RefineModel(model, o, job).result;
      ASSERT_FALSE(r.failed);
      EXPECT_LT(r.final.wR2, 0.01) << name;
      // In a polar group the whole structure may have moved along the axis.
      const Fractional shift =
          truth.group.PolarDirections().empty() ? Fractional{} : model.sites[0].x - truth.sites[0].x;
      for (size_t i = 0; i < truth.sites.size(); ++i) {
        const double d = std::sqrt(truth.metric.DistanceSquared(model.sites[i].x - shift, truth.sites[i].x));
        EXPECT_LT(d, 0.002) << name << " " << truth.sites[i].label << (gradients ? " by gradients" : "");
      }
      EXPECT_NEAR(model.scale, truth.scale, 2e-3);
      EXPECT_TRUE(r.singular.empty()) << r.singular[0];
    }
  }
}

// Each bond from its earlier atom, "'" for an image by symmetry.
std::string BondsOf(const std::string& text) {
  RecordingMessages messages;
  Document document;
  EXPECT_TRUE(ReadInstructionText(document, text, messages));
  Structure s;
  std::vector<std::string> notes;
  std::string problem;
  EXPECT_TRUE(BuildStructure(document, s, notes, problem)) << problem;
  std::string found;
  const NeighbourTable table = MakeBonds(s, document, InstructionsOf(document));
  for (size_t i = 0; i < table.size(); ++i) {
    for (const Neighbour& n : table[i]) {
      if (static_cast<size_t>(n.site) > i)
        found += s.sites[i].name + s.sites[static_cast<size_t>(n.site)].name + (n.IsIdentity() ? " " : "' ");
    }
  }
  return found;
}

TEST(Bonds, BindJoinsPartsAndConnLimitsAllAtoms) {
  const std::string atoms =
      "C1 1 0.1 0.1 0.1 11 0.04\nPART 1\nC2 1 0.25 0.1 0.1 11 0.04\nC4 1 0.1 0.25 0.1 11 0.04\nPART 2\n"
      "C3 1 0.35 0.2 0.1 11 0.04\nPART 0\nHKLF 4\nEND\n";
  const auto bonds = [&](const std::string& line) {
    return BondsOf("CELL 0.7 10 10 10 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C\nUNIT 4\n" + line + "FVAR 1\n" +
                   atoms);
  };
  EXPECT_EQ(bonds(""), "C1C2 C1C4 ");
  EXPECT_EQ(bonds("BIND 2 1\n"), "C1C2 C1C4 C2C3 ");
  EXPECT_EQ(bonds("BIND 1 3\n"), "C1C2 C1C4 ");
  EXPECT_EQ(bonds("CONN 1\n"), "C1C2 ");
  EXPECT_EQ(bonds("CONN 0 C2\n"), "C1C4 ") << "seen from either side";
  EXPECT_EQ(bonds("CONN 9 0.1 C4\nBIND 1 2\n"), "C1C2 C2C3 ") << "a radius of its own";
  EXPECT_EQ(bonds("CONN 1\nBIND C2 C3\nBIND C4 C3\nFREE C1 C2\nFREE C4 C3\n"), "C2C3 ") << "FREE has the last word";
}

// A methyl on a threefold axis: three names, nine images in three places; and one name in three places. All equally
// far.
TEST(Bonds, OfHydrogensThatTheAxisMovesOntoOthersAreListedOnce) {
  EXPECT_EQ(BondsOf("CELL 0.7 8 8 9 90 90 120\nZERR 1 0 0 0 0 0 0\nLATT -1\nSYMM -y,x-y,z\nSYMM -x+y,-x,z\nSFAC C H\n"
                    "UNIT 4 4\nFVAR 1\nC1 1 0 0 0.5 10.33333 0.04\nC2 1 0 0 0.29 10.33333 0.04\n"
                    "H1B 2 0 0.11 0.55 10.33333 0.05\nH1A 2 -0.11 -0.11 0.55 10.33333 0.05\n"
                    "H1C 2 0.11 0 0.55 10.33333 0.05\nH1D 2 0.11 0.11 0.45 10.33333 0.05\nHKLF 4\nEND\n"),
            "C1H1B C1H1A C1H1C C1H1D C1H1D' C1H1D' C1C2 ");
}

TEST(Refinement, TieingsOfTheFileSurviveIt) {
  Structure truth = MakeCrystal(GroupCases()[2], 8, 4);
  truth.freeVariables = {0.8};
  truth.sites[0].code[kRawOccupancy] = 21.0;
  truth.sites[1].code[kRawOccupancy] = -20.5;  // 0.5·(1 - variable)
  truth.sites[1].u = truth.sites[0].u;
  truth.sites[2].code[0] = 10.0 + truth.sites[2].x.x;
  ApplyFreeVariables(truth);
  const Observations o = SimulateData(truth, 1.0);
  Structure model = truth;
  model.freeVariables = {0.9};
  ApplyFreeVariables(model);
  const double fixed = model.sites[2].x.x;
  model.sites[2].x.y += 0.003;
  model.sites[1].u[0] += 0.01;
  ParameterOptions options;
  options.sameDisplacements = {{0, 1}};
  ASSERT_FALSE(RefineModel(model, o, PlainJob(8), options).result.failed);
  EXPECT_DOUBLE_EQ(model.sites[0].occupancy, model.freeVariables[0]);
  EXPECT_NEAR(model.freeVariables[0], 0.8, 1e-3);
  EXPECT_NEAR(model.sites[1].occupancy, 0.5 * (1.0 - model.freeVariables[0]), 1e-12);
  EXPECT_EQ(model.sites[0].u, model.sites[1].u);
  EXPECT_DOUBLE_EQ(model.sites[2].x.x, fixed) << "a fixed coordinate stays";
  EXPECT_NEAR(model.sites[2].x.y, truth.sites[2].x.y, 1e-4) << "and its neighbours do not";
}

TEST(Refinement, SaysWhatTheDataDoNotDetermine) {
  const Structure truth = MakeCrystal(GroupCases()[1], 8, 3);
  const Observations o = SimulateData(truth, 1.0);
  Structure model = truth;
  // Two atoms in one place with free occupancies cannot be told apart.
  model.sites.push_back(model.sites[2]);
  model.sites[3].label = "X9";
  model.sites[2].code[kRawOccupancy] = model.sites[3].code[kRawOccupancy] = 0.0;
  model.sites[3].occupancy = 0.0;
  const Refined r = RefineModel(model, o, PlainJob(2));
  EXPECT_FALSE(r.result.failed);
  ASSERT_FALSE(r.result.singular.empty());
  EXPECT_NE(r.said.find("X9"), std::string::npos);
  for (const Site& site : model.sites) EXPECT_TRUE(IsFinite(site.x));
}

TEST(Solver, SetsAsideEveryDependentParameterInOnePass) {
  // Every third of 300 parameters repeats the one before it.
  constexpr size_t kSize = 300;
  std::mt19937 random(3);
  std::normal_distribution<double> normal;
  NormalSystem system(kSize);
  std::vector<double> row(kSize);
  for (int r = 0; r < 900; ++r) {
    for (size_t i = 0; i < kSize; ++i) row[i] = i % 3 == 2 ? 2.0 * row[i - 1] : normal(random);
    for (size_t i = 0; i < kSize; ++i) {
      for (size_t j = i; j < kSize; ++j) system.matrix.At(i, j) += row[i] * row[j];
      system.gradient[i] += row[i] * (row[0] + 3.0 * row[150] - row[298]);
    }
  }
  const Solution solution = NormalSolver(2).Solve(system, 0.0, {});
  ASSERT_EQ(solution.singular.size(), kSize / 3);
  for (const int p : solution.singular) EXPECT_EQ(p % 3, 2);
  for (size_t i = 0; i < kSize; ++i) {
    EXPECT_NEAR(solution.shifts[i], i == 0 ? 1.0 : i == 150 ? 3.0 : i == 298 ? -1.0 : 0.0, 1e-9) << i;
  }
}

// deviation(model + d) = deviation(model) - Σ slope·d for every equation of every kind of restraint.
TEST(Restraints, SlopesAgreeWithNumericalDifferences) {
  Structure s = MakeChain();
  std::vector<Instruction> commands;
  for (const char* line :
       {"EQIV $1 x+1, y, z", "DFIX 1.5 0.02 C1 C2 C3 C4_$1", "DANG 2.5 C1 C3", "DFIX 21 C2 C3",
        "SADI C1 C2 C2 C3 C3 C4", "SADI C1 C2 C2 C3", "FLAT C1 C2 C3 C4 C5", "CHIV 2.0 0.1 C3", "DELU", "RIGU C1 > C8",
        "SIMU 0.02 0.04 1.8", "ISOR C1 C2 C3", "SUMP 1.0 0.01 1.0 2 1.0 3", "BUMP"}) {
    commands.push_back(ParseInstruction(line));
  }
  const Document document;
  const NeighbourTable bonds = MakeBonds(s, document, {});
  std::vector<std::string> notes;
  const RestraintList list = MakeRestraints(s, commands, bonds, notes);
  for (const std::string& note : notes) EXPECT_NE(note.find("CHIV"), std::string::npos) << note;
  ASSERT_GT(list.size(), 30u);
  std::mt19937 random(2);
  std::uniform_real_distribution<double> off(-1.0, 1.0);
  std::vector<double> shift(s.sites.size() * kRawPerSite);
  for (double& d : shift) d = 1e-6 * off(random);
  const std::array<double, 2> variableShift{2e-6, -1e-6};
  Structure moved = s;
  for (size_t i = 0; i < s.sites.size(); ++i) {
    for (int k = 0; k < kRawPerSite; ++k)
      moved.sites[i].SetRaw(k, s.sites[i].Raw(k) + shift[i * kRawPerSite + static_cast<size_t>(k)]);
  }
  for (size_t v = 0; v < 2; ++v) moved.freeVariables[v] += variableShift[v];
  Structure movedInU = s;
  for (size_t i = 0; i < s.sites.size(); ++i) movedInU.sites[i].u = moved.sites[i].u;
  for (const auto& restraint : list) {
    // The bond's direction is held while tensors are compared along it; the mean of several distances moves, which
    // leaves the sum of squares as it is to first order.
    const bool alongBond = restraint->text.find("DELU") == 0 || restraint->text.find("RIGU") == 0;
    std::vector<RestraintEquation> before;
    std::vector<RestraintEquation> after;
    restraint->Evaluate(s, before);
    restraint->Evaluate(alongBond ? movedInU : moved, after);
    ASSERT_EQ(before.size(), after.size());
    double sumBefore = 0.0;
    double sumAfter = 0.0;
    double predictedSum = 0.0;
    for (size_t e = 0; e < before.size(); ++e) {
      double predicted = 0.0;
      for (const auto& slope : before[e].slopes) {
        predicted += slope.value * shift[static_cast<size_t>(slope.site * kRawPerSite + slope.raw)];
      }
      for (const auto& [variable, slope] : before[e].variables)
        predicted += slope * variableShift[static_cast<size_t>(variable)];
      sumBefore += before[e].Deviation() * before[e].Deviation();
      sumAfter += after[e].Deviation() * after[e].Deviation();
      predictedSum -= 2.0 * before[e].Deviation() * predicted;
      if (restraint->text.find("SADI") != 0 || before.size() == 1) {
        EXPECT_NEAR(after[e].Deviation(), before[e].Deviation() - predicted, 2e-9) << restraint->text;
      }
    }
    EXPECT_NEAR(sumAfter - sumBefore, predictedSum, 1e-8) << restraint->text;
  }
}

// σ = s L (1 + 14 u)^½ for RIGU, n(n - 1)/2 restraints and the weight (2/n)/s² for every two of n equal distances, n -
// 3 volumes for a plane, and what two instructions both make alike counts once.
TEST(Restraints, WeighAndCountAsPublishedRefinementsDo) {
  Structure s = MakeChain();
  std::vector<std::string> notes;
  const Document document;
  const NeighbourTable bonds = MakeBonds(s, document, {});
  bool later = false;
  const auto equations = [&](std::initializer_list<const char*> lines) {
    std::vector<Instruction> commands;
    for (const char* line : lines) commands.push_back(ParseInstruction(line));
    std::vector<RestraintEquation> all;
    for (const auto& restraint : MakeRestraints(s, commands, bonds, notes, later)) restraint->Evaluate(s, all);
    return all;
  };
  const auto rigu = equations({"RIGU C1 C2"});
  const double length = std::sqrt(s.metric.DistanceSquared(s.sites[0].x, s.sites[1].x));
  const double u = 0.5 * (s.Ueq(s.sites[0]) + s.Ueq(s.sites[1]));
  ASSERT_EQ(rigu.size(), 3u);
  for (const auto& e : rigu) EXPECT_NEAR(e.sigma, 0.004 * length * std::sqrt(1.0 + 14.0 * u), 1e-12);
  later = true;
  const auto laterRigu = equations({"RIGU C1 C2"});
  later = false;
  EXPECT_NEAR(laterRigu[0].sigma, rigu[0].sigma, 1e-12);
  for (const size_t i : {1u, 2u}) EXPECT_NEAR(laterRigu[i].sigma, 0.004 * length * length * (1.0 + 14.0 * u), 1e-12);
  EXPECT_EQ(equations({"FLAT C1 C2 C3 C4 C5 C6 C7"}).size(), 4u);

  // The second half of the chain as a residue of its own: one 1,4 distance, and U where both are isotropic.
  const Structure whole = s;
  for (size_t i = 4; i < 8; ++i) s.sites[i].name = s.sites[i - 4].name, s.sites[i].residueNumber = 3;
  for (const size_t i : {1u, 5u}) s.sites[i].anisotropic = false;
  s.names = nullptr;
  EXPECT_GT(equations({"SIMU_3"}).at(0).slopes.at(0).site, 3) << "every atom of that residue alone";
  const auto ncsy = equations({"NCSY 3 0.2 0 C1 > C4"});
  ASSERT_EQ(ncsy.size(), 1u);
  EXPECT_NEAR(ncsy[0].value, std::sqrt(s.metric.DistanceSquared(s.sites[0].x, s.sites[3].x)), 1e-9);
  EXPECT_NEAR(ncsy[0].target, std::sqrt(s.metric.DistanceSquared(s.sites[4].x, s.sites[7].x)), 1e-9);
  EXPECT_EQ(ncsy[0].sigma, 0.2);
  EXPECT_EQ(equations({"NCSY 3 0 0.05 C2"}).size(), 1u);
  EXPECT_TRUE(equations({"NCSY 2 C1 > C4"}).empty());
  s = whole;

  const auto sadi = equations({"SADI 0.02 C1 C2 C2 C3 C3 C4 C4 C3 C4 C5"});
  std::vector<double> d;
  double counted = 0.0;
  double weighted = 0.0;
  double inFull = 0.0;
  for (const auto& e : sadi) {
    counted += e.counted;
    weighted += e.share * std::pow(e.Deviation() / e.sigma, 2);
    inFull += e.inFull * std::pow(e.Deviation() / e.sigma, 2);
    if (e.counted > 0.0) d.push_back(e.value);
  }
  ASSERT_EQ(d.size(), 4u) << "a distance that is named twice is one";
  double pairs = 0.0;
  for (size_t i = 0; i < d.size(); ++i) {
    for (size_t j = i + 1; j < d.size(); ++j) pairs += std::pow((d[i] - d[j]) / 0.02, 2);
  }
  EXPECT_NEAR(counted, 6.0, 1e-12);
  EXPECT_NEAR(weighted, 2.0 / 4.0 * pairs, 1e-9 * pairs);
  EXPECT_NEAR(inFull, pairs, 1e-9 * pairs);
  EXPECT_EQ(equations({"SADI 0.02 C1 C2 C5 C6", "SADI C1 C3 C5 C7"}).size(), 2u);
}

TEST(Hydrogens, StandWhereTheirCodesPutThem) {
  // A carbon at the origin of a big cell with one, two or three neighbours.
  const Cartesian neighbours[] = {{-0.5, 1.4, 0.0}, {1.5, 0.0, 0.0}, {-0.5, -0.7, 1.25}, {-2.0, 1.6, 0.3}};
  const auto build = [&](int code, int count, std::vector<std::string>& notes, std::vector<HydrogenGroup>& groups) {
    Structure s = MakeCrystal({"P 1", -1, {}, {20, 20, 20, 90, 90, 90}}, 1, 1);
    const ElementTable table;
    s.scatterers[1] = TabulatedScatterer(table[1], s.wavelength);
    static AtomRecord record;
    Site plain = s.sites[0];
    plain.atom = &record;
    plain.afix = 0;
    s.sites.clear();
    const auto add = [&](const Cartesian& at, bool hydrogen) {
      Site site = plain;
      site.scatterer = hydrogen ? 1 : 0;
      site.hydrogen = hydrogen;
      site.afix = hydrogen ? code : 0;
      site.label = (hydrogen ? "H" : "C") + std::to_string(s.sites.size());
      site.x = s.metric.ToFractional(at + Cartesian{10, 10, 10});
      s.sites.push_back(site);
    };
    for (int i = 0; i < count; ++i) add(neighbours[i], false);
    if (count == 1) add(neighbours[3], false);
    add({0, 0, 0}, false);
    for (int i = 0; i < FindHfixGroup(code / 10)->hydrogens; ++i) add({0.3 * i - 0.2, -0.9, 0.2 + 0.1 * i}, true);
    groups = FindHydrogenGroups(s, MakeBonds(s, Document{}, {}), -100.0, notes);
    for (const HydrogenGroup& g : groups) IdealiseHydrogens(s, g);
    return s;
  };
  const auto cosine = [](const Cartesian& a, const Cartesian& b) { return Dot(Normalised(a), Normalised(b)); };
  constexpr double kAny = 9.0, kAsAnyOther = 8.0, kThird = -1.0 / 3.0;
  const double methylene = std::cos((110.9 + 8.0 * cosine(neighbours[0], neighbours[1])) * kRadiansPerDegree);
  const struct {
    int code, neighbours;
    double distance;
    double toNeighbour, between;  // cosines of the angles that the hydrogens make
  } kCases[] = {{13, 3, 1.00, kAsAnyOther, kAny}, {23, 2, 0.99, kAny, methylene}, {43, 2, 0.95, kAsAnyOther, kAny},
                {33, 1, 0.98, kThird, kThird},    {137, 1, 0.98, kThird, kThird}, {163, 1, 0.95, -1.0, kAny},
                {93, 1, 0.95, -0.5, -0.5}};
  for (const auto& e : kCases) {
    SCOPED_TRACE(e.code);
    std::vector<std::string> notes;
    std::vector<HydrogenGroup> groups;
    const Structure s = build(e.code, e.neighbours, notes, groups);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_TRUE(groups[0].idealised) << (notes.empty() ? "" : notes[0]);
    const Cartesian carrier = s.metric.ToCartesian(s.sites[static_cast<size_t>(groups[0].carrier)].x);
    std::vector<Cartesian> bonds;
    for (const int h : groups[0].hydrogens)
      bonds.push_back(s.metric.ToCartesian(s.sites[static_cast<size_t>(h)].x) - carrier);
    for (const Cartesian& b : bonds) {
      EXPECT_NEAR(Length(b), e.distance, 1e-6);
      for (int i = 0; i < e.neighbours && e.toNeighbour != kAny; ++i) {
        EXPECT_LT(cosine(b, neighbours[i]), -0.1) << "on the far side";
        EXPECT_NEAR(cosine(b, neighbours[i]), e.toNeighbour == kAsAnyOther ? cosine(b, neighbours[0]) : e.toNeighbour,
                    1e-6);
      }
    }
    if (e.between != kAny) {
      EXPECT_NEAR(cosine(bonds[0], bonds[1]), e.between, 1e-6);
    }
    if (e.code == 23) {
      EXPECT_NEAR(cosine(bonds[0], neighbours[0]), cosine(bonds[1], neighbours[1]), 1e-6);
    }
  }
  std::vector<std::string> notes;
  std::vector<HydrogenGroup> groups;
  build(43, 3, notes, groups);
  EXPECT_FALSE(groups[0].idealised);
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_NE(notes[0].find("AFIX 43"), std::string::npos);
}

TEST(Names, AreFoundInResiduesRangesAndElements) {
  Structure s = MakeChain();
  s.sites[4].residueNumber = 2;
  s.sites[4].residueClass = "TOL";
  s.sites[4].name = "C1";
  s.sites[5].hydrogen = true;
  const std::vector<Instruction> none;
  const auto sites = [&](const char* line, int residue = 0) {
    const Instruction command = ParseInstruction(line);
    std::vector<int> found;
    for (const SiteImage& image : ResolveAtoms(s, command, none, command.words, residue).images)
      found.push_back(image.site);
    return found;
  };
  EXPECT_EQ(sites("DELU C1 C3"), (std::vector<int>{0, 2}));
  EXPECT_EQ(sites("DELU C1_2 c2"), (std::vector<int>{4, 1}));
  EXPECT_EQ(sites("DELU_TOL C1 C2", 2), (std::vector<int>{4, 1})) << "residue 0 is looked up second";
  EXPECT_EQ(sites("DELU C3 > C7"), (std::vector<int>{2, 3, 4, 6})) << "ranges leave hydrogens out";
  EXPECT_EQ(sites("DELU C4 < C2"), (std::vector<int>{3, 2, 1}));
  EXPECT_EQ(sites("DELU $O"), (std::vector<int>{1, 4, 7}));
  EXPECT_EQ(ResiduesOf(s, ParseInstruction("RIGU_TOL")), std::vector<int>{2});
  EXPECT_EQ(ResolveAtoms(s, ParseInstruction("DELU C99"), none, {"C99"}).missing.size(), 1u);
}

}  // namespace
}  // namespace marvik
