#include "check/data_uncertainties.h"

#include <cmath>

#include "base/files.h"
#include "check/data_session.h"
#include "refine/output/refined_uncertainties.h"

namespace marvik {
namespace {

constexpr double kMostProducts = 2e10;  // of derivatives; a second's work
constexpr double kLargestR1 = 0.3;      // beyond it the reflections are those of something else

// A session whose covariance matrix is asked.
class DataUncertainties : public UncertaintySource {
 public:
  bool Make(const Document& document, const std::string& hklPath) {
    if (!PrepareFromData(document, hklPath, session_).empty()) return false;
    Session& s = session_;
    const double parameters = static_cast<double>(s.parametrisation.Size());
    const double data = static_cast<double>(s.observations.Size());
    if (parameters * parameters * data > kMostProducts || parameters >= data) return false;
    const LineSink quiet = [](const std::string&) {};
    s.result = Refine(s.job, s.structure, s.parametrisation, s.observations, s.restraints, quiet);
    if (s.result.failed || !(s.result.final.r1 < kLargestR1) || !s.result.singular.empty()) return false;
    const auto cell = CellSigmas(s.document.instructions.zerrLine);
    known_ = std::make_unique<RefinedUncertainties>(s.structure, s.parametrisation, s.result.covariance, cell);
    basis_ = "S.u. from the full covariance matrix of the model against " + FileNameOf(hklPath) +
             (cell == std::array<double, 6>{} ? "." : " and the cell (ZERR).");
    return true;
  }

  const AtomUncertainty* Of(const AtomRecord& atom) const override { return known_->Of(atom); }
  std::optional<std::vector<double>> Coordinates(std::span<const AtomRecord* const> atoms) const override {
    return known_->Coordinates(atoms);
  }
  std::array<double, 6> Cell() const override { return known_->Cell(); }
  std::string Basis() const override { return basis_; }

 private:
  Session session_;
  std::unique_ptr<RefinedUncertainties> known_;
  std::string basis_;
};

}  // namespace

std::shared_ptr<const UncertaintySource> UncertaintiesFromData(const Document& document, const std::string& hklPath) {
  auto made = std::make_shared<DataUncertainties>();
  if (!made->Make(document, hklPath)) return nullptr;
  return made;
}

}  // namespace marvik
