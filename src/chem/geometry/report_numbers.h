#pragma once

#include <optional>
#include <string>

namespace marvik {

// A value that a report may print with so many decimals: one that is not finite becomes 0, one that rounds to 0 loses
// its sign.
double Shown(double value, int decimals);

// "1.523(3)": the standard uncertainty in units of the last digits, 2 to 19 of them, with at most one decimal more than
// `decimals`. Without one, or with one too small to show, the value with `decimals`.
std::string WithUncertainty(double value, std::optional<double> su, int decimals);

}  // namespace marvik
