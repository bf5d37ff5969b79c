#include "picture/picture_page.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <new>
#include <vector>

#include "base/atomic_write.h"
#include "base/numbers.h"
#include "picture/jpeg_writer.h"

namespace marvik {
namespace {

constexpr double kMillimetresPerInch = 25.4;
constexpr double kPointsPerMillimetre = 72.0 / kMillimetresPerInch;
constexpr double kA4Width = 210.0;  // mm
constexpr double kA4Height = 297.0;
constexpr double kMargin = 10.0;

PageOutcome Fail(PicturePage& page, UserMessages& messages, const char* step) {
  UserMessage message = SystemErrorMessage(step, errno);
  if (errno == 0) message.text = "The printer does not go on.";
  message.icon = MessageIcon::Warning;
  page.Abandon();
  messages.Show(message);
  return PageOutcome::Failed;
}

// The objects of a file one after another, and where each begins.
class PdfObjects {
 public:
  void Add(const std::string& content) {
    places_.push_back(text_.size());
    text_ += Printf("%zu 0 obj\n", places_.size()) + content + "\nendobj\n";
  }
  void AddStream(const std::string& entries, const std::string& bytes) {
    Add("<<" + entries + Printf("/Length %zu>>\nstream\n", bytes.size()) + bytes + "\nendstream");
  }
  std::string Finish(int info) {
    const size_t table = text_.size();
    text_ += Printf("xref\n0 %zu\n0000000000 65535 f \n", places_.size() + 1);
    for (const size_t place : places_) text_ += Printf("%010zu 00000 n \n", place);
    text_ += Printf("trailer\n<</Size %zu/Root 1 0 R/Info %d 0 R>>\nstartxref\n%zu\n%%%%EOF\n", places_.size() + 1,
                    info, table);
    return std::move(text_);
  }

 private:
  std::string text_ = "%PDF-1.4\n%\xe2\xe3\xcf\xd3\n";
  std::vector<size_t> places_;
};

}  // namespace

PageOutcome PrintOnPage(PicturePage& page, const std::function<std::optional<Image>(int side)>& draw,
                        UserMessages& messages) {
  errno = 0;
  if (!page.StartDocument("Printing OpenGL Model") || !page.StartPage()) return Fail(page, messages, "Printing Error:");
  const int side = std::min(page.Width(), page.Height());
  const int left = (page.Width() - side) / 2;
  const int top = (page.Height() - side) / 2;
  const auto image = draw(side);
  if (!image) {
    page.Abandon();
    return PageOutcome::Stopped;
  }
  errno = 0;
  if (!page.BeginRows(side)) return Fail(page, messages, "Error: Unable to set the maping mode for the printer");
  for (int y = 0; y < side; ++y) {
    const std::span<const uint32_t> row(&image->pixels[static_cast<size_t>(y) * static_cast<size_t>(side)],
                                        static_cast<size_t>(side));
    if (!page.CopyRow(left, top + y, row)) return Fail(page, messages, "Bit Blit to Printer Failed:");
  }
  if (!page.EndPage()) return Fail(page, messages, "Error Ending the Page:");
  if (!page.EndDocument()) return Fail(page, messages, "Error Ending the Document:");
  return PageOutcome::Printed;
}

bool PdfPicturePage::StartDocument(const std::string& name) {
  title_ = name;
  return true;
}

int PdfPicturePage::Width() const {
  return static_cast<int>((kA4Width - 2.0 * kMargin) / kMillimetresPerInch * dotsPerInch_);
}

int PdfPicturePage::Height() const {
  return static_cast<int>((kA4Height - 2.0 * kMargin) / kMillimetresPerInch * dotsPerInch_);
}

bool PdfPicturePage::BeginRows(int rows) {
  rows_ = rows;
  top_ = -1;
  return rows > 0;
}

bool PdfPicturePage::CopyRow(int x, int y, std::span<const uint32_t> pixels) {
  if (top_ < 0) {
    try {
      image_ = Image(static_cast<int>(pixels.size()), rows_);
    } catch (const std::bad_alloc&) {
      errno = ENOMEM;
      return false;
    }
    left_ = x;
    top_ = y;
  }
  if (static_cast<int>(pixels.size()) != image_.width || y < top_ || y >= top_ + rows_) return false;
  std::ranges::copy(pixels, &image_.At(0, y - top_));
  return true;
}

bool PdfPicturePage::EndDocument() {
  const auto jpeg = EncodeJpeg(image_);
  if (!jpeg) {
    errno = ENOMEM;
    return false;
  }
  const double pixel = 72.0 / dotsPerInch_;
  const double margin = kMargin * kPointsPerMillimetre;
  const double height = kA4Height * kPointsPerMillimetre;
  PdfObjects objects;
  objects.Add("<</Type/Catalog/Pages 2 0 R>>");
  objects.Add("<</Type/Pages/Kids[3 0 R]/Count 1>>");
  objects.Add(
      Printf("<</Type/Page/Parent 2 0 R/MediaBox[0 0 %.3f %.3f]/Contents 4 0 R/Resources<</XObject<</P 5 0 R>>>>>>",
             kA4Width * kPointsPerMillimetre, height));
  objects.AddStream("", Printf("q %.4f 0 0 %.4f %.4f %.4f cm /P Do Q", image_.width * pixel, image_.height * pixel,
                               margin + left_ * pixel, height - margin - (top_ + image_.height) * pixel));
  objects.AddStream(Printf("/Type/XObject/Subtype/Image/Width %d/Height %d/ColorSpace/DeviceRGB/BitsPerComponent 8"
                           "/Filter/DCTDecode",
                           image_.width, image_.height),
                    *jpeg);
  objects.Add("<</Title(" + title_ + ")>>");
  errno = WriteDerivedFile(path_, objects.Finish(6));
  return errno == 0;
}

}  // namespace marvik
