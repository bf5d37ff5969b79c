#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace marvik {

inline constexpr int kSmallestPicture = 16;
inline constexpr int kLargestPicture = 16384;
inline constexpr double kLargestResolution = 10000.0;
inline constexpr int kMostLayers = 100;

// Usual is black for pictures of pixels, as the screen has it, and white for figures made of lines.
enum class PictureBackground : uint8_t { Usual, Black, White, Transparent };

// What of a structure stands side by side in a picture: itself, what the left and the right eye see of it, or its views
// along a, b and c. A turn has its frames one after another.
enum class PictureFrames : uint8_t { One, Stereo, Axes, Turn };

struct JournalPreset;

// How large a picture file is and what it stands on; what it shows is the subject's.
struct PictureOptions {
  int size = 600;           // pixels a side
  double resolution = 0.0;  // dots per inch; 0: none, and figures made of lines have a point for each pixel
  PictureBackground background = PictureBackground::Usual;
  PictureFrames frames = PictureFrames::One;
  const JournalPreset* journal = nullptr;  // whose type it takes; null for none
  // Of the OpenGL renderer.
  bool openGl = false;
  bool blackWhite = false;
  std::optional<int> layers;  // of anti-aliasing; as the settings say
  std::string labelReport;    // a file that tells where labels, bodies and bonds stand; "" for none
  // The square is as wide as it is, but no higher than what stands in it.
  bool trim = false;
  double cutAbove = 0.0;  // shares of the side, found while drawing where `trim` is set
  double kept = 1.0;

  int FirstRow(int side) const { return static_cast<int>(cutAbove * side); }
  int Rows(int side) const;
};

// What journals want of a figure: its width on paper and how fine it is.
struct JournalPreset {
  std::string_view name;
  double width = 0.0;       // mm
  double resolution = 0.0;  // dots per inch
  double type = 0.0;        // points, the largest
};
inline constexpr JournalPreset kJournalPresets[] = {{"single-column", 84.0, 600.0, 7.0},
                                                    {"double-column", 170.0, 600.0, 8.0}};
const JournalPreset* JournalPresetNamed(std::string_view name);
// Size, resolution, white background and a height that fits. With `resolution` above 0 that instead of the preset's.
void ApplyJournal(const JournalPreset& preset, double resolution, PictureOptions& options);

// "usual", "black", "white" or "transparent"; nothing for anything else.
std::optional<PictureBackground> BackgroundNamed(std::string_view name);
std::string_view NameOf(PictureBackground background);
// "one", "stereo", "axes" or "turn"; nothing for anything else.
inline constexpr std::string_view kPictureFrames[] = {"one", "stereo", "axes", "turn"};
std::optional<PictureFrames> FramesNamed(std::string_view name);

// A picture file as one line of text: "size=1200 resolution=300 background=white renderer=opengl FILE". What is not
// given is as in `usual`. Nothing, with a sentence in `wrong`, for what makes no sense.
struct PictureRequest {
  PictureOptions options;
  std::string path;
};
std::optional<PictureRequest> ParsePictureRequest(std::string_view text, const PictureOptions& usual,
                                                  std::string& wrong);
std::string PictureArgument(const PictureRequest& request);
// The sentence about sizes that are not possible.
std::string PictureSizeRule();

}  // namespace marvik
