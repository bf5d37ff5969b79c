#include <algorithm>
#include <cmath>
#include <set>
#include <span>

#include "base/numbers.h"
#include "check/cif/cif_checker.h"
#include "check/cif/cif_words.h"
#include "refine/solve/least_squares.h"

namespace marvik::cif {

namespace {

struct Line : CalculatedReflection {
  double s = 0.0;  // sin θ / λ
};

class ReflectionList {
 public:
  ReflectionList(CifChecker& checker, const CifBlock& block) : c_(checker), m_(checker.model) { Read(block); }
  ReflectionList(CifChecker& checker, std::span<const CalculatedReflection> reflections)
      : c_(checker), m_(checker.model) {
    for (const CalculatedReflection& one : reflections) Add(one);
  }

  void Check() {
    if (lines_.empty()) {
      c_.Found("reflections-unreadable", "");
      return;
    }
    Figures();
    Signs();
    Missing();
    Ranges();
  }

 private:
  void Read(const CifBlock& block);
  void Add(const CalculatedReflection& one) {
    lines_.push_back({one, std::sqrt(m_.metric.SinThetaSquared(one.h[0], one.h[1], one.h[2]))});
  }
  void Figures();
  void Signs();
  void Missing();
  void Ranges();
  void Weights(double& a, double& b, bool& known) const;
  bool Strong(const Line& line) const { return IsStrong(line.fo2, line.su); }

  CifChecker& c_;
  const CifModel& m_;
  std::vector<Line> lines_;
};

void ReflectionList::Read(const CifBlock& block) {
  const CifColumn columns[] = {
      FindColumn(block, {"_refln_index_h"}),        FindColumn(block, {"_refln_index_k"}),
      FindColumn(block, {"_refln_index_l"}),        FindColumn(block, {"_refln_f_squared_calc"}),
      FindColumn(block, {"_refln_f_squared_meas"}), FindColumn(block, {"_refln_f_squared_sigma"})};
  const CifColumn status = FindColumn(block, {"_refln_observed_status", "_refln_include_status"});
  for (size_t row = 0; row < columns[0].Rows(); ++row) {
    double v[6] = {};
    bool all = true;
    for (size_t i = 0; i < 6; ++i) all = all && ParseCifNumber(columns[i][row], v[i]);
    const auto wild = [](double index) { return std::fabs(index) > 1000.0; };
    if (!all || wild(v[0]) || wild(v[1]) || wild(v[2]) ||
        (!status[row].empty() && status[row] != "o" && status[row] != "<"))
      continue;
    Add({{RoundHalfAway(v[0]), RoundHalfAway(v[1]), RoundHalfAway(v[2])}, v[3], v[4], v[5]});
  }
  for (size_t i = 0; i < 6; ++i) {
    constexpr const char* kNames[] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                                      "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
    const Measured other = ParseMeasured(FindColumn(block, {kNames[i]})[0]);
    if (other.Given() && std::fabs(other.value - m_.cell[i].value) > 0.002 * m_.cell[i].value) {
      c_.Found("reflections-cell", Printf("%s is %g and %g.", kNames[i], other.value, m_.cell[i].value));
    }
  }
}

void ReflectionList::Weights(double& a, double& b, bool& known) const {
  std::string details(m_.Item("_refine_ls_weighting_details"));
  if (details.empty()) details = m_.Item("_refine_ls_weighting_scheme");
  std::erase_if(details, [](char ch) { return ch == ' ' || ch == '\n' || ch == '\r'; });
  const size_t first = details.find("+(");
  const size_t second = details.find("P)^2^+");
  a = b = 0.0;
  known = first != details.npos && second != details.npos && ParseNumber(details.substr(first + 2), a) > 0;
  if (known) ParseNumber(details.substr(second + 6), b);
}

void ReflectionList::Figures() {
  double a = 0.0;
  double b = 0.0;
  bool known = false;
  Weights(a, b, known);
  double top = 0.0, bottom = 0.0, wTop = 0.0, wBottom = 0.0, unitTop = 0.0, largest = 0.0;
  int outliers = 0;
  size_t strong = 0;
  bool same = true;
  for (const Line& line : lines_) {
    const double d = line.fo2 - line.fc2;
    largest = std::max(largest, std::fabs(d));
    same = same && std::fabs(d) <= 1e-4 * std::max(1.0, line.fc2);
    if (Strong(line)) {
      top += std::fabs(std::sqrt(std::max(line.fo2, 0.0)) - std::sqrt(std::max(line.fc2, 0.0)));
      bottom += std::sqrt(std::max(line.fo2, 0.0));
      ++strong;
    }
    if (line.su <= 0.0) continue;
    const double p = (std::max(line.fo2, 0.0) + 2.0 * line.fc2) / 3.0;
    const double w = 1.0 / (line.su * line.su + a * a * p * p + b * p);
    wTop += w * d * d;
    wBottom += w * line.fo2 * line.fo2;
    unitTop += d * d / (line.su * line.su);
    outliers += std::fabs(d) * std::sqrt(w) > 10.0;
    const std::string text =
        Printf("%d %d %d: %.2f measured, %.2f calculated.", line.h[0], line.h[1], line.h[2], line.fo2, line.fc2);
    if (d / line.su < -100.0) c_.Found("reflections-outlier", text);
    const double theta =
        m_.wavelength.value > 0.0 ? std::asin(std::min(1.0, line.s * m_.wavelength.value)) * kDegreesPerRadian : 90.0;
    if (theta < 3.0 && d * std::sqrt(w) < -10.0) c_.Found("reflections-beam-stop", text);
  }
  if (same && lines_.size() > 20) c_.Found("reflections-fo-fc", Printf("%zu reflections.", lines_.size()));
  const auto compare = [&](const char* rule, double value, const char* item, const char* older) {
    const Measured given = m_.Number(item, older);
    if (given.Given())
      c_.Test(rule, std::fabs(value - given.value), Printf("%.4f of the list, %.4f given.", value, given.value));
  };
  if (bottom > 0.0) compare("reflections-r1", top / bottom, "_refine_ls_r_factor_gt", "");
  if (known && wBottom > 0.0) compare("reflections-wr2", std::sqrt(wTop / wBottom), "_refine_ls_wr_factor_ref", "");
  const double free = static_cast<double>(lines_.size()) - m_.Number("_refine_ls_number_parameters").value;
  if (known && free > 0.0) compare("reflections-s", std::sqrt(wTop / free), "_refine_ls_goodness_of_fit_ref", "");
  if (free > 0.0) c_.Test("reflections-unit-s", std::sqrt(unitTop / free), Printf("%.2f.", std::sqrt(unitTop / free)));
  if (known) c_.Test("reflections-deviations", outliers, Printf("%d.", outliers));
  const Measured number = m_.Number("_refine_ls_number_reflns");
  if (number.value > 0.0) {
    const double share = std::fabs(static_cast<double>(lines_.size()) / number.value - 1.0);
    c_.Test("reflections-number", share, Printf("%zu in the list, %.0f given.", lines_.size(), number.value));
  }
}

void ReflectionList::Signs() {
  int negative = 0;
  int below = 0;
  int zero = 0;
  size_t weak = 0;
  for (const Line& line : lines_) {
    negative += line.fo2 < 0.0;
    below += line.su > 0.0 && line.fo2 < -2.0 * line.su;
    zero += line.su <= 0.0;
    weak += !Strong(line);
  }
  c_.Test("reflections-negative", below, Printf("%d.", below));
  if (negative == 0 && lines_.size() > 500) c_.Found("reflections-no-negative", "");
  if (zero > 0) c_.Found("reflections-su-zero", Printf("%d.", zero));
  if (weak == 0 && lines_.size() > 500) c_.Found("reflections-cut", "");
  // The weakest tenth by what was calculated shows whether something adds to it.
  std::vector<const Line*> sorted;
  for (const Line& line : lines_) sorted.push_back(&line);
  std::ranges::sort(sorted, {}, [](const Line* line) { return line->fc2; });
  double measured = 0.0;
  double calculated = 0.0;
  double variance = 0.0;
  for (size_t i = 0; i < sorted.size() / 10; ++i) {
    measured += sorted[i]->fo2;
    calculated += sorted[i]->fc2;
    variance += sorted[i]->su * sorted[i]->su;
  }
  if (calculated > 0.0 && measured - calculated > 5.0 * std::sqrt(variance)) {
    c_.Test("reflections-scale", measured / calculated, Printf("%.2f for the weakest tenth.", measured / calculated));
  }
  std::ranges::sort(sorted, {}, [](const Line* line) { return line->s; });
  size_t strong = 0;
  const size_t shell = sorted.size() / 10;
  for (size_t i = sorted.size() - shell; i < sorted.size(); ++i) strong += Strong(*sorted[i]);
  if (shell > 20)
    c_.Test("reflections-strong-edge", 100.0 * static_cast<double>(strong) / static_cast<double>(shell),
            Printf("%.0f %%.", 100.0 * static_cast<double>(strong) / static_cast<double>(shell)));
}

void ReflectionList::Missing() {
  constexpr double kFull = 0.6;
  if (!m_.group) return;
  std::set<Miller> seen;
  std::set<Miller> signedSeen;
  double highest = 0.0;
  double lowest = 10.0;
  for (const Line& line : lines_) {
    seen.insert(m_.group->Representative(line.h, true));
    if (!m_.Centrosymmetric()) signedSeen.insert(m_.group->Representative(line.h, false));
    highest = std::max(highest, line.s);
    lowest = std::min(lowest, line.s);
  }
  const auto count = [&](double from, double to) {
    size_t inside = 0;
    for (const Miller& h : seen) {
      const double s = std::sqrt(m_.metric.SinThetaSquared(h[0], h[1], h[2]));
      inside += s >= from && s <= to;
    }
    return inside;
  };
  const double wavelength = m_.wavelength.value;
  const Measured thetaMin = m_.Number("_diffrn_reflns_theta_min");
  const double sMin =
      thetaMin.Given() && wavelength > 0.0 ? std::sin(thetaMin.value * kRadiansPerDegree) / wavelength - 1e-4 : lowest;
  const size_t low = ExpectedReflections(m_, sMin);
  const double full = std::min(kFull, highest);
  const size_t expected = ExpectedReflections(m_, full);
  const size_t all = ExpectedReflections(m_, highest);
  const auto lack = [](size_t have, size_t want) { return want > have ? static_cast<double>(want - have) : 0.0; };
  c_.Test("reflections-low-angle", lack(count(0.0, sMin), low), Printf("%.0f.", lack(count(0.0, sMin), low)));
  if (expected > 0) {
    const double missing = lack(count(sMin, full), expected > low ? expected - low : 0);
    c_.Test("reflections-missing", missing, Printf("%.0f of %zu.", missing, expected));
  }
  if (all > expected && expected > 0) {
    const double missing = lack(count(full, 1e9), all - expected);
    c_.Test("reflections-missing-far", missing, Printf("%.0f of %zu.", missing, all - expected));
  }
  if (!m_.Centrosymmetric() && !seen.empty()) {
    const double pairs = static_cast<double>(signedSeen.size() - seen.size()) / static_cast<double>(seen.size());
    if (pairs < 0.5) c_.Found("reflections-friedel", Printf("%.0f %%.", 100.0 * pairs));
  }
}

void ReflectionList::Ranges() {
  double highest = 0.0;
  for (const Line& line : lines_) {
    highest = std::max(highest, line.s);
  }
  if (m_.wavelength.value > 0.0) {
    const double theta = std::asin(std::min(1.0, highest * m_.wavelength.value)) * kDegreesPerRadian;
    const Measured given = m_.Number("_diffrn_reflns_theta_max");
    if (given.Given())
      c_.Test("reflections-theta", std::fabs(theta - given.value),
              Printf("%.2f and %.2f\xC2\xB0.", theta, given.value));
  }
  for (size_t k = 0; k < 3; ++k) {
    int most = 0;
    for (const Line& line : lines_) most = std::max(most, std::abs(line.h[k]));
    const char axis = "hkl"[k];
    const Measured low = m_.Number(Printf("_diffrn_reflns_limit_%c_min", axis));
    const Measured high = m_.Number(Printf("_diffrn_reflns_limit_%c_max", axis));
    if (!low.Given() || !high.Given()) continue;
    // Equivalents may be listed: the larger of the two limits holds, where axes are not exchanged.
    const double limit = std::max(std::fabs(low.value), std::fabs(high.value));
    const bool exchanged =
        m_.group && std::ranges::any_of(m_.group->pointOperators, [k](const auto& op) { return op.r[k][k] == 0; });
    if (most > limit && !exchanged)
      c_.Found("reflections-indices", Printf("%c is %d in the list, %.0f at most.", axis, most, limit));
  }
}

// f' and f'' as given against the tables, for tubes.
void Dispersion(CifChecker& c) {
  const CifModel& m = c.model;
  const CifColumn symbols = m.Column("_atom_type_symbol");
  const CifColumn real = m.Column("_atom_type_scat_dispersion_real");
  const CifColumn imaginary = m.Column("_atom_type_scat_dispersion_imag");
  if (!m.xray || !(m.wavelength.value > 0.3) || !real.loop || real.loop != symbols.loop) return;
  static const ElementTable table;
  for (size_t row = 0; row < symbols.Rows(); ++row) {
    const int element = RowOfAtomType(symbols[row]);
    if (element == kUnknownRow || element < 3 || element > 92) continue;
    const auto s = TabulatedScatterer(table[element], m.wavelength.value);
    const Measured fp = ParseMeasured(real[row]);
    const Measured fpp = ParseMeasured(imaginary[row]);
    const std::string name(symbols[row]);
    if (!fp.Given() || !fpp.Given() || (fp.value == 0.0 && fpp.value == 0.0 && s.fDoublePrime > 0.01)) {
      c.Found("dispersion-missing", name + ".", {}, symbols[row].data());
      continue;
    }
    const std::string text = Printf("%s: %.4f %.4f given, %.4f %.4f tabulated.", name.c_str(), fp.value, fpp.value,
                                    s.fPrime, s.fDoublePrime);
    // Tables differ more for heavy elements and near edges.
    const double allowed = 0.1 * std::fabs(s.fDoublePrime);
    c.Test("dispersion-real", std::max(0.0, std::fabs(fp.value - s.fPrime) - allowed), text, {}, symbols[row].data());
    c.Test("dispersion-imaginary", std::max(0.0, std::fabs(fpp.value - s.fDoublePrime) - allowed), text, {},
           symbols[row].data());
  }
}

}  // namespace

void CheckReflections(CifChecker& c, const CifBlock* reflections, const EmbeddedReflections& embedded) {
  Dispersion(c);
  if (reflections) {
    ReflectionList(c, *reflections).Check();
  } else if (embedded) {
    if (!embedded->empty()) ReflectionList(c, *embedded).Check();
  } else if (!c.model.Missing("_refine_ls_r_factor_gt", "_refine_ls_r_factor_obs")) {
    c.Found("reflections-none", "");
  }
}

}  // namespace marvik::cif
