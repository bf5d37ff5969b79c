#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"

namespace marvik::cif {

namespace {

// Rules that compare one item with their limits.
struct Limit {
  const char* rule;
  const char* item;
  const char* older;
  double factor;
};
constexpr Limit kLimits[] = {
    {"completeness-max", "_diffrn_measured_fraction_theta_max", "", 1.0},
    {"completeness-full", "_diffrn_measured_fraction_theta_full", "", 1.0},
    {"r-int", "_diffrn_reflns_av_r_equivalents", "", 1.0},
    {"crystal-large", "_exptl_crystal_size_max", "", 1.0},
    {"crystal-thick", "_exptl_crystal_size_min", "", 1.0},
};

// Pairs of items of which the first is not to be larger than the second.
struct Order {
  const char* rule;
  const char* lower;
  const char* upper;
  const char* olderUpper;
};
constexpr Order kOrders[] = {
    {"unique-measured", "_reflns_number_total", "_diffrn_reflns_number", ""},
    {"index-order", "_diffrn_reflns_limit_h_min", "_diffrn_reflns_limit_h_max", ""},
    {"index-order", "_diffrn_reflns_limit_k_min", "_diffrn_reflns_limit_k_max", ""},
    {"index-order", "_diffrn_reflns_limit_l_min", "_diffrn_reflns_limit_l_max", ""},
    {"theta-order", "_diffrn_reflns_theta_min", "_diffrn_reflns_theta_max", ""},
    {"crystal-order", "_exptl_crystal_size_min", "_exptl_crystal_size_mid", ""},
    {"crystal-order", "_exptl_crystal_size_mid", "_exptl_crystal_size_max", ""},
    {"crystal-order", "_exptl_crystal_size_min", "_exptl_crystal_size_max", ""},
};

struct Tube {
  const char* name;
  double low, high;  // Å; the mean and Kα1
};
constexpr Tube kTubes[] = {
    {"Cu", 1.5404, 1.5420}, {"Mo", 0.7092, 0.7110}, {"Ag", 0.5593, 0.5610}, {"Ga", 1.3400, 1.3420}};

void Radiation(CifChecker& c) {
  const CifModel& m = c.model;
  const CifValue type = m.Item("_diffrn_radiation_type");
  if (!type.empty() && m.radiation.empty()) {
    const std::string word = LowerCase(type);
    const auto begins = [&](const char* name) { return word.starts_with(name); };
    if (!std::ranges::any_of(std::initializer_list<const char*>{"x-ray", "xray", "cr", "fe", "co ", "w ", "in "},
                             begins))
      c.Found("radiation-word", std::string(type) + ".", {}, type.data());
  }
  if (!(m.wavelength.value > 0.0)) return;
  const double l = m.wavelength.value;
  const auto tube = std::ranges::find_if(kTubes, [&](const Tube& t) { return m.radiation == t.name; });
  const double rounding = 0.5 * std::pow(10.0, -m.wavelength.decimals);
  if (tube != std::end(kTubes) && (l < tube->low - rounding || l > tube->high + rounding)) {
    c.Found("wavelength-radiation", Printf("%.5f \xC3\x85 and %s.", l, tube->name));
  }
  const bool usual =
      std::ranges::any_of(kTubes, [&](const Tube& t) { return l > t.low - rounding && l < t.high + rounding; });
  if (!usual && m.xray && m.radiation != "synchrotron") c.Found("wavelength-unusual", Printf("%.5f \xC3\x85.", l));
}

void Resolution(CifChecker& c) {
  const CifModel& m = c.model;
  const double s = m.SinThetaMax();
  if (s > 0.0) c.Test("resolution", s + 0.0005, Printf("%.4f 1/\xC3\x85.", s));
  const Measured full = m.Number("_diffrn_reflns_theta_full");
  const Measured max = m.Number("_diffrn_reflns_theta_max");
  const Measured fractionFull = m.Number("_diffrn_measured_fraction_theta_full");
  const Measured fractionMax = m.Number("_diffrn_measured_fraction_theta_max");
  if (full.Given() && m.wavelength.value > 0.0) {
    const double sFull = std::sin(full.value * kRadiansPerDegree) / m.wavelength.value;
    c.Test("theta-full", sFull + 0.0005, Printf("%.4f 1/\xC3\x85.", sFull));
  }
  if (!fractionFull.Given() || !fractionMax.Given()) return;
  const std::string text = Printf("%g to theta full, %g to theta max.", fractionFull.value, fractionMax.value);
  if (full.Given() && max.Given() && full.value == max.value && fractionFull.value != fractionMax.value) {
    c.Found("theta-full-max", text);
  } else if (fractionMax.value > 0.0) {
    c.Test("completeness-order", fractionFull.value / fractionMax.value, text);
  }
}

void Counts(CifChecker& c) {
  const CifModel& m = c.model;
  const Measured total = m.Number("_reflns_number_total");
  const Measured strong = m.Number("_reflns_number_gt", "_reflns_number_observed");
  const Measured measured = m.Number("_diffrn_reflns_number");
  if (total.Given() && strong.value > 0.0 && total.value > 0.0) {
    const double weak = 100.0 * (1.0 - strong.value / total.value);
    c.Test("weak-data", weak, Printf("%.1f %%.", weak));
    if (strong.value > total.value) c.Found("strong-unique", Printf("%.0f and %.0f.", strong.value, total.value));
  }
  if (total.Given() && measured.Given() && total.value > 0.0 && measured.value / total.value < 2.0 &&
      measured.value >= total.value) {
    c.Found("multiplicity", Printf("%.2f times.", measured.value / total.value));
  }
  const double s = m.SinThetaMax();
  if (!total.Given() || !m.group || !m.cellGiven || !(s > 0.0) || m.radiation == "electron") return;
  const size_t expected = ExpectedReflections(m, s);
  if (expected == 0) return;
  const double ratio = total.value / static_cast<double>(expected);
  // Friedel opposites of a group without a centre may count as two.
  const double excess = m.Centrosymmetric() ? ratio : ratio / 2.0;
  const std::string text = Printf("%.0f of %zu, Friedel opposites being one.", total.value, expected);
  c.Test("completeness-count", ratio, text);
  c.Test("unique-excess", m.Centrosymmetric() || ratio > 1.0 ? excess : 0.0, text);
}

void Indices(CifChecker& c) {
  const CifModel& m = c.model;
  const double s = m.SinThetaMax();
  if (!(s > 0.0) || !m.cellGiven) return;
  const double edges[] = {m.parameters.a, m.parameters.b, m.parameters.c};
  for (size_t i = 0; i < 3; ++i) {
    const char axis = "hkl"[i];
    for (const char* end : {"min", "max"}) {
      const Measured limit = m.Number(Printf("_diffrn_reflns_limit_%c_%s", axis, end));
      const double most = std::floor(2.0 * s * edges[i] + 0.1);
      if (limit.Given() && std::fabs(limit.value) > most + 1.0) {
        c.Found("index-range", Printf("%c %s is %.0f, %.0f at most.", axis, end, limit.value, most));
      }
    }
  }
}

void Threshold(CifChecker& c) {
  const CifValue expression = c.model.Item("_reflns_threshold_expression", "_reflns_observed_criterion");
  const std::string text = LowerCase(expression);
  const size_t at = text.find_first_of("0123456789", text.find('>') == text.npos ? 0 : text.find('>'));
  double multiple = 0.0;
  if (at == text.npos || ParseNumber(std::string_view(text).substr(at), multiple) == 0) return;
  const bool squared = Contains(text, {"i", "f^2", "f2", "f**2"}) && text.find("sigma(f)") == text.npos;
  c.Test("threshold", squared ? multiple : multiple / 2.0, std::string(expression) + ".", {}, expression.data());
}

void Crystal(CifChecker& c) {
  const CifModel& m = c.model;
  const CifValue colour = m.Item("_exptl_crystal_colour");
  if (!colour.empty()) {
    std::string text = LowerCase(colour);
    std::ranges::replace_if(
        text, [](char ch) { return ch < 'a' || ch > 'z'; }, ' ');
    const bool known =
        Contains(text, {"white", "black", "blue", "violet", "red", "pink", "yellow", "gold", "silver", "bronze", "grey",
                        "gray", "orange", "green", "colourless", "colorless", "brown", "purple"});
    if (!known) c.Found("crystal-colour", std::string(colour) + ".", {}, colour.data());
  }
  const std::string shape = LowerCase(m.Item("_exptl_crystal_description"));
  if (Contains(shape, {"sphere", "cylinder"}) && !m.Number("_exptl_crystal_size_rad").Given())
    c.Found("crystal-radius", shape + ".");
}

}  // namespace

size_t ExpectedReflections(const CifModel& m, double s) {
  constexpr double kMostTests = 3e6;
  const double inSphere = 4.0 / 3.0 * std::numbers::pi * std::pow(2.0 * s, 3) * m.metric.volume;
  if (!m.group || inSphere * static_cast<double>(m.operators.size()) > kMostTests) return 0;
  const int h = static_cast<int>(2.0 * s * m.parameters.a);
  const int k = static_cast<int>(2.0 * s * m.parameters.b);
  const int l = static_cast<int>(2.0 * s * m.parameters.c);
  size_t count = 0;
  for (int i = -h; i <= h; ++i) {
    for (int j = -k; j <= k; ++j) {
      for (int n = 0; n <= l; ++n) {
        if (i == 0 && j == 0 && n == 0) continue;
        if (m.metric.SinThetaSquared(i, j, n) > s * s) continue;
        const Miller index{i, j, n};
        if (m.group->Representative(index, true) == index && !m.group->IsAbsent(index)) ++count;
      }
    }
  }
  return count;
}

void CheckExperiment(CifChecker& c) {
  const CifModel& m = c.model;
  for (const Limit& limit : kLimits) {
    const Measured value = m.Number(limit.item, limit.older);
    if (value.Given())
      c.Test(limit.rule, value.value * limit.factor, Printf("%g.", value.value), {},
             m.Item(limit.item, limit.older).data());
  }
  for (const Order& order : kOrders) {
    const Measured lower = m.Number(order.lower);
    const Measured upper = m.Number(order.upper, order.olderUpper);
    if (lower.Given() && upper.Given() && lower.value > upper.value) {
      c.Found(order.rule, Printf("%g and %g.", lower.value, upper.value), {}, m.Item(order.lower).data());
    }
  }
  const Measured rint = m.Number("_diffrn_reflns_av_r_equivalents");
  if (rint.value < 0.0) c.Found("r-int-negative", Printf("%g.", rint.value));
  Radiation(c);
  Resolution(c);
  Counts(c);
  Indices(c);
  Threshold(c);
  Crystal(c);
}

namespace {

// Corrections for the ratio of transmissions, by mu times the middle edge: for Mo and for Cu.
double Widening(double product, bool copper) {
  constexpr double kAt[] = {0.0, 0.5, 1.0, 1.5, 2.0, 2.5, 3.0};
  constexpr double kMo[] = {1.00, 1.01, 1.04, 1.09, 1.15, 1.25, 1.40};
  constexpr double kCu[] = {1.00, 1.05, 1.15, 1.25, 1.50, 1.90, 2.50};
  const double* table = copper ? kCu : kMo;
  for (size_t i = 1; i < std::size(kAt); ++i) {
    if (product <= kAt[i])
      return table[i - 1] + (table[i] - table[i - 1]) * (product - kAt[i - 1]) / (kAt[i] - kAt[i - 1]);
  }
  return table[std::size(kAt) - 1];
}

}  // namespace

void CheckAbsorption(CifChecker& c) {
  const CifModel& m = c.model;
  const CifValue given = m.Item("_exptl_absorpt_correction_type");
  if (given.empty()) return;
  const std::string type = Squeezed(given);
  const bool none = type == "none";
  const bool numerical = Contains(type, {"analytical", "integration", "numerical", "gaussian"});
  const bool empirical = Contains(type, {"empirical", "psiscan", "yscan", "multiscan", "refdelf"});
  const bool shape = Contains(type, {"sphere", "cylinder"});
  if (!none && !numerical && !empirical && !shape)
    c.Found("absorption-word", std::string(given) + ".", {}, given.data());
  if (!none && m.Missing("_exptl_absorpt_process_details")) c.Found("absorption-details", "");
  const Measured low = m.Number("_exptl_absorpt_correction_t_min");
  const Measured high = m.Number("_exptl_absorpt_correction_t_max");
  if (!none && (!low.Given() || !high.Given()))
    c.Found("transmission-missing", std::string(given) + ".", {}, given.data());
  if (low.Given() && high.Given()) {
    const std::string text = Printf("%g and %g.", low.value, high.value);
    if (low.value > high.value) c.Found("transmission-order", text);
    if (low.value < 0.0 || (numerical && high.value > 1.0001)) c.Found("transmission-range", text);
  }
  const Measured mu = m.Number("_exptl_absorpt_coefficient_mu");
  double size[3];
  const char* names[] = {"_exptl_crystal_size_min", "_exptl_crystal_size_mid", "_exptl_crystal_size_max"};
  const Measured radius = m.Number("_exptl_crystal_size_rad");
  for (size_t i = 0; i < 3; ++i) {
    const Measured edge = m.Number(names[i]);
    size[i] = edge.Given() ? edge.value : 2.0 * radius.value;
  }
  if (!mu.Given() || !(size[0] > 0.0) || !(size[1] > 0.0) || !(size[2] > 0.0) || !m.xray) return;
  std::ranges::sort(size);
  const double product = mu.value * size[1];
  const bool copper = m.wavelength.value > 1.2;
  const double f = Widening(product, copper);
  const double typical = std::max(size[1], std::min(1.2 * size[1], size[2]));
  const double most = std::exp(-mu.value * size[0]);
  const double least1 = std::exp(-mu.value * typical) * f;
  const double least2 = std::exp(-mu.value * size[2]) / f;
  if (none) {
    c.Test("absorption-none", most / least1, Printf("%.2f, mu %.3f/mm.", most / least1, mu.value));
    return;
  }
  if (empirical && product > 3.0) c.Found("absorption-faces", Printf("mu times edge is %.2f.", product));
  if (!low.Given() || !high.Given() || !(low.value > 0.0) || high.value < low.value) return;
  const double reported = high.value / low.value;
  const double narrow = most / least1 / reported;
  const double wide = most / least2 / reported;
  const std::string text =
      Printf("Tmax/Tmin %.3f given, %.3f to %.3f expected.", reported, most / least1, most / least2);
  if (empirical && product <= 3.0) {
    c.Test("transmission-narrow", narrow, text);
    c.Test("transmission-wide", wide, text);
  } else if (numerical && (narrow > 1.1 || wide < 0.9)) {
    c.Found("transmission-numerical", text);
  }
  const double expectedLow = std::exp(-mu.value * size[2]);
  if (empirical && reported > 1.02 && std::fabs(low.value - expectedLow) < 0.0006 &&
      std::fabs(high.value - most) < 0.0006) {
    c.Found("transmission-expected", Printf("%.4f and %.4f.", low.value, high.value));
  }
}

}  // namespace marvik::cif
