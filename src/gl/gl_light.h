#pragma once

namespace marvik {

// The one lamp, in the coordinates of the viewer's place at (0, 0, 1.5).
inline constexpr float kLightPosition[4] = {20.0f, 10.0f, 40.0f, 1.0f};
inline constexpr double kViewerDistance = 1.5;

}  // namespace marvik
