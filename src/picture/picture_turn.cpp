#include "picture/picture_turn.h"

#include <algorithm>
#include <cstdint>
#include <vector>
#include <zlib.h>

#include "draw/canvas/png_writer.h"
#include "draw/view/best_view.h"
#include "picture/picture_drawing.h"

namespace marvik {
namespace {

constexpr int kFrameTime = 60;  // milliseconds
constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n", 8);

std::string BigEndian(uint32_t value, int bytes = 4) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift & 255);
  return text;
}

void AppendChunk(std::string& file, std::string_view type, std::string_view data) {
  file += BigEndian(static_cast<uint32_t>(data.size()));
  const size_t start = file.size();
  file.append(type).append(data);
  const uLong sum =
      crc32(0, reinterpret_cast<const Bytef*>(file.data() + start), static_cast<uInt>(file.size() - start));
  file += BigEndian(static_cast<uint32_t>(sum));
}

// Type, data and the whole of the next chunk, which is taken off; a type of no length where there is none.
struct Chunk {
  std::string_view type, data, whole;
};
Chunk TakeChunk(std::string_view& file) {
  constexpr size_t kAround = 12;  // length, type and check sum
  if (file.size() < kAround) return {};
  size_t length = 0;
  for (size_t i = 0; i < 4; ++i) length = length << 8 | static_cast<unsigned char>(file[i]);
  if (length > file.size() - kAround) return {};
  const Chunk chunk{file.substr(4, 4), file.substr(8, length), file.substr(0, length + kAround)};
  file.remove_prefix(chunk.whole.size());
  return chunk;
}

}  // namespace

std::string AnimatedPng(std::span<const std::string> frames, int milliseconds) {
  std::string file(kSignature);
  uint32_t sequence = 0;
  for (const std::string& frame : frames) {
    std::string_view rest = frame;
    if (!rest.starts_with(kSignature)) return "";
    rest.remove_prefix(kSignature.size());
    const bool first = &frame == &frames.front();
    bool begun = false;
    std::string_view sides;
    for (Chunk chunk = TakeChunk(rest); !chunk.type.empty() && chunk.type != "IEND"; chunk = TakeChunk(rest)) {
      if (chunk.type == "IHDR") sides = chunk.data.substr(0, 8);
      if (chunk.type == "IDAT" && !std::exchange(begun, true)) {
        if (first) AppendChunk(file, "acTL", BigEndian(static_cast<uint32_t>(frames.size())) + BigEndian(0));
        // Sides, no offset, the time as a fraction, and what comes next covers all of it.
        AppendChunk(file, "fcTL",
                    BigEndian(sequence++) + std::string(sides) + BigEndian(0) + BigEndian(0) +
                        BigEndian(static_cast<uint32_t>(milliseconds), 2) + BigEndian(1000, 2) + BigEndian(0, 2));
      }
      if (chunk.type == "IDAT" && !first) {
        AppendChunk(file, "fdAT", BigEndian(sequence++) + std::string(chunk.data));
      } else if (first) {
        file += chunk.whole;
      }
    }
    if (!begun) return "";
  }
  AppendChunk(file, "IEND", "");
  return file;
}

PictureBytes DrawFilm(PictureSubject& subject, const PictureOptions& options, size_t frames,
                      const std::function<void(size_t frame)>& prepare) {
  const ViewState before = subject.view;
  const int total = static_cast<int>(frames);
  // So that labels follow their atoms from frame to frame.
  subject.look.steadyLabels = true;
  InteractiveRenderer renderer;
  std::vector<std::string> drawn;
  while (drawn.size() < frames && subject.messages.ReportProgress(static_cast<int>(drawn.size()), total)) {
    prepare(drawn.size());
    const auto image = DrawPixels(subject, options, renderer);
    if (!image) break;
    auto bytes = EncodePng(*image, {options.resolution, false});
    if (!bytes) throw std::bad_alloc();
    drawn.push_back(std::move(*bytes));
  }
  subject.messages.ReportProgress(total, total);
  subject.view = before;
  if (drawn.size() < frames) return {};
  return AnimatedPng(drawn, kFrameTime);
}

PictureBytes DrawTurn(PictureSubject& subject, const PictureOptions& options) {
  std::vector<ViewState> views(kTurnFrames, subject.view);
  double radius = 0.0;
  for (size_t i = 0; i < views.size(); ++i) {
    views[i].RotateView(360.0 / kTurnFrames * static_cast<double>(i), {0, 1, 0}, true);
    FitFrame(views[i], subject.document, subject.look);
    // All of them about the middle of the first.
    radius = std::max(radius, views[i].viewRadius + Distance(views[i].viewCentre, views[0].viewCentre));
  }
  const Cartesian middle = views[0].viewCentre;
  return DrawFilm(subject, options, views.size(), [&](size_t i) {
    subject.view = views[i];
    subject.view.FitView(radius, middle);
  });
}

}  // namespace marvik
