#pragma once

#include <string>
#include <vector>

#include "model/document.h"
#include "refine/map/solvent_mask.h"

namespace marvik {

// The voids of a model and what the reflections beside it say of their content, at the values that the document has;
// nothing is refined. What a mask that is there already adds is left out.
struct DataMask {
  SolventMask mask;
  std::string problem;             // why there is no mask, in a sentence; "" for nothing
  std::vector<std::string> notes;  // a sentence each
  double r1Before = 0.0;           // without and with what the voids add
  double r1 = 0.0;
  std::string fab;  // NAME.fab, with what the CIF is to say about the voids
};
DataMask MaskFromData(const Document& document, const std::string& hklPath, const MaskOptions& options);

}  // namespace marvik
