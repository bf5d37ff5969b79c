#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <vector>

#include "base/words.h"
#include "crystal/cell_metric.h"
#include "crystal/displacement.h"
#include "draw/view/best_view.h"
#include "language/residues.h"
#include "picture/picture_drawing.h"
#include "picture/picture_turn.h"

namespace marvik {
namespace {

constexpr double kLeastWay = 1e-4;  // Å or Å², that is seen at all

// An atom of the subject and how it differs in the other model.
struct Way {
  AtomRecord* atom = nullptr;
  Fractional fract;  // here
  Cartesian position;
  std::array<double, 6> u{};
  Fractional by;  // from there
  std::array<double, 6> uThere{};
};

// The operator, whole cells apart, that made an image; null for what is none.
const SymmetryOperator* OperatorOf(const Document& document, const AtomRecord& atom) {
  const int code = atom.symmetryCode / 1000 - 1;
  return code >= 0 && static_cast<size_t>(code) < document.symmetry.size()
             ? &document.symmetry[static_cast<size_t>(code)]
             : nullptr;
}

// Puts the atoms back where they were when it ends.
class Swing {
 public:
  Swing(Document& document, const Document& other) : document_(document) {
    std::map<std::string, const AtomRecord*> there;
    for (const AtomRecord* atom : Atoms(other.atoms)) there[LowerCase(QualifiedName(other, *atom))] = atom;
    std::map<uint32_t, size_t> ways;  // by the atom's serial
    for (AtomRecord* atom : Atoms(document.atoms)) {
      const auto match = there.find(LowerCase(QualifiedName(document, *atom)));
      if (atom->generated || atom->IsPeak() || match == there.end()) continue;
      ways[atom->serial] = ways_.size();
      AddWay(*atom, *match->second);
    }
    if (ways_.empty()) return;
    const std::array<double, 3> reciprocal = MakeMetric(document.cell).reciprocalEdges;
    for (AtomRecord* atom : Atoms(document.atoms)) {
      const SymmetryOperator* op = atom->generated ? OperatorOf(document, *atom) : nullptr;
      const auto source = ways.find(atom->sourceSerial);
      if (!op || source == ways.end()) continue;
      Way way = ways_[source->second];
      way.atom = atom;
      way.fract = atom->fract;
      way.position = atom->position;
      way.u = atom->u;
      way.by = op->Apply(way.by) - op->Apply(Fractional{});
      if (atom->IsAnisotropic()) way.uThere = RotatedTensor(way.uThere, *op, reciprocal);
      ways_.push_back(way);
    }
  }
  ~Swing() { Show(0.0); }
  Swing(const Swing&) = delete;
  Swing& operator=(const Swing&) = delete;

  bool Moves() const { return moves_; }
  bool Matches() const { return !ways_.empty(); }
  // `share` 0: as it is here, 1: as it is there.
  void Show(double share) {
    for (const Way& way : ways_) {
      const Fractional by = way.by * share;
      way.atom->fract = way.fract + by;
      way.atom->position = way.position + document_.matrix * by;
      for (size_t i = 0; i < 6; ++i) way.atom->u[i] = way.u[i] + (way.uThere[i] - way.u[i]) * share;
    }
  }

 private:
  void AddWay(AtomRecord& atom, const AtomRecord& there) {
    Way way{&atom, atom.fract, atom.position, atom.u, there.fract - atom.fract, atom.u};
    // The same molecule may stand in another cell.
    for (int i = 0; i < 3; ++i) way.by[i] -= std::round(way.by[i]);
    if (!IsFinite(way.by)) way.by = {};
    if (atom.IsAnisotropic() == there.IsAnisotropic()) way.uThere = there.u;
    moves_ = moves_ || Length(document_.matrix * way.by) > kLeastWay;
    for (size_t i = 0; i < 6; ++i) moves_ = moves_ || std::abs(way.uThere[i] - way.u[i]) > kLeastWay;
    ways_.push_back(way);
  }

  Document& document_;
  std::vector<Way> ways_;
  bool moves_ = false;
};

}  // namespace

PictureBytes DrawSwing(PictureSubject& subject, const PictureOptions& options) {
  Swing swing(subject.document, *subject.swingFrom);
  if (!swing.Matches()) return RefusePicture(subject.messages, "No atom has the same name in both models.");
  if (!swing.Moves()) return RefusePicture(subject.messages, "The two models have all their atoms at the same places.");
  // Where the view holds the whole of the one model it is to hold the other, too.
  ViewState here = subject.view;
  FitFrame(here, subject.document, subject.look);
  if (std::abs(here.viewRadius - subject.view.viewRadius) < 1e-6 * here.viewRadius) {
    ViewState there = subject.view;
    swing.Show(1.0);
    FitFrame(there, subject.document, subject.look);
    subject.view.FitView(std::max(here.viewRadius, there.viewRadius + Distance(there.viewCentre, here.viewCentre)),
                         here.viewCentre);
  }
  const ViewState view = subject.view;
  return DrawFilm(subject, options, kSwingFrames, [&](size_t i) {
    subject.view = view;
    // Nothing turns, so that labels need not look for other places.
    subject.look.carriedLabels = i > 0;
    swing.Show(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / kSwingFrames));
  });
}

}  // namespace marvik
