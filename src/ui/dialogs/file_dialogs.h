#pragma once

#include <QString>
#include <optional>
#include <span>

#include "app/open_save.h"

class QWidget;

namespace marvik {

// The file to open. `filters` are kOpenFilters or kListingFilters; their patterns match either letter case.
std::optional<QString> OpenFileDialog(QWidget* parent, const QString& directory, std::span<const FileFilter> filters);

// The name to save under, with the extension of the chosen filter where none was given, and whether that is one of
// standard layout. Overwriting has been agreed to.
std::optional<QString> SaveFileDialog(QWidget* parent, const QString& directory, const QString& suggestedName,
                                      bool& standardLayout);

}  // namespace marvik
