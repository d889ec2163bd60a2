// Reads the includes of all sources and holds them against the table of floors in
// docs/architecture.md. That this can fail is shown on a house of a few lines.

#include <gtest/gtest.h>

#include <tests/support/house.h>
#include <tests/support/sourcetree.h>

namespace mz::test {
namespace {

const char* const smallPage =
    "# A page\n"
    "\n"
    "| floor | holds | may include |\n"
    "|---|---|---|\n"
    "| `libDataIO/upper` | what stands above, with `plain.h` | `libCommon`, `libDataIO/lower` |\n"
    "| `libDataIO/lower` | what stands below | `libCommon` |\n"
    "| `libCommon` | texts | |\n"
    "\n"
    "| `libDataIO/other` | a row of another table | `libCommon` |\n";

House smallHouse() {
    House house;
    house.page = smallPage;
    house.files = {
        {"libCommon/text.h", "#include <string>\n"},
        {"libDataIO/plain.h", "#pragma once\n"},
        {"libDataIO/low.h", "#include <libCommon/text.h>\n"},
        {"libDataIO/high.h", "#include <libDataIO/low.h>\n#include <QString>\n"},
        {"libDataIO/lower/low.cpp", "#include <libDataIO/low.h>\n"},
        {"libDataIO/upper/high.cpp", "#include \"own.h\"\n#include <libDataIO/plain.h>\n"},
        {"libDataIO/upper/own.h", "#include <libCommon/text.h>\n"},
        {"tools/tool.cpp", "#include <libDataIO/high.h>\n#include <tools/own.h>\n"},
        {"tools/own.h", "#include <vector>\n"},
    };
    house.installed = {"libCommon/text.h", "libDataIO/plain.h", "libDataIO/low.h",
                       "libDataIO/high.h"};
    return house;
}

/// Of the small house with one line more in one file.
Findings judgedWith(const std::string& path, const std::string& line) {
    House house = smallHouse();
    house.files[path] += line + '\n';
    return judged(house);
}

/// Of the small house with another row in the place of one.
Findings judgedWithRow(const std::string& row, const std::string& other) {
    House house = smallHouse();
    const size_t at = house.page.find(row);
    EXPECT_NE(at, std::string::npos) << row;
    house.page.replace(at, row.size(), other);
    return judged(house);
}

TEST(House, IsSoundInSmall) {
    EXPECT_EQ(judged(smallHouse()), Findings());
}

TEST(House, TheTableIsReadToItsEnd) {
    const std::vector<Floor> floors = floorsIn(smallPage);
    ASSERT_EQ(floors.size(), 3U);
    EXPECT_EQ(floors[0].folder, "libDataIO/upper");
    EXPECT_EQ(floors[0].headers, Names{"plain.h"});
    EXPECT_EQ(floors[0].mayInclude, (Names{"libCommon", "libDataIO/lower"}));
    EXPECT_EQ(floors[2].mayInclude, Names());
}

TEST(House, AnArrowThatGoesUpIsFound) {
    const std::string toUpper = ", but libDataIO/lower may not include libDataIO/upper";
    EXPECT_EQ(judgedWith("libDataIO/lower/low.cpp", "#include <libDataIO/upper/own.h>"),
              Findings{"libDataIO/lower/low.cpp includes libDataIO/upper/own.h" + toUpper});
    // A public header counts as what lies where its source does.
    EXPECT_EQ(judgedWith("libDataIO/lower/low.cpp", "  #  include <libDataIO/high.h>"),
              Findings{"libDataIO/lower/low.cpp includes libDataIO/high.h" + toUpper});
    EXPECT_EQ(judgedWith("libDataIO/low.h", "#include <libDataIO/high.h>"),
              Findings{"libDataIO/low.h includes libDataIO/high.h" + toUpper});
    // Without a source, where the table names it.
    EXPECT_EQ(judgedWith("libDataIO/lower/low.cpp", "#include <libDataIO/plain.h>"),
              Findings{"libDataIO/lower/low.cpp includes libDataIO/plain.h" + toUpper});
    EXPECT_EQ(judgedWith("libCommon/text.h", "#include <libDataIO/low.h>"),
              Findings{"libCommon/text.h includes libDataIO/low.h, but libCommon may not include "
                       "libDataIO/lower"});
}

TEST(House, IncludesOfNothingOrOfOthersAreFound) {
    EXPECT_EQ(judgedWith("libDataIO/low.h", "#include <libDataIO/gone.h>"),
              Findings{"libDataIO/low.h includes libDataIO/gone.h, which is not there"});
    EXPECT_EQ(judgedWith("libDataIO/low.h", "#include <tools/own.h>"),
              Findings{"libDataIO/low.h includes tools/own.h, which is not of the library"});
    EXPECT_EQ(judgedWith("libDataIO/low.h", "#include <sys/time.h>"), Findings());

    // One that is offered is made when the project is configured.
    House house = smallHouse();
    house.files["libDataIO/lower/low.cpp"] += "#include <libCommon/made.h>\n";
    EXPECT_EQ(judged(house),
              Findings{"libDataIO/lower/low.cpp includes libCommon/made.h, which is not there"});
    house.installed.insert("libCommon/made.h");
    EXPECT_EQ(judged(house), Findings());
}

TEST(House, WhatIsAroundTheLibraryUsesWhatIsOffered) {
    EXPECT_EQ(judgedWith("tools/tool.cpp", "#include <libDataIO/upper/own.h>"),
              Findings{"tools/tool.cpp includes libDataIO/upper/own.h, which is not offered"});
    House house = smallHouse();
    house.files["viewer/window.cpp"] = "#include <tools/own.h>\n#include \"window.h\"\n";
    house.files["viewer/window.h"] = "";
    EXPECT_EQ(judged(house),
              Findings{"viewer/window.cpp includes tools/own.h, which is not offered"});
}

TEST(House, AHeaderInTheWrongPlaceIsFound) {
    House house = smallHouse();
    house.files["libDataIO/secret.h"] = "";
    EXPECT_EQ(judged(house),
              (Findings{"libDataIO/secret.h is private and lies among the public headers",
                        "libDataIO/secret.h is on no floor"}));
    house.installed.insert("libDataIO/secret.h");
    EXPECT_EQ(judged(house), Findings{"libDataIO/secret.h is on no floor"});
    house.files["libDataIO/lower/secret.cpp"] = "";
    EXPECT_EQ(judged(house), Findings());
    house.files["libDataIO/upper/secret.cpp"] = "";
    EXPECT_EQ(judged(house), Findings{"libDataIO/secret.h is on several floors"});
}

TEST(House, ATableThatDoesNotFitItsFoldersIsFound) {
    House house = smallHouse();
    house.files["libDataIO/loft/box.h"] = "";
    EXPECT_EQ(judged(house), Findings{"the table lacks libDataIO/loft"});
    EXPECT_EQ(judgedWithRow("| `libCommon` | texts | |\n",
                            "| `libCommon` | texts | |\n| `libLog` | | |\n"),
              Findings{"there is no folder libLog"});
    EXPECT_EQ(judgedWithRow("| `libCommon` | texts | |\n",
                            "| `libCommon` | texts | |\n| `libCommon` | | |\n"),
              Findings{"the table has libCommon twice"});
    EXPECT_EQ(judgedWithRow("`plain.h`", "`plain.h` and `gone.h`"),
              Findings{"the table names gone.h on libDataIO/upper, which is not there"});
    house = smallHouse();
    house.page = "| floor | what | may include |\n";
    EXPECT_EQ(judged(house).back(), "there is no table of floors");
}

TEST(House, AnArrowThatTheTableGrantsToNobodyIsFound) {
    House house = smallHouse();
    house.files["libDataIO/high.h"] = "";
    EXPECT_EQ(judged(house), Findings{"nothing on libDataIO/upper includes libDataIO/lower"});
    EXPECT_EQ(judgedWithRow("`libCommon`, `libDataIO/lower`",
                            "`libCommon`, `libDataIO/lower`, `libDataIO/loft`"),
              Findings{"the table lets libDataIO/upper include libDataIO/loft, which has no row"});
}

TEST(House, ATableThatLeadsUpIsFound) {
    House house = smallHouse();
    const std::string row = "| `libCommon` | texts | |";
    house.page.replace(house.page.find(row), row.size(),
                       "| `libCommon` | texts | `libDataIO/upper` |");
    house.files["libCommon/text.h"] = "#include <libDataIO/high.h>\n";
    EXPECT_EQ(judged(house), (Findings{"the table leads from libDataIO/upper up to itself",
                                       "the table leads from libDataIO/lower up to itself",
                                       "the table leads from libCommon up to itself"}));
}

// --- the real one

House realHouse() {
    House house;
    for (const char* top :
         {"libCommon", "libLog", "libDataIO", "tools", "viewer", "python", "examples"})
        for (const std::string& path : sourcePaths(top))
            house.files[path] = sourceText(path);
    house.page = sourceText("docs/architecture.md");
    house.installed = installedHeaders();
    return house;
}

TEST(House, ThisOneIsAsItsTableSays) {
    const House house = realHouse();
    EXPECT_GT(house.installed.size(), 25U);
    EXPECT_GT(house.files.size(), 80U);
    EXPECT_EQ(floorsIn(house.page).size(), 9U);
    for (const std::string& finding : judged(house))
        ADD_FAILURE() << finding;
}

}  // namespace
}  // namespace mz::test
