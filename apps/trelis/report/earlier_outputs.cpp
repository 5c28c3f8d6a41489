#include <exception>
#include <fstream>

#include <nlohmann/json.hpp>

#include <apps/trelis/report/earlier_outputs.h>

namespace app::report {
namespace {

namespace fs = std::filesystem;

bool isRegularFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(fs::symlink_status(path, error));
}

bool isPlainNrrdName(const std::string& name) {
    return name.ends_with(".nrrd") &&
           name.find_first_of(std::string("/\\\0", 3)) == std::string::npos;
}

}  // namespace

std::set<std::string> earlierLabelMaps(const fs::path& folder) {
    if (!isRegularFile(folder / "plan.json")) {
        return {};
    }
    try {
        std::set<std::string> names;
        std::ifstream file(folder / "plan.json", std::ios::binary);
        const nlohmann::json plan = nlohmann::json::parse(file);
        for (const nlohmann::json& structure : plan.at("structures")) {
            const auto name = structure.at("label_map").get<std::string>();
            if (isPlainNrrdName(name) && isRegularFile(folder / name)) {
                names.insert(name);
            }
        }
        return names;
    } catch (const std::exception&) {
        return {};
    }
}

}  // namespace app::report
