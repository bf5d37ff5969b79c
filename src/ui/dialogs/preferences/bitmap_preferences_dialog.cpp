#include "ui/dialogs/preferences/bitmap_preferences_dialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "app/preferences/bitmap_preferences.h"
#include "ui/dialogs/preferences/preference_form.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kLongestFileName = 255;
constexpr int kFieldWidth = 46;  // characters

class BitmapPreferencesDialog : public PreferenceForm {
 public:
  BitmapPreferencesDialog(QWidget* parentWidget, Workbench& bench)
      : PreferenceForm(parentWidget, tr("Bitmap Preferences")), bench_(bench), usual_(UsualBitmapPreferences(bench)) {
    setObjectName(QStringLiteral("bitmap"));
    size_ = AddField("size", QString::number(usual_.size));
    points_ = AddField("points", QString::number(usual_.pointSize));
    file_ = AddField("file", PathToText(usual_.file));
    file_->setMaxLength(kLongestFileName);
    file_->setMinimumWidth(file_->fontMetrics().averageCharWidth() * kFieldWidth);
    antiAlias_ = new QCheckBox(tr("&Anti-Aliasing  --  NOT recommended for large bitmaps."));
    antiAlias_->setObjectName(QStringLiteral("antialias"));
    antiAlias_->setChecked(usual_.antiAlias);
    auto* calculate = new QPushButton(tr("&Calculate Proper Font Point"));
    auto* browse = new QPushButton(tr("&Browse..."));
    for (QPushButton* button : {calculate, browse}) button->setAutoDefault(false);
    connect(calculate, &QPushButton::clicked, this, &BitmapPreferencesDialog::Calculate);
    connect(browse, &QPushButton::clicked, this, &BitmapPreferencesDialog::Browse);

    auto* grid = new QGridLayout;
    grid->addWidget(CaptionOf("size", tr("&Height = Width (Pixels)    Ex: 600 input = 600 x 600 bitmap.")), 0, 0, 1, 3);
    grid->addWidget(size_, 1, 0);
    grid->addWidget(CaptionOf("points", tr("Font &Point Size:")), 2, 0);
    grid->addWidget(points_, 3, 0);
    grid->addWidget(calculate, 3, 1);
    grid->addWidget(CaptionOf("file", tr("&Filename:")), 4, 0);
    grid->addWidget(file_, 5, 0, 1, 2);
    grid->addWidget(browse, 5, 2);
    grid->addWidget(antiAlias_, 6, 0, 1, 3);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    AddSaveAndCancel(tr("OK"), *layout);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    setTabOrder(file_, browse);
    setTabOrder(browse, antiAlias_);
    size_->setFocus();
    size_->selectAll();
  }

  EditArguments Fields() const {
    EditArguments fields;
    fields.fields = {{"size", ToBytes(size_->text())},
                     {"points", ToBytes(points_->text())},
                     {"file", PathToBytes(file_->text())},
                     {"antialias", antiAlias_->isChecked() ? "1" : "0"}};
    return fields;
  }

  void accept() override {
    BitmapPreferences preferences;
    if (Takes(ReadBitmapPreferences(Fields(), bench_, usual_, preferences))) QDialog::accept();
  }

 private:
  void Calculate() {
    int points = 0;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const PreferenceFault fault = CalculatePointSize(ToBytes(size_->text()), bench_, points);
    QApplication::restoreOverrideCursor();
    if (Takes(fault)) points_->setText(QString::number(points));
  }

  void Browse() {
    const QString name = QFileDialog::getSaveFileName(this, tr("Save a File"), file_->text(),
                                                      tr("JPEG File") + QStringLiteral(" (*.jpg *.JPG *.jpeg)"));
    if (!name.isEmpty()) file_->setText(name);
  }

  Workbench& bench_;
  const BitmapPreferences usual_;
  QLineEdit* size_ = nullptr;
  QLineEdit* points_ = nullptr;
  QLineEdit* file_ = nullptr;
  QCheckBox* antiAlias_ = nullptr;
};

}  // namespace

std::optional<std::string> AskBitmapPreferences(QWidget* parent, Workbench& bench) {
  BitmapPreferencesDialog dialog(parent, bench);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return JoinEditArguments(dialog.Fields());
}

}  // namespace marvik
