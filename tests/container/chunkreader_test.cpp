// What the base of chunk readers does by itself, shown by a reader of nothing.

#include <libDataIO/chunkreader.h>

#include <gtest/gtest.h>

#include <type_traits>

using namespace mz;

namespace {

static_assert(std::is_abstract_v<ChunkReader>);
static_assert(std::has_virtual_destructor_v<ChunkReader>);
static_assert(!std::is_copy_constructible_v<ChunkReader>);

/// A reader of nothing, which shows what the base alone does.
class EmptyReader : public ChunkReader {
public:
    const void* data() const override { return nullptr; }
    bool nextChunk(unsigned int /*type*/) override { return false; }
    bool prevChunk(unsigned int /*type*/) override { return false; }
    unsigned int size() const override { return 0; }
    bool rewind() override { return false; }
    bool seekEnd() override { return false; }
    bool seek(qint64 /*offset*/) override { return false; }
    void closeFile() override { _fd = -1; }
};

TEST(ChunkReader, IsOpenWhileItHasADescriptor) {
    EmptyReader reader;
    EXPECT_FALSE(reader.openned());
    reader.fileDes(0);
    EXPECT_TRUE(reader.openned());
    reader.fileDes(-1);
    EXPECT_FALSE(reader.openned());
}

TEST(ChunkReader, ReportsThatItCannotSeek) {
    EmptyReader reader;
    EXPECT_FALSE(reader.canSeek());
    reader.fileDes(0);
    EXPECT_FALSE(reader.canSeek());
}

}  // namespace
