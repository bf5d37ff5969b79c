#include "picture/picture_recipe.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "base/numbers.h"

namespace marvik {
namespace {

using Names = std::unordered_map<std::string, AtomRecord*>;

std::string NameOf(const Document& document, const AtomRecord& atom) {
  std::string name = atom.name;
  if (atom.residue >= 0) {
    const Residue& residue = document.residues[static_cast<size_t>(atom.residue)];
    if (residue.number != 0 || !residue.chain.empty())
      name += "_" + (residue.chain.empty() ? "" : residue.chain + ":") + std::to_string(residue.number);
  }
  if (atom.symmetryCode != 0) name += "@" + std::to_string(atom.symmetryCode);
  return name;
}

// Of several of the same name the first.
Names NamesOf(const Document& document) {
  Names names;
  for (AtomRecord* atom : Atoms(document.atoms)) names.emplace(NameOf(document, *atom), atom);
  return names;
}

bool IsPlain(const BondRecord& bond) {
  return bond.Order() == kSingle && bond.Style() == kSolid && bond.width == BondRecord().width;
}

// Rows made unit vectors at right angles, the first keeping its direction. What is that already, up to the digits of a
// recipe, stays as it is. The reader lets only what is nearly that pass.
std::array<std::array<double, 3>, 3> Orthonormal(const std::array<std::array<double, 3>, 3>& given) {
  constexpr double kDigits = 1e-8;
  auto rows = given;
  bool is = true;
  for (size_t i = 0; i < 3; ++i) {
    for (size_t k = 0; k < i; ++k) {
      const double along = rows[i][0] * rows[k][0] + rows[i][1] * rows[k][1] + rows[i][2] * rows[k][2];
      is &= std::abs(along) < kDigits;
      for (size_t j = 0; j < 3; ++j) rows[i][j] -= along * rows[k][j];
    }
    const double length = std::hypot(rows[i][0], rows[i][1], rows[i][2]);
    is &= std::abs(length - 1.0) < kDigits;
    for (double& v : rows[i]) v /= length;
  }
  return is ? given : rows;
}

void ShowBonds(Document& document, const PictureRecipe& recipe, const Names& names, std::vector<std::string>& gone) {
  AtomList& atoms = document.atoms;
  for (AtomRecord* atom : Atoms(atoms)) {
    for (BondRecord* bond = atom->bonds; bond; bond = bond->next) {
      bond->SetOrder(kSingle);
      bond->SetStyle(kSolid);
      bond->width = BondRecord().width;
    }
  }
  for (const PictureRecipe::Bond& wanted : recipe.bonds) {
    const auto a = names.find(wanted.a);
    const auto b = names.find(wanted.b);
    BondRecord* bond = a == names.end() || b == names.end() ? nullptr : atoms.FindBond(a->second, b->second);
    if (!bond) {
      gone.push_back(wanted.a + "-" + wanted.b);
      continue;
    }
    bond->SetOrder(wanted.order);
    bond->SetStyle(wanted.style);
    bond->width = static_cast<float>(wanted.width);
  }
}

void ShowAtoms(Document& document, const PictureRecipe& recipe, const Names& names, std::vector<std::string>& gone) {
  AtomList& atoms = document.atoms;
  atoms.displaySubset.Clear();
  atoms.hiddenParts.clear();
  for (AtomRecord* atom : Atoms(atoms)) {
    atom->Set(kHidden, !recipe.peaks && atom->IsPeak());
    atom->Set(kHiddenPart, false);
    atom->flags2 = static_cast<uint8_t>(atom->flags2 & ~(kLabelOff | kLabelPlaced));
    atom->labelOffsetX = atom->labelOffsetY = 0.0f;
  }
  const auto find = [&](const std::string& name) {
    const auto at = names.find(name);
    if (at == names.end()) gone.push_back(name);
    return at == names.end() ? nullptr : at->second;
  };
  for (const std::string& name : recipe.hidden) {
    if (AtomRecord* atom = find(name)) atom->Set(kHidden, true);
  }
  for (const std::string& name : recipe.labelsOff) {
    if (AtomRecord* atom = find(name)) atom->flags2 |= kLabelOff;
  }
  for (const PictureRecipe::Label& label : recipe.placed) {
    AtomRecord* atom = find(label.atom);
    if (!atom) continue;
    atom->flags2 |= kLabelPlaced;
    atom->labelOffsetX = static_cast<float>(label.x);
    atom->labelOffsetY = static_cast<float>(label.y);
  }
  // What is not seen must not be killed by the next command.
  const std::vector<AtomRecord*> selected(atoms.selection.begin(), atoms.selection.end());
  for (AtomRecord* atom : selected) {
    if (!atoms.IsVisible(atom)) atoms.selection.Remove(atom);
  }
}

}  // namespace

PictureRecipe RecipeOf(const PictureSubject& subject, const PictureOptions& picture) {
  const Document& document = subject.document;
  const ViewState& view = subject.view;
  const RenderOptions& look = subject.look;
  PictureRecipe recipe;
  for (size_t i = 0; i < 3; ++i) std::copy_n(view.modelview[i].begin(), 3, recipe.rotation[i].begin());
  recipe.radius = view.viewRadius;
  const Cartesian offset = view.viewCentre - SphereOfModel(document).centre;
  recipe.centre = {offset.x, offset.y, offset.z};
  const double side = view.drawingSize > 0.0 ? view.drawingSize : 1.0;
  recipe.pan = {view.panX / side, view.panY / side};
  recipe.depthCue = view.depthCueLevel;
  if (view.IsClipped()) recipe.clip = {view.clipFront, view.clipBack};
  recipe.rendition = look.mode;
  recipe.labels = look.labels;
  recipe.hydrogenLabels = look.hydrogenLabels;
  recipe.hybridColours = look.hybridLabelColoration;
  recipe.cell = look.showCell;
  recipe.probability = look.probability;
  recipe.figure = look.figure;
  recipe.picture = picture;
  recipe.peaks = false;
  for (const AtomRecord* atom : Atoms(document.atoms, kVisibleOnly)) recipe.peaks |= atom->IsPeak();

  const Names names = NamesOf(document);
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    const std::string name = NameOf(document, *atom);
    if (names.at(name) != atom) continue;
    if (!document.atoms.IsVisible(atom) && (recipe.peaks || !atom->IsPeak())) recipe.hidden.push_back(name);
    if (atom->flags2 & kLabelOff) recipe.labelsOff.push_back(name);
    if (atom->flags2 & kLabelPlaced) recipe.placed.push_back({name, atom->labelOffsetX, atom->labelOffsetY});
    ForEachOwnBond(atom, [&](const AtomRecord* partner, const BondRecord* bond) {
      const std::string other = NameOf(document, *partner);
      if (!IsPlain(*bond) && names.at(other) == partner)
        recipe.bonds.push_back({name, other, bond->Order(), bond->Style(), bond->width});
    });
  }
  return recipe;
}

std::vector<std::string> ShowAsRecipe(const PictureRecipe& recipe, PictureSubject& subject) {
  std::vector<std::string> gone;
  const Names names = NamesOf(subject.document);
  ShowAtoms(subject.document, recipe, names, gone);
  ShowBonds(subject.document, recipe, names, gone);
  RenderOptions& look = subject.look;
  look.mode = recipe.rendition;
  look.labels = recipe.labels;
  look.hydrogenLabels = recipe.hydrogenLabels;
  look.hybridLabelColoration = recipe.hybridColours;
  look.showCell = recipe.cell;
  look.probability = recipe.probability;
  for (const RecipeFlag& choice : kRecipeFlags) look.figure.*choice.flag = recipe.figure.*choice.flag;

  ViewState& view = subject.view;
  const auto rotation = Orthonormal(recipe.rotation);
  view.modelview = IdentityMatrix4();
  for (size_t i = 0; i < 3; ++i) std::ranges::copy(rotation[i], view.modelview[i].begin());
  view.depthCueLevel = recipe.depthCue;
  view.Clip(recipe.clip);
  ResetView(view, subject.document);
  const Cartesian offset{recipe.centre[0], recipe.centre[1], recipe.centre[2]};
  view.FitView(recipe.radius, view.viewCentre + offset);
  view.panX = static_cast<int32_t>(std::lround(recipe.pan[0] * view.drawingSize));
  view.panY = static_cast<int32_t>(std::lround(recipe.pan[1] * view.drawingSize));
  return gone;
}

}  // namespace marvik
