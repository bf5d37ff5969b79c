#include "refine/job/run.h"

#include <cmath>
#include <cstring>
#include <numbers>

#include "base/numbers.h"

#include "run_fixture.h"

namespace marvik {
namespace {

constexpr const char* kHead =
    "TITL test in P21/c\nCELL 0.71073 7.1 9.3 8.2 90 101 90\nZERR 4 0.001 0.001 0.001 0 0.01 0\nLATT 1\nSYMM -X, "
    "0.5+Y, 0.5-Z\n"
    "SFAC C H O\nUNIT 8 24 4\nL.S. 8\nFMAP 2\nPLAN 5\nTEMP -100\n";

// Ethanol with a rotating methyl group, a secondary CH2 and a rotating OH.
const std::string kEthanol =
    std::string(kHead) +
    "WGHT 0.02\nFVAR 0.8 0.9\n"
    "O1 3 0.30 0.21 0.33 21.0 0.03 0.035 0.03 0.002 0.004 -0.003\nAFIX 147\nH1 2 0.28 0.22 0.23 21.0 -1.5\nAFIX 0\n"
    "C1 1 0.458 0.303 0.40 11 0.03 0.03 0.035 0.001 0.006 0.002\nAFIX 23\nH1A 2 0.45 0.40 0.34 11 -1.2\nH1B 2 0.44 "
    "0.32 0.51 11 -1.2\nAFIX 0\n"
    "C2 1 0.65 0.241 0.388 11 0.045 0.04 0.05 0.003 0.007 -0.002\nAFIX 137\nH2A 2 0.66 0.23 0.27 11 -1.5\nH2B 2 0.66 "
    "0.15 0.44 11 -1.5\n"
    "H2C 2 0.75 0.31 0.44 11 -1.5\nAFIX 0\nHKLF 4\nEND\n";

TEST_F(RunTest, RefinesWritesItsFilesAndMovesNothingWhenFedAgain) {
  Simulate("a", kEthanol, 0.85);
  ASSERT_EQ(Run("a", With(With(kEthanol, "C1 1 0.458", "C1 1 0.470"), "0.8 0.9", "0.7 0.8")), 0) << Said();
  EXPECT_TRUE(EndsFinished());
  EXPECT_LT(Last("R1 = "), 0.03);
  const std::string res = Read("a.res");
  Document document = ReadDocument(res);
  const AtomRecord* o1 = document.atoms.FindAtom("O1");
  ASSERT_NE(o1, nullptr);
  EXPECT_DOUBLE_EQ(o1->occupancy, 21.0) << "codes are kept";
  EXPECT_NEAR(static_cast<double>(document.instructions.freeVariables[0]), 0.9, 0.02);
  EXPECT_NEAR(document.atoms.FindAtom("C1")->fract.x, 0.458, 1e-3);
  EXPECT_LT(document.atoms.FindAtom("H2A")->codedValues[kCodedU], 0.0);
  EXPECT_EQ(document.settings.SuggestedWeightCount, 2);
  EXPECT_NE(res.find("REM R1 = "), std::string::npos);
  EXPECT_NE(res.find("\nQ1 "), std::string::npos);
  const std::string lst = Read("a.lst");
  for (const char* text :
       {"R(int)", "Bond lengths", "C1       - C2", "correlation", "disagreeable", "Q1", "Suggested weights"}) {
    EXPECT_NE(lst.find(text), std::string::npos) << text;
  }
  const std::string cif = Read("a.cif");
  for (const char* text :
       {"data_a", "_refine_ls_R_factor_gt", "_geom_bond_distance", "'-x, y+1/2, -z+1/2'", "C2 H6 O"}) {
    EXPECT_NE(cif.find(text), std::string::npos) << text;
  }
  EXPECT_LT(FirstShiftFedAgain("a"), 0.05) << Said();
}

TEST_F(RunTest, MakesHydrogensAndTensorsThatInstructionsAskFor) {
  resultsAreKept_ = true;
  Simulate("full", kEthanol, 0.8);
  fs::copy_file(Path("full.hkl"), Path("bare.hkl"));
  Write("bare.ins",
        std::string(kHead) +
            "ANIS\nHFIX 23 C1\nHFIX 137 C2\nHFIX 147 O1\nWIGL\nWGHT 0.02\nFVAR 0.8\nO1 3 0.30 0.21 0.33 10.9 0.03\n"
            "C1 1 0.458 0.303 0.40 11 0.03\nC2 1 0.65 0.241 0.388 11 0.045\nHKLF 4\nEND\n");
  ASSERT_EQ(Run("bare"), 0) << Said();
  EXPECT_LT(Last("R1 = "), 0.03) << Said();
  EXPECT_TRUE(Says("Note: WIGL")) << "what has no effect is said";
  const Document document = ResultOf("bare");
  EXPECT_TRUE(document.atoms.FindAtom("C2")->IsAnisotropic());
  EXPECT_TRUE(document.atoms.hfix.empty());
  EXPECT_FALSE(document.settings.Aniso);
  EXPECT_EQ(document.atoms.FindAtom("H2A")->afix, 137);
  EXPECT_EQ(document.atoms.FindAtom("H1")->afix, 147);
  int hydrogens = 0;
  for (const AtomRecord* atom : Atoms(document.atoms)) hydrogens += atom->IsHydrogen();
  EXPECT_EQ(hydrogens, 6);
}

TEST_F(RunTest, SaysWhatIsWrongAndKeepsTheOldResult) {
  Simulate("good", kEthanol, 1.2);
  const std::string hkl = Read("good.hkl");
  struct Case {
    const char* what;
    std::string ins;
    std::string data;
    const char* expected;
  };
  const Case cases[] = {
      {"no instruction file", "", hkl, "CANNOT OPEN FILE"},
      {"no reflections", kEthanol, "", "NO REFLECTIONS"},
      {"all reflections outside", With(kEthanol, "L.S. 8", "SHEL 100 90\nL.S. 8"), hkl, "NO REFLECTIONS"},
      {"an impossible cell", With(kEthanol, "90 101 90", "10 101 90"), hkl, "CELL"},
      {"an operator that is none", With(kEthanol, "-X, 0.5\\+Y", "-X, 0.5+W"), hkl, "SYMM"},
      {"a free variable that is not there", With(kEthanol, "21.0 -1.5", "41.0 -1.5"), hkl,
       "FREE VARIABLE 4 OF ATOM H1"},
      {"no atoms", std::string(kHead) + "FVAR 1\nHKLF 4\nEND\n", hkl, "NO ATOMS"},
      {"data of another kind", With(kEthanol, "HKLF 4", "HKLF 1"), hkl, "HKLF 1"},
  };
  for (const Case& c : cases) {
    for (const char* name : {"x.ins", "x.hkl"}) fs::remove(Path(name));
    if (!c.ins.empty()) Write("x.ins", c.ins);
    Write("x.hkl", c.data);
    Write("x.res", "the old result");
    EXPECT_NE(Run("x"), 0) << c.what;
    EXPECT_TRUE(EndsFinished()) << c.what;
    EXPECT_TRUE(Says("** ")) << c.what;
    EXPECT_TRUE(Says(c.expected)) << c.what << ":\n" << Said();
    EXPECT_EQ(Read("x.res"), "the old result") << c.what;
  }
  fs::remove(Path("x.hkl"));
  EXPECT_NE(Run("x", kEthanol), 0);
  EXPECT_TRUE(Says("CANNOT OPEN FILE"));
}

// 0k0 with odd k is absent; a few, or weak ones, are no reason for doubt.
TEST_F(RunTest, AsksForTheGroupWhereSeveralAbsentReflectionsAreStrong) {
  Simulate("m", kEthanol, 1.2);
  const std::string data = Read("m.hkl");
  for (const auto& [most, intensity] : {std::pair{7, 20.0}, {3, 20.0}, {7, 1.0}}) {
    std::string absent;
    for (int k = 1; k <= most; k += 2)
      for (const int sign : {-1, 1}) absent += DataLine({0, sign * k, 0}, intensity, 1.0);
    Write("m.hkl", absent + data);
    Run("m", kEthanol);
    EXPECT_EQ(Says("Systematically absent reflections have a mean I/sigma of"), most > 5 && intensity > 3.0) << Said();
  }
}

TEST_F(RunTest, ABadModelStaysFinite) {
  Simulate("m", kEthanol, 1.0);
  // An atom far from where it belongs, one with a negative displacement, one with an absurd one.
  std::string ins =
      With(kEthanol, "C2 1 0.65 0.241 0.388 11 0.045 0.04 0.05 0.003 0.007 -0.002", "C2 1 0.15 0.74 0.9 11 -0.02");
  ins = With(ins, "C1 1 0.458 0.303 0.40 11 0.03 0.03 0.035 0.001 0.006 0.002", "C1 1 0.458 0.303 0.40 11 2.5");
  Run("m", ins);
  EXPECT_TRUE(EndsFinished()) << Said();
  const Document document = ResultOf("m");
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    EXPECT_TRUE(IsFinite(atom->fract)) << atom->name;
    EXPECT_LT(Length(atom->fract), 10.0) << atom->name << " ran away";
  }
}

TEST_F(RunTest, CrowdedAtomsAreCountedAndKeepTheirNearestBonds) {
  std::string ins = std::string(kHead) + "L.S. 0\nFVAR 0.8\nO1 3 0.3 0.2 0.3 11 0.03\n";
  // 42 carbons within 0.9 Å of one another and 3 Å from the oxygen: each has 41 neighbours.
  for (int i = 1; i <= 42; ++i) ins += Printf("C%d 1 %.4f 0.55 0.3 11 0.05\n", i, 0.3 + 0.003 * i);
  ins += "HKLF 4\nEND\n";
  Simulate("m", ins, 1.2);
  Run("m", ins);
  EXPECT_TRUE(Says(" 42 atoms have more than 40 neighbours")) << Said();
  EXPECT_TRUE(EndsFinished());
}

TEST_F(RunTest, TheSecondPartsGroupHangsOnTheCarrierAndRestraintsMayBeIncluded) {
  resultsAreKept_ = true;
  const std::string ins = With(kEthanol, "AFIX 137[^]*HKLF",
                               "PART 1\nAFIX 137\nH2A 2 0.66 0.23 0.27 10.5 -1.5\nH2B 2 0.66 0.15 0.44 "
                               "10.5 -1.5\nH2C 2 0.75 0.31 0.44 10.5 -1.5\nAFIX 0\n"
                               "PART 2\nAFIX 137\nH2D 2 0.66 0.31 0.29 10.5 -1.5\nH2E 2 0.66 0.13 0.36 "
                               "10.5 -1.5\nH2F 2 0.75 0.26 0.49 10.5 -1.5\nAFIX 0\nPART 0\nHKLF");
  Write("p.ins", With(ins, "FMAP 2", "+more.txt\nLIST 4\nFMAP 2"));
  Write("more.txt", "DFIX 1.43 0.01 O1 C1\nREM nothing\nFLAT O1 C1 C2\n");
  Simulate("p", ins, 1.0);
  Session s;
  s.document = ReadDocument(Read("p.ins"));
  s.document.WorkingDirectory = Path("");
  std::string problem;
  std::string said;
  const LineSink listen = [&](const std::string& line) { said += line + "\n"; };
  ASSERT_TRUE(PrepareSession(s, ParseHklFile(Read("p.hkl"), {}).reflections, listen, problem)) << problem;
  ASSERT_EQ(s.hydrogens.size(), 4u);
  EXPECT_EQ(s.structure.sites[static_cast<size_t>(s.hydrogens[2].carrier)].label, "C2");
  EXPECT_EQ(s.structure.sites[static_cast<size_t>(s.hydrogens[3].carrier)].label, "C2");
  EXPECT_EQ(s.hydrogens[3].hydrogens.size(), 3u);
  EXPECT_EQ(s.restraints.size(), 1u);
  EXPECT_NE(said.find("FLAT O1 C1 C2: makes no restraint"), std::string::npos);
  s.structure.sites[0].x.x += 0.01;
  ASSERT_TRUE(RefineSession(s, listen));
  EXPECT_LT(s.result.final.r1, 0.05);
  EXPECT_NEAR(s.document.atoms.head->fract.x, ModelOf(ins).sites[0].x.x, 0.001) << "the document has the result";
  const DensityMap map = MapOf(s, MapKind::TwiceObserved);
  EXPECT_GT(map.Interpolate(s.structure.sites[0].x), 10.0 * map.sigma / 3.0);
  EXPECT_LT(std::fabs(MapOf(s, MapKind::Difference).Interpolate(s.structure.sites[0].x)), 1.0);
  s.job.commands.push_back(ParseInstruction("OMIT " + s.structure.sites[0].label));
  EXPECT_GT(MapOf(s, MapKind::Difference).Interpolate(s.structure.sites[0].x), 3.0) << "left out of the map";
  ASSERT_EQ(Run("p"), 0) << Said();
  EXPECT_NE(Read("p.fcf").find("_refln_F_squared_calc"), std::string::npos);
  EXPECT_NE(Read("p.res").find("+more.txt"), std::string::npos);
}

TEST_F(RunTest, GarbageEndsInASentence) {
  Simulate("g", kEthanol, 1.2);
  const std::string hkl = Read("g.hkl");
  const std::pair<std::string, std::string> cases[] = {
      {kEthanol, hkl.substr(0, hkl.size() / 3 + 11)},
      {kEthanol, With(hkl, "   0   1(.{8})", "   0   1     nan")},
      {kEthanol, With(hkl, "   0   1(.{8})", "   0   1  9e+307")},
      {kEthanol, hkl.substr(0, 29 * 6)},  // fewer data than parameters
      {kEthanol, std::string(3000, '\xff')},
      {std::string(3000, '\0'), hkl},
      {With(kEthanol, "SYMM", "WGHT nan inf\nSWAT nan\nEXTI 1e300\nDAMP -1 nan\nSPEC inf\nPLAN -2000000000\nSYMM"),
       hkl},
      {With(kEthanol, "7.1 9.3 8.2", "0.1 0.3 0.2"), hkl},
      {With(kEthanol, "SYMM", "UNIT 1e300 99999999999999999999 nan\nSFAC C 1e300 1 nan 1 1 1 1 1 1 1 1 1 1 1\nSYMM"),
       hkl},
      {With(kEthanol, "HKLF 4", "HKLF 5"), With(hkl, "\n", "-999\n")}};
  for (const auto& [text, data] : cases) {
    Write("x.ins", text);
    Write("x.hkl", data);
    fs::remove(Path("x.res"));
    Run("x");
    EXPECT_TRUE(EndsFinished()) << text.substr(0, 300) << Said();
    EXPECT_FALSE(std::regex_search(Read("x.res"), std::regex("\n([A-Z]\\d|FVAR|REM wR2)[^\n]* -?(nan|inf)")))
        << Read("x.res");
  }
}

TEST_F(RunTest, CoordinatesForProteinProgramsHoldTheModel) {
  resultsAreKept_ = true;
  const std::string ins = With(kEthanol, "WGHT", "WPDB\nWGHT");
  Simulate("p", ins, 1.2);
  ASSERT_EQ(Run("p", With(ins, "C2 1", "PART 2\nZN1 1 0 0 0 10.5 0.03\nPART 0\nC2 1")), 0) << Said();
  const std::string pdb = Read("p.pdb");
  const Structure model = ModelOf(Read("p.res"));
  std::istringstream lines(pdb);
  size_t atoms = 0;
  for (std::string text; std::getline(lines, text);) {
    if (text.starts_with("CRYST1")) {
      EXPECT_EQ(text, "CRYST1    7.100    9.300    8.200  90.00 101.00  90.00 P 1 21/c 1    4");
    }
    if (!text.starts_with("HETATM")) continue;
    const Site& site = model.sites[atoms++];
    const auto number = [&](size_t at, size_t width) {
      double value = 1e9;
      ParseNumber(std::string_view(text).substr(std::min(text.find_first_not_of(' ', at), at + width)), value);
      return value;
    };
    const Cartesian x{number(30, 8), number(38, 8), number(46, 8)};
    const double occupancy = number(54, 6);
    const double b = number(60, 6);
    EXPECT_LT(Length(x - model.metric.ToCartesian(site.x)), 0.002) << text;
    EXPECT_NEAR(occupancy, site.name == "ZN1" ? 1.0 : site.occupancy, 0.006) << "on the centre it is whole";
    EXPECT_NEAR(b, 8.0 * std::numbers::pi * std::numbers::pi * model.Ueq(site), 0.02);
    EXPECT_EQ(text[16], site.name == "ZN1" ? 'B' : ' ');
    EXPECT_EQ(text.size(), 78u);
  }
  EXPECT_EQ(atoms, model.sites.size());
  const size_t tensor = pdb.find("ANISOU    1");
  ASSERT_NE(tensor, std::string::npos);
  double u22 = 0.0;
  ParseNumber(std::string_view(pdb).substr(pdb.find_first_not_of(' ', tensor + 35)), u22);
  EXPECT_NEAR(u22, 1e4 * model.sites[0].u[1], 1.0) << "b is an axis of both frames";
}

// The law of RIGU that a file was refined with shows in its remark, and stays with the result.
TEST_F(RunTest, LaterProgramsAreKnownByTheirRemark) {
  Simulate("r", kEthanol, 1.2);
  for (const auto& [remark, later] :
       {std::pair{"REM R1 = 0.0312 for 200 Fo > 4sig(Fo)", false}, {"REM R1 = 0.031234 for 200 Fo > 4sig(Fo)", true}}) {
    std::string ins = With(kEthanol, "FMAP 2", "RIGU\nFMAP 2");
    Write("r.ins", With(ins, "END\n", std::string(remark) + "\nEND\n"));
    for (const char* time : {"first", "second"}) {
      ASSERT_EQ(Run("r"), 0) << Said();
      EXPECT_EQ(Said().find("RIGU holds components across the bonds less tightly") != std::string::npos, later) << time;
      Write("r.ins", Read("r.res"));
    }
  }
}

TEST_F(RunTest, ListsAgreeWithOneAnother) {
  resultsAreKept_ = true;
  Simulate("l", kEthanol, 1.2);
  const auto line = [&](int code) {
    EXPECT_EQ(Run("l", With(kEthanol, "FMAP 2", Printf("FMAP 3\nLIST %d", code))), 0) << Said();
    const std::string fcf = Read("l.fcf");
    const size_t at = 40 * (fcf.find('\n') + 1);
    return fcf.substr(at, fcf.find('\n', at) - at);
  };
  const auto numbers = [](const std::string& text, std::vector<size_t> widths) {
    std::vector<double> values;
    size_t at = 12;
    for (const size_t w : widths) {
      const size_t digits = std::min(text.find_first_not_of(' ', at), at + w);
      ParseNumber(std::string_view(text).substr(digits, at + w - digits), values.emplace_back());
      at += w;
    }
    EXPECT_EQ(at, text.size()) << text;
    return values;
  };
  const auto two = numbers(line(2), {8, 8, 4});
  const auto three = numbers(line(3), {8, 8, 8, 8});
  const auto five = numbers(line(5), {10, 10, 7});
  EXPECT_EQ(two[0], five[0]);
  EXPECT_EQ(two[0], three[0]);
  EXPECT_EQ(two[1], three[1]);
  EXPECT_NEAR(std::hypot(three[2], three[3]), five[1], 0.02);
  EXPECT_NEAR(std::cos(five[2] * kRadiansPerDegree) * five[1], three[2], 0.02);
  EXPECT_NEAR(two[2], five[2], 0.51);
  // In words, behind a line of its own.
  EXPECT_EQ(Run("l", With(kEthanol, "FMAP 2", "FMAP 3\nLIST 1")), 0) << Said();
  const std::string all = Read("l.fcf");
  const std::string one = all.substr(all.find('\n') + 1);
  const auto behind = [&](const char* word) {
    double value = 0.0;
    ParseNumber(std::string_view(one).substr(one.find(word) + std::strlen(word)), value);
    return value;
  };
  EXPECT_EQ(all.substr(0, 14), "NREFlections= ");
  EXPECT_EQ(Printf("%zu", static_cast<size_t>(std::count(all.begin(), all.end(), '\n')) - 1),
            all.substr(14, all.find('\n') - 14));
  EXPECT_GT(behind("FOBS= "), 0.0);
  EXPECT_LT(std::fabs(behind("FOBS= ") - behind("FCALc= ")), 6.0 * behind("SIGMa= ") + 0.05 * behind("FOBS= "));
  EXPECT_NEAR(five[0], five[1], 5.0 * two[1] + 0.3);
  EXPECT_NE(Read("l.lst").find("Map of Fo"), std::string::npos);
}

// Pairs of refined models and their data, each with the figures of the program that refined it; left out without them.
TEST_F(RunTest, RealDataGiveTheRecordedFigures) {
  if (test::RealDataFolder().empty()) GTEST_SKIP() << "MARVIK_REAL_DATA names no folder";
  int pairs = 0;
  for (const std::string& path : test::FilesBelow(test::RealDataFolder() + "pairs", {"res"})) {
    const std::string name = fs::path(path).stem().string();
    const std::string res = ReadWholeFile(path).content;
    // The last figures before END are those of the refinement; a wR2 is not always recorded.
    std::smatch figures;
    ASSERT_TRUE(std::regex_search(
        res, figures,
        std::regex("R1 = +([0-9.]+) for +([0-9]+) Fo > 4sig\\(Fo\\) +and +([0-9.]+) for all +([0-9]+) data")))
        << name;
    std::smatch wr2;
    std::smatch count;
    ASSERT_TRUE(std::regex_search(res, count, std::regex("REM +([0-9]+) parameters refined"))) << name;
    Write(name + ".ins", With(res, "\n(L.S.) +[0-9]+", "\nL.S. 12"));
    fs::copy_file(fs::path(path).replace_extension("hkl"), Path(name + ".hkl"), fs::copy_options::overwrite_existing);
    ASSERT_EQ(Run(name), 0) << Said();
    const auto expect = [&](const char* said, const std::string& recorded) {
      double value = 0.0;
      ParseNumber(recorded, value);
      EXPECT_NEAR(Last(said), value, 0.001) << name;
    };
    expect("\n R1 = ", figures[1].str());
    expect(" and ", figures[3].str());
    if (std::regex_search(res, wr2, std::regex("REM wR2 = +([0-9.]+), GooF"))) expect("\n wR2 = ", wr2[1].str());
    EXPECT_TRUE(Says(count[1].str() + " parameters, ")) << name << ": as many parameters as recorded\n" << Said();
    std::smatch restraints;
    if (std::regex_search(res, restraints, std::regex("refined using +([0-9]+) restraints"))) {
      EXPECT_TRUE(Says(" " + restraints[1].str() + " restraints")) << name << ": as many restraints as recorded";
    }
    EXPECT_LT(FirstShiftFedAgain(name), 0.05) << name;
    ++pairs;
  }
  EXPECT_GE(pairs, 4);
}

}  // namespace
}  // namespace marvik
