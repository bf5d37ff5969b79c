#pragma once

#include <string>

#include "refine/job/session.h"

namespace marvik {

// Files that a CIF carries as text fields, as they are.
struct CifAttachments {
  std::string result;       // NAME.res
  std::string reflections;  // NAME.hkl
  std::string mask;         // NAME.fab
};

// Everything about a refined structure that can be computed, by the names of the core dictionary of CIF 1.1; what only
// the user knows is "?" in its place. s.bonds as the tables are to have them.
std::string ComposeCif(const Session& s, const CifAttachments& attachments);

// The refined model in the Protein Data Bank's format 3.3: CRYST1, SCALE, HETATM and ANISOU, a letter for each part.
std::string ComposeCoordinateFile(const Session& s);

// The reflections as LIST asks for them: 4 (h k l Fc² Fo² σ) and 6 (h k l Fo² σ Fc phase) as a CIF with cell, symmetry
// and a link to the structure's; 1 in words, 2, 3 and 5 in columns.
std::string ComposeReflectionList(const Session& s);

}  // namespace marvik
