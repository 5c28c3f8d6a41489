#pragma once

#include <trelis/dose/dvh_data.h>

namespace app {

/// The dose that at least this fraction of the histogram's volume receives (D98: 0.98), linear
/// between the edges of bins. `cumulative` is a histogram after `DvhData::Cumulate`. NaN without
/// bins or volume.
double doseAtVolume(const trelis::DvhData& cumulative, double fraction);

/// The volume that receives at least this dose, in the unit of the bins; linear between the edges
/// of bins, the whole volume at 0 and below. NaN without bins.
double volumeAtDose(const trelis::DvhData& cumulative, double dose);

}  // namespace app
