#pragma once

#include <vector>

#include <apps/trelis/study/study.h>

namespace app {

/// Three static beams on the target of the phantom, with leaves and jaws around its shadow.
std::vector<Beam> beamsOfPhantom();

}  // namespace app
