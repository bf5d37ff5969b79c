#pragma once

#include <string>

#include "refine/job/session.h"

namespace marvik {

// Puts together the session of a document and the reflection file beside it, with its .fab, without a refinement. What
// stands against it is a sentence, "" for nothing.
std::string PrepareFromData(const Document& document, const std::string& hklPath, Session& session);

}  // namespace marvik
