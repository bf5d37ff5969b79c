#pragma once

#include <string>

#include "app/preferences/preference_fault.h"
#include "app/workbench.h"
#include "edit/edit_fields.h"

namespace marvik {

inline constexpr int kLargestBitmap = 16000;  // pixels a side: a GiB of memory
inline constexpr int kUsualPointSize = 8;

// How a JPEG file of the OpenGL picture is made.
struct BitmapPreferences {
  int size = 600;  // pixels a side, a multiple of 100
  int pointSize = kUsualPointSize;
  std::string file;
  bool antiAlias = true;
};

// As the dialog opens: the drawing area's side down to a multiple of 100, labels of the proper size for that, the
// structure's name with ".jpg" in the current directory, anti-aliasing as last chosen.
BitmapPreferences UsualBitmapPreferences(Workbench& bench);

std::span<const FieldRange> BitmapFields();
// The fields "size", "points", "file" and "antialias" (0 or 1); of those that are missing the values of `usual` hold,
// and without "points" the proper size. The first that is not accepted, with the number that takes its place.
PreferenceFault ReadBitmapPreferences(const EditArguments& arguments, Workbench& bench, const BitmapPreferences& usual,
                                      BitmapPreferences& preferences);

// "Calculate Proper Font Point": the point size for a size entered, or why there is none.
PreferenceFault CalculatePointSize(const std::string& size, Workbench& bench, int& pointSize);

}  // namespace marvik
