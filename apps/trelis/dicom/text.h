#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <dcmtk/dcmdata/dcspchrs.h>
#include <dcmtk/dcmdata/dctk.h>

namespace app {

/// The text as valid UTF-8 on one line: bytes that are none become U+FFFD, control characters are
/// dropped, line ends and tabs become spaces, and spaces at both ends are cut off.
std::string cleanText(std::string_view bytes);

/// In quotation marks, the end of a long one left out.
std::string inQuotes(const std::string& text);

/// An attribute in words, such as "dose grid scaling".
std::string nameInWords(const DcmTagKey& tag);

/// The name of a person for a person: "Family^Given" becomes "Family Given".
std::string personName(std::string text);

/// Turns the texts of a data set into UTF-8, from the character sets that it names.
class TextDecoder {
  public:
    explicit TextDecoder(DcmItem& dataset);

    bool isSupported() const { return characterSet_ != nullptr; }

    /// Clean text. What is not of the character sets is taken for UTF-8.
    std::string decode(std::string_view bytes) const;

  private:
    std::unique_ptr<DcmSpecificCharacterSet> characterSet_;
};

}  // namespace app
