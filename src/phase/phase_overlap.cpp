#include "phase/phase_overlap.h"

#include <algorithm>
#include <cmath>

namespace marvik::phase {

double Overlap::Interpolated(const Vector& u) const {
  size_t at[3][2];
  double part[3];
  for (size_t i = 0; i < 3; ++i) {
    const double v = (u[i] - std::floor(u[i])) * static_cast<double>(grid[i]);
    const auto low = static_cast<size_t>(v);
    part[i] = v - static_cast<double>(low);
    at[i][0] = low % grid[i];
    at[i][1] = (low + 1) % grid[i];
  }
  double sum = 0.0;
  for (size_t n = 0; n < 8; ++n) {
    const size_t a = n >> 2 & 1, b = n >> 1 & 1, c = n & 1;
    sum += (a ? part[0] : 1 - part[0]) * (b ? part[1] : 1 - part[1]) * (c ? part[2] : 1 - part[2]) *
           static_cast<double>(map[(at[0][a] * grid[1] + at[1][b]) * grid[2] + at[2][c]]);
  }
  return sum;
}

void Overlap::MakeMap() {
  std::array<int, 3> most{1, 1, 1};
  for (const Miller& m : h)
    for (size_t i = 0; i < 3; ++i) most[i] = std::max(most[i], std::abs(m[i]));
  for (size_t i = 0; i < 3; ++i) grid[i] = FriendlySize(static_cast<size_t>(7 * most[i] / 2 + 2));
  const size_t half = grid[2] / 2 + 1;
  std::vector<std::complex<float>> c(grid[0] * grid[1] * half);
  const auto wrap = [&](int i, size_t axis) {
    return static_cast<size_t>(i < 0 ? i + static_cast<int>(grid[axis]) : i);
  };
  for (size_t i = 0; i < h.size(); ++i) {
    for (const int sign : {1, -1}) {
      if (sign * h[i][2] < 0) continue;
      const auto value = std::complex<float>(sign > 0 ? terms[i] : std::conj(terms[i])) * 0.5f;
      c[(wrap(sign * h[i][0], 0) * grid[1] + wrap(sign * h[i][1], 1)) * half + static_cast<size_t>(sign * h[i][2])] +=
          value;
    }
  }
  map.resize(grid[0] * grid[1] * grid[2]);
  TransformToReal(grid, c.data(), map.data());
}

// Newton steps towards the maximum of the exact sum.
void Overlap::Climb(Vector& u) const {
  for (int step = 0; step < 3; ++step) {
    Vector gradient{};
    Mat3 hessian;
    for (size_t i = 0; i < h.size(); ++i) {
      const double a = kTurn * Dot(h[i], u);
      const double c = std::cos(a), s = std::sin(a);
      const double value = terms[i].real() * c - terms[i].imag() * s;
      const double slope = -terms[i].real() * s - terms[i].imag() * c;
      for (size_t j = 0; j < 3; ++j) {
        gradient[j] += kTurn * h[i][j] * slope;
        for (size_t k = 0; k < 3; ++k) hessian.m[j][k] -= kTurn * kTurn * h[i][j] * h[i][k] * value;
      }
    }
    const Mat3 inverse = Inverse(hessian);
    for (size_t j = 0; j < 3; ++j) {
      double move = 0.0;
      for (size_t k = 0; k < 3; ++k) move -= inverse.m[j][k] * gradient[k];
      if (!std::isfinite(move)) return;
      u[j] += std::clamp(move, -0.5 / static_cast<double>(grid[j]), 0.5 / static_cast<double>(grid[j]));
    }
  }
}

void Overlap::FindPeaks() {
  const size_t n1 = grid[0], n2 = grid[1], n3 = grid[2];
  const auto at = [&](size_t i, size_t j, size_t k) { return map[((i % n1) * n2 + j % n2) * n3 + k % n3]; };
  std::vector<std::pair<float, Vector>> found;
  for (size_t i = 0; i < n1; ++i) {
    for (size_t j = 0; j < n2; ++j) {
      for (size_t k = 0; k < n3; ++k) {
        const float v = at(i, j, k);
        if (v < 0.1f) continue;
        bool top = true;
        for (size_t n = 0; n < 27 && top; ++n)
          top = n == 13 || at(i + n1 + n / 9 - 1, j + n2 + n / 3 % 3 - 1, k + n3 + n % 3 - 1) <= v;
        if (top)
          found.push_back(
              {-v,
               {static_cast<double>(i) / static_cast<double>(n1), static_cast<double>(j) / static_cast<double>(n2),
                static_cast<double>(k) / static_cast<double>(n3)}});
      }
    }
  }
  std::sort(found.begin(), found.end());
  for (size_t i = 0; i < std::min<size_t>(found.size(), kPeaks); ++i) {
    peaks.push_back(found[i].second);
    Climb(peaks.back());
  }
}

}  // namespace marvik::phase
