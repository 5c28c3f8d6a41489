#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <system_error>

#include <dcmtk/dcmdata/dcistrmf.h>
#include <dcmtk/dcmdata/dcrledrg.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/dcmjpls/djdecode.h>
#include <dcmtk/oflog/oflog.h>

#include <apps/trelis/dicom/dicom_file.h>
#include <apps/trelis/dicom/unusable.h>
#include <apps/trelis/terminal/phases.h>

namespace app {
namespace {

constexpr std::uintmax_t kLargestFile = std::uintmax_t{4} << 30;  // bytes

/// Decoders for compressed pixels, and faults told by results only.
void prepareToolkit() {
    static const bool prepared = [] {
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        dcmEnableUnknownVRConversion.set(OFTrue);  // long values may lack their type in the file
        DcmRLEDecoderRegistration::registerCodecs();
        DJDecoderRegistration::registerCodecs();
        DJLSDecoderRegistration::registerCodecs();
        return dcmDataDict.isDictionaryLoaded() == OFTrue;
    }();
    if (!prepared) {
        throw std::runtime_error("the dictionary of DICOM attributes is not installed");
    }
}

/// A file for the parser that ends when the parser has done too much. The parser calls itself for
/// nested sequences, which would end the process some ten thousand levels deep, and takes a time
/// that grows with the square of their number for attributes out of order.
class GuardedStream final : public DcmInputFileStream {
  public:
    explicit GuardedStream(const std::filesystem::path& path)
        : DcmInputFileStream(OFFilename(path.c_str())) {}

    /// Why the file was ended; null while it was not.
    const char* refusal() const { return refusal_; }

    OFBool good() const override { return refusal_ == nullptr && DcmInputFileStream::good(); }

    OFCondition status() const override {
        return refusal_ == nullptr ? DcmInputFileStream::status() : EC_InvalidStream;
    }

    offile_off_t read(void* buffer, offile_off_t length) override {
        check();
        auto* bytes = static_cast<char*>(buffer);
        offile_off_t done = 0;
        while (done < length && good()) {
            const offile_off_t wanted = std::min(kPortion, length - done);
            const offile_off_t got = DcmInputFileStream::read(bytes + done, wanted);
            done += got;
            if (got < wanted) {
                break;
            }
            stopIfInterrupted();
        }
        total_ += static_cast<std::uintmax_t>(done);
        return done;
    }

  private:
    static constexpr offile_off_t kPortion = 16 << 20;
    static constexpr std::uint64_t kMostReads = 16'000'000;
    static constexpr std::uint64_t kReadsBetweenLooks = 4096;
    static constexpr std::ptrdiff_t kDeepestStack = 1 << 20;  // bytes
    static constexpr double kLongest = 10.0;                  // seconds of the processor

    static std::uintptr_t stackPosition() {
        return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    }

    double secondsSpent() const {
        return static_cast<double>(std::clock() - begin_) / CLOCKS_PER_SEC;
    }

    void check() {
        ++reads_;
        const auto depth = static_cast<std::ptrdiff_t>(start_ - stackPosition());
        if (std::abs(depth) > kDeepestStack) {
            refusal_ = "has sequences nested too deep";
        } else if (reads_ > kMostReads || total_ > kLargestFile) {
            refusal_ = "has too many attributes";
        } else if (reads_ % kReadsBetweenLooks == 0 && secondsSpent() > kLongest) {
            refusal_ = "takes too long to read";
        }
    }

    const char* refusal_ = nullptr;
    std::uint64_t reads_ = 0;
    std::uintmax_t total_ = 0;
    std::uintptr_t start_ = stackPosition();
    std::clock_t begin_ = std::clock();
};

/// Longer values stay in the file until they are asked for, which a value that is longer than the
/// file never is.
Uint32 longestValue(std::uintmax_t fileSize) {
    return static_cast<Uint32>(
        std::min<std::uintmax_t>(fileSize, std::numeric_limits<Uint32>::max() - 1));
}

}  // namespace

DicomFile::DicomFile(const std::filesystem::path& path, Extent extent)
    : object_(new DcmFileFormat) {
    prepareToolkit();
    stopIfInterrupted();
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error || !std::filesystem::is_regular_file(path, error)) {
        throw Unusable("cannot be opened");
    }
    if (size > kLargestFile) {
        throw Unusable("is larger than 4 GiB");
    }

    const bool whole = extent == Extent::Whole;
    GuardedStream stream(path);
    object_->transferInit();
    const OFCondition condition = object_->readUntilTag(
        stream, EXS_Unknown, EGL_noChange, whole ? longestValue(size) : DCM_MaxReadLength,
        whole ? DCM_UndefinedTagKey : DCM_PixelData);
    object_->transferEnd();
    if (stream.refusal() != nullptr) {
        throw Unusable(stream.refusal());
    }
    if (condition.bad()) {
        const std::string reason = std::string("is truncated or damaged: ") + condition.text();
        if (dataset()->tagExistsWithValue(DCM_SOPClassUID) == OFTrue) {
            throw DamagedObject(reason);
        }
        throw Unusable(reason);
    }
    decoder_ = std::make_unique<TextDecoder>(*dataset());
}

std::string DicomFile::sopClassUid() const {
    const std::string uid = attributes().text(DCM_SOPClassUID);
    return !uid.empty() ? uid
                        : AttributeReader(*object_->getMetaInfo(), *decoder_)
                              .text(DCM_MediaStorageSOPClassUID);
}

}  // namespace app
