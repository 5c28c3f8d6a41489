#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <dcmtk/dcmdata/dctk.h>

#include <apps/trelis/dicom/attribute_reader.h>
#include <apps/trelis/dicom/text.h>

namespace app {

/// A DICOM object read from a file, which may be damaged or hostile: depth, number and total size
/// of what it declares are bounded, and nothing is allocated that its size cannot hold.
class DicomFile {
  public:
    enum class Extent { BeforePixels, Whole };

    /// `Unusable` where the file cannot be read (`DamagedObject` where it begins as an object
    /// does), `QAbortPressed` after Ctrl-C.
    DicomFile(const std::filesystem::path& path, Extent extent);

    AttributeReader attributes() const { return {*dataset(), *decoder_}; }
    DcmDataset* dataset() const { return object_->getDataset(); }

    /// Whether the texts are in a character set that is supported.
    bool hasKnownCharacters() const { return decoder_->isSupported(); }

    /// What the object is; from the header of the file where the data set does not say it.
    std::string sopClassUid() const;

  private:
    std::unique_ptr<DcmFileFormat> object_;
    std::unique_ptr<TextDecoder> decoder_;
};

}  // namespace app
