#pragma once

#include "app/workbench.h"

class QPrinter;
class QWidget;

namespace marvik {

// Prints the view on one page of the printer as it is set up, in the middle of the paper. False after a message, or
// when the drawing was stopped: then the job is taken back and nothing is printed.
bool PrintView(QPrinter& printer, Workbench& bench);

// Asks for the printer first. False when that was cancelled or printing failed.
bool PrintViewWithDialog(QWidget* parent, Workbench& bench);

}  // namespace marvik
