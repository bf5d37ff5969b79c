#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace marvik {

// A rendering context of the compatibility profile that is current on this thread while the object lives. What a
// platform needs for it is its own affair.
class GlContext {
 public:
  virtual ~GlContext() = default;
};

// A context without any window: surfaceless where the system can, else a small off-screen buffer of the default
// display. Nothing, with the message to be shown in `error`, when there is none.
std::unique_ptr<GlContext> MakeOffscreenContext(std::string& error);

// The state that every picture starts from: light, smooth shading, normalised normals, dithering, colour material,
// depth test, culled back faces. False when the current context refuses it.
bool InitGlContext();

// Pixels to draw into, bound while the object lives.
class GlTarget {
 public:
  GlTarget(int width, int height);
  ~GlTarget();
  GlTarget(const GlTarget&) = delete;
  GlTarget& operator=(const GlTarget&) = delete;

  bool IsComplete() const { return complete_; }
  // Red in the lowest byte, then green, blue, alpha; and depths from 0 to 1; rows from the bottom, from the lower left
  // corner on.
  static void Read(int width, int height, std::vector<uint32_t>& colours, std::vector<float>& depths);

 private:
  unsigned frame_ = 0;
  unsigned colour_ = 0;
  unsigned depth_ = 0;
  bool complete_ = false;
};

}  // namespace marvik
