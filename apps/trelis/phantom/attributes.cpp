#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <dcmtk/dcmdata/dcostrmb.h>
#include <fmt/format.h>

#include <apps/trelis/phantom/attributes.h>

namespace app {
namespace {

constexpr std::size_t kDecimalStringLength = 16;

constexpr offile_off_t kPieceSize = 1 << 20;

/// Names the writer in the header of each file in place of the toolkit and its version.
constexpr const char* kWriterUid = "2.25.118642035770163429025673184294607";
constexpr const char* kWriterName = "TRELIS";

void require(const OFCondition& condition, const DcmTagKey& tag) {
    if (condition.bad()) {
        throw std::runtime_error(
            fmt::format("attribute {}: {}", tag.toString().c_str(), condition.text()));
    }
}

std::string textOf(DcmItem& item, const DcmTagKey& tag) {
    OFString text;
    require(item.findAndGetOFString(tag, text), tag);
    return {text.data(), text.length()};
}

void putMetaHeader(DcmFileFormat& object) {
    DcmMetaInfo& meta = *object.getMetaInfo();
    DcmDataset& dataset = *object.getDataset();
    Attributes attributes(meta);
    require(meta.putAndInsertUint32(DCM_FileMetaInformationGroupLength, 0),
            DCM_FileMetaInformationGroupLength);
    const Uint8 version[2] = {0, 1};
    require(meta.putAndInsertUint8Array(DCM_FileMetaInformationVersion, version, 2),
            DCM_FileMetaInformationVersion);
    attributes.put(DCM_MediaStorageSOPClassUID, textOf(dataset, DCM_SOPClassUID));
    attributes.put(DCM_MediaStorageSOPInstanceUID, textOf(dataset, DCM_SOPInstanceUID));
    attributes.put(DCM_TransferSyntaxUID, UID_LittleEndianExplicitTransferSyntax);
    attributes.put(DCM_ImplementationClassUID, kWriterUid);
    attributes.put(DCM_ImplementationVersionName, kWriterName);
    require(meta.computeGroupLengthAndPadding(
                EGL_recalcGL, EPD_noChange, META_HEADER_DEFAULT_TRANSFERSYNTAX, EET_ExplicitLength),
            DCM_FileMetaInformationGroupLength);
}

/// Encodes a part of the file piece by piece.
void write(DcmObject& part, E_TransferSyntax syntax, std::ostream& out) {
    std::vector<char> piece(kPieceSize);
    DcmOutputBufferStream buffer(piece.data(), kPieceSize);
    OFCondition condition = EC_StreamNotifyClient;
    part.transferInit();
    while (condition == EC_StreamNotifyClient) {
        condition = part.write(buffer, syntax, EET_ExplicitLength, nullptr);
        void* filled = nullptr;
        offile_off_t size = 0;
        buffer.flushBuffer(filled, size);
        out.write(static_cast<const char*>(filled), size);
    }
    part.transferEnd();
    if (condition.bad()) {
        throw std::runtime_error(condition.text());
    }
}

}  // namespace

std::string decimalString(double value) {
    std::string text;
    for (int digits = 15; digits > 0; --digits) {
        text = fmt::format("{:.{}g}", value + 0.0, digits);  // no "-0"
        if (text.size() <= kDecimalStringLength) {
            break;
        }
    }
    return text;
}

void Attributes::put(const DcmTagKey& tag, const std::string& text) {
    require(item_->putAndInsertString(tag, text.c_str()), tag);
}

void Attributes::put(const DcmTagKey& tag, int value) { put(tag, std::to_string(value)); }

void Attributes::put(const DcmTagKey& tag, const std::vector<double>& values) {
    std::string text;
    for (const double value : values) {
        if (!text.empty()) {
            text += '\\';
        }
        text += decimalString(value);
    }
    put(tag, text);
}

void Attributes::putPixels(const std::vector<std::uint16_t>& words) {
    require(item_->putAndInsertUint16Array(DCM_PixelData, words.data(), words.size()),
            DCM_PixelData);
}

Attributes Attributes::append(const DcmTagKey& sequence) {
    constexpr long kNewItem = -2;
    DcmItem* item = nullptr;
    require(item_->findOrCreateSequenceItem(sequence, item, kNewItem), sequence);
    return Attributes(*item);
}

void saveObject(const std::filesystem::path& file, DcmFileFormat& object) {
    putMetaHeader(object);
    // `DcmFileFormat::saveFile` would name the toolkit and its version in the header, and does not
    // notice a full disk at the end of a file.
    std::ofstream out(file, std::ios::binary);
    write(*object.getMetaInfo(), META_HEADER_DEFAULT_TRANSFERSYNTAX, out);
    write(*object.getDataset(), EXS_LittleEndianExplicit, out);
    out.close();
    if (!out) {
        throw std::runtime_error(std::generic_category().message(errno));
    }
}

}  // namespace app
