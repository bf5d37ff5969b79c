#pragma once

#include <string>
#include <string_view>

namespace marvik {

// ASCII letters alone, whatever the locale.
std::string LowerCase(std::string_view text);

inline constexpr std::string_view kWhiteSpace = " \t\r\n";
// Without what stands at either end.
std::string_view Trimmed(std::string_view text, std::string_view without = kWhiteSpace);

}  // namespace marvik
