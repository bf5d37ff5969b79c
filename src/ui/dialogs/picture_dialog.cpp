#include "ui/dialogs/picture_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "base/files.h"
#include "ui/text.h"

namespace marvik {
namespace {

class PictureDialog : public QDialog {
 public:
  PictureDialog(QWidget* parent, const PictureRequest& initial);
  PictureRequest Entered() const;
  void accept() override;

 private:
  void MakeFields(const PictureRequest& initial);
  void Browse();
  void ShowExtent();
  void ShowRenderer();
  void TakeJournal(int index);

  QLineEdit* file_;
  QSpinBox* size_;
  QDoubleSpinBox* resolution_;
  QComboBox* background_;
  QComboBox* renderer_;
  QComboBox* frames_;
  QComboBox* journal_;
  QCheckBox* trim_;
  QLabel* extent_;
};

QString Filter() {
  QStringList filters;
  for (const PictureFormat& format : PictureFormats()) {
    const QString kind = format.encode ? QDialog::tr("%1 picture (*.%2)") : QDialog::tr("%1 figure (*.%2)");
    filters.append(kind.arg(ToText(format.name), ToText(format.extension)));
  }
  return filters.join(QStringLiteral(";;"));
}

void PictureDialog::MakeFields(const PictureRequest& initial) {
  file_ = new QLineEdit(PathToText(initial.path));
  file_->setObjectName(QStringLiteral("file"));
  file_->setMinimumWidth(file_->fontMetrics().averageCharWidth() * 48);
  size_ = new QSpinBox;
  size_->setObjectName(QStringLiteral("size"));
  size_->setRange(kSmallestPicture, kLargestPicture);
  size_->setSingleStep(100);
  size_->setSuffix(tr(" pixels"));
  size_->setValue(initial.options.size);
  resolution_ = new QDoubleSpinBox;
  resolution_->setObjectName(QStringLiteral("resolution"));
  resolution_->setLocale(QLocale::c());
  resolution_->setRange(0.0, kLargestResolution);
  resolution_->setDecimals(0);
  resolution_->setSingleStep(50.0);
  resolution_->setSpecialValueText(tr("none"));
  resolution_->setSuffix(tr(" dots per inch"));
  resolution_->setValue(initial.options.resolution);
  background_ = new QComboBox;
  background_->setObjectName(QStringLiteral("background"));
  background_->addItems({tr("Usual: black, in figures white"), tr("Black"), tr("White"), tr("Transparent")});
  background_->setCurrentIndex(static_cast<int>(initial.options.background));
  renderer_ = new QComboBox;
  renderer_->setObjectName(QStringLiteral("renderer"));
  renderer_->addItems({tr("As in the window"), tr("Lit and smooth (OpenGL)")});
  renderer_->setCurrentIndex(initial.options.openGl ? 1 : 0);
  connect(file_, &QLineEdit::textChanged, this, &PictureDialog::ShowRenderer);
  journal_ = new QComboBox;
  journal_->setObjectName(QStringLiteral("journal"));
  journal_->addItem(tr("None"));
  for (const JournalPreset& preset : kJournalPresets)
    journal_->addItem(
        tr("%1, %2 mm at %3 dots per inch").arg(ToText(preset.name)).arg(preset.width).arg(preset.resolution));
  if (initial.options.journal)
    journal_->setCurrentIndex(1 + static_cast<int>(initial.options.journal - kJournalPresets));
  connect(journal_, &QComboBox::activated, this, &PictureDialog::TakeJournal);
  frames_ = new QComboBox;
  frames_->setObjectName(QStringLiteral("frames"));
  frames_->addItems({tr("One picture"), tr("Stereo pair"), tr("Along a, b and c"), tr("A turn, animated PNG")});
  frames_->setCurrentIndex(static_cast<int>(initial.options.frames));
  trim_ = new QCheckBox(tr("&No empty rows"));
  trim_->setObjectName(QStringLiteral("trim"));
  trim_->setChecked(initial.options.trim);
  extent_ = new QLabel;
  connect(size_, &QSpinBox::valueChanged, this, &PictureDialog::ShowExtent);
  connect(resolution_, &QDoubleSpinBox::valueChanged, this, &PictureDialog::ShowExtent);
}

PictureDialog::PictureDialog(QWidget* parent, const PictureRequest& initial) : QDialog(parent) {
  setWindowTitle(tr("Save Picture"));
  setObjectName(QStringLiteral("picture"));
  MakeFields(initial);
  auto* browse = new QPushButton(tr("&Browse..."));
  browse->setAutoDefault(false);
  connect(browse, &QPushButton::clicked, this, &PictureDialog::Browse);
  auto* line = new QHBoxLayout;
  line->addWidget(file_, 1);
  line->addWidget(browse);
  auto* form = new QFormLayout;
  form->addRow(tr("&File:"), line);
  form->addRow(tr("&Journal:"), journal_);
  form->addRow(tr("&Height and width:"), size_);
  form->addRow(tr("&Resolution:"), resolution_);
  form->addRow(QString(), extent_);
  form->addRow(tr("Back&ground:"), background_);
  form->addRow(tr("&Drawn:"), renderer_);
  form->addRow(tr("Fra&mes:"), frames_);
  form->addRow(QString(), trim_);
  static_cast<QLabel*>(form->labelForField(line))->setBuddy(file_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(new QLabel(tr("The picture shows what the window shows.")));
  layout->addLayout(form);
  layout->addWidget(buttons);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  ShowExtent();
  ShowRenderer();
  file_->setFocus();
}

// How large it is on paper; figures have one point for a pixel where nothing else is said.
void PictureDialog::ShowExtent() {
  const double dots = resolution_->value();
  const double side = size_->value() / (dots > 0.0 ? dots : 72.0) * 25.4;
  extent_->setText(dots > 0.0 ? tr("%1 mm on paper").arg(side, 0, 'f', 1)
                              : tr("SVG and PDF: %1 mm on paper").arg(side, 0, 'f', 1));
}

void PictureDialog::TakeJournal(int index) {
  if (index == 0) return;
  PictureOptions options;
  ApplyJournal(kJournalPresets[index - 1], 0.0, options);
  size_->setValue(options.size);
  resolution_->setValue(options.resolution);
  background_->setCurrentIndex(static_cast<int>(options.background));
  trim_->setChecked(options.trim);
}

// Figures made of lines have one way.
void PictureDialog::ShowRenderer() {
  const QString suffix = QFileInfo(file_->text()).suffix().toLower();
  const PictureFormat* format = PictureFormatNamed(ToBytes(suffix));
  renderer_->setEnabled(!format || format->encode);
}

void PictureDialog::Browse() {
  QFileDialog dialog(this, tr("Save Picture"));
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setOption(QFileDialog::DontConfirmOverwrite);
  dialog.setNameFilters(Filter().split(QStringLiteral(";;")));
  const QFileInfo present(file_->text());
  for (const QString& filter : dialog.nameFilters()) {
    if (filter.contains(QStringLiteral("*.") + present.suffix().toLower())) dialog.selectNameFilter(filter);
  }
  dialog.setDirectory(present.absolutePath());
  dialog.selectFile(present.fileName());
  // Another kind gives the name its extension.
  connect(&dialog, &QFileDialog::filterSelected, &dialog, [&dialog](const QString& filter) {
    const QString suffix = filter.section(QStringLiteral("*."), 1).chopped(1);
    dialog.setDefaultSuffix(suffix);
    const QStringList files = dialog.selectedFiles();
    if (!files.isEmpty())
      dialog.selectFile(QFileInfo(files.constFirst()).completeBaseName() + QLatin1Char('.') + suffix);
  });
  if (dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty())
    file_->setText(dialog.selectedFiles().constFirst());
}

PictureRequest PictureDialog::Entered() const {
  PictureRequest request;
  request.options.openGl = renderer_->currentIndex() == 1;
  request.path = PathToBytes(file_->text().trimmed());
  request.options.size = size_->value();
  request.options.resolution = resolution_->value();
  request.options.background = static_cast<PictureBackground>(background_->currentIndex());
  request.options.frames = static_cast<PictureFrames>(frames_->currentIndex());
  request.options.trim = trim_->isChecked();
  if (const int preset = journal_->currentIndex()) request.options.journal = &kJournalPresets[preset - 1];
  return request;
}

void PictureDialog::accept() {
  const QString path = file_->text().trimmed();
  if (path.isEmpty()) {
    file_->setFocus();
    return;
  }
  if (QFileInfo::exists(path)) {
    const QString name = QFileInfo(path).fileName();
    if (QMessageBox::question(this, windowTitle(), tr("%1 is there already. Replace it?").arg(name)) !=
        QMessageBox::Yes)
      return;
  }
  QDialog::accept();
}

}  // namespace

std::optional<std::string> AskPicture(QWidget* parent, const Workbench& bench, const QString& directory,
                                      QString& remembered) {
  PictureRequest initial{bench.pictureFile, ""};
  std::string wrong;
  const auto last = ParsePictureRequest(ToBytes(remembered), bench.pictureFile, wrong);
  const std::string extension = last ? LowerExtensionOf(last->path) : "";
  const std::string name = BaseNameOf(bench.Title()) + "." + (extension.empty() ? "png" : extension);
  initial.path = PathToBytes(QDir(directory).filePath(PathToText(name)));
  PictureDialog dialog(parent, initial);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  const std::string argument = PictureArgument(dialog.Entered());
  remembered = ToText(argument);
  return argument;
}

void RestorePictureOptions(Workbench& bench, const QString& remembered) {
  std::string wrong;
  if (const auto last = ParsePictureRequest(ToBytes(remembered), {}, wrong)) bench.pictureFile = last->options;
}

namespace {

std::optional<std::string> AskNamed(QWidget* parent, const QString& title, const QString& kind,
                                    const QString& extension, const QString& directory, const QString& suggested,
                                    bool save) {
  QFileDialog dialog(parent, title);
  dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
  dialog.setFileMode(save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
  dialog.setNameFilters({kind, QFileDialog::tr("All files (*)")});
  dialog.setDefaultSuffix(extension);
  dialog.setDirectory(directory);
  if (!suggested.isEmpty()) dialog.selectFile(suggested);
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
  return PathToBytes(dialog.selectedFiles().constFirst());
}

}  // namespace

std::optional<std::string> AskStyleFile(QWidget* parent, const QString& directory, bool save) {
  return AskNamed(parent, save ? QFileDialog::tr("Save Picture Style") : QFileDialog::tr("Apply Picture Style"),
                  QFileDialog::tr("Picture styles (*.style)"), QStringLiteral("style"), directory,
                  save ? QStringLiteral("figures.style") : QString(), save);
}

std::optional<std::string> AskRecipeFile(QWidget* parent, const QString& directory, const QString& suggested,
                                         bool save) {
  return AskNamed(parent, save ? QFileDialog::tr("Save Picture Recipe") : QFileDialog::tr("Apply Picture Recipe"),
                  QFileDialog::tr("Picture recipes (*.recipe)"), QStringLiteral("recipe"), directory, suggested, save);
}

}  // namespace marvik
