#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace app::report {

/// A folder whose new files appear all at once or not at all: they are written into a hidden folder
/// inside it, which the destructor removes, together with folders made for it. A process has one at
/// a time for a folder. Every failure is a std::runtime_error that names the file and the reason.
class StagedFolder {
  public:
    /// Makes the folder where it is missing, and removes what killed processes left in it.
    explicit StagedFolder(const std::filesystem::path& folder);
    ~StagedFolder();
    StagedFolder(const StagedFolder&) = delete;
    StagedFolder& operator=(const StagedFolder&) = delete;

    /// Writes a whole file that is to appear under this name.
    void write(const std::string& name, std::string_view content);

    /// A file of the folder that is to be gone when the new ones appear; none of these.
    void remove(const std::string& name);

    /// Moves all files into place, over others of their names; where one cannot be moved those and
    /// the removed ones are put back. Returns their paths.
    std::vector<std::filesystem::path> commit();

  private:
    void putAside(const std::string& name);
    void exchange(const std::string& name);
    void restore(const std::string& name) noexcept;
    void removeStage() noexcept;

    std::filesystem::path folder_;
    std::filesystem::path stage_;
    /// The outermost folder that had to be made; empty where there was none.
    std::filesystem::path made_;
    std::vector<std::string> names_;
    std::vector<std::string> obsolete_;
};

}  // namespace app::report
