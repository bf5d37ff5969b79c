#pragma once

#include <QWidget>

namespace marvik {

// Gives the inputs of a window, by its name and theirs, the tips of the one table: what each sets, in which unit, and
// the keyword where an instruction file has one. What has a tip keeps it. What stands beside a caption is called by
// that for screen readers.
void GiveTips(QWidget& window);

}  // namespace marvik
