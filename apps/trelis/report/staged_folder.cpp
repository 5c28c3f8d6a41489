#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include <apps/trelis/report/staged_folder.h>

namespace app::report {
namespace {

namespace fs = std::filesystem;

/// Where a file that was there before waits until all new ones are in place.
std::string formerName(const std::string& name) { return name + ".former"; }

[[noreturn]] void fail(const fs::path& path, const std::error_code& reason) {
    throw std::runtime_error(fmt::format("cannot write {}: {}", path.string(), reason.message()));
}

/// Makes the folder and returns the outermost one that was missing.
fs::path makeFolders(const fs::path& folder) {
    std::error_code error;
    fs::path missing;
    for (fs::path path = folder; !path.empty() && !fs::exists(path, error);
         path = path.parent_path()) {
        missing = path;
    }
    fs::create_directories(folder, error);
    if (!error && !fs::is_directory(folder)) {
        error = std::make_error_code(std::errc::not_a_directory);
    }
    if (error) {
        if (std::error_code ignored; !missing.empty()) {
            fs::remove_all(missing, ignored);
        }
        fail(folder, error);
    }
    return missing;
}

constexpr std::string_view kStagePrefix = ".unfinished-";

/// The process whose stage has this name; 0 where it is none.
pid_t ownerOf(const std::string& name) {
    pid_t process = 0;
    if (name.starts_with(kStagePrefix)) {
        const char* end = name.data() + name.size();
        const auto [rest, error] = std::from_chars(name.data() + kStagePrefix.size(), end, process);
        if (error != std::errc() || rest != end || process < 0) {
            return 0;
        }
    }
    return process;
}

bool isGone(pid_t process) { return kill(process, 0) != 0 && errno == ESRCH; }

/// Removes the stages of runs that were killed, also of one that had the number of this process.
void removeAbandonedStages(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> abandoned;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const pid_t owner = ownerOf(entry->path().filename().string());
        if (owner != 0 && (owner == getpid() || isGone(owner))) {
            abandoned.push_back(entry->path());
        }
    }
    for (const fs::path& stage : abandoned) {
        fs::remove_all(stage, error);
    }
}

/// A new folder whose name tells its process.
fs::path makeStage(const fs::path& folder) {
    removeAbandonedStages(folder);
    fs::path stage = folder / fmt::format("{}{}", kStagePrefix, getpid());
    std::error_code error;
    if (!fs::create_directory(stage, error)) {
        fail(stage, error ? error : std::make_error_code(std::errc::file_exists));
    }
    return stage;
}

}  // namespace

StagedFolder::StagedFolder(const fs::path& folder) : folder_(folder), made_(makeFolders(folder_)) {
    try {
        stage_ = makeStage(folder_);
    } catch (...) {
        removeStage();
        throw;
    }
}

StagedFolder::~StagedFolder() { removeStage(); }

void StagedFolder::write(const std::string& name, std::string_view content) {
    errno = 0;
    std::ofstream file(stage_ / name, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file) {
        fail(folder_ / name, {errno != 0 ? errno : EIO, std::generic_category()});
    }
    names_.push_back(name);
}

void StagedFolder::remove(const std::string& name) { obsolete_.push_back(name); }

std::vector<fs::path> StagedFolder::commit() {
    std::vector<std::string> done;
    try {
        for (const std::string& name : obsolete_) {
            putAside(name);
            done.push_back(name);
        }
        for (const std::string& name : names_) {
            exchange(name);
            done.push_back(name);
        }
    } catch (...) {
        std::for_each(done.rbegin(), done.rend(), [&](const std::string& name) { restore(name); });
        throw;
    }
    made_.clear();
    std::vector<fs::path> paths;
    for (const std::string& name : names_) {
        paths.push_back(folder_ / name);
    }
    return paths;
}

void StagedFolder::putAside(const std::string& name) {
    std::error_code error;
    if (fs::is_directory(folder_ / name, error)) {
        fail(folder_ / name, std::make_error_code(std::errc::is_a_directory));
    }
    error.clear();
    fs::rename(folder_ / name, stage_ / formerName(name), error);
    if (error && error != std::errc::no_such_file_or_directory) {
        fail(folder_ / name, error);
    }
}

void StagedFolder::exchange(const std::string& name) {
    putAside(name);
    std::error_code error;
    fs::rename(stage_ / name, folder_ / name, error);
    if (error) {
        restore(name);
        fail(folder_ / name, error);
    }
}

void StagedFolder::restore(const std::string& name) noexcept {
    std::error_code ignored;
    fs::remove(folder_ / name, ignored);
    fs::rename(stage_ / formerName(name), folder_ / name, ignored);
}

void StagedFolder::removeStage() noexcept {
    std::error_code ignored;
    if (!stage_.empty()) {
        fs::remove_all(stage_, ignored);
    }
    if (!made_.empty()) {
        fs::remove_all(made_, ignored);
    }
}

}  // namespace app::report
