#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include <apps/trelis/dicom/folder_scan.h>
#include <apps/trelis/dicom/text.h>
#include <apps/trelis/terminal/phases.h>

namespace app {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPreamble = 128;  // bytes
constexpr std::string_view kMark = "DICM";

/// Whether a data set without a file header may begin like this: with an attribute of group 2 or 8,
/// in either byte order.
bool beginsLikeDataSet(std::string_view bytes) {
    return bytes.size() >= 8 &&
           ((bytes[1] == 0 && bytes[3] == 0 && (bytes[0] | 10) == 10) ||
            (bytes[0] == 0 && bytes[2] == 0 && (bytes[1] | 10) == 10)) &&
           (bytes[0] | bytes[1]) != 0;
}

/// Hidden files, such as those that some systems put beside each file, are named after others.
bool isNamedAsDicom(const fs::path& path) {
    std::string ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return path.filename().native().front() != '.' &&
           (ending == ".dcm" || ending == ".dicom" || ending == ".ima");
}

class Scan {
  public:
    Scan(fs::path root, Messages& messages) : root_(std::move(root)), messages_(messages) {}

    FolderContents run() {
        std::error_code error;
        const fs::directory_iterator test(root_, error);
        if (error) {
            throw std::runtime_error(
                fmt::format("{}: {}", cleanText(root_.string()), error.message()));
        }
        std::vector<fs::path> pending{root_};
        while (!pending.empty()) {
            const fs::path folder = std::move(pending.back());
            pending.pop_back();
            enter(folder, pending);
        }
        std::sort(contents_.files.begin(), contents_.files.end(),
                  [](const FoundFile& a, const FoundFile& b) { return a.path < b.path; });
        return std::move(contents_);
    }

  private:
    std::string nameOf(const fs::path& path) const {
        return cleanText(path.lexically_relative(root_).generic_string());
    }

    void enter(const fs::path& folder, std::vector<fs::path>& pending) {
        std::error_code error;
        fs::directory_iterator entry(folder, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            stopIfInterrupted();
            std::error_code unknown;
            const bool isFolder = entry->is_directory(unknown);
            if (isFolder && !entry->is_symlink(unknown)) {
                pending.push_back(entry->path());
            } else if (!isFolder && entry->is_regular_file(unknown)) {
                look(entry->path());
            } else {
                skipSpecial(entry->path(), isFolder);
            }
        }
        if (error) {
            messages_.warn(nameOf(folder), "cannot be opened, and what it holds is not read");
        }
    }

    void skipSpecial(const fs::path& path, bool isFolder) {
        ++contents_.otherFiles;
        if (isFolder) {
            messages_.note(nameOf(path), "is a link to a folder, which is not followed");
        }
    }

    void look(const fs::path& path) {
        std::array<char, kPreamble + kMark.size()> head{};
        std::ifstream file(path, std::ios::binary);
        file.read(head.data(), static_cast<std::streamsize>(head.size()));
        if (!file && !file.eof()) {
            ++contents_.otherFiles;
            messages_.warn(nameOf(path), "cannot be opened");
            return;
        }
        const std::string_view bytes(head.data(), static_cast<std::size_t>(file.gcount()));
        const bool isMarked = bytes.size() == head.size() && bytes.substr(kPreamble) == kMark;
        const bool isNamed = isNamedAsDicom(path);
        if (isMarked || beginsLikeDataSet(bytes)) {
            contents_.files.push_back({path, nameOf(path), isMarked, isNamed});
        } else if (isNamed) {
            messages_.fault(nameOf(path),
                            "has the name of a DICOM file but does not begin like one");
        } else {
            ++contents_.otherFiles;
        }
    }

    fs::path root_;
    Messages& messages_;
    FolderContents contents_;
};

}  // namespace

FolderContents scanFolder(const fs::path& folder, Messages& messages) {
    return Scan(folder, messages).run();
}

}  // namespace app
