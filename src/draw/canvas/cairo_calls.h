#pragma once

#include <cairo-ft.h>
#include <cairo-pdf.h>
#include <cairo-ps.h>

#include "base/late_library.h"

namespace marvik {

// clang-format off
#define MARVIK_CAIRO_CALLS(X) \
  X(cairo_arc) X(cairo_clip) X(cairo_close_path) X(cairo_create) X(cairo_destroy) X(cairo_fill_preserve) \
  X(cairo_font_face_destroy) X(cairo_font_face_set_user_data) X(cairo_font_options_create) \
  X(cairo_font_options_destroy) X(cairo_font_options_set_hint_metrics) X(cairo_font_options_set_hint_style) \
  X(cairo_ft_font_face_create_for_ft_face) X(cairo_get_matrix) X(cairo_line_to) X(cairo_move_to) \
  X(cairo_new_path) X(cairo_paint) X(cairo_pdf_surface_create_for_stream) \
  X(cairo_pdf_surface_restrict_to_version) X(cairo_pdf_surface_set_metadata) \
  X(cairo_ps_surface_create_for_stream) X(cairo_ps_surface_dsc_comment) X(cairo_ps_surface_set_eps) \
  X(cairo_rectangle) X(cairo_restore) X(cairo_save) X(cairo_scale) X(cairo_set_dash) \
  X(cairo_set_font_face) X(cairo_set_font_options) X(cairo_set_font_size) X(cairo_set_line_cap) \
  X(cairo_set_line_join) X(cairo_set_line_width) X(cairo_set_matrix) X(cairo_set_source_rgb) X(cairo_set_source_rgba) \
  X(cairo_show_page) X(cairo_show_text) X(cairo_status) X(cairo_stroke) X(cairo_surface_destroy) X(cairo_surface_finish) \
  X(cairo_surface_status) X(cairo_text_path) X(cairo_toy_font_face_create) X(cairo_transform) X(cairo_translate)
// clang-format on
MARVIK_CAIRO_CALLS(MARVIK_LATE_DECLARATION)

// To be asked before any of them; false where the system lacks one.
bool LoadCairoCalls();

}  // namespace marvik
