#include "ui/dialogs/preferences/opengl_preferences_dialog.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>
#include <QVBoxLayout>

#include "app/commands/gl_commands.h"
#include "app/preferences/opengl_preferences.h"
#include "draw/labels/font_files.h"
#include "ui/area/drawing_area.h"
#include "ui/dialogs/preferences/preference_form.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kPreviewDelay = 200;  // ms without a change
constexpr int kPreviewTime = 1500;  // ms that drawing one may take
constexpr int kComboWidth = 44;     // characters

struct Cell {
  const char* key;
  const char* caption;
};
constexpr Cell kColour[] = {{"red", "&Red:"}, {"green", "&Green:"}, {"blue", "&Blue:"}};

class OpenGlPreferencesDialog : public PreferenceForm {
 public:
  OpenGlPreferencesDialog(QWidget* parentWidget, Workbench& bench, DrawingArea& area)
      : PreferenceForm(parentWidget, tr("OpenGL Preferences")),
        bench_(bench),
        area_(area),
        stored_(bench.GlSettings()),
        pictureBefore_(area.Picture()) {
    setObjectName(QStringLiteral("opengl-preferences"));
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(MakeFields());
    note_ = new QLabel;
    note_->setWordWrap(true);
    note_->setMinimumHeight(2 * note_->fontMetrics().lineSpacing());
    layout->addWidget(note_);
    connect(AddAction(tr("Load &Defaults")), &QPushButton::clicked, this, &OpenGlPreferencesDialog::LoadDefaults);
    AddSaveAndCancel(tr("&Save"), *layout);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    delay_.setSingleShot(true);
    delay_.setInterval(kPreviewDelay);
    connect(&delay_, &QTimer::timeout, this, &OpenGlPreferencesDialog::Preview);
    Fill(stored_);
    if (!IsOpenGlRendition(bench_)) {
      note_->setText(tr("The view shows these in the renditions Ball and Stick and Thermal Ellipsoid."));
    }
    layers_->setFocus();
    layers_->selectAll();
  }

  ~OpenGlPreferencesDialog() override {
    bench_.GlSettings() = stored_;
    if (result() != Accepted) area_.SetPicture(pictureBefore_);
  }

  std::string Text() const { return JoinEditArguments(Fields()); }

  void accept() override {
    OpenGlSettings settings = stored_;
    if (Takes(ApplyOpenGlPreferences(Fields(), settings))) QDialog::accept();
  }

 private:
  QLayout* MakeFields();
  void Fill(const OpenGlSettings& settings);
  void LoadDefaults() {
    stored_ = DefaultOpenGlSettings();
    Fill(stored_);
    Changed();
  }
  EditArguments Fields() const;
  void Changed() {
    delay_.start();
    ShowSwatch();
  }
  void ShowSwatch();
  void ChooseColour();
  void Preview();

  Workbench& bench_;
  DrawingArea& area_;
  OpenGlSettings stored_;
  const QImage pictureBefore_;
  QTimer delay_;
  QComboBox* font_ = nullptr;
  QLineEdit* layers_ = nullptr;
  QCheckBox* cut_ = nullptr;
  QPushButton* colour_ = nullptr;
  QLabel* note_ = nullptr;
};

QLayout* OpenGlPreferencesDialog::MakeFields() {
  auto* grid = new QGridLayout;
  font_ = new QComboBox;
  font_->setObjectName(QStringLiteral("font"));
  font_->setEditable(true);
  font_->setInsertPolicy(QComboBox::NoInsert);
  font_->lineEdit()->setMaxLength(kLongestFontPath);
  font_->setMinimumContentsLength(kComboWidth);
  font_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  for (const std::string& file : InstalledTrueTypeFiles()) font_->addItem(PathToText(file));
  connect(font_, &QComboBox::currentTextChanged, this, [this] { Changed(); });
  auto* fontCaption = new QLabel(tr("OpenGL TT &Font"));
  fontCaption->setBuddy(font_);
  grid->addWidget(fontCaption, 0, 0);
  grid->addWidget(font_, 0, 1, 1, 7);

  grid->addWidget(new QLabel(tr("Background Color (RGB)")), 1, 0);
  int column = 1;
  for (const Cell& cell : kColour) {
    QLineEdit* field = AddField(cell.key, QString());
    field->setMaxLength(3);
    field->setFixedWidth(field->fontMetrics().horizontalAdvance(QStringLiteral("000000")));
    connect(field, &QLineEdit::textEdited, this, [this] { Changed(); });
    grid->addWidget(CaptionOf(cell.key, tr(cell.caption)), 1, column++, Qt::AlignRight);
    grid->addWidget(field, 1, column++);
  }
  colour_ = new QPushButton(tr("&Colour..."));
  colour_->setAutoDefault(false);
  connect(colour_, &QPushButton::clicked, this, &OpenGlPreferencesDialog::ChooseColour);
  grid->addWidget(colour_, 1, column);

  layers_ = AddField("layers", QString());
  layers_->setMaxLength(4);
  connect(layers_, &QLineEdit::textEdited, this, [this] { Changed(); });
  grid->addWidget(CaptionOf("layers", tr("&Number of Blending Layers for Anti-Aliasing")), 2, 0, 1, 4);
  grid->addWidget(layers_, 2, 4, 1, 3);
  cut_ = new QCheckBox(tr("Cut Section from &Thermal Ellipsoids?"));
  cut_->setObjectName(QStringLiteral("cut"));
  connect(cut_, &QCheckBox::toggled, this, [this] { Changed(); });
  grid->addWidget(cut_, 3, 0, 1, 8);
  return grid;
}

void OpenGlPreferencesDialog::Fill(const OpenGlSettings& settings) {
  const QSignalBlocker quietFont(font_);
  const QSignalBlocker quietCut(cut_);
  for (const auto& field : OpenGlPreferenceFields(settings).fields) {
    if (auto* line = findChild<QLineEdit*>(ToText(field.key))) line->setText(ToText(field.value));
  }
  font_->setCurrentText(PathToText(settings.fontPath));
  cut_->setChecked(settings.cutSection);
  ShowSwatch();
}

EditArguments OpenGlPreferencesDialog::Fields() const {
  EditArguments fields;
  // What counts already stands behind what is entered.
  for (const auto& field : OpenGlPreferenceFields(stored_).fields) {
    const auto* line = findChild<QLineEdit*>(ToText(field.key));
    fields.fields.push_back({field.key, line ? ToBytes(line->text().trimmed()) : field.value});
  }
  for (auto& field : fields.fields) {
    if (field.key == "font") field.value = PathToBytes(font_->currentText());
    if (field.key == "cut") field.value = cut_->isChecked() ? "1" : "0";
  }
  return fields;
}

void OpenGlPreferencesDialog::ShowSwatch() {
  OpenGlSettings settings = stored_;
  ApplyOpenGlPreferences(Fields(), settings);
  QPixmap swatch(16, 16);
  swatch.fill(QColor::fromRgbF(static_cast<float>(settings.background[0]), static_cast<float>(settings.background[1]),
                               static_cast<float>(settings.background[2])));
  colour_->setIcon(swatch);
}

void OpenGlPreferencesDialog::ChooseColour() {
  const auto part = [this](const char* key) { return findChild<QLineEdit*>(QString::fromUtf8(key)); };
  const QColor now(std::min(part("red")->text().toInt(), 255), std::min(part("green")->text().toInt(), 255),
                   std::min(part("blue")->text().toInt(), 255));
  const QColor chosen = QColorDialog::getColor(now, this);
  if (!chosen.isValid()) return;
  part("red")->setText(QString::number(chosen.red()));
  part("green")->setText(QString::number(chosen.green()));
  part("blue")->setText(QString::number(chosen.blue()));
  Changed();
}

// One that would take long is shown as far as it came.
void OpenGlPreferencesDialog::Preview() {
  if (!IsOpenGlRendition(bench_) || !bench_.document.atoms.head) return;
  OpenGlSettings settings = stored_;
  if (ApplyOpenGlPreferences(Fields(), settings)) return;
  bench_.GlSettings() = settings;
  QElapsedTimer clock;
  clock.start();
  const GlPicture picture = DrawScreenPicture(bench_, true, [&clock] { return clock.elapsed() < kPreviewTime; });
  if (picture.image) area_.ShowPicture(*picture.image, settings.background);
  const QString partly =
      picture.image && !picture.complete ? tr("This is a part; the whole picture takes longer.") : QString();
  note_->setText(picture.image ? partly : ToText(picture.error));
}

}  // namespace

std::optional<std::string> AskOpenGlPreferences(QWidget* parent, Workbench& bench, DrawingArea& area) {
  OpenGlPreferencesDialog dialog(parent, bench, area);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return dialog.Text();
}

}  // namespace marvik
