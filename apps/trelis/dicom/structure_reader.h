#pragma once

#include <string>
#include <vector>

#include <apps/trelis/dicom/found_object.h>
#include <apps/trelis/study/message.h>
#include <apps/trelis/study/study.h>

namespace app {

struct StructureSet {
    std::string label;
    std::vector<Structure> structures;
};

/// Reads the structures of a structure set that lie in a frame of reference (any where it is
/// empty). A structure is whole or left out; what is left out is in the messages. `Unusable` where
/// the file cannot be read.
StructureSet readStructureSet(const FoundObject& object, const std::string& frameUid,
                              Messages& messages);

}  // namespace app
