#pragma once

#include <optional>
#include <string>

#include "files/export/scene.h"

namespace marvik {

// The scene as binary glTF 2.0 (.glb), 1 unit = 1 Å. One node per atom, named by its label and placed in the
// right-handed crystal frame, and one per bond (C1-N1, its order under "extras") with its pieces as children. The node
// "structure" above them turns and moves all so that what looks along -z with y up, as viewers do from the start, sees
// what the window shows; the camera "window" also has its scale. glTF has no text that faces the viewer, so labels are
// names only. Nothing, after a message, when a visible atom is a peak.
std::optional<std::string> ComposeGlb(const Document& document, const SceneOptions& options, UserMessages& messages);

}  // namespace marvik
