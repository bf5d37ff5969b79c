#include "ui/texts/key_sheet.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QKeySequence>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "app/commands/command_table.h"
#include "ui/area/atom_keys.h"
#include "ui/text.h"

namespace marvik {
namespace {

struct PictureKey {
  const char* keys;
  const char* what;
};
constexpr PictureKey kPictureKeys[] = {
    {"Arrows", "turn by 1 degree, with Shift by 90"},
    {"Page Up, Page Down", "turn as up and down do, by 10 degrees"},
    {"Home, End", "turn as left and right do, by 10 degrees"},
    {"Insert, Delete", "turn about the viewing axis"},
    {"+, -", "zoom in and out"},
    {"Enter, Escape", "confirm or end what is pending"},
    {"Escape, Space", "stop a long drawing"},
    {"F1", "help on what the pointer or the keyboard is on"},
};

QString Row(const QString& key, const QString& what) {
  return QStringLiteral("<tr><td align='right'><b>%1</b>&nbsp;&nbsp;</td><td>%2</td></tr>")
      .arg(key.toHtmlEscaped(), what.toHtmlEscaped());
}

void AddCommands(QString& html, const std::vector<MenuNode>& nodes) {
  for (const MenuNode& node : nodes) {
    AddCommands(html, node.items);
    const CommandRow* row = FindCommand(node.id);
    if (!row || !row->shortcut[0]) continue;
    html += Row(QKeySequence(QString::fromUtf8(row->shortcut)).toString(QKeySequence::NativeText),
                PlainCommandName(node.text.c_str()));
  }
}

QString SheetText() {
  QString html;
  for (const MenuNode& menu : MenuOf(MenuKind::Bar)) {
    QString rows;
    AddCommands(rows, menu.items);
    if (rows.isEmpty()) continue;
    html += QStringLiteral("<h3>%1</h3><table>%2</table>").arg(PlainCommandName(menu.text.c_str()), rows);
  }
  html += QStringLiteral("<h3>%1</h3><table>").arg(QDialog::tr("Picture"));
  for (const PictureKey& key : kPictureKeys) html += Row(QDialog::tr(key.keys), QDialog::tr(key.what));
  html += QStringLiteral("</table><h3>%1</h3><table>")
              .arg(QDialog::tr("On the atom under the pointer, else the selected ones; with Shift on their fragments"));
  for (const AtomKey& key : AtomKeys()) html += Row(QString::fromUtf8(key.name), QDialog::tr(key.what));
  return html + QStringLiteral("</table>");
}

}  // namespace

void ShowKeySheet(QWidget* parentWidget) {
  QDialog dialog(parentWidget);
  dialog.setWindowTitle(QDialog::tr("Keys"));
  auto* text = new QTextBrowser;
  text->setHtml(SheetText());
  text->setMinimumSize(dialog.fontMetrics().averageCharWidth() * 64, dialog.fontMetrics().height() * 30);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(text);
  layout->addWidget(buttons);
  dialog.exec();
}

}  // namespace marvik
