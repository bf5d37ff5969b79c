// make_help SOURCES EXAMPLES OUT: turns the Markdown of the help documents into OUT/*.pdf and OUT/*.md, with pictures
// drawn from the examples. make_help --check SOURCES: only tells what is missing there. Status 1 when something is.
#include <QApplication>
#include <QDir>
#include <QSaveFile>
#include <clocale>
#include <cstdio>

#include "app/help_documents.h"

#include "help_pages.h"
#include "help_pictures.h"
#include "help_source.h"

namespace {

using namespace marvik;

int Report(const QStringList& faults) {
  for (const QString& fault : faults) std::fprintf(stderr, "make_help: %s\n", qPrintable(fault));
  return faults.isEmpty() ? 0 : 1;
}

bool WriteText(const QString& path, const QString& text) {
  QSaveFile file(path);
  const QByteArray bytes = text.toUtf8();
  return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

QStringList Make(const HelpSource& source, const QStringList& gallery, const QString& examples, const QString& out) {
  QDir().mkpath(out + QStringLiteral("/pictures"));
  QStringList faults;
  for (const HelpDocument& document : HelpDocuments()) {
    const QString name = QString::fromUtf8(document.name);
    if (!WriteText(out + QLatin1Char('/') + name + QStringLiteral(".md"), source.documents[name]))
      faults << name + QStringLiteral(".md could not be written");
  }
  faults += MakeHelpPictures(gallery, examples, out + QStringLiteral("/pictures"));
  HelpPageNumbers numbers;
  // The table of contents comes last, when the pages of the others are known.
  const auto documents = HelpDocuments();
  for (auto at = documents.rbegin(); at != documents.rend(); ++at) {
    const QString name = QString::fromUtf8(at->name);
    if (!WriteHelpPages(source.documents[name], out, name, numbers))
      faults << name + QStringLiteral(" could not be written");
  }
  return faults;
}

void Quietly(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type >= QtCriticalMsg) std::fprintf(stderr, "%s\n", qPrintable(text));
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_SCALE_FACTOR", "1");
  qInstallMessageHandler(Quietly);
  QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
  QApplication app(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  std::setlocale(LC_NUMERIC, "C");
  const QStringList words = QApplication::arguments().mid(1);
  const bool check = words.size() == 2 && words[0] == QLatin1String("--check");
  if (!check && words.size() != 3) {
    std::fputs("make_help SOURCES EXAMPLES OUT | make_help --check SOURCES\n", stderr);
    return 2;
  }
  const QStringList gallery = GalleryCommands(words[check ? 1 : 0]);
  const HelpSource source = ReadHelpSource(words[check ? 1 : 0], HelpPictureNames(gallery));
  if (check) return Report(source.faults);
  Report(source.faults);  // a document with a hole is better than none; the tests see to it that there is none
  return Report(Make(source, gallery, words[1], words[2]));
}
