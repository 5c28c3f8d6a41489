#include <trelis/foundation/detail/platform.h>

#include <cmath>

namespace trelis::detail {

namespace {

/// While it lives, the x87 unit of this thread computes with all its 64 bits. The system starts
/// threads with 53.
class FullPrecision {
  public:
    FullPrecision() {
        asm volatile("fnstcw %0" : "=m"(previous_) : : "memory");
        load(kNearestWith64Bits);
    }
    ~FullPrecision() { load(previous_); }
    FullPrecision(const FullPrecision&) = delete;
    FullPrecision& operator=(const FullPrecision&) = delete;

  private:
    using ControlWord = unsigned short;
    static constexpr ControlWord kNearestWith64Bits = 0x37F;

    static void load(ControlWord word) { asm volatile("fldcw %0" : : "m"(word) : "memory"); }

    ControlWord previous_;
};

}  // namespace

// The run-time library of this platform takes logarithms in the x87 unit. Their bits beyond the
// 53 of the result are what makes a power of a large base right.
double power(double base, double exponent) {
    const FullPrecision precision;
    return std::pow(base, exponent);
}

}  // namespace trelis::detail
