#pragma once

#include <QWidget>

namespace marvik {

// Shows a text in a window of its own beside others, to be read, copied and saved; it stays until it is closed.
void ShowTextWindow(QWidget& owner, const QString& title, const QString& text);

}  // namespace marvik
