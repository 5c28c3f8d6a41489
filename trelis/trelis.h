#pragma once

/// Every public header of the library.

#include <trelis/export.h>
#include <trelis/foundation/bad_cast.h>
#include <trelis/foundation/common_grid.h>
#include <trelis/foundation/diagnostics.h>
#include <trelis/foundation/edge_point.h>
#include <trelis/foundation/epsilon.h>
#include <trelis/foundation/line_geometry.h>
#include <trelis/foundation/matrix.h>
#include <trelis/foundation/progress.h>
#include <trelis/foundation/undefined.h>
#include <trelis/foundation/vector.h>
#include <trelis/foundation/volume.h>
#include <trelis/foundation/volume_size.h>
#include <trelis/foundation/volume_span.h>
#include <trelis/foundation/volume_tools.h>
#include <trelis/foundation/voxel_space_geometry.h>
#include <trelis/segment/boolean_operations.h>
#include <trelis/segment/fixed_point_iterators.h>
#include <trelis/segment/segment_volume.h>
#include <trelis/segment/span_x.h>
#include <trelis/segment/undo_stack.h>
#include <trelis/segment/volume_cell.h>
#include <trelis/segment_algorithms/beam_geometry_segment.h>
#include <trelis/segment_algorithms/clean_up.h>
#include <trelis/segment_algorithms/connected_components.h>
#include <trelis/segment_algorithms/fast_margins.h>
#include <trelis/segment_algorithms/ihe_ro_compliance.h>
#include <trelis/segment_algorithms/margin.h>
#include <trelis/segment_algorithms/margin_adder.h>
#include <trelis/segment_algorithms/margin_container.h>
#include <trelis/segment_algorithms/morphology.h>
#include <trelis/segment_algorithms/plane_utilities.h>
#include <trelis/segment_algorithms/sub_voxel_measures.h>
