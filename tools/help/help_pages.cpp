#include "help_pages.h"

#include <QAbstractTextDocumentLayout>
#include <QBuffer>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>
#include <QUrl>

#include "ui/texts/help_text.h"

#include "pdf_links.h"

namespace marvik {
namespace {

constexpr int kResolution = 300;  // dots per inch
constexpr double kPoint = kResolution / 72.0;
constexpr double kScreen = kResolution / 96.0;  // of a nominal pixel
constexpr double kMargin = 57 * kPoint;         // 20 mm
constexpr double kFoot = 24 * kPoint;           // below the text, for the page number
constexpr double kOvershoot = 1.9 * kPoint;
constexpr double kTextSize = 9.0;

class Pages {
 public:
  Pages(const QString& markdown, const QString& folder, const QString& name, HelpPageNumbers& numbers)
      : name_(name), numbers_(numbers), writer_(&buffer_) {
    buffer_.open(QIODevice::WriteOnly);
    writer_.setResolution(kResolution);
    writer_.setPageSize(QPageSize(QPageSize::A4));
    writer_.setPageMargins(QMarginsF(0, 0, 0, 0));
    text_.setBaseUrl(QUrl::fromLocalFile(folder + QLatin1Char('/')));
    text_.setMarkdown(markdown);
    title_ = text_.begin().text();
    writer_.setTitle(title_);
    writer_.setCreator(QStringLiteral("Marvik"));
    width_ = writer_.width() - 2 * kMargin;
    height_ = writer_.height() - 2 * kMargin - kFoot;
    StyleHelp(text_, kTextSize, width_ / kScreen);
    text_.setDocumentMargin(0);
    text_.documentLayout()->setPaintDevice(&writer_);
    text_.setPageSize(QSizeF(width_, height_));
  }

  bool Write(const QString& path) {
    NumberContents(true);
    LayOutAnew();
    KeepTogether();
    CollectPlaces();
    NumberContents(false);
    LayOutAnew();
    Draw();
    QByteArray pdf = buffer_.data();
    if (!AddOutlineAndLinks(pdf, places_)) return false;
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(pdf) == pdf.size() && file.commit();
  }

 private:
  QRectF Place(const QTextBlock& block) const { return text_.documentLayout()->blockBoundingRect(block); }
  int PageOf(double y) const { return static_cast<int>(y / height_); }

  // The layout that is made in steps after changes loses blocks at the ends of pages.
  void LayOutAnew() { text_.setPageSize(text_.pageSize()); }

  // Where the first line of a block is, which may have moved to the next page while its margin stayed behind.
  double FirstLine(const QTextBlock& block) const {
    const double top = Place(block).top();  // first, since it makes the layout
    return block.layout()->lineCount() > 0 ? top + block.layout()->lineAt(0).y() : top;
  }
  // Where a line of a block ends, or the last one where there are fewer.
  double EndOfLine(const QTextBlock& block, int number) const {
    const double top = Place(block).top();
    const int count = block.layout()->lineCount();
    if (count == 0) return top;
    const QTextLine line = block.layout()->lineAt(std::min(number, count - 1));
    return top + line.y() + line.height() * 0.9;
  }

  // Entries of a list of contents: items that are one link and nothing else. Their numbers stand at the right margin.
  // At first they get a placeholder of the same height, since the pages are not known before the text is laid out.
  void NumberContents(bool placeholder) {
    for (QTextBlock block = text_.begin(); block.isValid(); block = block.next()) {
      if (!block.textList() || block.begin().atEnd()) continue;
      const QTextFragment link = block.begin().fragment();
      if (!link.charFormat().isAnchor() || link.text() != block.text().section(QLatin1Char('\t'), 0, 0)) continue;
      const QString target = link.charFormat().anchorHref();
      const QString key =
          target.startsWith(QLatin1Char('#')) ? name_ + target : QString(target).remove(QStringLiteral(".md"));
      QTextCursor cursor(block);
      cursor.movePosition(QTextCursor::EndOfBlock);
      if (placeholder) {
        QTextBlockFormat format = block.blockFormat();
        QTextOption::Tab right;
        right.type = QTextOption::RightTab;
        right.position = width_ / kScreen - 40;
        format.setTabPositions({right});
        format.setBottomMargin(1);
        cursor.setBlockFormat(format);
        QTextCharFormat plain = link.charFormat();  // not a part of the link, so that they can be told apart
        plain.setAnchor(false);
        plain.clearProperty(QTextFormat::AnchorHref);
        cursor.insertText(QStringLiteral("\t0"), plain);
      } else {
        cursor.movePosition(QTextCursor::PreviousCharacter, QTextCursor::KeepAnchor);
        cursor.insertText(QString::number(numbers_.value(key)), cursor.charFormat());
      }
    }
  }

  // No heading at the foot of a page without what it is the heading of: it begins the next page instead.
  void KeepTogether() {
    const QTextBlock first = text_.begin();
    for (QTextBlock block = first; block.isValid(); block = block.next()) {
      const int level = block.blockFormat().headingLevel();
      if (level == 0) continue;
      QTextBlock next = block.next();
      while (next.isValid() && (next.blockFormat().headingLevel() || next.text().isEmpty())) next = next.next();
      if (!next.isValid() || block == first) continue;
      const bool apart = PageOf(FirstLine(block)) != PageOf(EndOfLead(next));
      if (apart && PageOf(FirstLine(block)) == PageOf(Place(block).top())) {
        QTextBlockFormat format = block.blockFormat();
        format.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
        QTextCursor(block).setBlockFormat(format);
        LayOutAnew();
      }
    }
  }

  // The end of what has to stay with a heading: a picture, the first row below the head of a table, two lines of a
  // paragraph, and a line that only says how a command is called together with what follows it.
  double EndOfLead(const QTextBlock& block) const {
    const QTextCursor cursor(block);
    if (QTextTable* table = cursor.currentTable()) {
      const int row = std::min(1, table->rows() - 1);
      return EndOfLine(table->cellAt(row, 0).firstCursorPosition().block(), 0);
    }
    const QTextBlock next = block.next();
    const bool leads = block.layout()->lineCount() == 1 && next.isValid() && !next.blockFormat().headingLevel();
    return leads ? EndOfLine(next, 0) : EndOfLine(block, 1);
  }

  void CollectPlaces() {
    for (QTextBlock block = text_.begin(); block.isValid(); block = block.next()) {
      const int level = block.blockFormat().headingLevel();
      if (level == 0) continue;
      const double top = FirstLine(block);
      PdfPlace place{HelpSlug(block.text()), block.text(), level, PageOf(top), 0};
      place.fromTop = (kMargin + top - place.page * height_) / kPoint - 4;
      places_ << place;
      numbers_[name_ + QLatin1Char('#') + place.name] = place.page + 1;
      place.title.clear();
      for (int id : HelpCommandsOf(block.text())) {
        place.name = QStringLiteral("command-%1").arg(id);
        places_ << place;
      }
    }
  }

  void Draw() {
    QPainter painter(&writer_);
    painter.setRenderHint(QPainter::LosslessImageRendering);
    QFont small = text_.defaultFont();
    small.setPointSizeF(7.5);
    const int count = text_.pageCount();
    for (int page = 0; page < count; ++page) {
      if (page > 0) writer_.newPage();
      painter.save();
      painter.translate(kMargin, kMargin - page * height_);
      // The letters of a line begin a little above it.
      const QRectF view(0, page * height_ - kOvershoot, width_, height_);
      painter.setClipRect(view);
      QAbstractTextDocumentLayout::PaintContext context;
      context.clip = view;
      context.palette.setColor(QPalette::Text, Qt::black);
      text_.documentLayout()->draw(&painter, context);
      painter.restore();
      painter.setFont(small);
      painter.setPen(Qt::darkGray);
      const QRectF foot(kMargin, writer_.height() - kMargin - kFoot * 0.4, width_, kFoot);
      painter.drawText(foot, Qt::AlignLeft | Qt::AlignBottom, title_);
      painter.drawText(foot, Qt::AlignRight | Qt::AlignBottom, QString::number(page + 1));
    }
  }

  QString name_;
  QString title_;
  HelpPageNumbers& numbers_;
  QBuffer buffer_;
  QPdfWriter writer_;
  QTextDocument text_;
  double width_ = 0;
  double height_ = 0;
  QList<PdfPlace> places_;
};

}  // namespace

bool WriteHelpPages(const QString& markdown, const QString& folder, const QString& name, HelpPageNumbers& numbers) {
  return Pages(markdown, folder, name, numbers).Write(folder + QLatin1Char('/') + name + QStringLiteral(".pdf"));
}

}  // namespace marvik
