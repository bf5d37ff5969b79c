#include "cif_cases.h"

namespace marvik::test {

const std::string kAcetamide = R"(data_acetamide
_chemical_formula_sum 'C2 H5 N O'
_chemical_formula_moiety 'C2 H5 N O'
_chemical_formula_weight 59.07
_chemical_melting_point 355
_space_group_crystal_system monoclinic
_space_group_name_H-M_alt 'P 1 21/c 1'
_space_group_name_Hall '-P 2ybc'
_space_group_IT_number 14
loop_
_space_group_symop_operation_xyz
'x, y, z'
'-x, y+1/2, -z+1/2'
'-x, -y, -z'
'x, -y-1/2, z-1/2'
_cell_length_a 5.8013(6)
_cell_length_b 7.9021(8)
_cell_length_c 7.7034(7)
_cell_angle_alpha 90
_cell_angle_beta 98.120(6)
_cell_angle_gamma 90
_cell_volume 349.60(6)
_cell_formula_units_Z 4
_cell_measurement_temperature 150(2)
_cell_measurement_reflns_used 1200
_cell_measurement_theta_min 3.1
_cell_measurement_theta_max 27.1
_exptl_crystal_description block
_exptl_crystal_colour 'dark red'
_exptl_crystal_size_max 0.30
_exptl_crystal_size_mid 0.20
_exptl_crystal_size_min 0.10
_exptl_crystal_density_diffrn 1.122
_exptl_crystal_density_meas 1.12
_exptl_crystal_density_method flotation
_exptl_crystal_F_000 128
_exptl_absorpt_coefficient_mu 0.087
_exptl_absorpt_correction_type multi-scan
_exptl_absorpt_correction_T_min 0.974
_exptl_absorpt_correction_T_max 0.991
_exptl_absorpt_process_details 'a reference'
_diffrn_ambient_temperature 150(2)
_diffrn_radiation_type 'Mo K\a'
_diffrn_radiation_wavelength 0.71073
_diffrn_source 'sealed tube'
_diffrn_measurement_device_type diffractometer
_diffrn_measurement_method '\w scans'
_diffrn_reflns_number 3300
_diffrn_reflns_av_R_equivalents 0.0300
_diffrn_reflns_av_unetI/netI 0.0200
_diffrn_reflns_limit_h_min -7
_diffrn_reflns_limit_h_max 7
_diffrn_reflns_limit_k_min -10
_diffrn_reflns_limit_k_max 10
_diffrn_reflns_limit_l_min -10
_diffrn_reflns_limit_l_max 9
_diffrn_reflns_theta_min 3.5
_diffrn_reflns_theta_max 27.50
_diffrn_reflns_theta_full 25.24
_diffrn_measured_fraction_theta_max 0.998
_diffrn_measured_fraction_theta_full 0.999
_reflns_number_total 795
_reflns_number_gt 700
_reflns_threshold_expression 'I > 2\s(I)'
_refine_ls_structure_factor_coef Fsqd
_refine_ls_matrix_type full
_refine_ls_R_factor_gt 0.0400
_refine_ls_R_factor_all 0.0450
_refine_ls_wR_factor_ref 0.1000
_refine_ls_goodness_of_fit_ref 1.050
_refine_ls_number_reflns 795
_refine_ls_number_parameters 38
_refine_ls_number_restraints 0
_refine_ls_hydrogen_treatment constr
_refine_ls_weighting_scheme calc
_refine_ls_weighting_details 'w=1/[\s^2^(Fo^2^)+(0.0500P)^2^+0.1000P] where P=(Fo^2^+2Fc^2^)/3'
_refine_ls_extinction_method none
_refine_ls_extinction_coef .
_refine_ls_shift/su_max 0.001
_refine_ls_abs_structure_Flack .
_refine_diff_density_max 0.20
_refine_diff_density_min -0.18
_refine_diff_density_rms 0.04
_atom_sites_solution_primary direct
_atom_sites_solution_hydrogens geom
_computing_structure_refinement 'a program'
_publ_contact_author_name 'A. Author'
loop_
_atom_type_symbol
_atom_type_scat_dispersion_real
_atom_type_scat_dispersion_imag
_atom_type_scat_source
C 0.0033 0.0016 tables
H 0.0000 0.0000 tables
N 0.0061 0.0033 tables
O 0.0106 0.0060 tables
loop_
_atom_site_label
_atom_site_type_symbol
_atom_site_fract_x
_atom_site_fract_y
_atom_site_fract_z
_atom_site_U_iso_or_equiv
_atom_site_adp_type
_atom_site_occupancy
_atom_site_calc_flag
_atom_site_refinement_flags
_atom_site_disorder_group
O1 O 0.2578(2) 0.2948(2) 0.3992(2) 0.0300(6) Uani 1 d . .
N1 N 0.4973(2) 0.2671(2) 0.2001(2) 0.0300(6) Uani 1 d . .
C1 C 0.1615(2) 0.0747(2) 0.1907(2) 0.0300(6) Uani 1 d . .
C2 C 0.3100(2) 0.2200(2) 0.2700(2) 0.0300(6) Uani 1 d . .
H1A H 0.5828 0.3508 0.2458 0.0360 Uiso 1 calc R .
H1B H 0.5342 0.2143 0.1089 0.0360 Uiso 1 calc R .
H11 H 0.0694 0.0308 0.2764 0.0450 Uiso 1 calc R .
H12 H 0.2610 -0.0143 0.1563 0.0450 Uiso 1 calc R .
H13 H 0.0586 0.1141 0.0884 0.0450 Uiso 1 calc R .
loop_
_atom_site_aniso_label
_atom_site_aniso_U_11
_atom_site_aniso_U_22
_atom_site_aniso_U_33
_atom_site_aniso_U_23
_atom_site_aniso_U_13
_atom_site_aniso_U_12
O1 0.0300(6) 0.0300(6) 0.0300(6) 0.0000(5) 0.0042(5) 0.0000(5)
N1 0.0300(6) 0.0300(6) 0.0300(6) 0.0000(5) 0.0042(5) 0.0000(5)
C1 0.0300(6) 0.0300(6) 0.0300(6) 0.0000(5) 0.0042(5) 0.0000(5)
C2 0.0300(6) 0.0300(6) 0.0300(6) 0.0000(5) 0.0042(5) 0.0000(5)
loop_
_geom_bond_atom_site_label_1
_geom_bond_atom_site_label_2
_geom_bond_distance
_geom_bond_site_symmetry_2
O1 C2 1.232(2) .
N1 C2 1.332(2) .
N1 H1A 0.87 .
N1 H1B 0.87 .
C1 C2 1.512(2) .
C1 H11 0.97 .
loop_
_geom_angle_atom_site_label_1
_geom_angle_atom_site_label_2
_geom_angle_atom_site_label_3
_geom_angle
O1 C2 N1 120.0(2)
C2 N1 H1A 120
loop_
_geom_torsion_atom_site_label_1
_geom_torsion_atom_site_label_2
_geom_torsion_atom_site_label_3
_geom_torsion_atom_site_label_4
_geom_torsion
O1 C2 N1 H1A 0.0
)";

const std::vector<CifCase> kItemCases = {
    {"formula-atoms", "C2 H5 N O'\n_chemical_formula_m", "C2 H6 N O'\n_chemical_formula_m"},
    {"formula-moiety", "moiety 'C2 H5 N O'", "moiety 'C2 H4 N O 1+, H2 O'"},
    {"formula-element", "sum 'C2 H5 N O'", "sum 'C2 H5 Nx O'"},
    {"formula-character", "sum 'C2 H5 N O'", "sum '(C2 H5) N O'"},
    {"formula-order", "sum 'C2 H5 N O'", "sum 'C2 H5 O N'"},
    {"formula-category", "_chemical_formula_sum", "_publ_requested_category FI\n_chemical_formula_sum"},
    {"weight-formula", "59.07", "66.07"},
    {"weight-difference", "59.07", "60.37"},
    {"weight-atoms", "C2 C 0.3100(2) 0.2200(2) 0.2700(2) 0.0300(6) Uani 1 d . .\n", ""},
    {"contents-atoms", "C2 C 0.3100(2) 0.2200(2) 0.2700(2) 0.0300(6) Uani 1 d . .\n", ""},
    {"contents-hydrogen", "H13 H 0.0586 0.1141 0.0884 0.0450 Uiso 1 calc R .\n", ""},
    {"z-atoms", "units_Z 4", "units_Z 8"},
    {"density-formula", "diffrn 1.122", "diffrn 1.322"},
    {"density-atoms", "C2 C 0.3100(2) 0.2200(2) 0.2700(2) 0.0300(6) Uani 1 d . .\n", ""},
    {"density-low", "diffrn 1.122", "diffrn 0.922"},
    {"density-measured", "_exptl_crystal_density_meas 1.12\n", ""},
    {"density-ratio", "meas 1.12", "meas 1.32"},
    {"mu-formula", "mu 0.087", "mu 0.870"},
    {"f000-contents", "F_000 128", "F_000 124"},
    {"cell-fraction", "0.0450 Uiso 1", "0.0450 Uiso 0.9"},
    {"cell-volume", "349.60(6)", "351.60(6)"},
    {"volume-su", "349.60(6)", "349.6(10)"},
    {"volume-no-su", "349.60(6)", "349.60"},
    {"cell-cold", "measurement_temperature 150(2)", "measurement_temperature 15"},
    {"cell-theta", "theta_max 27.1", "theta_max 2.7"},
    {"melting-point", "355", "82"},
    {"system-word", "monoclinic", "monoclinc"},
    {"cell-monoclinic", "alpha 90", "alpha 91.0"},
    {"cell-higher", "98.120(6)", "90"},
    {"cell-edge-no-su", "5.8013(6)", "5.8013"},
    {"cell-angle-no-su", "98.120(6)", "98.120"},
    {"cell-angle-fixed-su", "alpha 90", "alpha 90.000(5)"},
    {"cell-edge-su-large", "5.8013(6)", "5.80(4)"},
    {"cell-angle-su-large", "98.120(6)", "98.1(2)"},
    {"cell-edge-su-alike", "7.9021(8)\n_cell_length_c 7.7034(7)", "7.9021(6)\n_cell_length_c 7.7034(6)"},
    {"beta-acute", "98.120(6)", "81.880(6)"},
    {"cell-zeros", "5.8013(6)\n_cell_length_b 7.9021(8)\n_cell_length_c 7.7034(7)",
     "5.800(6)\n_cell_length_b 7.900(8)\n_cell_length_c 7.700(7)"},
    {"temperature-differs", "ambient_temperature 150", "ambient_temperature 160"},
    {"temperature-default", "ambient_temperature 150(2)", "ambient_temperature 293"},
    {"symbol-unknown", "'P 1 21/c 1'", "'Q 1 21/c 1'"},
    {"symbol-number", "number 14", "number 15"},
    {"symbol-operators", "'P 1 21/c 1'", "'P 1 21/m 1'"},
    {"no-operators", "_space_group_symop_operation_xyz", "_space_group_symop_id"},
    {"operator-malformed", "'-x, -y, -z'", "'-x, -y, -z'\n'x, y, w'"},
    {"operator-doubled", "'-x, -y, -z'", "'-x, -y, -z'\n'-x, -y, -z'"},
    {"operators-no-group", "'-x, -y, -z'\n", ""},
    {"system-group", "monoclinic", "orthorhombic"},
    {"hall-unknown", "'-P 2ybc'", "'-Q 2ybc'"},
    {"hall-operators", "'-P 2ybc'", "'-P 2yb'"},
    {"wavelength-radiation", "0.71073", "0.72073"},
    {"wavelength-unusual", "0.71073", "0.90000"},
    {"resolution", "theta_max 27.50", "theta_max 23.00"},
    {"theta-full", "25.24", "20.24"},
    {"theta-full-max", "25.24", "27.50"},
    {"completeness-max", "theta_max 0.998", "theta_max 0.94"},
    {"completeness-full", "theta_full 0.999", "theta_full 0.95"},
    {"completeness-order", "theta_full 0.999", "theta_full 0.990"},
    {"completeness-count", "total 795", "total 715"},
    {"unique-excess", "total 795", "total 900"},
    {"unique-measured", "_diffrn_reflns_number 3300", "_diffrn_reflns_number 700"},
    {"strong-unique", "gt 700", "gt 800"},
    {"index-order", "h_max 7", "h_max -8"},
    {"index-range", "h_max 7", "h_max 10"},
    {"weak-data", "gt 700", "gt 300"},
    {"threshold", "2\\s(I)", "5\\s(I)"},
    {"multiplicity", "_diffrn_reflns_number 3300", "_diffrn_reflns_number 1300"},
    {"r-int", "0.0300\n_diffrn_reflns_av_u", "0.1300\n_diffrn_reflns_av_u"},
    {"r-int-negative", "0.0300\n_diffrn_reflns_av_u", "-0.03\n_diffrn_reflns_av_u"},
    {"theta-order", "theta_min 3.5", "theta_min 35"},
    {"crystal-order", "mid 0.20", "mid 0.05"},
    {"crystal-large", "max 0.30", "max 1.30"},
    {"crystal-thick", "min 0.10", "min 0.70"},
    {"crystal-radius", "block", "sphere"},
    {"crystal-colour", "'dark red'", "'funny'"},
    {"absorption-word", "multi-scan", "magic"},
    {"absorption-details", "process_details 'a reference'", "process_details ?"},
    {"transmission-order", "T_min 0.974", "T_min 0.999"},
    {"transmission-missing", "T_min 0.974", "T_min ?"},
    {"transmission-range", "T_min 0.974", "T_min -0.974"},
    {"absorption-none", "mu 0.087\n_exptl_absorpt_correction_type multi-scan",
     "mu 2.087\n_exptl_absorpt_correction_type none"},
    {"absorption-faces", "mu 0.087", "mu 20.87"},
    {"transmission-narrow", "mu 0.087", "mu 5.087"},
    {"transmission-wide", "T_min 0.974", "T_min 0.574"},
    {"transmission-numerical", "mu 0.087\n_exptl_absorpt_correction_type multi-scan",
     "mu 5.087\n_exptl_absorpt_correction_type gaussian"},
    {"r1", "gt 0.0400", "gt 0.1400"},
    {"wr2", "ref 0.1000", "ref 0.3000"},
    {"goodness-low", "1.050", "0.500"},
    {"goodness-high", "1.050", "2.500"},
    {"shift", "max 0.001", "max -0.060"},
    {"parameters-centro", "parameters 38", "parameters 88"},
    {"data-fewer", "parameters 38", "parameters 880"},
    {"weight-a", "0.0500P", "0.1500P"},
    {"weight-b", "0.1000P]", "9.1000P]"},
    {"weight-default", "(0.0500P)^2^+0.1000P", "(0.1000P)^2^+0.0000P"},
    {"weighting-word", "scheme calc", "scheme unit"},
    {"weighting-form", "'w=1/[\\s^2^(Fo^2^)+(0.0500P)^2^+0.1000P] where P=(Fo^2^+2Fc^2^)/3'",
     "'w=1/[\\s^2^(Fo^2^)+0.05]'"},
    {"coefficient-word", "Fsqd", "Fcubed"},
    {"hydrogen-word", "constr", "somehow"},
    {"hydrogen-treatment", "constr", "refall"},
    {"hydrogen-none", "treatment constr", "treatment none"},
    {"extinction-weak", "coef .", "coef 0.002(1)"},
    {"extinction-refined", "coef .", "coef 0.020(1)"},
    {"restraints", "restraints 0", "restraints 3"},
    {"flag-restrained", "Uani 1 d . .", "Uani 1 d D ."},
    {"flag-u", "Uani 1 d . .", "Uani 1 d U ."},
    {"density-max", "max 0.20", "max 0.70"},
    {"density-min", "min -0.18", "min -0.70"},
    {"density-max-negative", "max 0.20", "max -0.20"},
    {"density-min-positive", "min -0.18", "min 0.18"},
    {"density-nearest", "max 0.20", "max 0.70"},
    {"density-skew", "max 0.20", "max 0.59"},
    {"flack-centro", "Flack .", "Flack 0.1(1)"},
    {"isotropic", "N1 0.0300(6) 0.0300(6) 0.0300(6) 0.0000(5) 0.0042(5) 0.0000(5)\n", ""},
    {"no-anisotropic", "_atom_site_aniso_label", "_atom_site_other_label"},
    {"tensor-incomplete", "N1 0.0300(6)", "N1 ?"},
    {"tensor-npd", "N1 0.0300(6)", "N1 -0.0300(6)"},
    {"tensor-flat", "N1 0.0300(6)", "N1 0.0007(6)"},
    {"ellipsoid-ratio", "N1 0.0300(6)", "N1 0.3500(6)"},
    {"u-range", "C1 C 0.1615(2) 0.0747(2) 0.1907(2) 0.0300(6)", "C1 C 0.1615(2) 0.0747(2) 0.1907(2) 0.1300(6)"},
    {"u-range-hydrogen", "H13 H 0.0586 0.1141 0.0884 0.0450", "H13 H 0.0586 0.1141 0.0884 0.2450"},
    {"u-equivalent", "N1 N 0.4973(2) 0.2671(2) 0.2001(2) 0.0300(6)", "N1 N 0.4973(2) 0.2671(2) 0.2001(2) 0.0400(6)"},
    {"rigid-bond", "N1 0.0300(6) 0.0300(6)", "N1 0.0500(6) 0.0300(6)"},
    {"rigid-bond-absolute", "N1 0.0300(6)", "N1 0.3500(6)"},
    {"u-above-neighbours", "C2 C 0.3100(2) 0.2200(2) 0.2700(2) 0.0300(6)",
     "C2 C 0.3100(2) 0.2200(2) 0.2700(2) 0.0900(6)"},
    {"u-below-neighbours", "O1 O 0.2578(2) 0.2948(2) 0.3992(2) 0.0300(6)",
     "O1 O 0.2578(2) 0.2948(2) 0.3992(2) 0.1800(6)"},
    {"u-hydrogen", "H1A H 0.5828 0.3508 0.2458 0.0360", "H1A H 0.5828 0.3508 0.2458 0.0160"},
    {"mean-anisotropy", "N1 0.0300(6)", "N1 0.3500(6)"},
    {"no-atoms", "_atom_site_fract_x", "_atom_site_cartn_x"},
    {"label-type", "N1 N 0.4973", "N1 O 0.4973"},
    {"type-unknown", "N1 N 0.4973", "X1 Xx 0.4973"},
    {"label-twice", "N1 N 0.4973", "C1 C 0.4973"},
    {"label-digits", "N1 N 0.4973", "1N N 0.4973"},
    {"label-unusual", "N1 N 0.4973", "Nitrogen1 N 0.4973"},
    {"occupancy-zero", "0.0450 Uiso 1", "0.0450 Uiso 0"},
    {"occupancy-above", "0.0450 Uiso 1", "0.0450 Uiso 1.2"},
    {"coordinate-su", "N1 N 0.4973(2) 0.2671(2) 0.2001(2)", "N1 N 0.4973 0.2671 0.2001"},
    {"riding-heavy", "Uani 1 d . .", "Uani 1 d R ."},
    {"calculated-su", "0.0694 0.0308 0.2764", "0.0694(2) 0.0308(2) 0.2764(2)"},
    {"occupancy-fixed", "0.0300(6) Uani 1", "0.0300(6) Uani 0.5"},
    {"disorder-share", "0.0300(6) Uani 1", "0.0300(6) Uani 0.5"},
    {"negative-group", "calc R .", "calc R -1"},
    {"precision-light", "C1 C 0.1615(2)", "C1 C 0.1615(90)"},
    {"list-bond-long", "C1 C2 1.512(2)", "C1 C2 3.712(2)"},
    {"list-x-h", "N1 H1A 0.87", "N1 H1A 1.87"},
    {"list-no-hydrogen-bonds", "N1 H1A 0.87 .\nN1 H1B 0.87 .\nC1 C2 1.512(2) .\nC1 H11 0.97 .\n", "C1 C2 1.512(2) .\n"},
    {"list-no-hydrogen-angles", "C2 N1 H1A 120\n", ""},
    {"list-bonds-incomplete", "C1 C2 1.512(2) .\n", ""},
    {"list-bonds-redundant", "C1 C2 1.512(2) .\n", "C1 C2 1.512(2) .\nC2 C1 1.512(2) .\n"},
    {"su-digits", "O1 O 0.2578(2) 0.2948(2) 0.3992(2)", "O1 O 0.2578(25) 0.2948(25) 0.3992(25)"},
    {"dispersion-real", "N 0.0061", "N 0.9061"},
    {"dispersion-imaginary", "0.0061 0.0033", "0.0061 0.9033"},
    {"loop-short", "O1 C2 N1 H1A 0.0\n", "O1 C2 N1 H1A 0.0\nO1 C2\n"},
    {"item-twice", "_cell_formula_units_Z 4", "_cell_formula_units_Z 4\n_cell_formula_units_Z 4"},
    {"cell-incomplete", "_cell_length_a 5.8013(6)", "_cell_length_a ?"},
    {"old-names", "_space_group_symop_operation_xyz", "_symmetry_equiv_pos_as_xyz"},
    {"author", "'A. Author'", "?"},
    {"tensor-npd-disorder", "0.2001(2) 0.0300(6) Uani 1", "0.2001(2) 0.0300(6) Uani 0.5", "N1 0.0300(6)",
     "N1 -0.0300(6)"},
    {"ellipsoid-ratio-disorder", "0.2001(2) 0.0300(6) Uani 1", "0.2001(2) 0.0300(6) Uani 0.5", "N1 0.0300(6)",
     "N1 0.9000(6)"},
    {"isotropic-disorder", "0.2001(2) 0.0300(6) Uani 1", "0.2001(2) 0.0300(6) Uani 0.5", "\nN1 0.0300(6)",
     "\nN9 0.0300(6)"},
    {"rigid-bond-metal", "N1 N 0.4973", "N1 Fe 0.4973", "N1 0.0300(6)", "N1 0.0900(6)"},
    {"precision-medium", "N1 N 0.4973", "N1 Fe 0.4973", "C1 C 0.1615(2)", "C1 C 0.1615(90)"},
    {"precision-heavy", "N1 N 0.4973", "N1 Ag 0.4973", "C1 C 0.1615(2)", "C1 C 0.1615(90)"},
    {"radiation-word", "'Mo K\\a'", "magic"},
    {"dispersion-missing", "N 0.0061 0.0033", "N ? ?"},
    {"outside-cell", "O1 O 0.2578(2)", "O1 O 16.2578(2)"},
    {"transmission-expected", "mu 0.087", "mu 0.87", "T_min 0.974\n_exptl_absorpt_correction_T_max 0.991",
     "T_min 0.7703\n_exptl_absorpt_correction_T_max 0.9167"},
    {"no-hydrogen",
     "H1A H 0.5828 0.3508 0.2458 0.0360 Uiso 1 calc R .\nH1B H 0.5342 0.2143 0.1089 0.0360 Uiso 1 calc R .\n"
     "H11 H 0.0694 0.0308 0.2764 0.0450 Uiso 1 calc R .\nH12 H 0.2610 -0.0143 0.1563 0.0450 Uiso 1 calc R .\n"
     "H13 H 0.0586 0.1141 0.0884 0.0450 Uiso 1 calc R .\n",
     ""},
    {"mask", "", "_refine_special_details\n;\n a solvent mask\n;\n"},
    {"twin", "", "_twin_individual_id 1\n"},
    {"h-bond-angle", "",
     "loop_\n_geom_hbond_atom_site_label_D\n_geom_hbond_atom_site_label_H\n_geom_hbond_atom_site_label_A\n_geom_hbond_"
     "angle_DHA\nN1 H1A O1 89\n"},
    {"h-bond-rounding", "",
     "loop_\n_geom_hbond_atom_site_label_D\n_geom_hbond_atom_site_label_H\n_geom_hbond_atom_site_label_A\n_geom_hbond_"
     "angle_DHA\nN1 H1A O1 169.3\n"},
    {"h-bond-h-a", "",
     "loop_\n_geom_hbond_atom_site_label_D\n_geom_hbond_atom_site_label_H\n_geom_hbond_atom_site_label_A\n_geom_hbond_"
     "distance_HA\nN1 H1A O1 2.9\n"},
    {"h-bond-d-a", "",
     "loop_\n_geom_hbond_atom_site_label_D\n_geom_hbond_atom_site_label_H\n_geom_hbond_atom_site_label_A\n_geom_hbond_"
     "distance_DA\nN1 H1A O1 3.9\n"},
    {"not-tested", "_cell_formula_units_Z", "_pd_proc_ls_prof_wR_factor 0.07\n_cell_formula_units_Z"},
};

std::string Chiral() {
  std::string text = kAcetamide;
  const auto replace = [&](std::string_view what, std::string_view by) {
    text.replace(text.find(what), what.size(), by);
  };
  replace("'P 1 21/c 1'", "'P 1 21 1'");
  replace("'-P 2ybc'", "'P 2yb'");
  replace("number 14", "number 4");
  replace("'-x, y+1/2, -z+1/2'\n'-x, -y, -z'\n'x, -y-1/2, z-1/2'\n", "'-x, y+1/2, -z'\n");
  replace("Flack .", "Flack 0.02(5)\n_refine_ls_abs_structure_details quotients\n_chemical_absolute_configuration ad");
  replace("O1 O 0.2578", "O1 Cl 0.2578");
  return text;
}

const std::vector<CifCase> kChiralCases = {
    {"parameters-light", "O1 Cl", "O1 O", "parameters 38", "parameters 120"},
    {"parameters-heavy", "O1 Cl", "O1 Br", "parameters 38", "parameters 120"},
    {"flack-inverted", "Flack 0.02(5)", "Flack 0.92(5)"},
    {"flack-between", "Flack 0.02(5)", "Flack 0.42(5)"},
    {"flack-low", "Flack 0.02(5)", "Flack -0.32(5)"},
    {"flack-su", "Flack 0.02(5)", "Flack 0.02(55)"},
    {"flack-zero", "Flack 0.02(5)", "Flack 0.22(5)"},
    {"flack-no-su", "Flack 0.02(5)", "Flack 0.02"},
    {"flack-missing", "Flack 0.02(5)", "Flack ?"},
    {"flack-details", "details quotients", "details ?"},
    {"flack-exact", "Flack 0.02(5)", "Flack 0.00(5)"},
    {"configuration-code", "configuration ad", "configuration ?"},
};

}  // namespace marvik::test
