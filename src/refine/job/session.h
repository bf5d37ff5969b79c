#pragma once

#include <string>
#include <vector>

#include "model/document.h"
#include "refine/job/job.h"
#include "refine/map/fourier.h"
#include "refine/solve/refinement.h"
#include "refine/structure/neighbours.h"

namespace marvik {

// What a run has put together by the time results are written.
struct Session {
  std::string base;
  Document document;
  Job job;
  std::vector<AtomRecord*> fresh;  // first hydrogens of groups made from HFIX whose torsion is not known yet
  Structure structure;
  NeighbourTable bonds;
  std::vector<HydrogenGroup> hydrogens;
  std::vector<RigidGroup> rigid;
  Parametrisation parametrisation;
  RestraintList restraints;
  MergeStatistics merging;
  std::vector<Reflection> merged;
  Observations observations;
  RefinementResult result;
  double mapSigma = 0.0;
  std::vector<Peak> peaks;   // of the difference map
  std::vector<Peak> listed;  // of the map that FMAP asks for
  std::vector<Peak> holes;
  std::array<double, 2> suggestedWeights{0.1, 0.0};
};

// Messages of the shared code become lines.
class PrintedMessages : public UserMessages {
 public:
  explicit PrintedMessages(const LineSink& print) : print_(print) {}
  void Show(const UserMessage& message) override {
    std::string text = message.caption + " " + message.text;
    for (char& c : text) {
      if (c == '\n') c = ' ';
    }
    print_(" " + text);
  }
  bool AskYesNo(const UserMessage&, Unattended) override { return true; }
  void RequestQuit() override {}

 private:
  const LineSink& print_;
};

// Reads base.ins and base.hkl and makes everything ready for Refine; notes are printed. False with a sentence.
bool LoadSession(Session& session, const LineSink& print, std::string& problem);

// Text of the result file: the instruction file with the refined values, then remarks, the suggested weights and the
// peaks behind END. Empty when the document cannot be written.
std::string ComposeResult(Session& session, UserMessages& messages);

}  // namespace marvik
