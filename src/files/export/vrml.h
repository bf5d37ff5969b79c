#pragma once

#include <optional>
#include <string>

#include "files/export/scene.h"

namespace marvik {

// The scene as a VRML 2.0 (VRML97, ISO/IEC 14772-1) world: right-handed, 1 unit = 1 Å, one DEF per atom (A1_C1) and per
// bond (B1_C1_N1), labels that face the viewer, and a viewpoint that shows what the window shows. VRML knows no
// parallel projection; the viewpoint looks from afar through a narrow angle. Nothing, after a message, when a visible
// atom is a peak.
std::optional<std::string> ComposeVrml(const Document& document, const SceneOptions& options, UserMessages& messages);

}  // namespace marvik
