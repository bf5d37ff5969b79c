#pragma once

class QWidget;

namespace marvik {

// Shows every key of the program: those of the commands, from their table, and those of the picture.
void ShowKeySheet(QWidget* parentWidget);

}  // namespace marvik
