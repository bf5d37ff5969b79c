#include "refine/solve/solver.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace marvik {
namespace {

// A pivot of the scaled matrix below this means that the parameter is a combination of earlier ones.
constexpr double kSingular = 1e-10;

struct Scaled {
  Eigen::MatrixXd matrix;  // unit diagonal, singular parameters decoupled
  Eigen::VectorXd scale;   // 1/√N_ii, 0 for singular parameters
  std::vector<int> singular;
};

void Decouple(Scaled& s, Eigen::Index i) {
  s.matrix.row(i).setZero();
  s.matrix.col(i).setZero();
  s.matrix(i, i) = 1.0;
  s.scale[i] = 0.0;
  s.singular.push_back(static_cast<int>(i));
}

// The parameters whose pivots vanish, each after those before it were taken out: blocked Cholesky that leaves them
// aside.
std::vector<Eigen::Index> BadPivots(Eigen::MatrixXd l) {
  constexpr Eigen::Index kPanel = 64;
  const Eigen::Index n = l.rows();
  std::vector<Eigen::Index> bad;
  for (Eigen::Index from = 0; from < n; from += kPanel) {
    const Eigen::Index to = std::min(n, from + kPanel);
    for (Eigen::Index j = from; j < to; ++j) {
      if (!(l(j, j) > kSingular)) {
        bad.push_back(j);
        l.col(j).tail(n - j).setZero();
        continue;
      }
      l.col(j).tail(n - j) /= std::sqrt(l(j, j));
      for (Eigen::Index k = j + 1; k < to; ++k) l.col(k).tail(n - k) -= l(k, j) * l.col(j).tail(n - k);
    }
    l.bottomRightCorner(n - to, n - to)
        .selfadjointView<Eigen::Lower>()
        .rankUpdate(l.block(to, from, n - to, to - from), -1.0);
  }
  return bad;
}

Scaled MakeScaled(const NormalSystem& system) {
  const auto n = static_cast<Eigen::Index>(system.matrix.Size());
  Scaled s{Eigen::MatrixXd(n, n), Eigen::VectorXd(n), {}};
  for (Eigen::Index i = 0; i < n; ++i) {
    const auto at = static_cast<size_t>(i);
    const double d = system.matrix.At(at, at);
    s.scale[i] = d > 0.0 && std::isfinite(d) ? 1.0 / std::sqrt(d) : 0.0;
  }
  for (Eigen::Index i = 0; i < n; ++i) {
    for (Eigen::Index j = i; j < n; ++j) {
      const double v = system.matrix.At(static_cast<size_t>(i), static_cast<size_t>(j)) * s.scale[i] * s.scale[j];
      s.matrix(i, j) = v;
      s.matrix(j, i) = v;
    }
  }
  for (Eigen::Index i = 0; i < n; ++i) {
    if (s.scale[i] == 0.0) Decouple(s, i);
  }
  return s;
}

// Takes parameters out until the rest can be factorised.
Eigen::LLT<Eigen::MatrixXd> Factorise(Scaled& s) {
  while (true) {
    Eigen::LLT<Eigen::MatrixXd> llt(s.matrix);
    if (llt.info() == Eigen::Success) {
      const Eigen::VectorXd pivots = llt.matrixLLT().diagonal();
      if (pivots.size() == 0 || pivots.minCoeff() * pivots.minCoeff() > kSingular) return llt;
    }
    const std::vector<Eigen::Index> bad = BadPivots(s.matrix);
    if (bad.empty()) return llt;
    for (const Eigen::Index i : bad) Decouple(s, i);
  }
}

class CholeskySolver : public NormalSolver {
 public:
  Solution Solve(const NormalSystem& system, double damping) const override {
    Scaled s = MakeScaled(system);
    const Eigen::Index n = s.matrix.rows();
    const Eigen::LLT<Eigen::MatrixXd> plain = Factorise(s);
    Solution solution;
    solution.singular = s.singular;
    Eigen::VectorXd g(n);
    for (Eigen::Index i = 0; i < n; ++i) g[i] = system.gradient[static_cast<size_t>(i)] * s.scale[i];
    Eigen::VectorXd x;
    if (damping > 0.0) {
      Eigen::MatrixXd damped = s.matrix;
      damped.diagonal() *= 1.0 + damping / 1000.0;
      x = damped.llt().solve(g);
    } else {
      x = plain.solve(g);
    }
    // Σ_k (L⁻¹)²_ki is the diagonal of the inverse.
    const Eigen::MatrixXd inverse = plain.matrixL().solve(Eigen::MatrixXd::Identity(n, n));
    for (Eigen::Index i = 0; i < n; ++i) {
      solution.shifts.push_back(x[i] * s.scale[i]);
      solution.variances.push_back(inverse.col(i).squaredNorm() * s.scale[i] * s.scale[i]);
    }
    return solution;
  }

  std::vector<double> Inverse(const NormalSystem& system) const override {
    Scaled s = MakeScaled(system);
    const Eigen::Index n = s.matrix.rows();
    const Eigen::LLT<Eigen::MatrixXd> llt = Factorise(s);
    const Eigen::MatrixXd inverse = llt.solve(Eigen::MatrixXd::Identity(n, n));
    std::vector<double> out(static_cast<size_t>(n * n));
    for (Eigen::Index i = 0; i < n; ++i) {
      for (Eigen::Index j = 0; j < n; ++j)
        out[static_cast<size_t>(i * n + j)] = inverse(i, j) * s.scale[i] * s.scale[j];
    }
    return out;
  }
};

}  // namespace

std::unique_ptr<NormalSolver> MakeCholeskySolver() {
  return std::make_unique<CholeskySolver>();
}

}  // namespace marvik
