#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "picture/picture_options.h"
#include "picture/picture_subject.h"

namespace marvik {

// View, rendition and what is shown, apart from single atoms.
struct PictureLook {
  std::array<std::array<double, 3>, 3> rotation{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  double radius = 0.5;             // Å, of the sphere that fills the picture
  std::array<double, 3> centre{};  // Å, Cartesian, from the middle of the atoms shown
  std::array<double, 2> pan{};     // parts of the picture's side, to the right and down
  int depthCue = 50;
  std::optional<std::array<double, 2>> clip;  // front and back, Å from the centre to the viewer
  int rendition = kWireFrame;
  bool labels = true;
  bool hydrogenLabels = true;
  bool hybridColours = false;
  bool cell = false;
  bool peaks = true;  // off: every peak is hidden, whatever its name
  double probability = 0.5;
  FigureChoices figure;  // of which a recipe keeps contacts, mates and bonds
  PictureOptions picture;
};

// The choices of a figure that a recipe keeps, by the words that switch them on.
struct RecipeFlag {
  const char* word;
  bool FigureChoices::*flag;
};
inline constexpr RecipeFlag kRecipeFlags[] = {{"hydrogen-bonds", &FigureChoices::hydrogenBonds},
                                              {"short-contacts", &FigureChoices::shortContacts},
                                              {"pale-mates", &FigureChoices::paleMates},
                                              {"tapered-bonds", &FigureChoices::taperedBonds},
                                              {"measurements", &FigureChoices::measures},
                                              {"restraints", &FigureChoices::restraints},
                                              {"planes", &FigureChoices::planes},
                                              {"bare-mates", &FigureChoices::bareMates}};

// What makes a picture of a structure this picture. Atoms go by their names, so that the same figure can be made of the
// structure as the next refinement leaves it. Generated atoms are named with their symmetry code, "C1@2565"; atoms of
// residues "C1_2" or "C1_A:2".
struct PictureRecipe : PictureLook {
  struct Label {
    std::string atom;
    double x = 0.0;  // view units
    double y = 0.0;
  };
  struct Bond {
    std::string a;
    std::string b;
    int order = 0;
    int style = 0;
    double width = 0.1;  // Å
  };
  std::vector<Label> placed;
  std::vector<std::string> labelsOff;
  std::vector<std::string> hidden;
  std::vector<Bond> bonds;  // those that are not plain
};

// The recipe of what is shown now, and of the file that it goes to.
PictureRecipe RecipeOf(const PictureSubject& subject, const PictureOptions& picture);

// A text of one thing a line, in ASCII but for the names; numbers have a point whatever the locale.
std::string RecipeText(const PictureRecipe& recipe);

// Nothing for a text that does not begin as a recipe does. Lines that make no sense, and values out of their range, are
// left out and listed.
struct RecipeReading {
  std::optional<PictureRecipe> recipe;
  std::vector<std::string> skipped;
};
RecipeReading ReadRecipe(std::string_view text);

// Makes the subject, view and look and atoms, what the recipe says; what it does not speak of stays or takes the usual
// look. Gives the names of atoms and bonds that are not there.
std::vector<std::string> ShowAsRecipe(const PictureRecipe& recipe, PictureSubject& subject);

}  // namespace marvik
