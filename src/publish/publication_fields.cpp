#include <algorithm>

#include "base/numbers.h"
#include "base/words.h"
#include "files/cif/cif_text.h"
#include "publish/publication_loops.h"

namespace marvik {
namespace {

constexpr double kMost = 1e9;
constexpr char kConfigurations[] = "rm|ad|rmad|syn|unk|dyn";
constexpr char kSolutions[] = "difmap|vecmap|heavy|direct|geom|disper|isomor|notdet|dual|iterative|mixed|other";
constexpr char kCorrections[] =
    "multi-scan|numerical|gaussian|analytical|integration|empirical|psi-scan|refdelf|cylinder|sphere|none";

// Names, types and allowed words are those of the core dictionary.
constexpr PublicationField kFields[] = {
    {"_publ_section_title", "Title of the paper or of the structure"},
    {"_publ_contact_author_name", "Who answers questions: family name, given names"},
    {"_publ_contact_author_address", "The address of the contact author"},
    {"_publ_contact_author_email", "The e-mail address of the contact author"},
    {"_publ_author_name",
     "The authors, a line for each: family name, given names | address | e-mail | ORCID | footnote. A line that begins "
     "with a blank goes on with the address",
     "", "", 0.0, -1.0, "_publ_author_address _publ_author_email _publ_author_id_ORCID _publ_author_footnote"},
    {"_audit_author_name", "Who made the CIF, a line for each: family name, given names | address", "", "", 0.0, -1.0,
     "_audit_author_address"},
    {"_publ_requested_journal", "The journal that it is sent to"},
    {"_chemical_name_systematic", "Name by the rules of nomenclature"},
    {"_chemical_name_common", "Trivial name"},
    {"_chemical_compound_source", "Where the compound comes from", "", "synthesis|natural product|commercial..."},
    {"_chemical_formula_moiety",
     "Formula by bonded units with their charges: 'C12 H16 N2 O6, H2 O'; what stands there is a proposal"},
    {"_chemical_melting_point", "Melting point", "K", "", 0.0, 1e4},
    {"_chemical_absolute_configuration",
     "How the absolute configuration is known: rm reference molecule, ad anomalous dispersion, rmad both, syn "
     "synthesis, "
     "unk unknown or arbitrary; '.' where it does not apply",
     "", kConfigurations},
    {"_exptl_crystal_description", "Shape of the crystal", "", "block|plate|needle|prism|rod|tablet|lath|fragment..."},
    {"_exptl_crystal_colour", "Colour of the crystal", "",
     "colourless|pale yellow|yellow|orange|red|violet|blue|green|brown|black..."},
    {"_exptl_crystal_size_max", "Longest edge of the crystal", "mm", "", 0.0, 100.0},
    {"_exptl_crystal_size_mid", "Middle edge of the crystal", "mm", "", 0.0, 100.0},
    {"_exptl_crystal_size_min", "Shortest edge of the crystal", "mm", "", 0.0, 100.0},
    {"_exptl_crystal_face_index_h", "Faces of the crystal, a line for each: h | k | l | distance from its centre in mm",
     "", "", 0.0, -1.0, "_exptl_crystal_face_index_k _exptl_crystal_face_index_l _exptl_crystal_face_perp_dist"},
    {"_exptl_crystal_recrystallization_method", "How the crystal was grown: solvent, temperature, time"},
    {"_exptl_crystal_density_meas", "Measured density", "Mg m^-3^", "", 0.0, 100.0},
    {"_exptl_crystal_density_method", "How the density was measured", "", "not measured|flotation in aqueous KI..."},
    {"_cell_measurement_reflns_used", "Reflections that the cell was refined with", "", "", 3.0, kMost},
    {"_cell_measurement_theta_min", "Smallest theta of those", "degrees", "", 0.0, 90.0},
    {"_cell_measurement_theta_max", "Largest theta of those", "degrees", "", 0.0, 90.0},
    {"_diffrn_measurement_device_type", "Make and model of the diffractometer"},
    {"_diffrn_measurement_device", "Kind of diffractometer", "",
     "four-circle diffractometer|three-circle diffractometer|image plate..."},
    {"_diffrn_measurement_method", "How the frames were taken", "", "\\w scans|\\f and \\w scans|\\w and \\q scans..."},
    {"_diffrn_source", "Source of the radiation", "",
     "sealed X-ray tube|microfocus tube|rotating anode|synchrotron..."},
    {"_diffrn_source_voltage", "Voltage of the tube", "kV", "", 0.0, kMost},
    {"_diffrn_source_current", "Current of the tube", "mA", "", 0.0, kMost},
    {"_diffrn_radiation_type", "Radiation", "", "MoK\\a|CuK\\a|AgK\\a|GaK\\a|synchrotron|neutron..."},
    {"_diffrn_radiation_monochromator", "How the radiation was made monochromatic", "",
     "graphite|multilayer mirror|silicon 111|germanium 220..."},
    {"_diffrn_detector", "Kind of detector", "",
     "hybrid photon counting|CCD|CMOS|image plate|scintillation counter..."},
    {"_diffrn_detector_type", "Make and model of the detector"},
    {"_diffrn_detector_area_resol_mean", "Resolution of the detector", "pixels mm^-1^", "", 0.0, kMost},
    {"_diffrn_ambient_environment", "What was around the crystal", "", "N2|He|air|vacuum..."},
    {"_diffrn_ambient_pressure", "Pressure on the crystal", "kPa", "", 0.0, kMost},
    {"_diffrn_measurement_specimen_support", "What held the crystal", "", "nylon loop|polyimide loop|glass fibre..."},
    {"_exptl_absorpt_correction_type", "Kind of absorption correction", "", kCorrections},
    {"_exptl_absorpt_correction_T_min", "Smallest transmission", "", "", 0.0, 1.0},
    {"_exptl_absorpt_correction_T_max", "Largest transmission", "", "", 0.0, 1.0},
    {"_exptl_absorpt_process_details", "Program of the absorption correction and its reference"},
    {"_atom_sites_solution_primary", "How the first atoms were found", "", kSolutions},
    {"_atom_sites_solution_secondary", "How the other atoms were found", "", kSolutions},
    {"_atom_sites_solution_hydrogens", "How the hydrogen atoms were found", "", kSolutions},
    {"_reflns_special_details", "What was unusual in the reflections: cuts, merging, twins"},
    {"_exptl_special_details", "What was unusual in the experiment"},
    {"_refine_special_details", "What was unusual in the refinement: restraints, disorder, twinning, solvent"},
    {"_computing_data_collection", "Program that drove the diffractometer"},
    {"_computing_cell_refinement", "Program that refined the cell"},
    {"_computing_data_reduction", "Program that integrated the frames"},
    {"_computing_structure_solution", "Program that solved the structure"},
    {"_computing_molecular_graphics", "Program that drew the figures"},
    {"_computing_publication_material", "Programs that made tables and text"},
};

std::string Unified(std::string_view name) {
  std::string lower = LowerCase(name);
  std::ranges::replace(lower, '.', '_');
  return lower;
}

}  // namespace

bool PublicationField::IsOnlyWords() const {
  return *words && !std::string_view(words).ends_with("...");
}

std::span<const PublicationField> PublicationFields() {
  return kFields;
}

const PublicationField* FindPublicationField(std::string_view item) {
  const std::string name = Unified(item);
  const auto field = std::ranges::find_if(kFields, [&](const auto& f) { return Unified(f.item) == name; });
  return field == std::end(kFields) ? nullptr : &*field;
}

std::vector<std::string> WordsOf(const PublicationField& field) {
  std::string_view text = field.words;
  if (text.ends_with("...")) text.remove_suffix(3);
  std::vector<std::string> words;
  while (!text.empty()) {
    const size_t bar = std::min(text.find('|'), text.size());
    words.emplace_back(text.substr(0, bar));
    text.remove_prefix(std::min(bar + 1, text.size()));
  }
  return words;
}

std::string AllowedText(const PublicationField& field) {
  std::string text;
  for (const std::string& word : WordsOf(field)) text += (text.empty() ? "" : ", ") + word;
  if (!text.empty()) return text + (field.IsOnlyWords() ? "" : ", ...");
  if (!field.IsNumber()) return "";
  return field.high < kMost ? Printf("%g to %g", field.low, field.high) : Printf("a number from %g on", field.low);
}

std::string PublicationFault(std::string_view item, std::string_view value) {
  const PublicationField* field = FindPublicationField(item);
  if (!field || value.empty() || value == "?" || value == ".") return "";
  if (field->IsLoop()) return LoopFault(value, *field);
  double number = 0.0;
  const bool outside =
      field->IsNumber() && !(ParseCifNumber(value, number) && number >= field->low && number <= field->high);
  const auto words = WordsOf(*field);
  if (!outside && !(field->IsOnlyWords() && std::ranges::find(words, value) == words.end())) return "";
  return std::string(item) + " takes " + AllowedText(*field) + (*field->unit ? std::string(" ") + field->unit : "") +
         ", not " + std::string(value.substr(0, 60)) + ".";
}

}  // namespace marvik
