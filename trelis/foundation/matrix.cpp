#include <trelis/foundation/matrix.h>

#include <cmath>

#include <trelis/foundation/detail/platform.h>

namespace {

using trelis::detail::cosine;
using trelis::detail::sine;
using Vector = MVectorTemplate<double>;

constexpr double kEqualityTolerance = 1e-8;

/// Stands in for the reciprocal of a determinant of exactly 0.
constexpr double kSingularFactor = 1e8;

constexpr int kOrthogonalizeIterations = 30;

double sumOfSquaredDifferences(const MMatrix& a, const MMatrix& b, int rowCount) {
    double sum = 0.0;
    for (int i = 0; i < rowCount; ++i) {
        for (int j = 0; j < 3; ++j) {
            const double difference = a[i][j] - b[i][j];
            sum += difference * difference;
        }
    }
    return sum;
}

/// Sets the rows of `result`, which may be a or b, to the product a.R b.R.
void setRotationProduct(const MMatrix& a, const MMatrix& b, MMatrix& result) {
    const MMatrix right = b;
    const Vector rows[3] = {right.RotateT(a.GetVector(0)), right.RotateT(a.GetVector(1)),
                            right.RotateT(a.GetVector(2))};
    result.SetRotation(rows[0], rows[1], rows[2]);
}

MMatrix rotationByAngles(double a, double b, double c) {
    MMatrix rotation;
    rotation.SetRotation(a, b, c);
    return rotation;
}

}  // namespace

bool MMatrix::operator==(const MMatrix& m) const {
    return std::abs(scale_ - m.scale_) < kEqualityTolerance && EqualMatrix(m);
}

bool MMatrix::EqualMatrix(const MMatrix& m) const {
    return sumOfSquaredDifferences(*this, m, 4) < kEqualityTolerance;
}

bool MMatrix::EqualRotation(const MMatrix& m) const {
    return sumOfSquaredDifferences(*this, m, 3) < kEqualityTolerance;
}

void MMatrix::SetRotation(const MMatrix& m) {
    SetRotation(m.GetVector(0), m.GetVector(1), m.GetVector(2));
}

void MMatrix::SetRotation(double a, double b, double c) {
    const double sa = sine(a);
    const double ca = cosine(a);
    const double sb = sine(b);
    const double cb = cosine(b);
    const double sc = sine(c);
    const double cc = cosine(c);
    SetVector(0, {cc * cb, sc * cb, -sb});
    SetVector(1, {sb * sa * cc - sc * ca, sb * sa * sc + cc * ca, cb * sa});
    SetVector(2, {sb * ca * cc + sc * sa, sb * ca * sc - cc * sa, cb * ca});
}

double MMatrix::GetRotation(double& a, double& b, double& c) const {
    const double(&r)[4][3] = entries_;
    const double h = std::sqrt(r[0][0] * r[0][0] + r[0][1] * r[0][1]);
    // With row 0 along Z, c is free; 0 is taken and a carries the rest.
    const bool free = h == 0.0;
    const double angleC = free ? 0.0 : std::atan2(r[0][1], r[0][0]);
    const double sinC = free ? r[0][1] : r[0][1] / h;
    const double cosC = free ? 1.0 : r[0][0] / h;
    const double angleB = std::atan2(-r[0][2], h);
    const double angleA =
        std::atan2(sinC * r[2][0] - cosC * r[2][1], cosC * r[1][1] - sinC * r[1][0]);

    const MMatrix rotation = rotationByAngles(angleA, angleB, angleC);
    double residual = 0.0;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            residual += std::abs(rotation[i][j] - r[i][j]);
        }
    }
    a = angleA;
    b = angleB;
    c = angleC;
    return residual;
}

void MMatrix::Mul(const MMatrix& m) {
    const double scale = scale_ * m.scale_;
    setRotationProduct(*this, m, *this);
    scale_ = scale;
}

void MMatrix::TransMul(const MMatrix& m) {
    const double scale = scale_ * m.scale_;
    setRotationProduct(m, *this, *this);
    scale_ = scale;
}

void MMatrix::Transpose(const MMatrix& m) {
    const MMatrix old = m;
    for (int i = 0; i < 3; ++i) {
        SetVector(i, {old[0][i], old[1][i], old[2][i]});
    }
}

void MMatrix::CombineTransform(const MMatrix& m) {
    const MMatrix other = m;
    SetTranslation(other.Transform(GetTranslation()));
    Mul(other);
}

void MMatrix::InverseCombineTransform(const MMatrix& m) {
    const MMatrix other = m;
    MMatrix transposed;
    transposed.Transpose(other);
    SetTranslation(other.InverseTransform(GetTranslation()));
    setRotationProduct(*this, transposed, *this);
    scale_ = scale_ / other.scale_;
}

void MMatrix::InvertTransform() {
    SetTranslation(-(1.0 / scale_) * Rotate(GetTranslation()));
    Transpose();
    scale_ = 1.0 / scale_;
}

void MMatrix::RelativeTransform(const MMatrix& m) {
    const MMatrix other = m;
    InvertTransform();
    CombineTransform(other);
}

void MMatrix::RotateX(double angle) {
    setRotationProduct(rotationByAngles(angle, 0, 0), *this, *this);
}

void MMatrix::RotateY(double angle) {
    setRotationProduct(rotationByAngles(0, angle, 0), *this, *this);
}

void MMatrix::RotateZ(double angle) {
    setRotationProduct(rotationByAngles(0, 0, angle), *this, *this);
}

void MMatrix::RotateAboutAxis(double angle, const Vector& axis) {
    const Vector u = axis.Normalized();
    const double c = cosine(angle);
    const double s = sine(angle);
    const double k = 1.0 - c;
    // Seen from row vectors this turns by minus the angle: intended, as is the lost translation.
    const MMatrix q({k * u.x * u.x + c, k * u.x * u.y - s * u.z, k * u.x * u.z + s * u.y},
                    {k * u.y * u.x + s * u.z, k * u.y * u.y + c, k * u.y * u.z - s * u.x},
                    {k * u.z * u.x - s * u.y, k * u.z * u.y + s * u.x, k * u.z * u.z + c});
    setRotationProduct(q, *this, *this);
    SetTranslation(Vector::ZERO);
}

void MMatrix::Orthogonalize() {
    for (int iteration = 0; iteration < kOrthogonalizeIterations; ++iteration) {
        const MMatrix old = *this;
        for (int i = 0; i < 3; ++i) {
            const Vector row = old.GetVector(i);
            const Vector direction =
                old.GetVector((i + 1) % 3).Cross(old.GetVector((i + 2) % 3)).Normalized();
            const Vector sum = row + row.Length() * direction;
            SetVector(i, {sum.x / 2.0, sum.y / 2.0, sum.z / 2.0});
        }
    }
}

double MMatrix::Det() const {
    return scale_ * scale_ * scale_ * GetVector(0).Dot(GetVector(1).Cross(GetVector(2)));
}

double MMatrix::FNorm() const {
    return std::abs(scale_) *
           std::sqrt(GetVector(0).LengthSquared() + GetVector(1).LengthSquared() +
                     GetVector(2).LengthSquared());
}

/// The cofactor of entry (i, j) of s R, taken cyclically.
double MMatrix::SubDet(int i, int j) const {
    const int i1 = (i + 1) % 3;
    const int i2 = (i + 2) % 3;
    const int j1 = (j + 1) % 3;
    const int j2 = (j + 2) % 3;
    const double determinant =
        entries_[i1][j1] * entries_[i2][j2] - entries_[i1][j2] * entries_[i2][j1];
    return determinant * (scale_ * scale_);
}

void MMatrix::Adjunct(const MMatrix& m) {
    const MMatrix old = m;
    for (int i = 0; i < 3; ++i) {
        SetVector(i, {old.SubDet(0, i), old.SubDet(1, i), old.SubDet(2, i)});
    }
}

double MMatrix::InverseAny3x3(const MMatrix& m) {
    const double determinant = m.Det();
    const double norm = m.FNorm();
    Adjunct(m);
    for (int i = 0; i < 3; ++i) {
        for (double& entry : entries_[i]) {
            entry = determinant == 0.0 ? entry * kSingularFactor : entry / determinant;
        }
    }
    // This matrix's own scale, not m's: intended.
    scale_ = 1.0 / scale_;
    return norm == 0.0 ? 1.0 : norm;
}

double MMatrix::InverseAny4x3(const MMatrix& m) {
    const Vector translation = m.GetTranslation();
    const double norm = InverseAny3x3(m);
    SetTranslation(Vector::ZERO);
    SetTranslation(Transform(-translation));
    return norm;
}

int NMatrix::calculateOffsetTypeIndex(const MMatrix& m, int row) {
    int code = -1;
    double best = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        const double component = m[row][axis];
        if (std::abs(component) > best) {
            best = std::abs(component);
            code = 2 * axis + (component < 0.0 ? 1 : 0);
        }
    }
    return code;
}
