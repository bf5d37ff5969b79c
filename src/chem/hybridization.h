#pragma once

#include "chem/neighbours.h"
#include "model/document.h"
#include "util/mat3.h"
#include "util/user_messages.h"

namespace marvik {

// Values of AtomRecord::Hybridization().
enum Hybrid { kHybridS = 0, kHybridSp1 = 1, kHybridSp2 = 2, kHybridSp3 = 3, kHybridOther = 4, kHybridBlank = 5 };

// Five characters wide, blank for 4 and above.
const char* HybridizationName(int hybridization);

// Signed distance in Å of `centre` from the least-squares plane through three places.
double PlaneDeviation(const Cartesian& centre, const Cartesian& b1, const Cartesian& b2, const Cartesian& b3);

// Unit normal of the plane through the mean of weighted positions whose scatter matrix Σ w (P - c)(P - c)ᵀ is given:
// the eigenvector of the largest eigenvalue of tr(S)·E - S, of equal ones the last.
Cartesian PlaneNormal(const Mat3& scatter);

// Classifies every visible atom that is not generated: hybridization, hydrogens still to be attached, formal charge.
// False after a message, with nothing changed, while Q-peaks are present.
bool HybridizeAll(Document& document, UserMessages& messages);

}  // namespace marvik
