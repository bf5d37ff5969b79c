#include "phase/solution.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <numbers>
#include <random>
#include <set>

#include "base/files.h"
#include "base/numbers.h"
#include "crystal/symmetry.h"
#include "files/res/reader.h"
#include "phase/completion/completion.h"
#include "phase/run.h"
#include "refine/factors/structure_factors.h"
#include "run/model_changes.h"

namespace marvik::phase {
namespace {

struct Crystal {
  CellParameters cell;
  int latt = -1;
  std::vector<std::string> symm;
  std::string sfac = "C O S";
  std::vector<int> counts{10, 3, 1};  // in the asymmetric unit
  double wavelength = 0.71073;
  double dMin = 0.9;
  bool friedel = false;
  unsigned seed = 1;
  double twin = 0.0;  // share of a second part, turned about a
  std::array<int, 3> rows{6, 8, 16};
  std::vector<Site> sites{};  // else as many as `counts` says, at random
};

Structure StructureOf(const Crystal& crystal) {
  Structure s;
  std::string problem;
  s.metric = MakeMetric(crystal.cell);
  s.group = *MakeSpaceGroup(crystal.latt, ListOperators(crystal.latt, crystal.symm), problem);
  s.wavelength = crystal.wavelength;
  const ElementTable table;
  for (const int row : crystal.rows) s.scatterers.push_back(TabulatedScatterer(table[row], crystal.wavelength));
  s.sites = crystal.sites;
  std::mt19937 random(crystal.seed);
  for (size_t e = 0; e < 3 && crystal.sites.empty(); ++e) {
    for (int placed = 0, tries = 0; placed < crystal.counts[e] && tries < 100000; ++tries) {
      Site site;
      for (int k = 0; k < 3; ++k) site.x[k] = static_cast<double>(random() % 10000) / 10000.0;
      double nearest = 1e9;
      for (const SymmetryOperator& op : s.group.all) {
        const Fractional image = op.Apply(site.x);
        const auto distance = [&](const Fractional& other, bool self) {
          Fractional d = image - other;
          for (int k = 0; k < 3; ++k) d[k] -= std::round(d[k]);
          const double r = std::sqrt(s.metric.DistanceSquared(d, {}));
          if (!self || r > 0.01) nearest = std::min(nearest, r);
        };
        distance(site.x, true);
        for (const Site& other : s.sites) distance(other.x, false);
      }
      if (nearest < 1.6) continue;
      site.scatterer = static_cast<int>(e);
      site.u = {0.03, 0, 0, 0, 0, 0};
      s.sites.push_back(site);
      ++placed;
    }
  }
  return s;
}

// The instruction file says nothing of the group; intensities have an error of 2 % and a little noise.
std::pair<std::string, std::string> FilesOf(const Crystal& crystal) {
  const Structure s = StructureOf(crystal);
  const CellParameters& c = crystal.cell;
  std::string ins =
      Printf("TITL computed\nCELL %g %g %g %g %g %g %g\nZERR 1 0.001 0.001 0.001 0.01 0.01 0.01\nLATT -1\n",
             crystal.wavelength, c.a, c.b, c.c, c.alpha, c.beta, c.gamma) +
      "SFAC " + crystal.sfac + "\nUNIT";
  for (const int n : crystal.counts) ins += Printf(" %d", n * static_cast<int>(s.group.all.size()));
  ins += "\nHKLF 4\nEND\n";
  const auto model = MakeDirectSum(s);
  const auto workspace = model->MakeWorkspace();
  const auto intensity = [&](const Miller& m) {
    IndexBlock block;
    block.h.fill(m[0]), block.k.fill(m[1]), block.l.fill(m[2]);
    block.s2.fill(s.metric.SinThetaSquared(m[0], m[1], m[2]));
    model->Evaluate(block, false, *workspace);
    return workspace->a[0] * workspace->a[0] + workspace->b[0] * workspace->b[0];
  };
  std::string hkl;
  std::mt19937 random(7);
  const double most = 0.25 / (crystal.dMin * crystal.dMin);
  const auto extent = [&](double edge) { return static_cast<int>(edge / crystal.dMin) + 1; };
  for (int h = -extent(c.a); h <= extent(c.a); ++h) {
    for (int k = -extent(c.b); k <= extent(c.b); ++k) {
      for (int l = -extent(c.c); l <= extent(c.c); ++l) {
        const Miller m{h, k, l};
        const double s2 = s.metric.SinThetaSquared(h, k, l);
        if (s2 > most || s2 == 0.0 || s.group.IsAbsent(m) || s.group.Representative(m, !crystal.friedel) != m) continue;
        const double f2 = (1.0 - crystal.twin) * intensity(m) + crystal.twin * intensity({h, -k, -l});
        const double noise = (static_cast<double>(random() % 2000) / 1000.0 - 1.0) * (0.02 * f2 + 1.0);
        hkl += Printf("%4d%4d%4d%8.2f%8.2f\n", h, k, l, f2 + noise, 0.02 * f2 + 1.0);
      }
    }
  }
  return {ins, hkl};
}

Problem ProblemOf(const std::string& ins, const std::string& hkl) {
  Problem problem;
  std::string sentence;
  EXPECT_TRUE(MakeProblem(ins, hkl, problem, sentence)) << sentence;
  return problem;
}

Solution SolveCrystal(const Crystal& crystal, const SolveOptions& options = {}) {
  const auto [ins, hkl] = FilesOf(crystal);
  Problem problem = ProblemOf(ins, hkl);
  return Solve(problem, options);
}

Crystal Monoclinic() {
  return {{7.3, 9.1, 15.4, 90, 97, 90}, 1, {"-x, y+1/2, -z+1/2"}};
}

TEST(Solution, GroupAtomsAndElementsComeFromTheReflections) {
  struct Case {
    const char* symbol;
    Crystal crystal;
  };
  Crystal glide = Monoclinic();
  glide.symm = {"-x+1/2, y+1/2, -z+1/2"};
  const Case cases[] = {
      {"P -1", {{7.1, 7.9, 9.6, 95, 101, 108}, 1, {}}},
      {"P 1 21/n 1", glide},
      {"P 21 21 21",
       {{6.8, 9.4, 15.9, 90, 90, 90}, -1, {"x+1/2, -y+1/2, -z", "-x, y+1/2, -z+1/2", "-x+1/2, -y, z+1/2"}}},
      {"C 1 2/c 1", {{15.2, 7.4, 12.1, 90, 104, 90}, 7, {"-x, y, -z+1/2"}, "C O S", {6, 2, 1}}},
      // The cell looks orthorhombic, the intensities do not.
      {"P 1 21 1", {{7.3, 6.2, 11.6, 90, 90, 90}, -1, {"-x, y+1/2, -z"}}},
  };
  for (const Case& c : cases) {
    const Solution solution = SolveCrystal(c.crystal);
    ASSERT_TRUE(solution.solved) << c.symbol << solution.sentence;
    const Candidate& best = solution.candidates[0];
    EXPECT_EQ(best.group.symbol, c.symbol);
    EXPECT_LT(best.r1, 0.06) << c.symbol;
    std::vector<int> counts(3, 0);
    for (const Site& site : best.structure.sites) ++counts[static_cast<size_t>(site.scatterer)];
    EXPECT_EQ(counts, c.crystal.counts) << c.symbol;
  }
}

// The phases of a structure, its origin moved anywhere, as a start leaves them.
PhaseSet PhasesOf(const Structure& structure, const DataStatistics& data, const Fractional& origin) {
  PhaseSet phases;
  const auto model = MakeDirectSum(structure);
  const auto workspace = model->MakeWorkspace();
  std::set<Miller> taken;
  for (size_t n = 0; n < data.normalised.size(); ++n) {
    const NormalisedReflection& r = data.normalised[n];
    for (const SymmetryOperator& op : data.laueGroup.pointOperators) {
      const Miller h = op.ApplyToIndices(r.h);
      if (taken.contains(h) || !taken.insert({-h[0], -h[1], -h[2]}).second) continue;
      taken.insert(h);
      IndexBlock block;
      block.h.fill(h[0]), block.k.fill(h[1]), block.l.fill(h[2]);
      block.s2.fill(r.s2);
      model->Evaluate(block, false, *workspace);
      const double turn = 2.0 * std::numbers::pi * (h[0] * origin.x + h[1] * origin.y + h[2] * origin.z);
      const auto f = std::complex<double>(workspace->a[0], workspace->b[0]) * std::polar(1.0, turn);
      phases.reflections.push_back({data.centring.ToPrimitive(h), static_cast<float>(r.e), static_cast<float>(r.f),
                                    static_cast<float>(r.s2), static_cast<std::uint32_t>(n),
                                    std::complex<float>(f / std::abs(f))});
    }
  }
  return phases;
}

TEST(SpaceGroupSearch, PhasesTellTheGroupWhereverTheirOriginIs) {
  const CellParameters ortho{8.1, 9.4, 10.9, 90, 90, 90}, tetra{9.6, 9.6, 11.3, 90, 90, 90};
  const CellParameters hexa{10.2, 10.2, 9.1, 90, 90, 120};
  const struct {
    int number;
    Crystal crystal;
  } cases[] = {{1, {{7.1, 7.9, 9.6, 95, 101, 108}, -1, {}}},
               {4, {{7.3, 9.1, 8.4, 90, 97, 90}, -1, {"-x, y+1/2, -z"}}},
               {5, {{12.3, 7.1, 8.4, 90, 97, 90}, -7, {"-x, y, -z"}}},
               {9, {{12.3, 7.1, 8.4, 90, 97, 90}, -7, {"x, -y, z+1/2"}}},
               {13, {{7.3, 9.1, 8.4, 90, 97, 90}, 1, {"-x, y, -z+1/2"}}},
               {29, {ortho, -1, {"-x, -y, z+1/2", "x+1/2, -y, z", "-x+1/2, y, z+1/2"}}},
               {33, {ortho, -1, {"-x, -y, z+1/2", "x+1/2, -y+1/2, z", "-x+1/2, y+1/2, z+1/2"}}},
               {43, {{13.1, 13.9, 9.9, 90, 90, 90}, -4, {"-x, -y, z", "x+1/4, -y+1/4, z+1/4", "-x+1/4, y+1/4, z+1/4"}}},
               {61, {ortho, 1, {"-x+1/2, -y, z+1/2", "-x, y+1/2, -z+1/2", "x+1/2, -y+1/2, -z"}}},
               {76, {tetra, -1, {"-x, -y, z+1/2", "-y, x, z+1/4", "y, -x, z+3/4"}}},
               {78, {tetra, -1, {"-x, -y, z+1/2", "-y, x, z+3/4", "y, -x, z+1/4"}}},
               {114,
                {tetra,
                 -1,
                 {"-x, -y, z", "y, -x, -z", "-y, x, -z", "-x+1/2, y+1/2, -z+1/2", "x+1/2, -y+1/2, -z+1/2",
                  "-y+1/2, -x+1/2, z+1/2", "y+1/2, x+1/2, z+1/2"}}},
               {145, {hexa, -1, {"-y, x-y, z+2/3", "-x+y, -x, z+1/3"}}},
               {148, {{14.1, 14.1, 8.9, 90, 90, 120}, 3, {"-y, x-y, z", "-x+y, -x, z"}}},
               {176, {hexa, 1, {"-y, x-y, z", "-x+y, -x, z", "-x, -y, z+1/2", "y, -x+y, z+1/2", "x-y, x, z+1/2"}}}};
  for (auto [number, crystal] : cases) {
    crystal.counts = number > 75 ? std::vector<int>{3, 1, 1} : std::vector<int>{4, 2, 1};
    const auto [ins, hkl] = FilesOf(crystal);
    Problem problem = ProblemOf(ins, hkl);
    // As measured: merged data do not tell one class of four rotations from another.
    const Structure structure = StructureOf(crystal);
    for (const Reflection& r : std::vector(problem.reflections))
      for (const SymmetryOperator& op : structure.group.pointOperators)
        if (const Miller h = op.ApplyToIndices(r.h); h != r.h)
          problem.reflections.push_back({h, r.intensity, r.sigma, r.batch});
    DataStatistics data;
    std::string sentence;
    ASSERT_TRUE(AnalyseData(problem, {}, data, sentence)) << number << sentence;
    const PhaseSet phases = PhasesOf(structure, data, {0.137, 0.291, 0.423});
    const auto candidates = RankSpaceGroups(data, phases);
    // So few atoms nearly have more symmetry than they have; the highest that they obey is theirs.
    const auto exact = std::ranges::find_if(candidates, [](const GroupCandidate& c) { return c.least > 0.97; });
    ASSERT_NE(exact, candidates.end()) << number;
    const GroupCandidate& best = *exact;
    EXPECT_EQ(best.number, number) << best.symbol;
    EXPECT_TRUE(best.Fits()) << number;
    EXPECT_LT(exact - candidates.begin(), 8) << number;
    if (number == 1) continue;
    EXPECT_LT(best.absences, 0.1) << number;
    // With that origin equivalents agree: next to nothing is lost in the mean.
    std::map<Miller, double> single;
    for (const PhasedReflection& r : phases.reflections) single[data.centring.FromPrimitive(r.h)] = r.e;
    double kept = 0.0, all = 0.0;
    for (const AveragedReflection& r : AveragePhases(data, phases, best)) kept += std::abs(r.e), all += single.at(r.h);
    EXPECT_GT(kept, 0.97 * all) << number;
    problem.lattice = crystal.latt, problem.symm = crystal.symm;
    const auto given = GivenSpaceGroup(problem, data, phases);
    ASSERT_EQ(given.size(), 1u);
    EXPECT_GT(given[0].least, 0.97) << number;
  }
}

TEST(Solution, FewHeavyAtomsTakeTheirGroupAndTheirLightNeighbours) {
  // A perovskite: its heavy atoms alone are nearly as symmetric as a cube, the oxygen comes from later maps, and there
  // is no carbon that a new site could be.
  Crystal oxide{
      {5.5367, 5.7473, 7.6929, 90, 90, 90}, 1, {"-x, -y, z+1/2", "x+1/2, -y+1/2, -z", "-x+1/2, y+1/2, -z+1/2"}};
  oxide.sfac = "O Mn La";
  oxide.rows = {8, 25, 57};
  oxide.dMin = 0.8;
  const auto add = [&](int scatterer, Fractional x, double occupancy) {
    Site site;
    site.scatterer = scatterer;
    site.x = x;
    site.u = {0.006, 0, 0, 0, 0, 0};
    site.occupancy = occupancy;
    oxide.sites.push_back(site);
  };
  add(2, {-0.0078, 0.049, 0.25}, 0.5), add(1, {0.5, 0.0, 0.0}, 0.5);
  add(0, {0.0745, 0.4874, 0.25}, 0.5), add(0, {0.7256, 0.3066, 0.0384}, 1.0);
  oxide.counts = {1, 0, 0};
  auto [ins, hkl] = FilesOf(oxide);
  ins.replace(ins.find("UNIT"), ins.find("HKLF") - ins.find("UNIT"), "UNIT 12 4 4\n");
  Problem problem = ProblemOf(ins, hkl);
  const Solution solution = Solve(problem, {});
  ASSERT_TRUE(solution.solved) << solution.sentence;
  EXPECT_EQ(solution.candidates[0].group.symbol, "P b n m");
  EXPECT_EQ(FormulaOf(problem, solution.candidates[0]), "O1.5 Mn0.5 La0.5");
}

TEST(Solution, DataMayBeLessThanGood) {
  const auto [ins, hkl] = FilesOf(Monoclinic());
  Crystal coarse = Monoclinic();
  coarse.dMin = 1.0;
  std::string incomplete, ones = ins;
  for (size_t at = 0; at < hkl.size(); at += 29)
    if (at / 29 % 5 != 2) incomplete += hkl.substr(at, 29);
  ones.replace(ones.find("UNIT"), ones.find("HKLF") - ones.find("UNIT"), "UNIT 1 1 1\n");
  struct Case {
    const char* what;
    std::string ins, hkl;
    bool formula;
  };
  const Case cases[] = {{"80 % complete", ins, incomplete, true},
                        {"1.0 A", ins, FilesOf(coarse).second, true},
                        {"UNIT of ones", ones, hkl, false}};
  for (const Case& c : cases) {
    Problem problem = ProblemOf(c.ins, c.hkl);
    const Solution solution = Solve(problem, {});
    ASSERT_TRUE(solution.solved) << c.what << solution.sentence;
    const Candidate& best = solution.candidates[0];
    EXPECT_EQ(best.group.symbol, "P 1 21/c 1") << c.what;
    EXPECT_EQ(best.structure.sites.size(), 14u) << c.what;
    if (c.formula) {
      EXPECT_EQ(FormulaOf(problem, best), "C10 O3 S1") << c.what;
    }
  }
}

TEST(Solution, WhoLooksOnSeesTheModelAppearAndChangesNothing) {
  const auto [ins, hkl] = FilesOf(Monoclinic());
  std::string results[2];
  std::vector<std::string> shown;
  for (std::string& result : results) {
    Problem problem = ProblemOf(ins, hkl);
    SolveOptions options;
    if (&result != results) options.show = [&](const std::string& text) { shown.push_back(text); };
    const Solution solution = Solve(problem, options);
    ASSERT_TRUE(solution.solved) << solution.sentence;
    result = ComposeInstructions(problem, solution.candidates[0]);
  }
  EXPECT_EQ(results[0], results[1]);
  ASSERT_GE(shown.size(), 4u);
  EXPECT_EQ(shown.back(), results[1]);
  RecordingMessages messages;
  const auto count = [&](const std::string& text, bool peaks) {
    Document document;
    EXPECT_TRUE(ReadInstructionText(document, text, messages)) << text;
    size_t n = 0;
    for (const AtomRecord* atom : Atoms(document.atoms)) n += atom->IsPeak() == peaks;
    return n;
  };
  EXPECT_EQ(count(shown[0], true), 56u) << "the atoms of the cell, before there is a group";
  for (const std::string& text : shown) EXPECT_EQ(count(text, true) * count(text, false), 0u) << text;
  EXPECT_EQ(count(shown.back(), false), 14u);
}

TEST(Completion, ATwinIsSolvedAndItsLawFound) {
  // The cell has more symmetry than the structure, and the two parts make the intensities more so: the larger the
  // second part, the less do the first phases show of the group.
  const Crystal monoclinic{{7.3, 9.1, 15.4, 90, 90, 90}, 1, {"-x, y+1/2, -z+1/2"}};
  const Crystal tetragonal{{9.6, 9.6, 11.3, 90, 90, 90}, -1, {"-x, -y, z", "-y, x, z+1/2", "y, -x, z+1/2"}};
  const struct {
    const char* symbol;
    Crystal crystal;
    double second;
  } cases[] = {{"P 1 21/c 1", monoclinic, 0.2}, {"P 1 21/c 1", monoclinic, 0.45}, {"P 42", tetragonal, 0.3}};
  for (auto [symbol, crystal, second] : cases) {
    SCOPED_TRACE(second);
    crystal.twin = second;
    const auto [ins, hkl] = FilesOf(crystal);
    Problem problem = ProblemOf(ins, hkl);
    const Solution solution = Solve(problem, {});
    ASSERT_TRUE(solution.solved) << solution.sentence;
    const Candidate& best = solution.candidates[0];
    EXPECT_EQ(best.group.symbol, symbol);
    EXPECT_LT(best.r1, 0.06);
    EXPECT_NEAR(best.SecondPart(), second, 0.02);
    EXPECT_NE(best.remark.find("twin by the law"), std::string::npos) << best.remark;
    const Completion completion = Complete(problem, best, nullptr);
    ASSERT_FALSE(completion.steps.empty());
    EXPECT_LT(completion.steps.back().r1, 0.03);
    const std::string& text = completion.steps.back().text;
    const size_t line = text.find("\nBASF ");
    ASSERT_NE(line, std::string::npos);
    double share = 0.0;
    ParseNumber(std::string_view(text).substr(text.find_first_not_of(' ', line + 6)), share);
    EXPECT_NEAR(share, second, 0.02);
  }
}

TEST(Solution, FriedelOppositesDecideTheHand) {
  Crystal crystal{{9.9, 9.9, 11.6, 90, 90, 120}, -1, {"-y, x-y, z+1/3", "-x+y, -x, z+2/3"}};
  crystal.wavelength = 1.54178;
  crystal.friedel = true;
  for (const char* symbol : {"P 31", "P 32"}) {
    const Solution solution = SolveCrystal(crystal);
    ASSERT_TRUE(solution.solved) << symbol;
    EXPECT_EQ(solution.candidates[0].group.symbol, symbol);
    EXPECT_NEAR(solution.candidates[0].flack, 0.0, 0.2);
    crystal.symm = {"-y, x-y, z+2/3", "-x+y, -x, z+1/3"};
  }
}

TEST(Solution, TheSameSeedGivesTheSameFileOnAnyNumberOfThreads) {
  const auto [ins, hkl] = FilesOf(Monoclinic());
  std::string first;
  for (const int threads : {1, 3}) {
    Problem problem = ProblemOf(ins, hkl);
    SolveOptions options;
    options.threads = threads;
    const Solution solution = Solve(problem, options);
    ASSERT_TRUE(solution.solved);
    const std::string text = ComposeInstructions(problem, solution.candidates[0]);
    if (first.empty()) first = text;
    EXPECT_EQ(text, first);
  }
}

TEST(Completion, ReachesTheErrorOfTheDataAndKeepsOnlyWhatHelps) {
  const auto [ins, hkl] = FilesOf({{7.1, 7.9, 9.6, 95, 101, 108}, 1, {}});
  Problem problem = ProblemOf(ins, hkl);
  const Solution solution = Solve(problem, {});
  ASSERT_TRUE(solution.solved);
  Candidate spoiled = solution.candidates[0];
  spoiled.structure.sites.pop_back();
  spoiled.shares.pop_back();
  const Completion completion = Complete(problem, spoiled, nullptr);
  ASSERT_FALSE(completion.steps.empty());
  EXPECT_LT(completion.steps.back().r1, 0.02);
  for (const CompletionStep& step : completion.steps) {
    EXPECT_NE(step.what, "hydrogens");
    EXPECT_NE(step.text.find(Printf("\nREM P -1, R1 %.4f\n", step.r1)), std::string::npos) << step.text.substr(0, 80);
  }
  EXPECT_TRUE(Complete(problem, spoiled, [](const std::string&, double) { return false; }).cancelled);
}

TEST(Completion, StepByStepComesToTheSameEndAndSaysSo) {
  Crystal crystal = Monoclinic();
  crystal.seed = 4;
  const auto [ins, hkl] = FilesOf(crystal);
  Problem problem = ProblemOf(ins, hkl);
  const Solution solution = Solve(problem, {});
  ASSERT_TRUE(solution.solved);
  const Completion whole = Complete(problem, solution.candidates[0], nullptr);
  ASSERT_GE(whole.steps.size(), 2u);
  std::string text = ComposeInstructions(problem, solution.candidates[0]);
  std::set<std::string> done;
  std::vector<std::string> remarks;
  for (int step = 0; step < 8 && remarks.empty(); ++step) {
    std::string sentence;
    const Completion next = CompleteModel(ProblemOf(text, hkl), text, true, nullptr, {}, sentence);
    ASSERT_FALSE(next.steps.empty()) << sentence;
    text = next.steps.back().text;
    done.insert(next.steps.back().what);
    for (const std::string& remark : next.remarks)
      if (remark.starts_with("no further step")) remarks.push_back(remark);
  }
  EXPECT_EQ(remarks.size(), 1u);
  for (const CompletionStep& step : whole.steps) EXPECT_TRUE(done.count(step.what)) << step.what;
  EXPECT_NEAR(FiguresOfResult(text).r1.value_or(1.0), whole.steps.back().r1, 0.002);
}

TEST(Completion, RealDataEndAsAWrittenModel) {
  const char* folder = std::getenv("MARVIK_REAL_DATA");
  if (!folder) GTEST_SKIP() << "MARVIK_REAL_DATA is not set";
  const std::string base = std::string(folder) + "/pairs/start_p21c_cl";
  Problem problem;
  std::string sentence;
  ASSERT_TRUE(ReadProblem(base + ".ins", base + ".hkl", problem, sentence)) << sentence;
  const Solution solution = Solve(problem, {});
  ASSERT_TRUE(solution.solved);
  EXPECT_EQ(FormulaOf(problem, solution.candidates[0]), "C7 Cl1 N2");
  const Completion completion = Complete(problem, solution.candidates[0], nullptr);
  ASSERT_FALSE(completion.steps.empty());
  EXPECT_LT(completion.steps.back().r1, 0.028);
  // The hydrogen of the one nitrogen that the map shows stands behind it, named after it.
  const std::string& text = completion.steps.back().text;
  const size_t carrier = text.find("\nN2 "), hydrogen = text.find("\nH2 "), next = text.find("\nC", carrier);
  ASSERT_NE(carrier, std::string::npos);
  EXPECT_TRUE(carrier < hydrogen && hydrogen < next) << text;
  EXPECT_NE(text.substr(hydrogen, next - hydrogen).find("-1.2000"), std::string::npos);
  EXPECT_NE(text.find("DFIX 0.86 0.02 N2 H2\n"), std::string::npos);
}

TEST(Solution, NoiseIsNotSolvedAndNothingIsWritten) {
  auto [ins, hkl] = FilesOf(Monoclinic());
  std::mt19937 random(3);
  std::string noise;
  for (size_t at = 0; at < hkl.size(); at += 29)
    noise += hkl.substr(at, 12) + Printf("%8.2f%8.2f\n", static_cast<double>(random() % 1000), 20.0);
  const std::string base = testing::TempDir() + "marvik_solve_noise";
  WriteFileAtomically(base + ".ins", ins);
  WriteFileAtomically(base + ".hkl", noise);
  std::remove((base + ".res").c_str());
  RunOptions options;
  options.base = base;
  options.solve.effort = 0.0003;
  std::string said;
  EXPECT_EQ(RunSolve(options, [&](const std::string& text) { said += text; }), 1);
  EXPECT_NE(said.find("Not solved"), std::string::npos) << said;
  EXPECT_FALSE(ReadWholeFile(base + ".res").opened);
  options.solve.progress = [](const std::string&, double) { return false; };
  said.clear();
  EXPECT_EQ(RunSolve(options, [&](const std::string& text) { said += text; }), 1);
  EXPECT_NE(said.find("cancelled"), std::string::npos) << said;
}

TEST(Solution, AFitOfFewReflectionsProvesNothing) {
  Crystal crystal{{7.1, 7.9, 9.6, 95, 101, 108}, -1, {}};
  crystal.dMin = 1.35;
  auto [ins, hkl] = FilesOf(crystal);
  std::mt19937 random(3);
  std::string noise;
  for (size_t at = 0; at < hkl.size(); at += 29) {
    const double e = std::log(1.0 + static_cast<double>(random() % 1000)) * static_cast<double>(random() % 100);
    noise += hkl.substr(at, 12) + Printf("%8.2f%8.2f\n", e, 5.0);
  }
  Problem problem = ProblemOf(ins, noise);
  SolveOptions options;
  options.effort = 0.001;
  const Solution solution = Solve(problem, options);
  EXPECT_FALSE(solution.solved) << solution.candidates[0].group.symbol << solution.candidates[0].r1;
  EXPECT_FALSE(solution.sentence.empty());
}

TEST(Problem, BadInputGetsASentence) {
  const auto [ins, hkl] = FilesOf(Monoclinic());
  struct Case {
    const char* from;
    const char* to;
    const char* said;
  };
  const Case cases[] = {
      {"SFAC C O S", "SFAC", "no element"},
      {"SFAC C O S", "SFAC C Xx", "Xx is no element"},
      {"CELL", "REM", "no CELL"},
      {"CELL 0.71073 7.3", "CELL 0.71073 0.3", "cell"},
      {"CELL 0.71073 7.3", "CELL 0.71073 nan", "CELL"},
      {"CELL 0.71073", "CELL 0", "wavelength"},
      {"HKLF 4", "HKLF 1", "HKLF 4"},
      {"SFAC C O S", "NEUT\nSFAC C O S", "neutron"},
  };
  for (const Case& c : cases) {
    std::string changed = ins;
    changed.replace(changed.find(c.from), std::string(c.from).size(), c.to);
    Problem problem;
    std::string sentence;
    EXPECT_FALSE(MakeProblem(changed, hkl, problem, sentence)) << c.to;
    EXPECT_NE(sentence.find(c.said), std::string::npos) << sentence;
  }
  Problem problem;
  std::string sentence;
  EXPECT_FALSE(MakeProblem(ins, hkl.substr(0, 29 * 5), problem, sentence));
  EXPECT_NE(sentence.find("reflections"), std::string::npos) << sentence;
  // A formula of ones and a row without a standard deviation are only said.
  std::string ones = ins;
  ones.replace(ones.find("UNIT"), std::string::npos, "UNIT 1 1 1\nHKLF 4\nEND\n");
  EXPECT_TRUE(MakeProblem(ones, "   1   1   1    0.00    0.00\n" + hkl, problem, sentence)) << sentence;
  EXPECT_FALSE(problem.formulaFits);
  EXPECT_GE(problem.notes.size(), 2u);
}

}  // namespace
}  // namespace marvik::phase
