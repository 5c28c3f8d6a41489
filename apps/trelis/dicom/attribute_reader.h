#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <dcmtk/dcmdata/dctk.h>

#include <apps/trelis/dicom/text.h>
#include <apps/trelis/study/study.h>

namespace app {

/// Reads the attributes of a data set or of an item of a sequence, which it does not own. What has
/// another type than expected, or numbers that are none or not finite, is `Unusable`, which says
/// the attribute in words; so is what is missing where a function does not say otherwise. An empty
/// attribute is a missing one.
class AttributeReader {
  public:
    AttributeReader(DcmItem& item, const TextDecoder& decoder) : item_(&item), decoder_(&decoder) {}

    bool has(const DcmTagKey& tag) const { return find(tag) != nullptr; }

    /// All values as one text, of which a long one is cut off; empty where missing.
    std::string text(const DcmTagKey& tag) const;

    /// All values; none where missing.
    std::vector<double> numbers(const DcmTagKey& tag) const;
    std::vector<double> numbers(const DcmTagKey& tag, std::size_t count) const;
    double number(const DcmTagKey& tag) const { return numbers(tag, 1).front(); }
    std::optional<double> findNumber(const DcmTagKey& tag) const;
    int integer(const DcmTagKey& tag) const;
    std::optional<int> findInteger(const DcmTagKey& tag) const;

    /// Three numbers each, a place in the patient in millimetres, not absurdly far away.
    std::vector<Vector> points(const DcmTagKey& tag) const;
    Vector point(const DcmTagKey& tag) const;

    /// The items of a sequence; none where missing.
    std::vector<AttributeReader> items(const DcmTagKey& tag) const;

  private:
    DcmElement* find(const DcmTagKey& tag) const;

    DcmItem* item_;
    const TextDecoder* decoder_;
};

}  // namespace app
