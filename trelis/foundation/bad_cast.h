#pragma once

#include <typeinfo>

#include <trelis/export.h>

namespace trelis {

/// Thrown by value where a number does not fit the type that is to take it.
class TRELIS_API BadCast : public std::bad_cast {
  public:
    /// "bad cast"
    const char* what() const noexcept override;
};

}  // namespace trelis
