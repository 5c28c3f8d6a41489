#pragma once

#include <cmath>

/// Three components, for positions and directions in millimetres (double) and for the voxels of a
/// vector field (float). A plain value; nothing here allocates or fails.
template <typename T>
class MVectorTemplate {
  public:
    T x{};
    T y{};
    T z{};

    /// The unit axes, their opposites and the zero vector; constant-initialised.
    static const MVectorTemplate P_X;
    static const MVectorTemplate P_Y;
    static const MVectorTemplate P_Z;
    static const MVectorTemplate M_X;
    static const MVectorTemplate M_Y;
    static const MVectorTemplate M_Z;
    static const MVectorTemplate ZERO;

    constexpr MVectorTemplate() = default;
    constexpr MVectorTemplate(T xValue, T yValue, T zValue) : x(xValue), y(yValue), z(zValue) {}

    /// Converts each component as static_cast does.
    template <typename U>
    constexpr explicit MVectorTemplate(const MVectorTemplate<U>& other)
        : x(static_cast<T>(other.x)), y(static_cast<T>(other.y)), z(static_cast<T>(other.z)) {}

    constexpr T Dot(const MVectorTemplate& v) const { return x * v.x + y * v.y + z * v.z; }

    constexpr MVectorTemplate Cross(const MVectorTemplate& v) const {
        return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
    }

    constexpr T LengthSquared() const { return Dot(*this); }
    T Length() const { return std::sqrt(LengthSquared()); }

    /// The vector times the reciprocal of its length; (1, 0, 0) where the length is not above 0, be
    /// it for a NaN or because squares of the components underflow.
    MVectorTemplate Normalized() const {
        const T length = Length();
        if (!(length > T(0))) {
            return {T(1), T(0), T(0)};
        }
        const T reciprocal = T(1) / length;
        return {x * reciprocal, y * reciprocal, z * reciprocal};
    }

    /// Makes this vector `Normalized()`.
    void Normalize() { *this = Normalized(); }

    constexpr MVectorTemplate& operator+=(const MVectorTemplate& v) { return *this = *this + v; }
    constexpr MVectorTemplate& operator-=(const MVectorTemplate& v) { return *this = *this - v; }
    constexpr MVectorTemplate& operator*=(T factor) { return *this = *this * factor; }

    friend constexpr MVectorTemplate operator+(const MVectorTemplate& a, const MVectorTemplate& b) {
        return {a.x + b.x, a.y + b.y, a.z + b.z};
    }
    friend constexpr MVectorTemplate operator-(const MVectorTemplate& a, const MVectorTemplate& b) {
        return {a.x - b.x, a.y - b.y, a.z - b.z};
    }
    friend constexpr MVectorTemplate operator-(const MVectorTemplate& v) {
        return {-v.x, -v.y, -v.z};
    }
    friend constexpr MVectorTemplate operator*(const MVectorTemplate& v, T factor) {
        return {v.x * factor, v.y * factor, v.z * factor};
    }
    friend constexpr MVectorTemplate operator*(T factor, const MVectorTemplate& v) {
        return v * factor;
    }
    /// Component by component and exact; a NaN makes vectors unequal.
    friend constexpr bool operator==(const MVectorTemplate& a, const MVectorTemplate& b) {
        return a.x == b.x && a.y == b.y && a.z == b.z;
    }
};

template <typename T>
constexpr MVectorTemplate<T> MVectorTemplate<T>::P_X{T(1), T(0), T(0)};
template <typename T>
constexpr MVectorTemplate<T> MVectorTemplate<T>::P_Y{T(0), T(1), T(0)};
template <typename T>
constexpr MVectorTemplate<T> MVectorTemplate<T>::P_Z{T(0), T(0), T(1)};
template <typename T>
constexpr MVectorTemplate<T> MVectorTemplate<T>::M_X{T(-1), T(0), T(0)};
template <typename T>
constexpr MVectorTemplate<T> MVectorTemplate<T>::M_Y{T(0), T(-1), T(0)};
template <typename T>
constexpr MVectorTemplate<T> MVectorTemplate<T>::M_Z{T(0), T(0), T(-1)};
template <typename T>
constexpr MVectorTemplate<T> MVectorTemplate<T>::ZERO{};
