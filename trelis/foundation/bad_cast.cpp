#include <trelis/foundation/bad_cast.h>

namespace trelis {

const char* BadCast::what() const noexcept { return "bad cast"; }

}  // namespace trelis
