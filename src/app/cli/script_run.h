#pragma once

#include <functional>
#include <string>

#include "app/workbench.h"

namespace marvik {

// Plays a demo script once, without its pauses and without a window. What the script says wrong is a warning. Before
// each line `setPlace` is told where messages come from ("FILE.dem:12: "), "" when that is no line. Files are read
// without asking about changes: they were the script's own, and nothing on disk is touched.
void PlayScript(Workbench& bench, const std::string& path, const std::function<void(const std::string&)>& setPlace);

}  // namespace marvik
