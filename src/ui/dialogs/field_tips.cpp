#include "ui/dialogs/field_tips.h"

#include <QLabel>

namespace marvik {
namespace {

struct FieldTip {
  const char* window;
  const char* field;
  const char* text;
};
// Of these windows and panels, whose fields have the names that stand here.
constexpr FieldTip kTips[] = {
    {"atom", "name", "Label of at most four characters that no other atom of the residue has"},
    {"atom", "element", "Symbol of the element; a new one goes on SFAC and UNIT"},
    {"atom", "residue", "Residue as [chain:]number[/class], 2/ALA, or 0 for none (RESI)"},
    {"atom", "x", "Fraction of a; 10 + x is held fixed"},
    {"atom", "y", "Fraction of b; 10 + y is held fixed"},
    {"atom", "z", "Fraction of c; 10 + z is held fixed"},
    {"atom", "occupancy", "Site occupancy: 10 + p is fixed, 20 + p is p times free variable 2, -(20 + p) the rest"},
    {"atom", "part", "Disorder component, 0 for none; negative ones bond to no symmetry image of theirs (PART)"},
    {"atom", "partoccupancy", "Occupancy that the PART line gives its atoms, none for no such number (PART)"},
    {"atom", "afix", "How a hydrogen rides or a group is held, 43 for an aromatic C-H, 0 for free (AFIX)"},
    {"atom", "mole", "Number of the molecule, 0 for none (MOLE)"},
    {"atom", "height", "Height of the peak in the difference map, e/Å³"},
    {"atom", "u", "Isotropic displacement, Å²; -1.2 is 1.2 times that of the atom it rides on"},
    {"atom", "u11", "Displacement along a*, Å²; all six make the atom anisotropic"},
    {"atom", "u22", "Displacement along b*, Å²; all six make the atom anisotropic"},
    {"atom", "u33", "Displacement along c*, Å²; all six make the atom anisotropic"},
    {"atom", "u23", "Cross term of b* and c*, Å²; all six make the atom anisotropic"},
    {"atom", "u13", "Cross term of a* and c*, Å²; all six make the atom anisotropic"},
    {"atom", "u12", "Cross term of a* and b*, Å²; all six make the atom anisotropic"},
    {"atom-name", "name", "Label of at most four characters; lines that name the atom are changed with it"},
    {"part", "part", "Disorder component of the selected atoms, 0 for none (PART)"},
    {"part", "occupancy", "The number p that is held, refined, or multiplied by the free variable"},
    {"part", "fvar", "What the occupancy is tied to: nothing, a fixed value, a free variable or the rest of it (FVAR)"},
    {"part", "value", "Present value of that free variable, 0 to 1 (FVAR)"},
    {"hide-part", "part*", "Leaves the atoms of this PART out of picture and bonds; the file keeps them"},
    {"select", "atoms", "Names, * and ?, ranges, $ with an element, PART:1, RESI:2, PEAKS, HYDROGENS"},
    {"select", "mode*", "What becomes of the atoms that are selected already"},
    {"sort", "order", "Atoms of the first element come first; drag them, or use the buttons"},
    {"group-label", "prefix", "What the labels begin with; blank for the symbol of each atom's element"},
    {"group-label", "first", "Number of the first selected atom; the others count on"},
    {"group-label", "suffix", "What stands behind the number, as the A of C1A"},
    {"restore", "killed", "Those that are marked come back, riding hydrogens behind their carrier"},
    {"bond-width", "width", "Thickness of the selected bonds, Å"},
    {"hfix", "hfix*", "Marks the selected atoms and shows their hydrogens, which the refinement makes (HFIX)"},
    {"new-job", "hkl", "The reflection file; the job gets its name (HKLF)"},
    {"new-job", "cell", "a b c in Å, alpha beta gamma in degrees (CELL)"},
    {"new-job", "wavelength", "Wavelength of the measurement, Å (CELL)"},
    {"new-job", "formula", "What the cell is thought to hold, as C10 H12 N2 O (SFAC, UNIT)"},
    {"new-job", "z", "Formula units in the cell (ZERR)"},
    {"new-job", "title", "What the job is called (TITL)"},
    {"compare", "disk", "The older of the two"},
    {"compare", "current", "The newer of the two"},
    {"depth-cue", "level", "Thickness of the slab, per cent of the model's depth"},
    {"pack", "low*", "Where the box begins, in cell edges"},
    {"pack", "high*", "Where the box ends, in cell edges"},
    {"pack", "molecules", "Molecules come whole where their centroid is in the box"},
    {"pack", "single", "Atoms come where they are in the box themselves, and may lack their neighbours"},
    {"split", "parts", "Into how many parts, two or three (PART)"},
    {"split", "way", "Along the longest axis of U, onto peaks, by a rotation, inversion or reflection, or by symmetry"},
    {"split", "distance", "Between the outermost parts, Å; blank for what U says"},
    {"split", "to", "Names of the peaks that the parts go to"},
    {"split", "about", "One atom for a centre, two for an axis, three for a plane"},
    {"split", "angle", "Of the rotation, degrees"},
    {"split", "fvar", "A free variable that there is already; blank for a new one (FVAR)"},
    {"split", "value", "Share of the first part, 0.01 to 0.99 (FVAR)"},
    {"split", "distances", "What keeps the parts alike: SADI, SAME or nothing"},
    {"split", "displacements", "What keeps their displacements alike: SIMU, RIGU, both, EADP or nothing"},
    {"restrain", "kind",
     "What is restrained: DFIX, DANG, SADI, FLAT, RIGU, SIMU, ISOR, CHIV, DELU, EADP, EXYZ, BUMP, SUMP"},
    {"restrain", "target", "Value to come to, Å, for a chiral volume Å³; blank for what the atoms have now"},
    {"restrain", "sigma", "How tightly, in the unit of what is restrained; blank for what DEFS or the format says"},
    {"edit-restraint", "number", "Which one of the list of restraints"},
    {"edit-restraint", "target", "Value to come to, Å, for a chiral volume Å³"},
    {"edit-restraint", "sigma", "How tightly, in the unit of what is restrained"},
    {"fragment", "fragment", "Group or solvent of the library; the picture shows how it would lie"},
    {"fragment", "as", "By restraints on its distances, or as a rigid group (AFIX 6)"},
    {"fragment", "on", "Names of its atoms in the order of the chosen places; blank for what fits best"},
    {"fragment", "part", "Disorder component of its atoms; blank for that of the first chosen one (PART)"},
    {"fragment", "fvar", "Free variable of its occupancy, negative for the rest of one (FVAR)"},
    {"fragment", "value", "Value of a free variable that is new, 0.01 to 0.99 (FVAR)"},
    {"atom-preferences", "element", "Symbol of the element whose looks are shown; Q for peaks"},
    {"atom-preferences", "atom", "Radius of its ball, Å"},
    {"atom-preferences", "bond",
     "Radius by which bonds are found, Å; a bond is as long as the sum of two and some slack"},
    {"atom-preferences", "red", "Share of red in its colour, 0 to 255"},
    {"atom-preferences", "green", "Share of green in its colour, 0 to 255"},
    {"atom-preferences", "blue", "Share of blue in its colour, 0 to 255"},
    {"atom-preferences", "texture", "Pattern of its balls in black and white"},
    {"atom-preferences", "probability", "That thermal ellipsoids enclose, per cent; one for all elements"},
    {"opengl-preferences", "font", "TrueType file of the labels in OpenGL pictures"},
    {"opengl-preferences", "red", "Share of red in the background, 0 to 255"},
    {"opengl-preferences", "green", "Share of green in the background, 0 to 255"},
    {"opengl-preferences", "blue", "Share of blue in the background, 0 to 255"},
    {"opengl-preferences", "layers", "Pictures that are blended into one for smooth edges; 1 for none"},
    {"opengl-preferences", "cut", "Leaves out an octant of every ellipsoid"},
    {"bitmap", "size", "Side of the picture, pixels, a multiple of 100"},
    {"bitmap", "points", "Size of the labels, points"},
    {"bitmap", "file", "The JPEG file to be written"},
    {"bitmap", "antialias", "Smooth edges; takes as many drawings as OpenGL Preferences have layers"},
    {"picture", "file", "The file to be written; its extension says the format"},
    {"picture", "size", "Side of the picture, pixels"},
    {"picture", "resolution", "What the file says of its size on paper, dots per inch"},
    {"picture", "background", "What is behind the model"},
    {"picture", "journal", "Width, resolution and type as a journal's column asks for"},
    {"picture", "frames", "One picture, a pair for both eyes, three views of the packing, or an animated turn"},
    {"picture", "trim", "Cuts the picture to what there is to see"},
    {"picture", "renderer", "How the window draws, or smooth bodies by OpenGL"},
    {"preferences", "search", "Shows the settings of which a word is entered here"},
    {"preferences", "lit", "How the model is drawn in the window"},
    {"preferences", "look-dark", "Colours of background, bonds and labels; Classic shows the bare square"},
    {"preferences", "safe-colours", "Element colours that differ for the colour-blind, too"},
    {"preferences", "ambient-shadow", "Lit bodies are darker where much lies around them"},
    {"preferences", "inertia", "A model that is let go while it turns turns on for a while"},
    {"preferences", "labels", "Names beside the atoms, where there is room"},
    {"preferences", "hydrogen-labels", "Names beside the hydrogens, too"},
    {"preferences", "hybrid-label-colours", "Colours of the names say how the atoms are hybridized"},
    {"preferences", "*-panel", "Shows the panel beside the picture"},
    {"preferences", "session", "What was open last is opened when the program starts without a file"},
    {"preferences", "output", "The window with the program's output goes when that ends well"},
    {"preferences", "result", "Results that change next to nothing are accepted and only mentioned"},
    {"publication", "block", "Data block of the CIF"},
    {"publication", "show", "Only items that still want a value, or all"},
    {"publication", "fill", "Takes values for open items from a file"},
    {"publication", "items", "Items of the CIF; the fields below change the marked one"},
    {"publication", "value", "What the CIF will say for the marked item; blank for ?"},
    {"publication", "proposals", "What other files and the dictionary have for it"},
    {"reply", "text", "What the editor of the journal will read beside the finding"},
    {"history", "steps", "Accepted refinements, the newest first; Ctrl marks two for a comparison"},
    {"models", "models", "Models that were found, the best first; the marked one is in the window"},
    {"run", "close", "The next runs close this window by themselves when they end well"},
    {"result", "skip", "Results that change less than this are accepted and only mentioned"},
    {"result", "below", "Largest shift of an atom that needs no question, Å"},
    {"result", "atoms", "How far each atom moved, the largest shift first"},
    {"result", "peaks", "Peaks of the difference map with the nearest atom, Å"},
    {"result", "restraints", "Restraints, those that disagree most first"},
    {"result", "findings", "What tests of the journals would say of this result"},
    {"model", "filter", "Shows the atoms of an element, a name, part 2, or peaks"},
    {"model", "atoms", "The atoms: a click selects, a double click on name, part, occupancy or U edits"},
    {"history", "steps", "Steps of Undo; a click goes back or forward to one"},
    {"history", "refinements", "Accepted refinements of this job; a double click or Enter goes back to one"},
    {"parts", "parts", "The disorder components: a tick shows one, a click behind it selects its atoms"},
    {"parts", "level", "Peaks below this height are hidden, e/Å³"},
    {"restraints", "restraints",
     "Target and present value: a click selects the atoms, a double click edits the numbers"},
    {"instructions", "editor", "The text of the instruction file as a save would write it"},
    {"instructions", "findings", "What is doubtful in the text; a click goes to its line"},
    {"journal", "findings", "What tests of the journals say; a click selects the atoms and explains it"},
    {"journal", "levels", "How serious a finding has to be for the list"},
};

bool IsOf(const QString& name, const char* pattern) {
  const auto wanted = QLatin1String(pattern);
  if (wanted.startsWith(QLatin1Char('*'))) return name.endsWith(wanted.sliced(1));
  return wanted.endsWith(QLatin1Char('*')) ? name.startsWith(wanted.chopped(1)) : name == wanted;
}

}  // namespace

void GiveTips(QWidget& window) {
  // Lists do not take the text of their caption for a name by themselves.
  for (const auto* label : window.findChildren<QLabel*>()) {
    QWidget* part = label->buddy();
    if (part && part->accessibleName().isEmpty())
      part->setAccessibleName(label->text().remove(QLatin1Char('&')).remove(QLatin1Char(':')));
  }
  for (QWidget* part : window.findChildren<QWidget*>()) {
    if (part->objectName().isEmpty() || !part->toolTip().isEmpty()) continue;
    for (const FieldTip& tip : kTips)
      if (window.objectName() == QLatin1String(tip.window) && IsOf(part->objectName(), tip.field))
        part->setToolTip(QObject::tr(tip.text));
  }
}

}  // namespace marvik
