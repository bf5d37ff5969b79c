#include "ui/texts/help_text.h"

#include <QImage>
#include <QRegularExpression>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextImageFormat>
#include <QTextList>
#include <QTextTable>
#include <QUrl>
#include <algorithm>

namespace marvik {
namespace {

constexpr QRgb kHeadingColour = 0xff1f3f6f;
constexpr QRgb kLinkColour = 0xff1f4fa0;
constexpr QRgb kCodeGround = 0xfff0f1f3;
constexpr QRgb kRule = 0xffb8bec8;
constexpr QRgb kInk = 0xff000000;
constexpr QLatin1String kCodeFamily("DejaVu Sans Mono");
constexpr double kHeadingSizes[] = {2.1, 1.5, 1.15, 1.0};

bool IsCode(const QTextBlock& block) {
  const QTextBlockFormat format = block.blockFormat();
  return format.hasProperty(QTextFormat::BlockCodeFence) || format.hasProperty(QTextFormat::BlockCodeLanguage);
}

QTextBlockFormat BlockFormatOf(const QTextBlock& block, double points) {
  QTextBlockFormat format = block.blockFormat();
  const int level = format.headingLevel();
  const bool inTable = QTextCursor(block).currentTable() != nullptr;
  const double gap = points * 0.75;
  format.setTopMargin(level ? points * (level == 1 ? 1.2 : level == 2 ? 2.0 : 1.5) : 0);
  format.setBottomMargin(level ? gap : inTable ? 0 : block.textList() ? gap * 0.35 : gap);
  const bool isPicture = !block.begin().atEnd() && block.begin().fragment().charFormat().isImageFormat();
  format.setLineHeight(isPicture ? 100 : inTable ? 110 : 120, QTextBlockFormat::ProportionalHeight);
  if (IsCode(block)) {
    const bool last = !block.next().isValid() || !IsCode(block.next());
    format.setBackground(QColor::fromRgb(kCodeGround));
    format.setLeftMargin(points);
    format.setTopMargin(0);
    format.setBottomMargin(last ? gap : 0);
    format.setNonBreakableLines(true);
  }
  return format;
}

QTextCharFormat CharFormatOf(const QTextCharFormat& was, const QTextBlock& block, double points) {
  QTextCharFormat format = was;
  const int level = block.blockFormat().headingLevel();
  const bool code = was.fontFixedPitch() || IsCode(block);
  double size = points;
  if (level) size *= kHeadingSizes[std::min(level, 4) - 1];
  if (code) size *= level ? 1.0 : 0.92;
  format.clearProperty(QTextFormat::FontSizeAdjustment);
  // Spaced letters make no ligatures, by which a search for "refine" in the pages would fail.
  format.setFontLetterSpacingType(QFont::AbsoluteSpacing);
  format.setFontLetterSpacing(0.05);
  format.setFontPointSize(size);
  format.setForeground(QColor::fromRgb(was.isAnchor() ? kLinkColour : level ? kHeadingColour : kInk));
  if (was.isAnchor()) format.setFontUnderline(false);
  if (code) format.setFontFamilies(QStringList{kCodeFamily});
  if (level) format.setFontWeight(QFont::Bold);
  return format;
}

// Its own size, no wider than the share that its title asks for.
void FitPicture(QTextImageFormat& picture, const QTextDocument& document, double width) {
  const QUrl url = document.baseUrl().resolved(QUrl(picture.name()));
  const QImage image(url.isLocalFile() ? url.toLocalFile() : picture.name());
  if (image.isNull()) return;
  const double share = picture.stringProperty(QTextFormat::ImageTitle).toDouble();
  const double wide = std::min<double>(width * (share > 0 ? share : 100) / 100, image.width());
  picture.setWidth(wide);
  picture.setHeight(wide * image.height() / image.width());
}

void StyleFragments(QTextDocument& document, const QTextBlock& block, double points, double width) {
  struct Run {
    int from, to;
    QTextCharFormat format;
  };
  QList<Run> runs;
  for (auto at = block.begin(); !at.atEnd(); ++at) {
    const QTextFragment fragment = at.fragment();
    QTextCharFormat format = CharFormatOf(fragment.charFormat(), block, points);
    if (format.isImageFormat()) {
      QTextImageFormat picture = format.toImageFormat();
      FitPicture(picture, document, width);
      format = picture;
    }
    runs.push_back({fragment.position(), fragment.position() + fragment.length(), format});
  }
  QTextCursor cursor(block);
  for (const Run& run : runs) {
    cursor.setPosition(run.from);
    cursor.setPosition(run.to, QTextCursor::KeepAnchor);
    cursor.setCharFormat(run.format);
  }
}

// A table without heads has an empty row in their place in Markdown.
bool HasHeads(const QTextTable& table) {
  for (int column = 0; column < table.columns(); ++column) {
    const QTextTableCell cell = table.cellAt(0, column);
    if (cell.firstCursorPosition() != cell.lastCursorPosition()) return true;
  }
  return false;
}

void StyleTable(QTextTable& table, double points) {
  const bool hasHeads = HasHeads(table);
  if (!hasHeads) table.removeRows(0, 1);
  QTextTableFormat format = table.format();
  format.setBorder(1);
  format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
  format.setBorderBrush(QColor::fromRgb(kRule));
  format.setBorderCollapse(true);
  format.setCellPadding(points * 0.4);
  format.setCellSpacing(0);
  format.setHeaderRowCount(hasHeads ? 1 : 0);
  format.setTopMargin(0);
  format.setBottomMargin(points * 0.9);
  table.setFormat(format);
  for (int column = 0; hasHeads && column < table.columns(); ++column) {
    QTextTableCell cell = table.cellAt(0, column);
    QTextTableCellFormat header = cell.format().toTableCellFormat();
    header.setBackground(QColor::fromRgb(kCodeGround));
    cell.setFormat(header);
  }
}

}  // namespace

QString HelpSlug(const QString& heading) {
  static const QRegularExpression others(QStringLiteral("[^a-z0-9]+"));
  QString slug = heading.toLower();
  slug.remove(QLatin1Char('\'')).replace(others, QStringLiteral("-"));
  while (slug.startsWith(QLatin1Char('-'))) slug.remove(0, 1);
  while (slug.endsWith(QLatin1Char('-'))) slug.chop(1);
  return slug;
}

QList<int> HelpCommandsOf(const QString& heading) {
  static const QRegularExpression numbers(QStringLiteral("\\(([0-9]+(, [0-9]+)*)\\)$"));
  QList<int> ids;
  const auto match = numbers.match(heading);
  if (!match.hasMatch()) return ids;
  for (const QString& number : match.captured(1).split(QStringLiteral(", "))) ids << number.toInt();
  return ids;
}

QHash<int, QString> CommandTips(const QString& markdown) {
  static const QRegularExpression link(QStringLiteral("\\[([^]]*)\\]\\([^)]*\\)"));
  static const QRegularExpression marks(QStringLiteral("[`*]"));
  static const QRegularExpression end(QStringLiteral("[.:;]( |$)"));
  QHash<int, QString> tips;
  for (const QString& part : markdown.split(QStringLiteral("\n### ")).mid(1)) {
    // The heading, where the command is found, and what it does.
    const QStringList paragraphs = part.split(QStringLiteral("\n\n"), Qt::SkipEmptyParts);
    QString text = paragraphs.value(2).simplified();
    if (text.isEmpty() || text.startsWith(QLatin1Char('|'))) continue;
    text.replace(link, QStringLiteral("\\1")).remove(marks);
    if (const auto at = text.indexOf(end); at >= 0) text.truncate(at);
    for (const int id : HelpCommandsOf(paragraphs[0].trimmed())) tips.insert(id, text + QLatin1Char('.'));
  }
  return tips;
}

QTextBlock FindHelpHeading(const QTextDocument& document, const QString& slug) {
  const QString command = QStringLiteral("command-");
  const int id = slug.startsWith(command) ? slug.mid(command.size()).toInt() : 0;
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
    if (block.blockFormat().headingLevel() == 0) continue;
    if (id ? HelpCommandsOf(block.text()).contains(id) : HelpSlug(block.text()) == slug) return block;
  }
  return {};
}

void StyleHelp(QTextDocument& document, double points, double width) {
  QFont font(QStringLiteral("DejaVu Sans"));
  font.setPointSizeF(points);
  document.setDefaultFont(font);
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
    StyleFragments(document, block, points, width);
    QTextCursor(block).setBlockFormat(BlockFormatOf(block, points));
  }
  for (QTextFrame* frame : document.rootFrame()->childFrames()) {
    if (auto* table = qobject_cast<QTextTable*>(frame)) StyleTable(*table, points);
  }
}

}  // namespace marvik
