#pragma once

#include <memory>
#include <string>

#include "chem/geometry/uncertainty.h"
#include "model/document.h"

namespace marvik {

// What the end of a refinement knows of the uncertainties of a model: the full covariance matrix, and the cell's ZERR.
// The normal matrix is made anew from the document as it is and the reflection file; nothing moves. Null where the
// instructions, the reflections or the size (seconds of work) do not allow it.
std::shared_ptr<const UncertaintySource> UncertaintiesFromData(const Document& document, const std::string& hklPath);

}  // namespace marvik
