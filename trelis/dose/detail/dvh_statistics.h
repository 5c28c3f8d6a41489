#pragma once

#include <trelis/dose/dvh_data.h>
#include <trelis/foundation/progress.h>

namespace trelis::detail {

/// What a record holds for a dose of zero everywhere: the whole volume in the first bin, a bin
/// width of 0 and zero statistics. The bins and the volume must be set.
void setZeroDose(DvhData& data);

/// Modal, mean and median dose and standard deviation of a differential histogram with at least one
/// bin. But for the modal dose all are 0 where next to nothing is in the bins.
void computeStatistics(DvhData& data, FProgressReportingBody& progress);

/// Sets the sampling coverage and scales the bins so that their total is volume x dose coverage:
/// makes up for what sampling lost or gained. The unit of the bins is that of the volume.
void normaliseSampling(DvhData& data);

}  // namespace trelis::detail
