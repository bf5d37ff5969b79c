#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/workbench.h"
#include "picture/picture_formats.h"
#include "picture/picture_recipe.h"
#include "picture/picture_style.h"

namespace marvik {

// What the workbench shows, for pictures of it: its document, so that it must stay where it is, with view and look as
// they are now, the settings of "opengl.prf" and who is told.
PictureSubject SubjectOf(Workbench& bench);

// The bytes of a picture file of that format (an extension, lower case). Nothing after a message, which is also what it
// gives when the hook `goOn` or the progress box ends it.
std::optional<std::string> DrawPicture(Workbench& bench, const PictureOptions& options, const std::string& format);

// The same into a file, by its extension unless a format is given. False after a message, with the file as it was.
bool WritePicture(Workbench& bench, const PictureOptions& options, const std::string& path, const std::string& format);
// An animated PNG that swings from another model of the structure to the present one and back.
bool WriteSwing(Workbench& bench, const std::shared_ptr<const Document>& other, const PictureOptions& options,
                const std::string& path);

// What a style holds, as it is now; and made so. A picture that was fitted is fitted again.
PictureStyle StyleOf(const Workbench& bench);
void ApplyStyle(Workbench& bench, const PictureStyle& style);

// The recipe of what is shown now.
PictureRecipe RecipeOf(Workbench& bench);
// Shows the structure as the recipe says; gives the names of atoms and bonds that are not there.
std::vector<std::string> ApplyRecipe(Workbench& bench, const PictureRecipe& recipe);

}  // namespace marvik
