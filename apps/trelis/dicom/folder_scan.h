#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <apps/trelis/study/message.h>

namespace app {

struct FoundFile {
    std::filesystem::path path;
    /// Relative to the folder, for a person to read.
    std::string name;
    /// The file has the mark of a DICOM file; otherwise it only begins as a data set might.
    bool isMarked = false;
    /// The name says that it is one.
    bool isNamed = false;
};

struct FolderContents {
    /// Files that may be DICOM objects, sorted by path.
    std::vector<FoundFile> files;
    /// How many others there are.
    std::size_t otherFiles = 0;
};

/// Looks through a folder and those in it, without following links to folders. What is neither a
/// file nor a folder is never opened. Warns of files and folders that cannot be opened; a file with
/// the name of a DICOM file that does not begin like one is a fault.
/// std::runtime_error where the folder itself cannot be.
FolderContents scanFolder(const std::filesystem::path& folder, Messages& messages);

}  // namespace app
