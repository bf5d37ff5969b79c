#include "draw/labels/font_files.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include "base/files.h"
#include "draw/labels/fontconfig_calls.h"

namespace marvik {
namespace {

template <auto& destroy>
struct Destroyer {
  template <class T>
  void operator()(T* made) const {
    destroy(made);
  }
};
template <class T, auto& destroy>
using Owned = std::unique_ptr<T, Destroyer<destroy> >;

bool HasLatinLetters(const FcPattern* face) {
  FcCharSet* characters = nullptr;
  return FcPatternGetCharSet(face, FC_CHARSET, 0, &characters) == FcResultMatch && FcCharSetHasChar(characters, 'A') &&
         FcCharSetHasChar(characters, 'z') && FcCharSetHasChar(characters, '1');
}

// With a configuration of its own, as for the usual face.
std::vector<std::string> AllFiles() {
  std::vector<std::string> files;
  if (!LoadFontconfigCalls()) return files;
  const Owned<FcConfig, FcConfigDestroy> config(FcInitLoadConfigAndFonts());
  const Owned<FcPattern, FcPatternDestroy> pattern(FcNameParse(reinterpret_cast<const FcChar8*>(":scalable=true")));
  const Owned<FcObjectSet, FcObjectSetDestroy> wanted(FcObjectSetBuild(FC_FILE, FC_CHARSET, nullptr));
  if (!config || !pattern || !wanted) return files;
  const Owned<FcFontSet, FcFontSetDestroy> faces(FcFontList(config.get(), pattern.get(), wanted.get()));
  for (int i = 0; faces && i < faces->nfont; ++i) {
    FcChar8* file = nullptr;
    if (FcPatternGetString(faces->fonts[i], FC_FILE, 0, &file) == FcResultMatch && HasLatinLetters(faces->fonts[i])) {
      files.emplace_back(reinterpret_cast<const char*>(file));
    }
  }
  return files;
}

}  // namespace

std::vector<std::string> InstalledTrueTypeFiles() {
  std::vector<std::string> files = AllFiles();
  std::erase_if(files, [](const std::string& file) { return LowerExtensionOf(file) != "ttf"; });
  std::ranges::sort(files);
  files.erase(std::unique(files.begin(), files.end()), files.end());
  return files;
}

}  // namespace marvik
