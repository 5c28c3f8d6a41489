#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <dcmtk/dcmdata/dctk.h>

namespace app {

/// Puts values into a DICOM data set or an item of a sequence, not owned. Each function throws
/// std::runtime_error with the tag when the value cannot be put.
class Attributes {
  public:
    explicit Attributes(DcmItem& item) : item_(&item) {}

    /// The tag says how text and numbers are stored.
    void put(const DcmTagKey& tag, const std::string& text);
    void putEmpty(const DcmTagKey& tag) { put(tag, std::string()); }
    void put(const DcmTagKey& tag, int value);
    void put(const DcmTagKey& tag, double value) { put(tag, std::vector<double>{value}); }
    void put(const DcmTagKey& tag, const std::vector<double>& values);
    /// Pixels of 16 bits; pixels of 32 bits are two of them each, the low one first.
    void putPixels(const std::vector<std::uint16_t>& words);

    /// A new item at the end of a sequence, which is made where it is missing.
    Attributes append(const DcmTagKey& sequence);

  private:
    DcmItem* item_;
};

/// The number in at most 16 characters, the limit of decimal strings.
std::string decimalString(double value);

/// Writes a file with the data set, which must hold its SOP class and instance UIDs.
/// std::runtime_error when it cannot be written.
void saveObject(const std::filesystem::path& file, DcmFileFormat& object);

}  // namespace app
