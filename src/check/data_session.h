#pragma once

#include <string>

#include "refine/job/session.h"

namespace marvik {

// Puts together the session of a document and the reflection file beside it, with its .fab, without a refinement. What
// stands against it is a sentence, "" for nothing.
std::string PrepareFromData(const Document& document, const std::string& hklPath, Session& session);
// The same of the texts of both files; `name` is the reflections' in what is said.
std::string PrepareFromText(const Document& document, const std::string& name, const std::string& reflections,
                            const std::string& mask, Session& session);

}  // namespace marvik
