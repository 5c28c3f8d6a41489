#pragma once

#include <filesystem>
#include <vector>

namespace app {

/// A folder that is filled as a whole or not at all. Files are made in a hidden folder inside it;
/// unless published they are gone at the end, and so is the folder if it was new.
class UnfinishedFolder {
  public:
    /// Makes the folder where it is missing; std::runtime_error where it is not empty or cannot be
    /// made.
    explicit UnfinishedFolder(const std::filesystem::path& folder);
    UnfinishedFolder(const UnfinishedFolder&) = delete;
    UnfinishedFolder& operator=(const UnfinishedFolder&) = delete;
    ~UnfinishedFolder();

    /// Where to make the files.
    const std::filesystem::path& hidden() const { return hidden_; }

    /// Moves all of them into the folder.
    void publish();

  private:
    std::filesystem::path folder_;
    std::filesystem::path hidden_;
    bool isNew_;
    /// Moved already by a `publish` that goes on.
    std::vector<std::filesystem::path> moved_;
};

}  // namespace app
