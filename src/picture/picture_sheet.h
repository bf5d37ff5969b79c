#pragma once

#include <memory>
#include <string>

#include "picture/picture_formats.h"

namespace marvik {

// Frames in rows. Device units: points in figures, pixels in pictures.
struct SheetPlan {
  double width = 0.0;  // of a page
  double height = 0.0;
  int columns = 1;
  int rows = 1;  // of a page
  double margin = 0.0;
  double gap = 0.0;  // between frames, from one row to the next
  double columnGap = 0.0;
  double side = 0.0;
  double frameHeight = 0.0;
  double type = 7.0;   // points, of words and labels
  double words = 0.0;  // height of what stands below each frame
  bool paged = false;
};

// Other files than PDF have one page of so many.
inline constexpr size_t kMostOnOnePage = 12;

// Pictures of several structures, one frame each with two lines of words below it: PDF has pages of A4, other formats
// one page as wide as the options say.
class PictureSheet {
 public:
  // Null after a message.
  static std::unique_ptr<PictureSheet> Make(const PictureOptions& options, const std::string& format, size_t structures,
                                            UserMessages& messages);
  virtual ~PictureSheet() = default;
  PictureSheet(const PictureSheet&) = delete;
  PictureSheet& operator=(const PictureSheet&) = delete;

  // The next frame. False after a message, with the frame left empty.
  bool Add(PictureSubject& subject, const std::string& name, const std::string& figure);
  // A frame with a sentence instead of a picture.
  void AddSentence(const std::string& name, const std::string& sentence);
  // Nothing when memory is gone.
  virtual PictureBytes Finish() = 0;

 protected:
  // `light`: what they stand on.
  PictureSheet(const PictureOptions& options, const SheetPlan& plan, bool light)
      : options_(options), plan_(plan), light_(light) {}
  virtual bool Draw(PictureSubject& subject, CanvasPoint corner) = 0;
  virtual void NewPage() = 0;
  virtual Canvas& Words() = 0;

  PictureOptions options_;  // of a frame
  InteractiveRenderer renderer_;
  SheetPlan plan_;
  bool light_;

 private:
  friend PictureBytes DrawFrames(PictureSubject& subject, const PictureOptions& options, const std::string& format);
  CanvasPoint NextCorner();
  void Write(CanvasPoint corner, const std::string& first, const std::string& second);
  std::string Fitting(std::string text);
  Rgb Ink() const { return light_ ? Rgb{0, 0, 0} : Rgb{255, 255, 255}; }

  int next_ = 0;  // frame of the page
};

// What a page is to stand on, so that it is as light as the frames on it.
PictureBackground BackgroundOfPage(const PictureOptions& options, Look look);

// The frames that the options name, side by side in a picture of their size: a stereo pair to be looked at with the
// left eye on the left, or views along the axes of the cell at one scale. Nothing after a message.
PictureBytes DrawFrames(PictureSubject& subject, const PictureOptions& options, const std::string& format);

}  // namespace marvik
