#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marvik {

// The operators of a Hall symbol ("-P 2ybc"; blanks or underscores between its parts) as texts "-x,y+1/2,-z+1/2", the
// identity first; S. R. Hall, Acta Cryst. A37 (1981) 517-525, with the shift of origin in twelfths of the later tables.
// Empty for what is no such symbol.
std::vector<std::string> OperatorsOfHallSymbol(std::string_view symbol);

// The Hall symbol of a Hermann-Mauguin name in any spelling ("P 1 21/c 1", "P21/c", "P_21/c"). Empty for a name that is
// not known, or that leaves open which origin or axes are meant; R stands for hexagonal axes.
std::string HallSymbolOf(std::string_view hermannMauguin);

}  // namespace marvik
