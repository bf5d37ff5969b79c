#include "picture/label_report.h"

#include <cmath>

#include "base/numbers.h"

namespace marvik {
namespace {

// Names are bytes of a file: what JSON cannot hold as it is is escaped, what is no ASCII becomes "?".
std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += byte < 0x20 || byte > 0x7e ? '?' : c;
  }
  return quoted + '"';
}

class Lists {
 public:
  Lists(double unit, double top) : unit_(unit), top_(top) {}
  void Begin(const char* name) {
    text_ += text_.empty() ? "{" : "\n ],\n";
    AppendPrintf(text_, "\"%s\": [", name);
    first_ = true;
  }
  std::string& Item() {
    text_ += first_ ? "\n  " : ",\n  ";
    first_ = false;
    return text_;
  }
  double Points(double v) const { return std::isfinite(v) ? v * unit_ : 0.0; }
  double Row(double y) const { return Points(y - top_); }
  std::string Axis(CanvasPoint p) const { return Printf("[%.3f, %.3f]", Points(p.x), Points(p.y)); }
  std::string Point(CanvasPoint p) const { return Axis({p.x, p.y - top_}); }
  std::string Finish() { return text_ + "\n ]}\n"; }

 private:
  double unit_;
  double top_;
  std::string text_;
  bool first_ = true;
};

}  // namespace

std::string LabelReport(const FrameLayout& layout, double pointsPerUnit, double top) {
  Lists lists(pointsPerUnit, top);
  lists.Begin("labels");
  for (const PlacedLabel& label : layout.labels) {
    lists.Item() +=
        "{\"name\": " + Quoted(label.atom->name) +
        Printf(", \"box\": [%.3f, %.3f, %.3f, %.3f]", lists.Points(label.at.x), lists.Row(label.at.y - label.size.y),
               lists.Points(label.at.x + label.size.x), lists.Row(label.at.y)) +
        ", \"leader\": " + (label.leader ? "true}" : "false}");
  }
  lists.Begin("left_out");
  for (const AtomRecord* atom : layout.leftOut) lists.Item() += Quoted(atom->name);
  lists.Begin("bodies");
  for (const FrameLayout::Body& body : layout.bodies) {
    lists.Item() += "{\"name\": " + Quoted(body.atom->name) + ", \"centre\": " + lists.Point(body.shape.centre) +
                    ", \"axes\": [" + lists.Axis(body.shape.p) + ", " + lists.Axis(body.shape.q) + "]}";
  }
  lists.Begin("bonds");
  for (const FrameLayout::Bond& bond : layout.bonds) {
    lists.Item() += "{\"names\": [" + Quoted(bond.bond->owner->name) + ", " + Quoted(bond.bond->partner->name) +
                    "], \"ends\": [" + lists.Point(bond.line.a) + ", " + lists.Point(bond.line.b) +
                    Printf("], \"width\": %.3f}", lists.Points(2.0 * bond.line.halfWidth));
  }
  return lists.Finish();
}

}  // namespace marvik
