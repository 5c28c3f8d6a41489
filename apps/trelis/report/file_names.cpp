#include <algorithm>
#include <cstddef>
#include <set>
#include <string_view>

#include <fmt/format.h>

#include <apps/trelis/report/file_names.h>

namespace app::report {
namespace {

/// Leaves room for a number that makes the name unique.
constexpr std::size_t kMostCharacters = 72;

bool isLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

/// Device names of Windows, also in front of an extension.
bool isReserved(const std::string& name) {
    const std::string stem = lower(name.substr(0, name.find('.')));
    if (stem == "con" || stem == "prn" || stem == "aux" || stem == "nul") {
        return true;
    }
    return stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) &&
           stem[3] >= '0' && stem[3] <= '9';
}

std::string fileName(const std::string& name) {
    std::string result;
    for (const char c : name) {
        if (isLetterOrDigit(c) || c == '.' || c == '-') {
            result += c;
        } else if (!result.ends_with('_')) {
            result += '_';
        }
    }
    constexpr std::string_view kEdges = "._-";
    result.erase(0, std::min(result.find_first_not_of(kEdges), result.size()));
    result.resize(std::min(result.size(), kMostCharacters));
    result.erase(result.find_last_not_of(kEdges) + 1);
    if (result.empty()) {
        return "structure";
    }
    return isReserved(result) ? "structure_" + result : result;
}

}  // namespace

std::vector<std::string> fileNames(const std::vector<std::string>& names) {
    std::set<std::string> taken;
    std::vector<std::string> result;
    for (const std::string& name : names) {
        const std::string wanted = fileName(name);
        std::string given = wanted;
        for (int i = 2; !taken.insert(lower(given)).second; ++i) {
            given = fmt::format("{}_{}", wanted, i);
        }
        result.push_back(given);
    }
    return result;
}

}  // namespace app::report
