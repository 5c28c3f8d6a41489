#pragma once

#include <string>

#include <trelis/dose/dvh_data.h>

namespace app::report {

/// Whether the dose grid leaves out so much of the structure that its figures are doubtful.
bool isPartlyCovered(const trelis::DvhData& dvh);

/// Whether so little of the structure was sampled that its figures are doubtful.
bool isPoorlySampled(const trelis::DvhData& dvh);

/// Per cent that are 100.0 only where nothing is missing; a dash for NaN.
std::string coverageText(double fraction);

/// Of what the doses of a structure are, where that is less than all of it; else empty.
std::string coverageCaveat(const trelis::DvhData& dvh);

}  // namespace app::report
