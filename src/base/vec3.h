#pragma once

#include <cmath>

namespace marvik {

// Three doubles that know which space they live in, so that fractional, Cartesian and view coordinates cannot be mixed.
template <class Space>
struct Triple {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;

  double& operator[](int i) { return i == 0 ? x : i == 1 ? y : z; }
  double operator[](int i) const { return i == 0 ? x : i == 1 ? y : z; }
  Triple& operator+=(const Triple& o) { return *this = {x + o.x, y + o.y, z + o.z}; }
  Triple& operator-=(const Triple& o) { return *this = {x - o.x, y - o.y, z - o.z}; }
  Triple& operator*=(double s) { return *this = {x * s, y * s, z * s}; }
  friend Triple operator+(Triple a, const Triple& b) { return a += b; }
  friend Triple operator-(Triple a, const Triple& b) { return a -= b; }
  friend Triple operator-(const Triple& a) { return {-a.x, -a.y, -a.z}; }
  friend Triple operator*(Triple a, double s) { return a *= s; }
  friend Triple operator*(double s, Triple a) { return a *= s; }
  friend Triple operator/(const Triple& a, double s) { return {a.x / s, a.y / s, a.z / s}; }
  friend bool operator==(const Triple&, const Triple&) = default;
};

// Cell-edge units; always the primary data of an atom.
using Fractional = Triple<struct FractionalSpace>;
// Å, in the program's frame: c along Z, b in the YZ plane, Z negated.
using Cartesian = Triple<struct CartesianSpace>;
// Normalised view coordinates after the combined matrix: the drawing area spans -1..1, greater z is nearer.
using ViewPoint = Triple<struct ViewSpace>;

template <class S>
double Dot(const Triple<S>& a, const Triple<S>& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

template <class S>
Triple<S> Cross(const Triple<S>& a, const Triple<S>& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template <class S>
double Length(const Triple<S>& a) {
  return std::sqrt(Dot(a, a));
}

// Unit vector along a; a itself when its length is zero.
template <class S>
Triple<S> Normalised(const Triple<S>& a) {
  const double length = Length(a);
  return length > 0.0 ? a / length : a;
}

template <class S>
bool IsFinite(const Triple<S>& a) {
  return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

inline constexpr double kRadiansPerDegree = 0.017453292519943295;
inline constexpr double kDegreesPerRadian = 57.29577951308232;

}  // namespace marvik
