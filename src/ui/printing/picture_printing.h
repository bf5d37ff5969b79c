#pragma once

#include <memory>

#include "picture/picture_page.h"

class QPrinter;
class QWidget;

namespace marvik {

// A page of the printer as it is set up; a PDF file takes the place of an older one when it is whole. Copying shows a
// progress bar across the top of `area`.
std::unique_ptr<PicturePage> MakePrinterPage(std::unique_ptr<QPrinter> printer, QWidget& area);

// Asks for the printer first. Nothing when that was cancelled or, after a message, there is none.
std::unique_ptr<PicturePage> ChoosePrinterPage(QWidget* parent, QWidget& area, UserMessages& messages);

}  // namespace marvik
