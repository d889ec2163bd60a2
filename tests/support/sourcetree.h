#pragma once

// The project's own sources, for tests of what they are and not of what they do.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

namespace mz::test {

/// Of a file by its path from the source root.
inline std::string sourceText(const std::string& path) {
    std::ifstream file(std::filesystem::path(DATAIO_SOURCE_DIR) / path);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Paths of all files below a folder of the source root; none when there is no such folder.
inline std::set<std::string> sourcePaths(const std::string& folder) {
    const std::filesystem::path root = DATAIO_SOURCE_DIR;
    std::set<std::string> paths;
    if (!std::filesystem::exists(root / folder)) return paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder))
        if (entry.is_regular_file()) paths.insert(entry.path().lexically_relative(root).string());
    return paths;
}

/// What stands in the list of headers that are installed.
inline std::set<std::string> installedHeaders() {
    const std::string list = sourceText("cmake/DataIOInstall.cmake");
    static const std::regex header(R"([\s/](lib\w+/\w+\.h)\b)");
    std::set<std::string> headers;
    for (std::sregex_iterator at(list.begin(), list.end(), header), end; at != end; ++at)
        headers.insert((*at)[1]);
    return headers;
}

}  // namespace mz::test
