#include "refine/solve/conjugate_gradients.h"

#include <cmath>

namespace marvik {
namespace {

constexpr size_t kKeptBytes = size_t{1} << 30;

struct Sums {
  std::vector<double> gradient;
  std::vector<double> diagonal;
  std::vector<double> product;
  std::vector<std::vector<float>> kept;
};

void Multiply(const float* rows, size_t n, const std::vector<double>& v, std::vector<double>& product) {
  std::array<float, kBlock> t{};
  for (size_t p = 0; p < n; ++p) {
    const auto f = static_cast<float>(v[p]);
    const float* row = rows + p * kBlock;
    for (size_t i = 0; i < kBlock; ++i) t[i] += f * row[i];
  }
  for (size_t p = 0; p < n; ++p) {
    const float* row = rows + p * kBlock;
    float sum = 0.0f;
    for (size_t i = 0; i < kBlock; ++i) sum += t[i] * row[i];
    product[p] += static_cast<double>(sum);
  }
}

void Collect(const double* rows, const Lanes& residual, size_t n, bool keep, Sums& sums) {
  for (size_t p = 0; p < n; ++p) {
    const double* row = rows + p * kBlock;
    double g = 0.0;
    double d = 0.0;
    for (size_t i = 0; i < kBlock; ++i) {
      g += row[i] * residual[i];
      d += row[i] * row[i];
    }
    sums.gradient[p] += g;
    sums.diagonal[p] += d;
  }
  if (keep) sums.kept.emplace_back(rows, rows + n * kBlock);
}

void AddEquationProduct(const std::vector<ParameterEquation>& equations, const std::vector<double>& v,
                        std::vector<double>& product) {
  for (const ParameterEquation& e : equations) {
    double t = 0.0;
    for (const Term& term : e.slopes) t += term.factor * v[static_cast<size_t>(term.parameter)];
    for (const Term& term : e.slopes) product[static_cast<size_t>(term.parameter)] += e.weight * t * term.factor;
  }
}

double DotProduct(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

}  // namespace

std::vector<double> ConjugateGradientShifts(DataPass& pass, const Parametrisation& parametrisation,
                                            const std::vector<ParameterEquation>& equations, int iterations,
                                            const std::vector<bool>& frozen, Calculated& calculated) {
  const size_t n = parametrisation.Size();
  const size_t bytes = (calculated.fo2.size() + kBlock) * n * sizeof(float);
  const bool keep = !calculated.fo2.empty() && bytes < kKeptBytes;
  std::vector<Sums> sums(DataPass::kThreads);
  for (Sums& s : sums) s.gradient.resize(n), s.diagonal.resize(n), s.product.resize(n);
  pass.Run(calculated, &parametrisation, [&](int thread, const double* rows, const Lanes& residual) {
    Collect(rows, residual, n, keep, sums[static_cast<size_t>(thread)]);
  });
  std::vector<double> r(n);
  std::vector<double> diagonal(n);
  for (const Sums& s : sums) {
    for (size_t p = 0; p < n; ++p) r[p] += s.gradient[p], diagonal[p] += s.diagonal[p];
  }
  for (const ParameterEquation& e : equations) {
    for (const Term& term : e.slopes) {
      const auto p = static_cast<size_t>(term.parameter);
      r[p] += e.weight * term.factor * e.deviation;
      diagonal[p] += e.weight * term.factor * term.factor;
    }
  }
  for (size_t p = 0; p < n; ++p) diagonal[p] = diagonal[p] > 0.0 && !frozen[p] ? 1.0 / diagonal[p] : 0.0;
  const auto precondition = [&](const std::vector<double>& v) {
    std::vector<double> z(n);
    for (size_t p = 0; p < n; ++p) z[p] = v[p] * diagonal[p];
    return z;
  };
  const auto multiply = [&](const std::vector<double>& v) {
    for (Sums& s : sums) std::fill(s.product.begin(), s.product.end(), 0.0);
    if (keep) {
      for (Sums& s : sums) {
        for (const auto& rows : s.kept) Multiply(rows.data(), n, v, s.product);
      }
    } else {
      pass.Run(calculated, &parametrisation, [&](int thread, const double* rows, const Lanes&) {
        std::vector<float>& single = sums[static_cast<size_t>(thread)].kept.emplace_back(rows, rows + n * kBlock);
        Multiply(single.data(), n, v, sums[static_cast<size_t>(thread)].product);
        sums[static_cast<size_t>(thread)].kept.clear();
      });
    }
    std::vector<double> product(n);
    for (const Sums& s : sums) {
      for (size_t p = 0; p < n; ++p) product[p] += s.product[p];
    }
    AddEquationProduct(equations, v, product);
    return product;
  };
  std::vector<double> x(n);
  std::vector<double> z = precondition(r);
  std::vector<double> direction = z;
  double rz = DotProduct(r, z);
  const double start = rz;
  for (int iteration = 0; iteration < iterations && rz > 1e-6 * start; ++iteration) {
    const std::vector<double> q = multiply(direction);
    const double curvature = DotProduct(direction, q);
    if (!(curvature > 0.0)) break;
    const double step = rz / curvature;
    for (size_t p = 0; p < n; ++p) x[p] += step * direction[p], r[p] -= step * q[p];
    z = precondition(r);
    const double next = DotProduct(r, z);
    for (size_t p = 0; p < n; ++p) direction[p] = z[p] + next / rz * direction[p];
    rz = next;
  }
  return x;
}

}  // namespace marvik
