#include <ctime>
#include <nlohmann/json.hpp>

#include "app/command_line_fixture.h"
#include "base/numbers.h"

namespace marvik {
namespace {

class CrowdedFiles : public test::CommandLineRuns {
 protected:
  // Atoms on a line of 10 Å, or at random places in a ball of 1 Å.
  void Write(int atoms, bool onLine) {
    std::string text = "CELL 0.7 10 15 15 90 90 90\nZERR 1 0 0 0 0 0 0\nLATT -1\nSFAC C\nUNIT 9\nFVAR 1\n";
    unsigned state = 1;
    const auto random = [&] { return static_cast<double>((state = state * 1664525u + 1013904223u) >> 8) / (1 << 24); };
    for (int i = 0; i < atoms; ++i) {
      const double x = onLine ? i / static_cast<double>(atoms) : 0.5 + 0.1 * random();
      AppendPrintf(text, "C%d 1 %.5f %.5f %.5f 11 0.04\n", i, x, onLine ? 0.5 : 0.5 + 0.06 * random(),
                   onLine ? 0.5 : 0.5 + 0.06 * random());
    }
    file_ = folder.Put("crowded.res", text + "HKLF 4\nEND\n");
  }
  int Report(std::vector<std::string> words) {
    words.push_back(file_);
    return Run(words);
  }

  std::string file_;
};

// Each of these took minutes, gigabytes or both.
TEST_F(CrowdedFiles, CostLittleAndAreNamed) {
  const std::clock_t start = std::clock();
  Write(6000, true);
  for (const char* report : {"bonds", "angles", "torsions", "contacts", "environment", "hydrogen-bonds", "chirality"}) {
    EXPECT_EQ(Report({"--report", report, "--json"}), 1) << report;
    EXPECT_NE(err.str().find("More than 1000 atoms or images stand within bonding distance of C0"), std::string::npos);
    const auto json = nlohmann::json::parse(out.str());
    EXPECT_TRUE(json[report].empty()) << report;
    EXPECT_TRUE(json["limit"].get<std::string>().ends_with("no geometry can be listed.")) << report;
  }
  EXPECT_EQ(Report({"--report", "atoms"}), 1) << "the message that no bonds are drawn";
  EXPECT_EQ(Report({"--lint"}), 0);
  EXPECT_NE(out.str().find("atoms-coincide"), std::string::npos) << out.str().substr(0, 300);
  Write(200, false);
  EXPECT_EQ(Report({"--report", "bonds"}), 0);
  EXPECT_EQ(std::ranges::count(out.str(), '\n'), 200 * 199 / 2 + 1);
  for (const char* report : {"angles", "torsions"}) {
    EXPECT_EQ(Report({"--report", report}), 1);
    EXPECT_NE(err.str().find("There are more than 1000000 rows: the list ends there."), std::string::npos);
    EXPECT_EQ(std::ranges::count(out.str(), '\n'), 1'000'001) << report;
  }
  EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, 30.0);
}

}  // namespace
}  // namespace marvik
