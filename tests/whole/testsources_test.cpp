// The tests' own sources: what each file says of itself, how large it is, and that the codes of
// failures that tests name are those of the library, and all of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include <tests/support/sourcetree.h>

namespace mz::test {
namespace {

using Strings = std::set<std::string>;

/// A comment that is the first of a source, or of a header behind its guard.
bool opensWithASentence(const std::string& text) {
    static const std::regex opening(R"(^(#pragma once\n\n)?// [A-Z][^\n]*)");
    std::smatch found;
    return std::regex_search(text, found, opening) && found.position() == 0;
}

bool isNamedInStyle(const std::string& path) {
    static const std::regex style(R"(tests/[a-z]+/([a-z0-9]+_test\.cpp|[a-z0-9]+\.(h|cpp)))");
    return std::regex_match(path, style);
}

Strings codesIn(const std::string& text) {
    static const std::regex code(R"rx("((CHB|CI|FDCW|FR|FW|IR|IU|IW|MM|RC)_[A-Z0-9_]+)")rx");
    Strings codes;
    for (std::sregex_iterator at(text.begin(), text.end(), code), end; at != end; ++at)
        codes.insert((*at)[1]);
    return codes;
}

std::map<std::string, std::string> cppFilesOf(const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const std::string& path : sourcePaths(folder)) {
        const std::string end = path.substr(path.rfind('.') + 1);
        if (end == "cpp" || end == "h") files[path] = sourceText(path);
    }
    return files;
}

Strings codesBelow(const std::string& folder) {
    Strings codes;
    for (const auto& [path, text] : cppFilesOf(folder))
        codes.merge(codesIn(text));
    return codes;
}

TEST(TestSources, OpenWithASentence) {
    for (const auto& [path, text] : cppFilesOf("tests"))
        EXPECT_TRUE(opensWithASentence(text)) << path;
    EXPECT_TRUE(opensWithASentence("#pragma once\n\n// Some bytes.\n"));
    EXPECT_FALSE(opensWithASentence("#include <string>\n\n// Some bytes.\n"));
}

TEST(TestSources, HaveNamesInOneStyle) {
    for (const auto& [path, text] : cppFilesOf("tests"))
        EXPECT_TRUE(isNamedInStyle(path)) << path;
    EXPECT_TRUE(isNamedInStyle("tests/base/byteorder_test.cpp"));
    EXPECT_FALSE(isNamedInStyle("tests/base/byte_order_test.cpp"));
    EXPECT_FALSE(isNamedInStyle("tests/base/ByteOrder_test.cpp"));
}

TEST(TestSources, CanBeReadInOneSitting) {
    for (const auto& [path, text] : cppFilesOf("tests"))
        EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 700) << path;
}

TEST(TestSources, NameTheCodesOfTheLibraryAndAllOfThem) {
    Strings named = codesBelow("tests");
    named.merge(codesBelow("fuzz"));
    const Strings thrown = codesBelow("libDataIO");
    for (const std::string& code : named)
        EXPECT_EQ(thrown.count(code), 1U) << code << " exists nowhere";
    for (const std::string& code : thrown)
        EXPECT_EQ(named.count(code), 1U) << code << " is not tested";
    EXPECT_EQ(codesIn("\"IW_AF_SIZE\", \"MZ_UCHAR\", IW_AF_FULL"), Strings{"IW_AF_SIZE"});
}

}  // namespace
}  // namespace mz::test
