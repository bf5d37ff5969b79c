#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "base/user_messages.h"
#include "draw/canvas/image.h"

namespace marvik {

// A page of a printer or a file that a picture is copied to, row by row. Each step may fail.
class PicturePage {
 public:
  virtual ~PicturePage() = default;
  virtual bool StartDocument(const std::string& name) = 0;
  virtual bool StartPage() = 0;
  // The printable area of the page that was started, device pixels.
  virtual int Width() const = 0;
  virtual int Height() const = 0;
  // Coordinates are device pixels from here on, and this many rows will come.
  virtual bool BeginRows(int rows) = 0;
  virtual bool CopyRow(int x, int y, std::span<const uint32_t> pixels) = 0;
  virtual bool EndPage() = 0;
  virtual bool EndDocument() = 0;
  // Nothing is to be printed after all, and no file left. After a step that failed as well.
  virtual void Abandon() = 0;
};

// What became of a picture on its way to a page.
enum class PageOutcome { Printed, Stopped, Failed };

// Prints the picture that `draw` makes for a side in pixels, the smaller one of the page's printable area, in the
// middle of the longer one. Stopped where `draw` gives nothing, which has had its message. A step that fails is told.
PageOutcome PrintOnPage(PicturePage& page, const std::function<std::optional<Image>(int side)>& draw,
                        UserMessages& messages);

// A PDF file with one page of A4 for it; it is written at the end of the document and whole or not at all.
class PdfPicturePage : public PicturePage {
 public:
  PdfPicturePage(std::string path, int dotsPerInch) : path_(std::move(path)), dotsPerInch_(dotsPerInch) {}
  bool StartDocument(const std::string& name) override;
  bool StartPage() override { return true; }
  int Width() const override;
  int Height() const override;
  bool BeginRows(int rows) override;
  bool CopyRow(int x, int y, std::span<const uint32_t> pixels) override;
  bool EndPage() override { return true; }
  bool EndDocument() override;
  void Abandon() override {}

 private:
  std::string path_;
  int dotsPerInch_;
  std::string title_;
  Image image_;
  int left_ = 0;
  int top_ = 0;
  int rows_ = 0;
};

}  // namespace marvik
