#pragma once

#include <QPointer>
#include <QWidget>
#include <map>

#include "app/reports.h"

class QDoubleSpinBox;
class QPlainTextEdit;
class QPushButton;

namespace marvik {

// A report in a window of its own beside the model. It stays while other commands run, and tells of the structure as it
// is now; what it is about (the atoms of a plane, the atom) stays.
class ReportWindow : public QWidget {
  Q_OBJECT

 public:
  // `bench` must outlive the window.
  ReportWindow(Workbench& bench, QWidget* parentWidget);

  void Show(const ReportRequest& request);
  // Composes the report anew; the place to which it was scrolled stays.
  void Follow();

  QString Text() const;
  void CopyText() const;
  void CopyTable() const;
  // By the extension ".csv", else as text. False after a message.
  bool SaveTo(const QString& path);
  // The distance of an environment report; hidden in the others.
  QDoubleSpinBox* RadiusBox() const { return radius_; }

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void AskAndSave();
  void Print();

  Workbench& bench_;
  ReportRequest request_;
  std::optional<Report> report_;
  QPlainTextEdit* text_ = nullptr;
  QWidget* radiusLine_ = nullptr;
  QDoubleSpinBox* radius_ = nullptr;
  std::vector<QPushButton*> needReport_;
};

// One window for each kind of report.
class ReportWindows : public QObject {
 public:
  ReportWindows(Workbench& bench, QWidget& owner) : QObject(&owner), bench_(bench), owner_(owner) {}

  void Show(const ReportRequest& request);
  void Follow();
  // Null when that window is not open.
  ReportWindow* Window(ReportKind kind) const;

 private:
  Workbench& bench_;
  QWidget& owner_;
  std::map<ReportKind, QPointer<ReportWindow>> windows_;
};

}  // namespace marvik
