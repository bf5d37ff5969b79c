#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QTimer>
#include <QWidget>
#include <array>
#include <functional>
#include <memory>
#include <optional>

#include "app/workbench.h"
#include "draw/surface/lit_picture.h"

namespace marvik {

class LabelFont;
class ScanlineCanvas;

// Where the model is drawn. The view's square, whose side is the smaller side of the area in device pixels, lies in the
// middle and gives scale and centre; what reaches beyond it is drawn as far as the area goes.
class DrawingArea : public QWidget {
  Q_OBJECT

 public:
  explicit DrawingArea(Workbench& bench, QWidget* parentWidget = nullptr);
  ~DrawingArea() override;

  // Asks for a new frame. Many requests before the next paint make one.
  void Redraw();
  // The same while the view keeps changing: where a frame takes long it is a wire frame until the changes pause, and a
  // lit one has half the grid.
  void RedrawMoving();
  // While held (calls nest) paints show the frame that is there, because the document may be half changed.
  void HoldFrames(bool on);
  // Wire frame whatever the rendition, for as long as the model is dragged.
  void SetDragging(bool on);
  bool IsDragging() const { return dragging_; }
  // The rubber band in device pixels, drawn by inverting; an empty rectangle is none.
  void SetBand(const QRect& rectangle);
  // Rings about the atom that a pick starts from and the one it has named, by serial number, 0 for none.
  void SetMarks(uint32_t start, uint32_t target);
  // What is drawn at a position of mouse events, in the frame that is shown: the foremost body, stick or label, else
  // the nearest atom or bond within reach.
  FrameHit HitAt(const QPointF& position) const;
  // Where the pointer is, so that what is under it lights up; nothing while it is elsewhere or drags.
  void SetPointer(const std::optional<QPointF>& position);
  // The frame that an Escape key press asks for must not be stopped by that same key.
  void IgnoreHeldKey() { ignoreHeldKey_ = true; }

  // Shows a picture of the view's square, with this colour (0 to 1) around it, in place of the frame until that would
  // change. What the area shows so, to be put back, is null when there is none.
  void ShowPicture(const Image& picture, const std::array<double, 3>& around);
  void SetPicture(const QImage& picture);
  QImage Picture() const { return picture_; }

  // Positions of mouse events and the device pixels in which atoms have their screen positions.
  QPointF ToDevice(const QPointF& position) const { return position * devicePixelRatioF(); }
  QPointF FromDevice(const QPointF& pixel) const { return pixel / devicePixelRatioF(); }
  // Where a place in the frame of the atoms' positions is drawn, in the coordinates of mouse events.
  QPointF PlaceOf(const Cartesian& position) const;

  const QImage& Frame() const { return frame_; }
  int FramesDrawn() const { return framesDrawn_; }
  bool WasInterrupted() const { return interrupted_; }
  // What is asked during a long frame: whether a key that stops it is down.
  void SetKeyProbe(std::function<bool()> probe) { keyProbe_ = std::move(probe); }
  // When that is first asked in a frame and how often then, ms.
  void SetPollTimes(int first, int every) {
    firstPoll_ = first;
    pollEvery_ = every;
  }

  // How long a frame may take before changing views are shown as wire frames, ms.
  void SetSlowFrame(double milliseconds) { slowFrame_ = milliseconds; }

  QSize sizeHint() const override;

 Q_SIGNALS:
  // A paint has reached the window.
  void Painted();
  void Interrupted();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  QSize DeviceSize() const;
  void FitToSize();
  // Gliding: labels may be on their way for a few frames more; otherwise they are put in their places.
  void DrawFrame(bool gliding);
  // True where rays were needed.
  bool DrawSurface(const RenderOptions& options, bool coarse);
  bool IsLit() const;
  QColor Background() const;
  bool KeepGoing();
  void InvertBand(QImage& shown) const;
  void PaintMarks(QPainter& painter) const;
  void PaintHover(QPainter& painter) const;
  void PaintSelectedNames(QPainter& painter) const;
  void PaintName(QPainter& painter, const AtomRecord& atom) const;
  EllipseShape BodyOf(const AtomRecord& atom) const;
  void PaintHint(QPainter& painter) const;
  QStringList HintLines() const;

  Workbench& bench_;
  QImage frame_;
  QImage picture_;     // as large as the frame
  QImage underneath_;  // the frame that the picture was shown on
  std::unique_ptr<LabelFont> font_;
  std::unique_ptr<ScanlineCanvas> canvas_;
  LitCache surface_;
  double labelTime_ = 0.0;    // ms that placing the labels over a lit surface took
  double coarseFrame_ = 0.0;  // ms that the last lit frame of half the grid took
  bool stale_ = true;
  int held_ = 0;
  bool dragging_ = false;
  bool moving_ = false;
  double fullFrame_ = 0.0;  // ms that the last frame in the chosen rendition took
  double slowFrame_ = 60.0;
  QTimer restTimer_;
  QTimer glideTimer_;  // running while labels are on their way
  QRect band_;
  uint32_t startMark_ = 0;
  uint32_t targetMark_ = 0;
  std::optional<QPointF> pointer_;

  QElapsedTimer clock_;
  // Frames shorter than this are not worth stopping, and asking for the keyboard costs as much as drawing many atoms.
  int firstPoll_ = 60;
  int pollEvery_ = 20;
  qint64 nextPoll_ = 0;
  int asked_ = 0;
  bool ignoreHeldKey_ = false;
  bool interrupted_ = false;
  int framesDrawn_ = 0;
  std::function<bool()> keyProbe_;
};

}  // namespace marvik
