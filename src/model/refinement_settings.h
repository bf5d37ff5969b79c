#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace marvik {

// The refinement instructions: filled by the reader, edited before a run, written with the model.
struct RefinementSettings {
  std::string RefinementType;  // "L.S.", "CGLS", or empty when the file had neither
  int32_t Cycles = 0;          // 0..999
  std::string ListLine;        // empty or "LIST n"
  int32_t FourierCode = 2;     // map type of the FMAP line
  int32_t PlanPeaks = 20;      // 0..999
  bool ExtinctionOn = false;
  double Extinction = 0.0;
  bool OmitOn = false;
  double OmitSigmas = 0.0;
  double OmitTwoTheta = 0.0;  // degrees; counts as set when greater than 1.0
  int32_t WeightCount = 0;    // parameters of the WGHT line
  std::array<double, 6> Weights{};
  // The weights in force before the last run was confirmed; live as long as the program, not read from files.
  int32_t PreviousWeightCount = 0;
  std::array<double, 6> PreviousWeights{};
  // WGHT behind END: what the last refinement suggests.
  int32_t SuggestedWeightCount = 0;
  std::array<double, 6> SuggestedWeights{};
  std::string BondLine;
  bool Invert = false;  // the MOVE flag
  bool Aniso = false;
  bool Acta = false;
  uint32_t PriorityClass = 32;  // 64 idle, 32 normal, 128 high, 256 realtime

  friend bool operator==(const RefinementSettings&, const RefinementSettings&) = default;
};

}  // namespace marvik
