#include "ui/dialogs/preferences/atom_preferences_dialog.h"

#include <QColorDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QVBoxLayout>
#include <set>

#include "app/preferences/atom_preferences.h"
#include "ui/dialogs/preferences/preference_form.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kCarbonRow = 6;

struct Cell {
  const char* key;
  const char* caption;
  int row;
};
constexpr Cell kRadii[] = {{"atom", "&Atom Radius:", 1}, {"bond", "&Bond Radius:", 2}};
constexpr Cell kColour[] = {{"red", "&Red:", 3}, {"green", "&Green:", 4}, {"blue", "Bl&ue:", 5}};

class AtomPreferencesDialog : public PreferenceForm {
 public:
  AtomPreferencesDialog(QWidget* parentWidget, Workbench& bench)
      : PreferenceForm(parentWidget, tr("Atom Preferences")),
        bench_(bench),
        before_{bench.document.elements, bench.pictures.probability},
        work_(before_) {
    setObjectName(QStringLiteral("atom-preferences"));
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(MakeFields());
    layout->addWidget(new QLabel(tr("Radii in Å. A changed bond radius makes the bonds anew.")));
    connect(AddAction(tr("Load S&ingle Default")), &QPushButton::clicked, this, [this] {
      RestoreLooks(work_.elements, row_);
      ShowRow(row_);
    });
    connect(AddAction(tr("Load All &Defaults")), &QPushButton::clicked, this, [this] {
      for (int row = 0; row < kElementRows; ++row) RestoreLooks(work_.elements, row);
      ShowRow(row_);
    });
    AddSaveAndCancel(tr("&Save"), *layout);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    ShowRow(FirstRow());
    element_->setText(ToText(work_.elements[row_].Symbol()));
    element_->selectAll();
  }
  ~AtomPreferencesDialog() override { Show(before_); }

  std::string Changes() const { return AtomPreferenceChanges(before_, work_); }

  void accept() override {
    if (!RowOfElementOrPeak(ToBytes(element_->text().trimmed()))) {
      const EditArguments unknown{{{"element", ToBytes(element_->text().trimmed())}}, ""};
      Takes(ApplyAtomPreferences(unknown, work_));
      return;
    }
    if (Takes(ApplyAtomPreferences(Fields(), work_))) QDialog::accept();
  }

 private:
  QLayout* MakeFields();
  // Of the picked or first selected atom, else of the first one.
  int FirstRow() const {
    const AtomRecord* atom = bench_.PickedAtom();
    const AtomList& atoms = bench_.document.atoms;
    if (!atom && !atoms.selection.Empty()) atom = atoms.selection[0];
    if (!atom) atom = atoms.head;
    return atom ? atom->element->atomicNumber : kCarbonRow;
  }
  void ShowElementMenu(QWidget& below);
  void ShowRow(int row);
  EditArguments Fields() const;
  void Preview();
  void Show(const AtomPreferences& preferences) const {
    bench_.document.elements = preferences.elements;
    bench_.pictures.probability = preferences.probability;
    bench_.Repaint();
  }

  Workbench& bench_;
  const AtomPreferences before_;
  AtomPreferences work_;
  int row_ = kCarbonRow;
  bool filling_ = false;
  QLineEdit* element_ = nullptr;
  QListWidget* textures_ = nullptr;
  QPushButton* colour_ = nullptr;
};

QLayout* AtomPreferencesDialog::MakeFields() {
  auto* grid = new QGridLayout;
  element_ = AddField("element", QString());
  element_->setMaxLength(2);
  connect(element_, &QLineEdit::textEdited, this, [this](const QString& text) {
    if (const auto row = RowOfElementOrPeak(ToBytes(text.trimmed()))) ShowRow(*row);
  });
  grid->addWidget(CaptionOf("element", tr("&Element:")), 0, 0);
  grid->addWidget(element_, 0, 1);
  auto* choose = new QPushButton(tr("E&l"));
  choose->setObjectName(QStringLiteral("choose"));
  choose->setAutoDefault(false);
  choose->setToolTip(tr("The elements of the structure"));
  connect(choose, &QPushButton::clicked, this, [this, choose] { ShowElementMenu(*choose); });
  grid->addWidget(choose, 0, 2);
  for (const Cell& cell : kRadii) {
    QLineEdit* field = AddField(cell.key, QString());
    field->setMaxLength(kLongestRadiusText);
    connect(field, &QLineEdit::textEdited, this, [this] { Preview(); });
    grid->addWidget(CaptionOf(cell.key, tr(cell.caption)), cell.row, 0);
    grid->addWidget(field, cell.row, 1);
  }
  for (const Cell& cell : kColour) {
    QLineEdit* field = AddField(cell.key, QString());
    field->setMaxLength(3);
    connect(field, &QLineEdit::textEdited, this, [this] { Preview(); });
    grid->addWidget(CaptionOf(cell.key, tr(cell.caption)), cell.row, 0);
    grid->addWidget(field, cell.row, 1);
  }
  colour_ = new QPushButton(tr("&Colour..."));
  colour_->setAutoDefault(false);
  connect(colour_, &QPushButton::clicked, this, [this] {
    const ElementColour now = work_.elements[row_].colour;
    const QColor chosen = QColorDialog::getColor(QColor(RedOf(now), GreenOf(now), BlueOf(now)), this);
    if (!chosen.isValid()) return;
    work_.elements[row_].colour = PackColour(chosen.red(), chosen.green(), chosen.blue());
    ShowRow(row_);
  });
  grid->addWidget(colour_, 3, 2, 3, 1, Qt::AlignVCenter);

  textures_ = new QListWidget;
  textures_->setObjectName(QStringLiteral("texture"));
  for (const char* name : kTextureNames) textures_->addItem(tr(name));
  textures_->setFixedHeight(textures_->sizeHintForRow(0) * kTextures + 2 * textures_->frameWidth());
  connect(textures_, &QListWidget::currentRowChanged, this, [this] { Preview(); });
  auto* caption = new QLabel(tr("&Texture in black and white:"));
  caption->setBuddy(textures_);
  grid->addWidget(caption, 0, 3);
  grid->addWidget(textures_, 1, 3, 5, 1);
  QLineEdit* probability = AddField("probability", QString());
  connect(probability, &QLineEdit::textEdited, this, [this] { Preview(); });
  grid->addWidget(CaptionOf("probability", tr("Thermal Ellipsoid &Probability Level:")), 6, 0, 1, 3);
  grid->addWidget(probability, 6, 3);
  return grid;
}

void AtomPreferencesDialog::ShowElementMenu(QWidget& below) {
  std::set<int> rows;
  for (const AtomRecord* atom : Atoms(bench_.document.atoms)) rows.insert(atom->element->atomicNumber);
  if (rows.empty()) rows = {1, 6, 7, 8};
  QMenu menu(this);
  for (const int row : rows) menu.addAction(ToText(work_.elements[row].Symbol()))->setData(row);
  const QAction* chosen = menu.exec(below.mapToGlobal(QPoint(0, below.height())));
  if (!chosen) return;
  ShowRow(chosen->data().toInt());
  element_->setText(ToText(work_.elements[row_].Symbol()));
}

void AtomPreferencesDialog::ShowRow(int row) {
  row_ = row;
  filling_ = true;
  for (const auto& field : AtomPreferenceFields(work_, row).fields) {
    if (field.key == "texture") {
      textures_->setCurrentRow(QString::fromStdString(field.value).toInt());
    } else if (field.key != "element") {
      findChild<QLineEdit*>(ToText(field.key))->setText(ToText(field.value));
    }
  }
  filling_ = false;
  Preview();
}

EditArguments AtomPreferencesDialog::Fields() const {
  EditArguments fields{{{"element", std::string(work_.elements[row_].Symbol())}}, ""};
  for (const auto& entered : AtomPreferenceFields(work_, row_).fields) {
    if (entered.key == "element") continue;
    const auto* line = findChild<QLineEdit*>(ToText(entered.key));
    fields.fields.push_back(
        {entered.key, line ? ToBytes(line->text().trimmed()) : std::to_string(textures_->currentRow())});
  }
  return fields;
}

// Fields that cannot be taken as they stand wait for the next key.
void AtomPreferencesDialog::Preview() {
  if (filling_) return;
  if (!ApplyAtomPreferences(Fields(), work_)) Show(work_);
  const ElementColour now = work_.elements[row_].colour;
  QPixmap swatch(16, 16);
  swatch.fill(QColor(RedOf(now), GreenOf(now), BlueOf(now)));
  colour_->setIcon(swatch);
}

}  // namespace

std::optional<std::string> AskAtomPreferences(QWidget* parent, Workbench& bench) {
  AtomPreferencesDialog dialog(parent, bench);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return dialog.Changes();
}

}  // namespace marvik
