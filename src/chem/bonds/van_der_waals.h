#pragma once

#include "model/element_table.h"

namespace marvik {

// Van der Waals radius in Å: A. Bondi, J. Phys. Chem. 68 (1964) 441-451; 0 for elements that have none there.
double VanDerWaalsRadius(int atomicNumber);

// How far an atom reaches when it fills space or touches others, Å: the same, that of hydrogen for deuterium, and 0.8
// beyond the bond radius for elements that have none.
double ContactRadius(int row, double bondRadius);

}  // namespace marvik
