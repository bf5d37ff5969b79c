#include <ctime>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

#include "app/bench_fixture.h"
#include "app/cli/command_line.h"
#include "base/numbers.h"

namespace marvik {
namespace {

class CrowdedFiles : public testing::Test {
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
    file_ = folder_.Put("crowded.res", text + "HKLF 4\nEND\n");
  }
  int Run(std::vector<std::string> words) {
    out_.str("");
    err_.str("");
    words.push_back(file_);
    return RunCommandLine(ParseCommandLine(words), "", out_, err_);
  }

  test::ScratchFolder folder_;
  test::WithVariable package_{kPackageVariable, folder_ / ""};
  std::string file_;
  std::ostringstream out_, err_;
};

// Each of these took minutes, gigabytes or both.
TEST_F(CrowdedFiles, CostLittleAndAreNamed) {
  const std::clock_t start = std::clock();
  Write(6000, true);
  for (const char* report : {"bonds", "angles", "torsions", "contacts", "environment", "hydrogen-bonds", "chirality"}) {
    EXPECT_EQ(Run({"--report", report, "--json"}), 1) << report;
    EXPECT_NE(err_.str().find("More than 1000 atoms or images stand within bonding distance of C0"), std::string::npos);
    const auto json = nlohmann::json::parse(out_.str());
    EXPECT_TRUE(json[report].empty()) << report;
    EXPECT_TRUE(json["limit"].get<std::string>().ends_with("no geometry can be listed.")) << report;
  }
  EXPECT_EQ(Run({"--report", "atoms"}), 1) << "the message that no bonds are drawn";
  EXPECT_EQ(Run({"--lint"}), 0);
  EXPECT_NE(out_.str().find("atoms-coincide"), std::string::npos) << out_.str().substr(0, 300);
  Write(200, false);
  EXPECT_EQ(Run({"--report", "bonds"}), 0);
  EXPECT_EQ(std::ranges::count(out_.str(), '\n'), 200 * 199 / 2 + 1);
  for (const char* report : {"angles", "torsions"}) {
    EXPECT_EQ(Run({"--report", report}), 1);
    EXPECT_NE(err_.str().find("There are more than 1000000 rows: the list ends there."), std::string::npos);
    EXPECT_EQ(std::ranges::count(out_.str(), '\n'), 1'000'001) << report;
  }
  EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, 30.0);
}

}  // namespace
}  // namespace marvik
