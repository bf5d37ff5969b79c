#include <cmath>
#include <gtest/gtest.h>

#include "run_fixture.h"

namespace marvik {
namespace {

constexpr const char* kHead =
    "TITL t\nCELL 0.71073 8.1 9.3 8.2 90 101 90\nZERR 4 0.001 0.001 0.001 0 0.01 0\nLATT 1\nSYMM -X, 0.5+Y, 0.5-Z\n"
    "SFAC C O\nUNIT 20 8\nL.S. 10\nFMAP 2\nPLAN 1\n";

// Five atoms without a mirror plane, with coordinates in a cell of their own.
constexpr CellParameters kOwnCell{10.0, 12.0, 9.0, 90.0, 110.0, 90.0};
constexpr Fractional kShape[] = {
    {0.10, 0.20, 0.10}, {0.24, 0.21, 0.12}, {0.30, 0.31, 0.18}, {0.07, 0.29, 0.19}, {0.35, 0.33, 0.02}};

class FragmentTest : public RunTest {
 protected:
  // The shape turned and moved into the crystal, `size` times as large.
  std::vector<Fractional> Places(double size) const {
    const Metric own = MakeMetric(kOwnCell);
    const Metric metric = MakeMetric({8.1, 9.3, 8.2, 90, 101, 90});
    std::vector<Fractional> places;
    for (const Fractional& f : kShape) {
      const Cartesian c = size * own.ToCartesian(f);
      // A turn by 50 degrees about z, then the axes in another order.
      const Cartesian turned{0.64279 * c.x - 0.76604 * c.y + 3.0, 0.76604 * c.x + 0.64279 * c.y + 1.5, c.z + 2.0};
      places.push_back(metric.ToFractional({turned.y, turned.z, turned.x}));
    }
    return places;
  }

  static std::string Lines(const std::vector<Fractional>& x, const std::vector<bool>& known, double off) {
    std::string out;
    for (size_t i = 0; i < x.size(); ++i) {
      const double d = off * (i % 2 ? 1.0 : -1.0);
      const Fractional f = known[i] ? Fractional{x[i].x + d, x[i].y - d, x[i].z + d} : Fractional{};
      AppendPrintf(out, "C%zu 1 %.5f %.5f %.5f 11 0.04\n", i + 1, f.x, f.y, f.z);
    }
    return out;
  }

  static std::string Block() {
    std::string out = "FRAG 17 10.0 12.0 9.0 90 110 90\n";
    for (const Fractional& f : kShape) AppendPrintf(out, "X 9 %.4f %.4f =\n %.4f\n", f.x, f.y, f.z);
    return out + "FEND\n";
  }
};

TEST_F(FragmentTest, PutsMissingAtomsInPlaceAndKeepsTheShape) {
  const std::string rest = "AFIX 0\nO1 2 0.85 0.61 0.27 11 0.04\nHKLF 4\nEND\n";
  const std::vector<bool> some{true, true, false, true, false};
  for (const int code : {176, 179, 170}) {
    const double size = code == 179 ? 1.03 : 1.0;
    const std::vector<Fractional> truth = Places(size);
    Simulate("a", std::string(kHead) + "WGHT 0.01\nFVAR 0.7\n" + Lines(truth, std::vector<bool>(5, true), 0.0) + rest,
             0.85);
    Write("a.ins",
          kHead + Block() + "WGHT 0.01\nFVAR 0.7\n" + Printf("AFIX %d\n", code) + Lines(truth, some, 0.004) + rest);
    for (const char* name : {"a", "b"}) {
      ASSERT_EQ(Run(name), 0) << Said();
      EXPECT_LT(Last("R1 = "), 0.03) << code << Said();
      EXPECT_TRUE(Says(code == 170   ? ", 25 parameters"
                       : code == 176 ? ", 16 parameters"
                                     : ", 17 parameters"))
          << Said();
      const Document result = ResultOf(name);
      const Metric metric = MakeMetric(result.cell);
      const Metric own = MakeMetric(kOwnCell);
      std::vector<Fractional> x;
      for (size_t i = 0; i < 5; ++i) {
        const AtomRecord* atom = result.atoms.FindAtom("C" + std::to_string(i + 1));
        EXPECT_EQ(atom->afix, i > 4 || code == 170 ? 0 : code);
        x.push_back(atom->fract);
        EXPECT_LT(std::sqrt(metric.DistanceSquared(x[i], truth[i])), 0.002) << code << " C" << i + 1;
      }
      const double d = std::sqrt(metric.DistanceSquared(x[0], x[4]) / own.DistanceSquared(kShape[0], kShape[4]));
      EXPECT_NEAR(d, size, code == 176 ? 1e-5 : 1e-3);
      fs::copy_file(Path("a.res"), Path("b.ins"), fs::copy_options::overwrite_existing);
      fs::copy_file(Path("a.hkl"), Path("b.hkl"), fs::copy_options::overwrite_existing);
    }
  }
}

TEST_F(FragmentTest, SaysWhyItCannotFit) {
  const std::vector<Fractional> x = Places(1.0);
  const auto said = [&](const std::string& block, const std::string& atoms) {
    const std::string ins = kHead + block + "FVAR 0.7\nAFIX 176\n" + atoms + "AFIX 0\nHKLF 4\nEND\n";
    EXPECT_EQ(Run("a", ins), 0) << Said();
    return Said();
  };
  Simulate("a", std::string(kHead) + "FVAR 0.7\n" + Lines(x, std::vector<bool>(5, true), 0.0) + "HKLF 4\nEND\n", 1.2);
  const std::string all = Lines(x, std::vector<bool>(5, true), 0.0);
  EXPECT_NE(said("", all).find("AFIX 176 at C1: there is no FRAG 17"), std::string::npos);
  EXPECT_NE(said(Block(), all.substr(0, all.rfind("C5"))).find("5 atoms and the group 4"), std::string::npos);
  EXPECT_NE(said(Block(), Lines(x, {true, true, false, false, false}, 0.0)).find("fewer than three atoms"),
            std::string::npos);
  EXPECT_NE(said("FRAG 17 0 1 1\nFEND\n", all).find("its cell is impossible"), std::string::npos);
  EXPECT_NE(said("FRAG 17\nC1 1 0 0 0\n", all).find("FRAG: no FEND"), std::string::npos);
}

class InclusionTest : public RunTest {};

TEST_F(InclusionTest, TakesInWhatIsRefinedAndLeavesTheRestWhereItIs) {
  const std::string atoms = "C1 1 0.12 0.22 0.31 11 0.04\nO1 2 0.43 0.58 0.77 11 0.05\nO2 2 0.81 0.13 0.55 11 0.05\n";
  const std::string whole = std::string(kHead) + "WGHT 0.01\nFVAR 0.7\n" + atoms + "HKLF 4\nEND\n";
  Simulate("a", whole, 1.0);
  Write("a.ins", std::string(kHead) + "+restraints.txt\n+gone.txt\n+loop.txt\nWGHT 0.01\n+model.txt\nHKLF 4\nEND\n");
  Write("restraints.txt", "SIMU 0.1 C1 > O2\n+deeper.txt\n");
  Write("deeper.txt", "REM +model.txt\nISOR 0.1 O1\n+restraints.txt\n");
  Write("loop.txt", "+loop.txt\nnonsense\n");
  Write("model.txt", "FVAR 0.65\n" + atoms.substr(0, atoms.find("O1")) + "+oxygen.txt\n+model.txt\nEND\nC9 1 0 0 0\n");
  Write("oxygen.txt", "O1 2 0.435 0.58 0.77 =\n 11 0.06\n" + atoms.substr(atoms.find("O2")));
  ASSERT_EQ(Run("a"), 0) << Said();
  EXPECT_LT(Last("R1 = "), 0.03) << Said();
  for (const char* note : {"gone.txt cannot be opened", "loop.txt includes itself", "restraints.txt includes itself",
                           "model.txt includes itself", "lines of oxygen.txt are taken into", "NONS: has no effect"})
    EXPECT_TRUE(Says(note)) << note << "\n" << Said();
  const std::string res = Read("a.res");
  const Document result = ReadDocument(res);
  int count = 0;
  for (const AtomRecord* atom : Atoms(result.atoms)) count += !atom->IsPeak();
  EXPECT_EQ(count, 3);
  EXPECT_NEAR(result.atoms.FindAtom("O1")->fract.x, 0.43, 2e-4);
  for (const char* kept : {"\n+restraints.txt\n", "\n+gone.txt\n"})
    EXPECT_NE(res.find(kept), std::string::npos) << kept;
  EXPECT_EQ(res.find("+model.txt"), std::string::npos) << "its lines are in the result";
  EXPECT_EQ(res.find("ISOR"), std::string::npos) << "what nothing changes stays in its file";
}

TEST_F(InclusionTest, CopiesNoForeignTextFromOtherFolders) {
  const std::string atoms = "FVAR 0.7\nC1 1 0.12 0.22 0.31 11 0.04\n";
  Simulate("a", kHead + atoms + "HKLF 4\nEND\n", 1.3);
  const test::ScratchFolder other;
  const std::string elsewhere = other.path + "file";
  ASSERT_EQ(WriteFileAtomically(elsewhere, "root:x:0:0:secret\nISOR 0.1 C1\nAFIX 0\n"), 0);
  ASSERT_EQ(WriteFileAtomically(elsewhere + ".good", "REM ours\nISOR 0.2 C1\nAFIX 0\n"), 0);
  EXPECT_EQ(Run("a", std::string(kHead) + "+" + elsewhere + "\n+" + elsewhere + ".good\n" + atoms + "HKLF 4\nEND\n"), 0)
      << Said();
  EXPECT_TRUE(Says(elsewhere + " lies in another folder and is no instruction file")) << Said();
  const std::string res = Read("a.res");
  EXPECT_EQ(res.find("secret"), std::string::npos) << res;
  EXPECT_NE(res.find("\n+" + elsewhere + "\n"), std::string::npos) << res;
  EXPECT_NE(res.find("\nISOR 0.2 C1\n"), std::string::npos) << "what the run may change is taken in\n" << res;
}

TEST_F(InclusionTest, EndsWhereFilesIncludeOneAnotherForEver) {
  const std::string atoms = "FVAR 0.7\nC1 1 0.12 0.22 0.31 11 0.04\n";
  Simulate("a", kHead + atoms + "HKLF 4\nEND\n", 1.3);
  for (int i = 0; i < 30; ++i) {
    // Each file asks for the next one twice: without a bound 2^30 of them.
    Write(Printf("f%d", i), Printf("ISOR 0.1 C1\n+f%d\n+f%d\n", i + 1, i + 1));
  }
  EXPECT_EQ(Run("a", std::string(kHead) + "+/dev/zero\n+.\n+\n+f0\n" + atoms + "HKLF 4\nEND\n"), 0) << Said();
  EXPECT_TRUE(Says("too deep"));
  EXPECT_TRUE(Says("/dev/zero cannot be opened"));
}

}  // namespace
}  // namespace marvik
