#pragma once

#include <trelis/export.h>
#include <trelis/foundation/edge_point.h>
#include <trelis/foundation/vector.h>

/// An affine transform: three axis rows R, a translation t and a uniform scale s. Points are row
/// vectors multiplied from the left, p' = s (p R) + t, so row 0 is the image of the source X axis
/// and t has the unit of the points, millimetres in this library. Row indices are not checked. The
/// rows need be neither unit length nor orthogonal, but every inverse named here other than
/// `InverseAny3x3` and `InverseAny4x3` takes the transpose of R for its inverse, which is right for
/// orthonormal rows only. Angles are radians. A plain value: nothing allocates or fails; concurrent
/// reads are safe. An operation whose argument is the object itself reads the old values
/// throughout.
class MMatrix {
  public:
    using Vector = MVectorTemplate<double>;

    /// The identity: unit axes, translation 0, scale 1.
    MMatrix() = default;

    /// Rows x, y, z as given, translation 0, scale 1.
    MMatrix(const Vector& x, const Vector& y, const Vector& z) { SetRotation(x, y, z); }

    /// Makes this the identity.
    void Identity() { *this = MMatrix(); }

    /// Equal when the scales differ by less than 1e-8 and `EqualMatrix` holds.
    TRELIS_API bool operator==(const MMatrix& m) const;

    /// Whether the squared differences of the rows and the translation sum to less than 1e-8. The
    /// scale is not compared.
    TRELIS_API bool EqualMatrix(const MMatrix& m) const;

    /// Whether the squared differences of the three rows sum to less than 1e-8.
    TRELIS_API bool EqualRotation(const MMatrix& m) const;

    /// The three numbers of row i, 0..2 an axis, 3 the translation.
    double* operator[](int i) { return entries_[i]; }
    const double* operator[](int i) const { return entries_[i]; }

    /// Row i (0..3) as a vector; nothing is normalised.
    Vector GetVector(int i) const { return {entries_[i][0], entries_[i][1], entries_[i][2]}; }
    void SetVector(int i, const Vector& v) {
        entries_[i][0] = v.x;
        entries_[i][1] = v.y;
        entries_[i][2] = v.z;
    }

    Vector GetUnitAxisX() const { return GetVector(0); }
    Vector GetUnitAxisY() const { return GetVector(1); }
    Vector GetUnitAxisZ() const { return GetVector(2); }
    void SetUnitAxisX(const Vector& v) { SetVector(0, v); }
    void SetUnitAxisY(const Vector& v) { SetVector(1, v); }
    void SetUnitAxisZ(const Vector& v) { SetVector(2, v); }

    Vector GetTranslation() const { return GetVector(3); }
    void GetTranslation(Vector& translation) const { translation = GetVector(3); }
    /// Fills three doubles that the caller owns.
    void GetTranslation(double* translation) const {
        translation[0] = entries_[3][0];
        translation[1] = entries_[3][1];
        translation[2] = entries_[3][2];
    }
    void SetTranslation(const Vector& translation) { SetVector(3, translation); }
    void SetTranslation(double x, double y, double z) { SetVector(3, {x, y, z}); }

    double GetScale() const { return scale_; }
    void SetScale(double factor) { scale_ = factor; }
    /// Multiplies the scale.
    void Scale(double factor) { scale_ *= factor; }

    /// Copies the three rows of m; translation and scale stay.
    TRELIS_API void SetRotation(const MMatrix& m);

    /// Rows 0, 1, 2 become x, y, z as given; translation and scale stay.
    void SetRotation(const Vector& x, const Vector& y, const Vector& z) {
        const Vector rows[3] = {x, y, z};
        for (int i = 0; i < 3; ++i) {
            SetVector(i, rows[i]);
        }
    }

    /// The rotation by a about the X axis, then by b about the fixed Y axis, then by c about the
    /// fixed Z axis, each right-handed (Y towards Z, Z towards X, X towards Y). Translation and
    /// scale stay.
    TRELIS_API void SetRotation(double a, double b, double c);

    /// The angles for `SetRotation(a, b, c)`, read from the rows without the scale. Returns the sum
    /// of the absolute differences between the rotation of these angles and the rows: about 0 for a
    /// pure rotation, larger for a reflected, stretched or sheared one.
    TRELIS_API double GetRotation(double& a, double& b, double& c) const;

    /// s (p R) + t.
    Vector Transform(const Vector& p) const { return TransformVector(p) + GetTranslation(); }
    void Transform(const Vector& p, Vector& out) const { out = Transform(p); }

    /// s (v R): a direction, without the translation.
    Vector TransformVector(const Vector& v) const {
        const Vector rotated = RotateT(v);
        return scale_ == 1.0 ? rotated : scale_ * rotated;
    }

    /// `Transform` of the contour point lifted to (x, y, 0).
    Vector TransformEdgePoint(const EdgePoint& point) const {
        return Transform({point.x, point.y, 0.0});
    }

    /// The inverse of `Transform` for orthonormal rows.
    Vector InverseTransform(const Vector& p) const {
        return InverseTransformVector(p - GetTranslation());
    }
    void InverseTransform(const Vector& p, Vector& out) const { out = InverseTransform(p); }

    /// The inverse of `TransformVector` for orthonormal rows.
    Vector InverseTransformVector(const Vector& v) const {
        return Rotate(scale_ == 1.0 ? v : Vector(v.x / scale_, v.y / scale_, v.z / scale_));
    }

    /// Component i is row i times v: the inverse rotation for orthonormal rows, without scale and
    /// translation.
    Vector Rotate(const Vector& v) const {
        return {GetVector(0).Dot(v), GetVector(1).Dot(v), GetVector(2).Dot(v)};
    }
    void Rotate(const Vector& v, Vector& out) const { out = Rotate(v); }

    /// v R: the forward rotation without scale and translation.
    Vector RotateT(const Vector& v) const {
        return v.x * GetVector(0) + v.y * GetVector(1) + v.z * GetVector(2);
    }
    void RotateT(const Vector& v, Vector& out) const { out = RotateT(v); }

    Vector Translate(const Vector& p) const { return p + GetTranslation(); }
    Vector TranslateBack(const Vector& p) const { return p - GetTranslation(); }

    /// Moves the translation by d along row 0 (1, 2); the scale is not applied.
    void TranslateX(double d) { SetTranslation(GetTranslation() + d * GetVector(0)); }
    void TranslateY(double d) { SetTranslation(GetTranslation() + d * GetVector(1)); }
    void TranslateZ(double d) { SetTranslation(GetTranslation() + d * GetVector(2)); }

    /// R := R m.R, s := s m.s; the translation stays.
    TRELIS_API void Mul(const MMatrix& m);

    /// R := m.R R, s := s m.s; the translation stays.
    TRELIS_API void TransMul(const MMatrix& m);

    /// R := its own transpose, or that of m; translation and scale stay.
    void Transpose() { Transpose(*this); }
    TRELIS_API void Transpose(const MMatrix& m);

    /// This followed by m.
    TRELIS_API void CombineTransform(const MMatrix& m);

    /// This followed by the inverse of m, whose rows are taken as orthonormal.
    TRELIS_API void InverseCombineTransform(const MMatrix& m);

    /// The inverse for orthonormal rows.
    TRELIS_API void InvertTransform();

    /// The inverse of this followed by m.
    TRELIS_API void RelativeTransform(const MMatrix& m);

    /// R := Q R with Q the right-handed rotation by the angle; translation and scale stay.
    TRELIS_API void RotateX(double angle);
    TRELIS_API void RotateY(double angle);
    TRELIS_API void RotateZ(double angle);

    /// R := Q R with Q the rotation about the axis (of any length; zero counts as (1, 0, 0)) by
    /// *minus* the angle, opposite to `RotateX`, `RotateY` and `RotateZ`, and the translation
    /// becomes 0. Both are intended. The scale stays.
    TRELIS_API void RotateAboutAxis(double angle, const Vector& axis);

    /// Drives the rows towards a right-handed orthogonal frame: in each of exactly 30 steps every
    /// row becomes the mean of itself and the normalised cross product of the two others times its
    /// own length. Lengths are not set to 1 and shrink while the rows are not orthogonal; a
    /// left-handed frame collapses. Translation and scale stay.
    TRELIS_API void Orthogonalize();

    /// s^3 det(R).
    TRELIS_API double Det() const;

    /// |s| times the Frobenius norm of R.
    TRELIS_API double FNorm() const;

    /// R := the adjugate (transposed cofactor matrix) of m.s m.R; translation and scale stay.
    TRELIS_API void Adjunct(const MMatrix& m);

    /// R := the inverse of m.s m.R for any rows; with a determinant of exactly 0 the adjugate times
    /// 1e8. The scale becomes the reciprocal of the scale that *this* had before, not of m's: that
    /// is intended, and 1 for a fresh matrix. The translation stays. Returns `m.FNorm()`, or 1 when
    /// that is 0.
    TRELIS_API double InverseAny3x3(const MMatrix& m);

    /// The inverse of m for any rows, translation included, into a fresh matrix (of another one the
    /// scale enters as in `InverseAny3x3`, whose result it returns).
    TRELIS_API double InverseAny4x3(const MMatrix& m);

  private:
    double SubDet(int i, int j) const;

    double entries_[4][3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}, {0.0, 0.0, 0.0}};
    double scale_ = 1.0;
};

namespace NMatrix {

/// The dominant axis of row `row` (0..3) of m: 0, 2 or 4 for x, y or z, one more where that
/// component is negative. Ties go to the earlier axis; a zero row gives -1.
TRELIS_API int calculateOffsetTypeIndex(const MMatrix& m, int row);

}  // namespace NMatrix
