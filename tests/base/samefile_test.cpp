// Names that lead to one file, which tools must not read and empty at once.

#include <libDataIO/base/samefile.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

TEST(SameFile, IsKnownByWhateverName) {
    const ScratchFile file("aaaa");
    const QString hard = file.sibling("hard");
    const QString soft = file.sibling("soft \u00e9");
    ASSERT_EQ(::link(QFile::encodeName(file.path()), QFile::encodeName(hard)), 0);
    ASSERT_EQ(::symlink("hard", QFile::encodeName(soft)), 0);
    for (const QString& name : {file.path(), hard, soft, file.sibling("./movie")}) {
        EXPECT_TRUE(isSameFile(file.path(), name)) << name.toStdString();
        EXPECT_TRUE(isSameFile(name, file.path())) << name.toStdString();
    }
}

TEST(SameFile, IsNotAnotherOneNorOneThatIsMissing) {
    const ScratchFile file("aaaa");
    const QString equal = file.sibling("equal");
    writeFile(equal, "aaaa");
    EXPECT_FALSE(isSameFile(file.path(), equal));
    EXPECT_FALSE(isSameFile(file.path(), file.sibling("missing")));
    EXPECT_FALSE(isSameFile(file.sibling("missing"), file.path()));
    EXPECT_FALSE(isSameFile(file.sibling("missing"), file.sibling("missing")));
    EXPECT_FALSE(isSameFile(QString(), QString()));
}

TEST(SameFile, IsNotTheOneInFrontOfANul) {
    const ScratchFile file("aaaa");
    const QString longer = file.path() + QChar(0) + QStringLiteral("more");
    EXPECT_FALSE(isSameFile(file.path(), longer));
    EXPECT_FALSE(isSameFile(longer, file.path()));
    EXPECT_FALSE(isSameFile(longer, longer));
}

}  // namespace
