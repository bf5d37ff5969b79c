#include "picture/tiff_writer.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <tiffio.h>
#include <vector>

#include "base/late_library.h"

namespace marvik {
namespace {

// clang-format off
#define MARVIK_TIFF_CALLS(X) \
  X(TIFFClientOpen) X(TIFFClose) X(TIFFDefaultStripSize) X(TIFFFlush) X(TIFFSetErrorHandler) X(TIFFSetField) \
  X(TIFFSetWarningHandler) X(TIFFWriteScanline)
// clang-format on
MARVIK_TIFF_CALLS(MARVIK_LATE_CALL)

// The library writes to what it thinks is a file.
struct Memory {
  std::string bytes;
  size_t at = 0;
};

tmsize_t Read(thandle_t handle, void* to, tmsize_t count) {
  auto& memory = *static_cast<Memory*>(handle);
  const size_t taken =
      std::min(static_cast<size_t>(count), memory.bytes.size() - std::min(memory.at, memory.bytes.size()));
  std::memcpy(to, memory.bytes.data() + memory.at, taken);
  memory.at += taken;
  return static_cast<tmsize_t>(taken);
}

tmsize_t Write(thandle_t handle, void* from, tmsize_t count) {
  auto& memory = *static_cast<Memory*>(handle);
  try {
    const size_t end = memory.at + static_cast<size_t>(count);
    if (end > memory.bytes.size()) memory.bytes.resize(end);
    std::memcpy(memory.bytes.data() + memory.at, from, static_cast<size_t>(count));
    memory.at = end;
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return count;
}

toff_t Seek(thandle_t handle, toff_t offset, int whence) {
  auto& memory = *static_cast<Memory*>(handle);
  const size_t base = whence == SEEK_CUR ? memory.at : whence == SEEK_END ? memory.bytes.size() : 0;
  memory.at = base + static_cast<size_t>(offset);
  return memory.at;
}

int Close(thandle_t) {
  return 0;
}

toff_t Size(thandle_t handle) {
  return static_cast<Memory*>(handle)->bytes.size();
}

bool WriteRows(TIFF* tiff, const Image& image) {
  std::vector<unsigned char> row(static_cast<size_t>(image.width) * 3);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const Rgb colour = ColourOf(image.At(x, y));
      const auto at = static_cast<size_t>(x) * 3;
      row[at] = colour.r;
      row[at + 1] = colour.g;
      row[at + 2] = colour.b;
    }
    if (TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(y), 0) < 0) return false;
  }
  return TIFFFlush(tiff) == 1;
}

}  // namespace

bool TiffIsThere() {
  static const bool loaded = [] {
    static LateLibrary library{"libtiff.so.6", "libtiff.so.5"};
    MARVIK_TIFF_CALLS(MARVIK_FIND_CALL)
    if (!library.IsWhole()) return false;
    // What goes wrong is told by what the calls return.
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    return true;
  }();
  return loaded;
}

std::optional<std::string> EncodeTiff(const Image& image, double dotsPerInch) {
  Memory memory;
  const std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(
      TIFFClientOpen("picture", "w", &memory, Read, Write, Seek, Close, Size, nullptr, nullptr),
      [](TIFF* open) { TIFFClose(open); });
  if (!tiff) return {};
  TIFF* t = tiff.get();
  TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(image.width));
  TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(image.height));
  TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  TIFFSetField(t, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
  if (dotsPerInch > 0.0) {
    TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(t, TIFFTAG_XRESOLUTION, dotsPerInch);
    TIFFSetField(t, TIFFTAG_YRESOLUTION, dotsPerInch);
  }
  if (!WriteRows(t, image)) return {};
  return std::move(memory.bytes);
}

}  // namespace marvik
