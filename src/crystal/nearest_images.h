#pragma once

#include <vector>

#include "crystal/image_search.h"

namespace marvik {

// The images within the radius or a half, a quarter ... of it, the first that has no more than `most`.
inline void FindNearOrNearer(const ImageSearch& search, const Fractional& place, double radius,
                             std::vector<AtomImage>& found, size_t most = kMostBondingImages) {
  constexpr double kSamePlace = 0.01;  // Å
  while (!search.FindNear(place, radius, found, most) && radius > kSamePlace) radius *= 0.5;
}

}  // namespace marvik
