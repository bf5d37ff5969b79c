#pragma once

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <vector>

#include "base/files.h"
#include "base/numbers.h"
#include "files/res/reader.h"
#include "refine/job/run.h"
#include "refine/job/session.h"

#include "models.h"
#include "support/kept_outputs.h"
#include "support/test_files.h"

namespace marvik {

namespace fs = std::filesystem;

// A text with every piece that an expression names in another form.
inline std::string With(const std::string& text, const char* what, const std::string& by) {
  return std::regex_replace(text, std::regex(what), by);
}

// Runs of the engine on files in a folder of the test's own.
class RunTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.path + name; }
  void Write(const std::string& name, const std::string& text) const {
    ASSERT_EQ(WriteFileAtomically(Path(name), text), 0);
  }
  std::string Read(const std::string& name) const { return ReadWholeFile(Path(name)).content; }

  Document ReadDocument(const std::string& ins) const {
    RecordingMessages messages;
    Document document;
    EXPECT_TRUE(ReadInstructionText(document, ins, messages)) << ins;
    return document;
  }
  Document ResultOf(const std::string& name) const { return ReadDocument(Read(name + ".res")); }

  // Runs NAME and keeps what it said.
  int Run(const std::string& name) {
    lines_.clear();
    const int status = RunJob(Path(name), [&](const std::string& line) { lines_.push_back(line); });
    if (!resultsAreKept_) return status;
    static const std::regex changing("[^ \"]*marvik-test-.{6}/|[0-9]{4}-[0-9]{2}-[0-9]{2}T?[0-9:]*");
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    test::ExpectKept("refinement", Printf("%s %d", test->name(), ++runs_),
                     std::regex_replace(Read(name + ".res") + Read(name + ".cif"), changing, ""));
    return status;
  }
  int Run(const std::string& name, const std::string& ins) {
    Write(name + ".ins", ins);
    return Run(name);
  }
  std::string Said() const {
    std::string all;
    for (const std::string& line : lines_) all += line + "\n";
    return all;
  }
  bool Says(const std::string& text) const { return Said().find(text) != std::string::npos; }
  bool EndsFinished() const { return !lines_.empty() && lines_.back().find("finished") != std::string::npos; }
  // Number behind the last occurrence of a text in what was said.
  double Last(const std::string& key) const {
    const std::string said = Said();
    const size_t at = said.rfind(key);
    double value = -1.0;
    if (at != std::string::npos) ParseNumber(std::string_view(said).substr(at + key.size()), value);
    return value;
  }

  // The largest shift over its uncertainty of the first cycle when a result is refined once more.
  double FirstShiftFedAgain(const std::string& name) {
    fs::copy_file(Path(name + ".hkl"), Path(name + "_again.hkl"));
    EXPECT_EQ(Run(name + "_again", Read(name + ".res")), 0);
    const std::string said = Said();
    double shift = 1e9;
    ParseNumber(std::string_view(said).substr(said.find(", largest ") + 10), shift);
    return shift;
  }

  // The model of an instruction text as a run would start from it.
  Structure ModelOf(const std::string& ins) {
    document_ = ReadDocument(ins);
    Structure structure;
    std::vector<std::string> notes;
    std::string problem;
    EXPECT_TRUE(BuildStructure(document_, structure, notes, problem)) << problem;
    const Job job = MakeJob(document_);
    std::vector<RigidGroup> rigid = FindRigidGroups(structure, job.fragments, notes);
    Parametrisation p;
    p.Build(structure, job.parameters,
            FindHydrogenGroups(structure, MakeBonds(structure, document_, job.commands), job.temperature, notes), rigid,
            notes);
    return structure;
  }

  // One line of a reflection file, with noise of the size of σ.
  std::string DataLine(const Miller& h, double intensity, double sigma, const std::string& more = "") {
    return Printf("%4d%4d%4d%8.2f%8.2f%s\n", h[0], h[1], h[2], std::min(99999.0, intensity + sigma * noise_(random_)),
                  std::min(9999.0, sigma), more.c_str());
  }

  // Writes NAME.hkl with what the model of an instruction text gives.
  void Simulate(const std::string& name, const std::string& ins, double resolution) {
    const Observations o = SimulateData(ModelOf(ins), resolution);
    std::string text;
    for (size_t i = 0; i < o.Size(); ++i) text += DataLine(o.indices[0][i], o.intensity[i], o.sigma[i]);
    Write(name + ".hkl", text + "   0   0   0    0.00    0.00\n");
  }

  const test::ScratchFolder folder_;
  bool resultsAreKept_ = false;  // each result is what it was
  int runs_ = 0;
  std::vector<std::string> lines_;
  Document document_;
  std::mt19937 random_{4};
  std::normal_distribution<double> noise_;
};

}  // namespace marvik
