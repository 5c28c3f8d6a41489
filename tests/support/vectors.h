#pragma once

#include <random>

#include <gtest/gtest.h>

#include <trelis/foundation/matrix.h>

using Vector = MVectorTemplate<double>;

#define EXPECT_NEAR_VECTOR(actual, expected, tolerance) \
    EXPECT_LE(((actual) - (expected)).Length(), tolerance)

/// Random values for tests; a fixed seed per test makes every run the same.
class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}

    double number(double from, double to) {
        return from + (to - from) * (static_cast<double>(engine_()) / 4294967296.0);
    }
    int integer(int from, int to) {
        return from + static_cast<int>(engine_() % static_cast<unsigned>(to - from + 1));
    }
    Vector vector(double size) {
        return {number(-size, size), number(-size, size), number(-size, size)};
    }
    /// A rotation with a translation and the scale given.
    MMatrix rigid(double scale) {
        MMatrix m;
        m.SetRotation(number(-3, 3), number(-1.5, 1.5), number(-3, 3));
        m.SetTranslation(vector(100));
        m.SetScale(scale);
        return m;
    }

  private:
    std::mt19937 engine_;
};
