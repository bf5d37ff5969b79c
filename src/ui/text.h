#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace marvik {

// Bytes of a structure file as text to be shown: UTF-8, or Latin-1 where they are not that.
QString ToText(std::string_view bytes);
std::string ToBytes(const QString& text);

// Names of files as the system has them.
QString PathToText(const std::string& path);
std::string PathToBytes(const QString& path);

// A text of what lies below the window, whose English is its name in the context "Marvik" of a translation.
QString Translated(const std::string& text);

// "Select" for "&Select..."
QString PlainCommandName(const char* menuText);

}  // namespace marvik
