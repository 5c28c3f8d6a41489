#pragma once

#include <trelis/mlc/mlc_types.h>

namespace NMLC {

/// One finding of validation.
struct Error {
    ErrorType type;
    int leafPair = 0;
    /// Left unset, intended, by the constructors that take no bank: not to be read then.
    Bank bank;
    OffendingJaw jaw = OffendingJaw::NoJaw;
    int segment;

    // NOLINTBEGIN(modernize-use-default-member-init): the bank stays unset
    constexpr Error(ErrorType errorType, int segmentIndex)
        : type(errorType), segment(segmentIndex) {}
    constexpr Error(ErrorType errorType, int leafPairIndex, Bank leafBank, int segmentIndex)
        : type(errorType), leafPair(leafPairIndex), bank(leafBank), segment(segmentIndex) {}
    constexpr Error(ErrorType errorType, OffendingJaw offendingJaw, int segmentIndex)
        : type(errorType), jaw(offendingJaw), segment(segmentIndex) {}
    constexpr Error(ErrorType errorType, OffendingJaw offendingJaw, int leafPairIndex,
                    Bank leafBank, int segmentIndex)
        : type(errorType),
          leafPair(leafPairIndex),
          bank(leafBank),
          jaw(offendingJaw),
          segment(segmentIndex) {}
    // NOLINTEND(modernize-use-default-member-init)
};

}  // namespace NMLC
