#include "app/workbench.h"

#include "app/commands/command_table.h"
#include "app/density.h"
#include "app/figure_marks.h"
#include "app/measures.h"
#include "chem/bonds/connectivity.h"
#include "draw/surface/lit_picture.h"
#include "draw/view/best_view.h"
#include "edit/symmetry_commands.h"

namespace marvik {

std::string Workbench::Title() const {
  return document.CurrentFile.empty() ? "Marvik" : FileNameOf(document.CurrentFile);
}

RenderOptions Workbench::ScreenOptions() const {
  RenderOptions options;
  options.mode = RenditionMode;
  options.look = look;
  options.safeColours = SafeColours;
  options.cutOctant = look != Look::Classic;
  options.labels = LabelsOn;
  options.hydrogenLabels = HydrogenLabelsOn;
  options.hybridLabelColoration = HybridLabelColoration;
  options.showCell = ShowCell;
  if (density) options.net = density->NetOf(document, view.viewCentre);
  options.probability = pictures.probability;
  options.figure = figure;
  options.contacts = Contacts();
  options.marks = Marks();
  options.labelPoints = labelPoints;
  options.labelForm = labelForm;
  return options;
}

size_t Workbench::KeyOfShown() const {
  size_t key = figure.hydrogenBonds + 2 * figure.shortContacts + 4 * figure.measures + 8 * figure.restraints +
               16 * figure.planes;
  const auto mix = [&key](auto value) { key = (key ^ std::hash<decltype(value)>()(value)) * 1099511628211u; };
  for (const AtomRecord* atom : Atoms(document.atoms)) {
    mix(atom);
    mix(atom->serial);
    mix(atom->element);
    mix(atom->part);
    mix(document.atoms.Passes(atom, kVisibleOnly));
    for (int i = 0; i < 3; ++i) mix(atom->position[i]);
  }
  mix(changes);
  mix(history.State());
  for (const KeptLine& line : document.instructions.kept) mix(line.text);
  for (const std::string& groups : measuredGroups) mix(groups);
  return key;
}

std::shared_ptr<const std::vector<DrawnContact>> Workbench::Contacts() const {
  const auto marks = Marks();
  const bool measured = marks && !marks->measures.empty();
  if (!figure.hydrogenBonds && !figure.shortContacts && !measured) return nullptr;
  const size_t key = marks ? marks_.key : KeyOfShown();
  if (contacts_.value && key == contacts_.key) return contacts_.value;
  std::vector<DrawnContact> contacts;
  if (figure.hydrogenBonds || figure.shortContacts)
    contacts = ContactsShown(document, figure.hydrogenBonds, figure.shortContacts);
  if (measured) AddMeasuredLines(document, *marks, contacts);
  contacts_ = {std::make_shared<std::vector<DrawnContact>>(std::move(contacts)), key};
  return contacts_.value;
}

std::shared_ptr<const FigureMarks> Workbench::Marks() const {
  const bool planes = figure.planes && (!measuredGroups.empty() || KeepsPlanes(document));
  if (!figure.restraints && !planes && !(figure.measures && KeepsMeasures(document))) return nullptr;
  size_t key = KeyOfShown();
  const auto strains = figure.restraints ? Strains(key) : nullptr;
  key ^= std::hash<const void*>()(strains.get());
  if (!marks_.value || key != marks_.key)
    marks_ = {std::make_shared<FigureMarks>(MarksShown(*this, strains.get())), key};
  return marks_.value;
}

std::shared_ptr<const std::vector<StrainedAtoms>> Workbench::Strains(size_t key) const {
  constexpr int kManyAtoms = 1000;
  if (strains_.key == key) return strains_.value;
  strains_.key = key;
  int atoms = 0;
  for ([[maybe_unused]] const AtomRecord* atom : Atoms(document.atoms)) ++atoms;
  if (!hooks.inBackground || atoms < kManyAtoms) {
    strains_.value = std::make_shared<std::vector<StrainedAtoms>>(StrainsOf(document));
    return strains_.value;
  }
  hooks.inBackground("The restraints that are drawn are being worked out",
                     [this, key, copy = std::make_shared<const Document>(document)] {
                       const auto made = std::make_shared<std::vector<StrainedAtoms>>(StrainsOf(*copy));
                       return [this, key, made] {
                         if (strains_.key != key) return;
                         strains_.value = made;
                         Repaint();
                       };
                     });
  return strains_.value;
}

void Workbench::SetLook(Look chosen) {
  if (look == chosen) return;
  const bool frames = (chosen == Look::Classic || look == Look::Classic) && ViewIsFitted();
  if (chosen == Look::Classic && RenditionMode == kLitRendition) RenditionMode = kWireFrame;
  if (hooks.showPanel && (chosen == Look::Classic || look == Look::Classic))
    hooks.showPanel(chosen == Look::Classic ? kNoPanelsCommand : kUsualPanelsCommand, true);
  look = chosen;
  if (frames) ResetViewToModel();
}

void Workbench::PickAtom(const AtomRecord* atom) {
  ClearPick();
  pickedAtom_ = atom ? atom->serial : 0;
}

void Workbench::PickBond(const BondRecord* bond) {
  ClearPick();
  if (!bond) return;
  pickedBondOwner_ = bond->owner->serial;
  pickedBondPartner_ = bond->partner->serial;
}

void Workbench::ClearPick() {
  pickedAtom_ = pickedBondOwner_ = pickedBondPartner_ = 0;
}

AtomRecord* Workbench::PickedAtom() const {
  return pickedAtom_ ? document.atoms.FindSerial(pickedAtom_) : nullptr;
}

BondRecord* Workbench::PickedBond() const {
  if (!pickedBondOwner_) return nullptr;
  const AtomRecord* owner = document.atoms.FindSerial(pickedBondOwner_);
  const AtomRecord* partner = document.atoms.FindSerial(pickedBondPartner_);
  return owner && partner ? document.atoms.FindBond(owner, partner) : nullptr;
}

void Workbench::ConnectAndReframe() {
  const StageClock clock(seconds.connect);
  Connect(document, messages);
  FollowCentre();
}

void Workbench::FollowCentre() {
  if (document.MoleculeCentre != followedCentre_) {
    const Cartesian centre = SphereOfModel(document).centre;
    if (!view.zoomedOnSelection) view.viewCentre = view.viewCentre + (centre - modelCentre_);
    modelCentre_ = centre;
  }
  followedCentre_ = document.MoleculeCentre;
}

void Workbench::RefreshAfterStructureChange(bool runFmol) {
  ConnectAndReframe();
  if (runFmol && FormMolecules(document, false, messages) > 0) {
    FollowCentre();
    SetModified(true);
  }
  Repaint();
}

void Workbench::ResetViewToModel(bool face) {
  followedCentre_ = document.MoleculeCentre;
  modelCentre_ = SphereOfModel(document).centre;
  ResetView(view, document);
  if (face) view.Clip(std::nullopt);
  if (face && look != Look::Classic) FaceBestPlane(view, document);
  FitView();
  fittedRadius_ = view.viewRadius;
}

bool Workbench::ViewIsFitted() const {
  return view.viewRadius == fittedRadius_ && view.panX == 0 && view.panY == 0 && !view.zoomedOnSelection;
}

void Workbench::FitView() {
  if (look != Look::Classic) FitFrame(view, document, ScreenOptions());
}

OpenGlSettings& Workbench::GlSettings() {
  if (!glSettings_) glSettings_ = LoadOpenGlSettings();
  return *glSettings_;
}

void Workbench::SetModified(bool on) {
  if (on) ++changes;
  if (modified == on) return;
  modified = on;
  TitleChanged();
}

void Workbench::Repaint() const {
  if (hooks.repaint) hooks.repaint();
}

void Workbench::TitleChanged() const {
  if (hooks.titleChanged) hooks.titleChanged();
}

void Workbench::SetBusy(bool on) const {
  if (hooks.busy) hooks.busy(on);
}

}  // namespace marvik
