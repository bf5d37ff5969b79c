#include "ui/text.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringDecoder>

namespace marvik {

QString ToText(std::string_view bytes) {
  const QByteArrayView view(bytes.data(), static_cast<qsizetype>(bytes.size()));
  QStringDecoder decoder(QStringDecoder::Utf8);
  QString text = decoder(view);
  return decoder.hasError() ? QString::fromLatin1(view) : text;
}

std::string ToBytes(const QString& text) {
  return text.toStdString();
}

QString PathToText(const std::string& path) {
  return QFile::decodeName(path.c_str());
}

std::string PathToBytes(const QString& path) {
  return QFile::encodeName(path).toStdString();
}

QString Translated(const std::string& text) {
  if (text.empty()) return {};
  const QString found = QCoreApplication::translate("Marvik", text.c_str());
  return found == QString::fromStdString(text) ? ToText(text) : found;
}

QString PlainCommandName(const char* menuText) {
  QString name = Translated(menuText);
  name.remove(QLatin1Char('&'));
  if (name.endsWith(QLatin1String("..."))) name.chop(3);
  return name;
}

}  // namespace marvik
