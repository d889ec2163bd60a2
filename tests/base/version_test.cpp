// The version stands in the project's build file; headers and library must say the same.

#include <libCommon/version.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Version, IsThatOfTheProject) {
    EXPECT_STREQ(DATAIO_VERSION_STRING, DATAIO_PROJECT_VERSION);
    EXPECT_STREQ(mz::version(), DATAIO_PROJECT_VERSION);
}

TEST(Version, IsMadeOfItsNumbers) {
    EXPECT_EQ(std::to_string(DATAIO_VERSION_MAJOR) + '.' + std::to_string(DATAIO_VERSION_MINOR) +
                  '.' + std::to_string(DATAIO_VERSION_PATCH),
              DATAIO_VERSION_STRING);
}

}  // namespace
