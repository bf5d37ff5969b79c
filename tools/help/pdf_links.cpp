#include "pdf_links.h"

#include <QMap>
#include <QRegularExpression>

namespace marvik {
namespace {

// A text string: UTF-16 in hexadecimal, which needs no escapes.
QByteArray TextString(const QString& text) {
  QByteArray bytes("\xFE\xFF");
  for (const QChar c : text) {
    bytes += static_cast<char>(c.unicode() >> 8);
    bytes += static_cast<char>(c.unicode() & 0xFF);
  }
  return '<' + bytes.toHex() + '>';
}

class Update {
 public:
  explicit Update(QByteArray& pdf) : pdf_(pdf) {}

  bool Run(const QList<PdfPlace>& places) {
    if (!ReadTable() || pages_.isEmpty()) return false;
    for (const PdfPlace& place : places) {
      if (place.page < 0 || place.page >= pages_.size()) return false;
    }
    const QMap<int, QByteArray> links = links_;
    for (auto at = links.begin(); at != links.end(); ++at) changed_[at.key()] = Retargeted(at.value());
    AddOutline(places);
    Write();
    return true;
  }

 private:
  // The table and the trailer at the end of a file that was written in one piece.
  bool ReadTable() {
    const qsizetype start = pdf_.lastIndexOf("startxref\n");
    if (start < 0) return false;
    previous_ = pdf_.mid(start + 10, 20).trimmed().split('\n').front().trimmed();
    const qsizetype table = previous_.toLongLong();
    const qsizetype trailer = pdf_.indexOf("trailer\n", table);
    if (table <= 0 || trailer < 0 || pdf_.mid(table, 5) != "xref\n") return false;
    trailer_ = pdf_.mid(trailer, start - trailer);
    static const QRegularExpression root(QStringLiteral("/Root ([0-9]+) 0 R"));
    catalog_ = root.match(QString::fromLatin1(trailer_)).captured(1).toInt();
    const QList<QByteArray> lines = pdf_.mid(table, trailer - table).split('\n');
    for (int number = 1; number + 2 < lines.size(); ++number) {
      const QByteArray& line = lines[number + 2];
      if (line.size() >= 18) Classify(number, line.left(10).toLongLong());
      next_ = number + 1;
    }
    return catalog_ > 0 && !catalogText_.isEmpty();
  }

  void Classify(int number, qsizetype offset) {
    const qsizetype from = pdf_.indexOf("obj\n", offset) + 4;
    if (pdf_.mid(from, 3) != "<<\n") return;
    const auto text = [&] { return pdf_.mid(from, pdf_.indexOf("endobj", from) - from); };
    const QByteArray head = pdf_.mid(from + 3, 16);
    if (number == catalog_) catalogText_ = text();
    if (head.startsWith("/Type /Page\n")) pages_ << number;
    if (head.startsWith("/Type /Annot\n")) links_[number] = text();
  }

  static QByteArray Retargeted(QByteArray link) {
    static const QRegularExpression action(
        QStringLiteral("/A <<\\n/Type /Action\\n/S /URI\\n/URI \\(([A-Za-z0-9_]*)(\\.md)?(#([a-z0-9-]+))?\\)\\n>>"));
    const QString text = QString::fromLatin1(link);
    const auto found = action.match(text);
    if (!found.hasMatch()) return link;
    const QByteArray file = found.captured(1).toLatin1();
    const QByteArray name = found.captured(4).toLatin1();
    const QByteArray place = name.isEmpty() ? "[0 /Fit]" : "/" + name;
    const QByteArray jump = file.isEmpty() ? "/A << /S /GoTo /D " + place + " >>"
                                           : "/A << /S /GoToR /F (" + file + ".pdf) /D " + place + " >>";
    return text.left(found.capturedStart()).toLatin1() + jump + text.mid(found.capturedEnd()).toLatin1();
  }

  QByteArray Target(const PdfPlace& place) const {
    constexpr double kPageHeight = 842;  // A4 as the toolkit rounds it
    return '[' + QByteArray::number(pages_[place.page]) + " 0 R /XYZ 0 " +
           QByteArray::number(kPageHeight - place.fromTop, 'f', 1) + " null]";
  }

  // Items in the order of the text, each below the nearest one before it that has a lower level.
  void AddOutline(const QList<PdfPlace>& places) {
    QByteArray names = "<<";
    QList<PdfPlace> shown;
    for (const PdfPlace& place : places) {
      names += " /" + place.name.toLatin1() + ' ' + Target(place);
      if (!place.title.isEmpty()) shown << place;
    }
    const int root = next_++;
    const int first = next_;
    next_ += static_cast<int>(shown.size());
    const auto reference = [](int number) { return QByteArray::number(number) + " 0 R"; };
    QMap<int, QList<int>> children;  // of an object; those of the root under `root`
    QList<int> parents;
    for (int i = 0; i < shown.size(); ++i) {
      int above = i - 1;
      while (above >= 0 && shown[above].level >= shown[i].level) --above;
      parents << (above < 0 ? root : first + above);
      children[parents[i]] << first + i;
    }
    const auto family = [&](int number) {
      const QList<int> of = children.value(number);
      return of.isEmpty() ? QByteArray()
                          : " /First " + reference(of.front()) + " /Last " + reference(of.back()) + " /Count " +
                                QByteArray::number(number == root ? of.size() : -of.size());
    };
    for (int i = 0; i < shown.size(); ++i) {
      const QList<int>& siblings = children[parents[i]];
      const qsizetype at = siblings.indexOf(first + i);
      QByteArray item = "<< /Title " + TextString(shown[i].title) + " /Parent " + reference(parents[i]) + " /Dest " +
                        Target(shown[i]) + family(first + i);
      if (at > 0) item += " /Prev " + reference(siblings[at - 1]);
      if (at + 1 < siblings.size()) item += " /Next " + reference(siblings[at + 1]);
      changed_[first + i] = item + " >>\n";
    }
    changed_[root] = "<< /Type /Outlines" + family(root) + " >>\n";
    QByteArray catalog = catalogText_;
    catalog.replace(catalog.lastIndexOf(">>"), 2,
                    "/Outlines " + reference(root) + "\n/PageMode /UseOutlines\n/Dests " + names + " >>\n>>");
    changed_[catalog_] = catalog;
  }

  void Write() {
    if (!pdf_.endsWith('\n')) pdf_ += '\n';
    QByteArray table = "xref\n";
    for (auto at = changed_.begin(); at != changed_.end(); ++at) {
      table += QByteArray::number(at.key()) + " 1\n" + QByteArray::number(pdf_.size()).rightJustified(10, '0') +
               " 00000 n \n";
      pdf_ += QByteArray::number(at.key()) + " 0 obj\n" + at.value() + "endobj\n";
    }
    QString trailer = QString::fromLatin1(trailer_);
    static const QRegularExpression size(QStringLiteral("/Size [0-9]+ *"));
    trailer.replace(size, QStringLiteral("/Size %1\n/Prev %2").arg(next_).arg(QString::fromLatin1(previous_)));
    const QByteArray start = QByteArray::number(pdf_.size());
    pdf_ += table + trailer.toLatin1() + "startxref\n" + start + "\n%%EOF\n";
  }

  QByteArray& pdf_;
  QByteArray previous_;  // where the old table is
  QByteArray trailer_;
  QByteArray catalogText_;
  int catalog_ = 0;
  int next_ = 0;
  QList<int> pages_;
  QMap<int, QByteArray> links_;
  QMap<int, QByteArray> changed_;
};

}  // namespace

bool AddOutlineAndLinks(QByteArray& pdf, const QList<PdfPlace>& places) {
  return Update(pdf).Run(places);
}

}  // namespace marvik
