#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace app::report {

/// A folder whose new files appear all at once or not at all: they are written into a hidden folder
/// inside it, which the destructor removes, together with folders made for it. Every failure is a
/// std::runtime_error that names the file and the reason.
class StagedFolder {
  public:
    /// Makes the folder where it is missing.
    explicit StagedFolder(const std::filesystem::path& folder);
    ~StagedFolder();
    StagedFolder(const StagedFolder&) = delete;
    StagedFolder& operator=(const StagedFolder&) = delete;

    /// Writes a whole file that is to appear under this name.
    void write(const std::string& name, std::string_view content);

    /// Moves all files into place, over others of their names; where one cannot be moved those are
    /// put back. Returns their paths.
    std::vector<std::filesystem::path> commit();

  private:
    void exchange(const std::string& name);
    void restore(const std::string& name) noexcept;
    void removeStage() noexcept;

    std::filesystem::path folder_;
    std::filesystem::path stage_;
    /// The outermost folder that had to be made; empty where there was none.
    std::filesystem::path made_;
    std::vector<std::string> names_;
};

}  // namespace app::report
