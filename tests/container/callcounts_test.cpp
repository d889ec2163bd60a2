// How often the system is asked for something while chunks are written and looked at. With small
// frames nothing else takes as long.

#include <libDataIO/fdchunkwriter.h>
#include <libDataIO/mmapchunkreader.h>

#include <gtest/gtest.h>

#include <tests/support/addchunk.h>
#include <tests/support/faultlayer.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int chunks = 100;

TEST(CallCounts, AChunkIsWrittenInOneCallWithoutLookingAround) {
    const ScratchFile file;
    FaultLayer layer(file.path());
    FDChunkWriter writer;
    layer.during([&] {
        writer.fileDes(file.open());
        for (int i = 0; i < chunks; ++i)
            add(writer, 2, "abcd");
    });
    EXPECT_EQ(file.size(), chunks * 36);
    EXPECT_EQ(layer.calls(Call::Write), chunks);
    EXPECT_EQ(layer.calls(Call::Seek), 2 * chunks) << "to the end, whose place tells the length, "
                                                      "and to where the chunk goes";
    EXPECT_EQ(layer.calls(Call::Stat) + layer.calls(Call::Read) + layer.calls(Call::Truncate), 0);
}

TEST(CallCounts, AFileIsMappedOnceForAllItsChunksAndItsLengthAskedForOnceAChunk) {
    QByteArray bytes;
    for (int i = 0; i < chunks; ++i)
        bytes += chunk(2, "abcd");
    const ScratchFile file(bytes);
    FaultLayer layer(file.path());
    MMapChunkReader reader;
    layer.during([&] {
        reader.fileDes(file.open(O_RDONLY));
        for (int i = 0; i < chunks; ++i)
            ASSERT_TRUE(reader.nextChunk(2)) << i;
    });
    EXPECT_EQ(layer.calls(Call::Map), 1);
    EXPECT_EQ(layer.calls(Call::Unmap), 0);
    EXPECT_EQ(layer.calls(Call::Read), 1) << "the first header, before there is a mapping";
    EXPECT_LE(layer.calls(Call::Seek) + layer.calls(Call::Stat), chunks + 1);
}

}  // namespace
