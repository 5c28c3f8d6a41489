#pragma once

#include <string>

#include <trelis/export.h>
#include <trelis/foundation/volume.h>

namespace trelis {

/// Keeps finished 16-bit volumes on disk, one file for each image in the directory
/// "VolumeImageCache". A file appears under its name only when it is whole, and is never replaced,
/// only removed. Each `Create` first deletes files that are too old or too many.
///
/// The directory and the configuration are process-wide; until `Initialize` has succeeded
/// everything else does nothing and returns false, 0 or what is there from the start. Several
/// processes may share a directory. In one process `Initialize` and `SetConfiguration` must not run
/// beside any other call; the others may run together, on volumes of their own.
///
/// Identifiers of images and series have 1 to 64 characters out of "-", ".", "0" to "9", "A" to
/// "Z", "a" to "z", "{" and "}". Nothing is thrown but std::bad_alloc; what happens to files is
/// traced with `TrelisTrace`.
class TRELIS_API VolumeImageCache {
  public:
    /// Limits of the directory, 16 bytes; stored in it as they are.
    struct Configuration {
        /// Files last written longer ago are deleted.
        unsigned int maxAgeHours = 72;
        /// A clean-up by size ends when the files take at most this many MiB,
        unsigned int cleanTargetMB = 5000;
        /// and begins when they take more than this many.
        unsigned int cleanTriggerMB = 7500;
        /// Kept for the application.
        unsigned int reserved = 300;
    };

    VolumeImageCache() = delete;

    /// Uses the directory "VolumeImageCache" in `baseDirectory`, which must exist, creates it where
    /// it is missing, and reads the configuration stored there, or takes the defaults where there
    /// is none. May be called again to move on to another directory.
    ///
    /// Returns 0; 3 for an empty argument; 183 when the name is taken by something that is no
    /// directory; else the platform's error code. After a failure everything is as before.
    static int Initialize(const std::wstring& baseDirectory);

    static const Configuration& GetConfiguration();

    /// Takes the configuration and stores it in the directory.
    static void SetConfiguration(const Configuration& configuration);

    /// The cache directory with a path separator at its end; empty before `Initialize`.
    static const std::wstring& GetDirectory();

    /// Cleans the directory up, then writes sizes, resolutions and pixels of the volume with the
    /// values, which are not interpreted.
    ///
    /// False when an identifier is invalid, the volume lacks pixels for its sizes, the image has a
    /// file already (that stays) or the file cannot be written. What a full disk cuts off stays as
    /// a temporary file until it is too old.
    static bool Create(const std::wstring& imageId, const std::wstring& seriesId,
                       const QVolume<unsigned short>& volume, double pixelSlope, int pixelOffset,
                       double rescaleSlope, double rescaleIntercept);

    /// Reads the pixels of an image into a volume that has the sizes of the image already (pixels
    /// are allocated when it has none), and the values that came with them. Its resolutions stay.
    ///
    /// On failure false, with the reason in `error`; that is empty when there is no file to read,
    /// and after success. Volume and values are untouched unless the file is of this image and has
    /// the right size; a damage of the pixels shows when they are in the volume already. A file
    /// that cannot be used is not deleted.
    static bool Restore(const std::wstring& imageId, const std::wstring& seriesId,
                        QVolume<unsigned short>& volume, double& pixelSlope, int& pixelOffset,
                        double& rescaleSlope, double& rescaleIntercept, std::wstring& error);

    /// Deletes the file of an image. False when the identifier is invalid or nothing was deleted.
    static bool Remove(const std::wstring& imageId);

    /// The bytes in all files "*.cache" of the directory, each counted modulo 2^32 (intended).
    static unsigned long long GetTotalSize();
};

}  // namespace trelis
