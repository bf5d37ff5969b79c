#pragma once

#include <string>
#include <vector>

#include "model/document.h"
#include "refine/data/coverage.h"
#include "refine/job/job.h"
#include "refine/map/fourier.h"
#include "refine/solve/refinement.h"
#include "refine/structure/neighbours.h"

namespace marvik {

// A refinement as values, in memory: the document and the reflections go in, PrepareSession puts the model together,
// RefineSession refines it and fills the rest. The only files that are read are those that "+file" lines name, looked
// for in document.WorkingDirectory.
struct Session {
  std::string name;                // stands in the CIF
  Document document;               // in: what to refine; after RefineSession with the refined values
  std::vector<std::string> notes;  // said before the first cycle, besides those of the job
  LinePlaces places;               // of the instruction file that the document was read from
  std::vector<AddedFactor> added;  // what ABIN adds to the structure factors
  std::vector<std::string> voids;  // what its file says of them
  Job job;
  std::vector<AtomRecord*> fresh;  // first hydrogens of groups made from HFIX whose torsion is not known yet
  Structure structure;
  NeighbourTable bonds;
  std::vector<HydrogenGroup> hydrogens;
  std::vector<RigidGroup> rigid;
  Parametrisation parametrisation;
  RestraintList restraints;
  MergeStatistics merging;
  Coverage coverage;  // for the CIF; whoever composes one fills it
  std::vector<Reflection> merged;
  Observations observations;
  RefinementResult result;  // figures of every cycle, covariance matrix, Fc
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

// Takes session.document and reflections as read, neither merged nor limited; notes are printed. False with a sentence.
bool PrepareSession(Session& session, const std::vector<Reflection>& raw, const LineSink& print, std::string& problem);
// Refines, makes the difference map and suggests weights. False when not even a model is left; a refinement that went
// wrong but kept a good model gives true and says so in result.problem.
bool RefineSession(Session& session, const LineSink& print);
// The density at the refined model, over the whole cell.
DensityMap MapOf(const Session& session, MapKind kind, double step = kMapStep);

// Text of the result file: the instruction file with the refined values, then remarks, the suggested weights and the
// peaks behind END. Empty when the document cannot be written.
std::string ComposeResult(Session& session, UserMessages& messages);

}  // namespace marvik
