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

// "Select" for "&Select..."
QString PlainCommandName(const char* menuText);

}  // namespace marvik
