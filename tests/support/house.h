#pragma once

// Judges the includes of the sources by the table of floors: who may include whom. Everything is
// handed over as text, so that a made-up house can be judged like the real one.

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace mz::test {

using Names = std::set<std::string>;
using Findings = std::vector<std::string>;

struct House {
    std::map<std::string, std::string> files;  ///< text by path from the source root
    Names installed;                           ///< paths of the headers that are offered
    std::string page;                          ///< the Markdown page that holds the table
};

/// A row of the table.
struct Floor {
    std::string folder;
    Names headers;  ///< that the row names as lying here; one without a source says so nowhere else
    Names mayInclude;
};

inline std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

inline std::string nameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

inline bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// What stands in backticks in a cell.
inline Names namesIn(const std::string& cell) {
    static const std::regex quoted("`([^`]+)`");
    Names names;
    for (std::sregex_iterator at(cell.begin(), cell.end(), quoted), end; at != end; ++at)
        names.insert((*at)[1]);
    return names;
}

inline std::vector<std::string> cellsOf(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream in(line);
    std::string cell;
    std::getline(in, cell, '|');  // in front of the first
    while (std::getline(in, cell, '|'))
        cells.push_back(cell);
    return cells;
}

/// The rows below "| floor | holds | may include |".
inline std::vector<Floor> floorsIn(const std::string& page) {
    std::vector<Floor> floors;
    std::istringstream in(page);
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        if (!inside) {
            static const std::regex head(R"(\|\s*floor\s*\|\s*holds\s*\|\s*may include\s*\|\s*)");
            inside = std::regex_match(line, head);
            continue;
        }
        if (line.empty() || line[0] != '|') break;
        const std::vector<std::string> cells = cellsOf(line);
        const Names folder = namesIn(cells[0]);
        if (folder.size() != 1 || cells.size() < 3) continue;  // the line of dashes
        Floor floor{*folder.begin(), {}, namesIn(cells[2])};
        for (const std::string& name : namesIn(cells[1]))
            if (endsWith(name, ".h")) floor.headers.insert(name);
        floors.push_back(floor);
    }
    return floors;
}

/// Paths as an include names them, or beside the file that includes.
inline std::vector<std::string> includesOf(const House& house, const std::string& path) {
    static const std::regex include(R"rx(^[ \t]*#[ \t]*include[ \t]*([<"])([^>"]+)[>"])rx");
    std::vector<std::string> included;
    std::istringstream in(house.files.at(path));
    std::string line;
    while (std::getline(in, line)) {
        std::smatch found;
        if (!std::regex_search(line, found, include)) continue;
        const std::string beside = folderOf(path) + '/' + found[2].str();
        const bool isBeside = found[1] == "\"" && house.files.count(beside) > 0;
        included.push_back(isBeside ? beside : found[2].str());
    }
    return included;
}

class Judge {
public:
    explicit Judge(const House& house) : _house(house), _floors(floorsIn(house.page)) {
        for (const Floor& floor : _floors)
            _allowed[floor.folder] = floor.mayInclude;
        judgeHeaders();
        judgeFolders();
        judgeArrows();
        judgeSurroundings();
        judgeTable();
    }

    const Findings& findings() const { return _findings; }

private:
    void find(const std::string& finding) { _findings.push_back(finding); }

    static bool isOfTheLibrary(const std::string& path) {
        static const Names libraries = {"libCommon", "libLog", "libDataIO"};
        return libraries.count(path.substr(0, path.find('/'))) > 0;
    }
    static bool isPublic(const std::string& path) { return folderOf(path) == "libDataIO"; }
    static bool isSource(const std::string& path) {
        return endsWith(path, ".h") || endsWith(path, ".cpp");
    }

    /// A public header lies on the floor of its source, or, without one, where the table names it.
    void judgeHeaders() {
        for (const auto& [path, text] : _house.files) {
            if (!isPublic(path) || !endsWith(path, ".h")) continue;
            if (_house.installed.count(path) == 0)
                find(path + " is private and lies among the public headers");
            const std::string stem = nameOf(path).substr(0, nameOf(path).size() - 2);
            Names floors;
            for (const auto& [other, otherText] : _house.files)
                if (isOfTheLibrary(other) && nameOf(other) == stem + ".cpp")
                    floors.insert(folderOf(other));
            for (const Floor& floor : _floors)
                if (floor.headers.count(nameOf(path)) > 0) floors.insert(floor.folder);
            if (floors.size() == 1)
                _floorOfHeader[path] = *floors.begin();
            else
                find(path + (floors.empty() ? " is on no floor" : " is on several floors"));
        }
        for (const Floor& floor : _floors)
            for (const std::string& name : floor.headers)
                if (_house.files.count("libDataIO/" + name) == 0 &&
                    _house.files.count(floor.folder + '/' + name) == 0)
                    find("the table names " + name + " on " + floor.folder +
                         ", which is not there");
    }

    std::string floorOf(const std::string& path) const {
        if (!isPublic(path)) return folderOf(path);
        const auto found = _floorOfHeader.find(path);
        return found != _floorOfHeader.end() ? found->second : std::string();
    }

    void judgeFolders() {
        Names folders;
        for (const auto& [path, text] : _house.files)
            if (isOfTheLibrary(path) && isSource(path) && !isPublic(path))
                folders.insert(folderOf(path));
        for (const std::string& folder : folders)
            if (_allowed.count(folder) == 0) find("the table lacks " + folder);
        for (const Floor& floor : _floors)
            if (folders.count(floor.folder) == 0) find("there is no folder " + floor.folder);
    }

    void judgeArrows() {
        for (const auto& [path, text] : _house.files) {
            if (!isOfTheLibrary(path) || !isSource(path)) continue;
            const std::string from = floorOf(path);
            for (const std::string& included : includesOf(_house, path)) {
                if (!isOfTheLibrary(included)) {
                    if (isOfTheProject(included))
                        find(path + " includes " + included + ", which is not of the library");
                    continue;
                }
                if (_house.files.count(included) == 0) {
                    // What is made when the project is configured is at least offered.
                    if (_house.installed.count(included) == 0)
                        find(path + " includes " + included + ", which is not there");
                }
                const std::string to = floorOf(included);
                if (from.empty() || to.empty() || from == to) continue;
                _used[from].insert(to);
                if (_allowed.count(from) > 0 && _allowed.at(from).count(to) == 0)
                    find(path + " includes " + included + ", but " + from + " may not include " +
                         to);
            }
        }
    }

    static bool isOfTheProject(const std::string& path) {
        static const Names tops = {"bench", "examples", "fuzz",  "python",
                                   "tests", "tools",    "viewer"};
        return tops.count(path.substr(0, path.find('/'))) > 0;
    }

    /// What is built around the library uses what is installed of it, and its own.
    void judgeSurroundings() {
        for (const auto& [path, text] : _house.files) {
            if (isOfTheLibrary(path) || !isSource(path)) continue;
            const std::string own = path.substr(0, path.find('/') + 1);
            for (const std::string& included : includesOf(_house, path)) {
                const bool isOwn = included.compare(0, own.size(), own) == 0;
                const bool isOther = isOfTheLibrary(included) || isOfTheProject(included);
                if (isOther && !isOwn && _house.installed.count(included) == 0)
                    find(path + " includes " + included + ", which is not offered");
            }
        }
    }

    void judgeTable() {
        if (_floors.empty()) find("there is no table of floors");
        Names seen;
        for (const Floor& floor : _floors) {
            if (!seen.insert(floor.folder).second) find("the table has " + floor.folder + " twice");
            for (const std::string& to : floor.mayInclude) {
                if (_allowed.count(to) == 0)
                    find("the table lets " + floor.folder + " include " + to +
                         ", which has no row");
                else if (_used[floor.folder].count(to) == 0)
                    find("nothing on " + floor.folder + " includes " + to);
            }
            if (reaches(floor.folder, floor.folder, {}))
                find("the table leads from " + floor.folder + " up to itself");
        }
    }

    bool reaches(const std::string& from, const std::string& goal, Names seen) const {
        const auto row = _allowed.find(from);
        if (row == _allowed.end() || !seen.insert(from).second) return false;
        return std::any_of(row->second.begin(), row->second.end(), [&](const std::string& next) {
            return next == goal || reaches(next, goal, seen);
        });
    }

    const House& _house;
    std::vector<Floor> _floors;
    std::map<std::string, Names> _allowed;
    std::map<std::string, Names> _used;
    std::map<std::string, std::string> _floorOfHeader;
    Findings _findings;
};

inline Findings judged(const House& house) {
    return Judge(house).findings();
}

}  // namespace mz::test
