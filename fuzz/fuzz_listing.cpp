#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "app/uncertainty_files.h"
#include "files/res/reader.h"
#include "run/model_changes.h"
#include "run/output_reader.h"
#include "run/progress_curve.h"
#include "run/result_summary.h"

#include "fuzz/require.h"

using namespace marvik;

namespace {

void CheckFigures(const CyclePoint& point, const std::string& text) {
  for (const auto& figure : {point.wR2, point.r1, point.goof, point.shift})
    Require(!figure || std::isfinite(*figure), "a figure is none", text);
}

// The text as a file that a program wrote: each byte is seen once, in whole lines.
void ReadAsOutput(const std::string& text) {
  static const std::string path = "/tmp/marvik-fuzz-listing-" + std::to_string(getpid());
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return;
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
  OutputReader reader(path, {"job", "title of the job"});
  ProgressCurve curve;
  size_t bytes = 0;
  std::string line;
  const OutputReader::Sinks sinks{[](std::string_view) {},
                                  [&](std::string_view piece, bool lineEnd) {
                                    bytes += piece.size();
                                    Require(piece.size() <= OutputReader::kLongestLine, "a long piece", text);
                                    line += piece;
                                    if (!lineEnd) return;
                                    curve.Take(line);
                                    line.clear();
                                  }};
  for (int pass = 0; pass < 1000 && reader.Pass(sinks); ++pass) {
  }
  reader.Finish(sinks);
  std::remove(path.c_str());
  Require(bytes <= text.size(), "more was read than is there", text);
  Require(!reader.EndWordSeen() || reader.EndWordSeenAnywhere(), "the end was seen nowhere", text);
  for (const CyclePoint& point : curve.Points()) CheckFigures(point, text);
}

}  // namespace

// Whatever a refinement program prints, and whatever it leaves as listing or result.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ReadAsOutput(text);
  const ResultSummary summary = SummaryOfResult(text);
  CheckFigures(summary.figures, text);
  for (const auto& value : {summary.peak, summary.hole}) Require(!value || std::isfinite(*value), "no density", text);
  CheckFigures(FiguresOfResult(text), text);
  UncertaintiesInListing(text);
  Document document;
  RecordingMessages messages;
  ReadInstructionText(document, "CELL 0.7 5 6 7 90 95 90\nSFAC C\nUNIT 4\nC1 1 .1 .2 .3\nO1A 1 .4 .5 .6\nEND\n",
                      messages);
  for (const auto& [name, values] : FindUncertainties(text, document))
    for (const double su : values) Require(std::isfinite(su) && su >= 0.0, "no uncertainty", text);
  return 0;
}
