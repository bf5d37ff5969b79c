#pragma once

namespace marvik {

// What pictures are made with beside the files that have a format of their own.
struct PictureSettings {
  double probability = 0.5;     // that thermal ellipsoids enclose, 0.001 to 1
  bool bitmapAntiAlias = true;  // of JPEG files and printed pages, as last chosen
};

// Both go by the section [pictures] of "marvikui.ini" in the package directory, whose other sections are the window's.
// What is missing or makes no sense there leaves the setting as it is. Save gives false when the file cannot be
// written; without the directory nothing is kept.
void LoadPictureSettings(PictureSettings& settings);
bool SavePictureSettings(const PictureSettings& settings);

}  // namespace marvik
