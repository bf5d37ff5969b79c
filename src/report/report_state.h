#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "base/files.h"
#include "base/vec3.h"
#include "chem/environment.h"

namespace marvik {

// A coordinate triple with uncertainties as a file beside the structure gives it.
struct ListedCoordinates {
  std::string label;
  std::array<double, 3> fract{};
  std::array<double, 3> sigma{};
};

// What the reports of a session remember.
struct ReportState {
  // Normal of the last plane, in the frame of this file and cell.
  std::optional<Cartesian> planeNormal;
  std::string planeKey;
  double environmentRadius = kDefaultEnvironment;  // Å, as last asked for

  // The file that coordinate uncertainties were last read from, as it was then.
  std::string sigmaPath;
  std::optional<FileStamp> sigmaStamp;
  std::vector<ListedCoordinates> listed;
};

}  // namespace marvik
