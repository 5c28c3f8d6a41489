#pragma once

/// The multileaf collimator (MLC). Lengths are millimetres in its plan plane; in its own frame the
/// leaves travel along x and lie side by side along y. Quantities that are stored are single
/// precision, quantities computed from them double.
namespace NMLC {

/// The tolerance of every comparison of leaf positions (equal, closed, colliding), in millimetres.
inline constexpr float LeafPositionEpsilon = 0.005F;

/// The grid of leaf positions in millimetres: every stored position is a multiple of it.
inline constexpr float LeafPositionMinimumDelta = 0.01F;

/// `Left` is the bank whose leaf tips lie at the smaller coordinate.
enum class Bank : int { Left = 0, Right = 1 };

/// The model of a collimator. `Generic` has a single layer of leaves, `Tandem1` and `Tandem2` are
/// the dual-layer family; what distinguishes the others is told where it matters.
enum class MLCType : int {
    Generic = 0,
    Tandem1 = 1,
    Tandem2 = 2,
    Type3 = 3,
    Type4 = 4,
    Type5 = 5,
    Type6 = 6,
    Type7 = 7,
    Type8 = 8,
    Type9 = 9
};

/// The jaw that an error is about.
enum class OffendingJaw : int { X1 = 0, X2 = 1, Y1 = 2, Y2 = 3, NoJaw = 4 };

/// Where the tip of an open leaf meets an outline that is slanted within the leaf's width.
enum class OpenLeavesMeetingPoint : int {
    Inside = 0,   ///< the opening lies inside the outline
    Outside = 1,  ///< the opening covers the outline
    Middle = 2    ///< the crossing in the middle of the leaf
};

/// On which side of the aperture closed leaves are parked.
enum class ClosedLeavesMeetingPoint : int { Left = 0, Right = 1, Center = 2 };

/// The code of a finding of validation. No values are named here.
enum class ErrorType : int {};

/// The code of an irradiation technique. No values are named here.
enum class FieldTechnique : int {};

}  // namespace NMLC
