// Taking attributes and fibres from one movie to another, byte orders and refusals included.

#include <libDataIO/frametimer.h>
#include <libDataIO/imageutilities.h>

#include <gtest/gtest.h>

#include <tests/support/attributetext.h>
#include <tests/support/expectfailure.h>
#include <tests/support/moviebytes.h>
#include <tests/support/movieparser.h>
#include <tests/support/recordings.h>
#include <tests/support/scratchfile.h>
#include <tests/support/watchedservice.h>

using namespace mz;
using namespace mz::test;

namespace {

/// A finished gzip movie of another machine, with times in its attributes as older recorders put
/// them.
ScratchFile otherMovie() {
    return ScratchFile(MovieBytes()
                           .attribute("comment", "taken over")
                           .attribute("compression_type", "gz")
                           .attribute("endian", 1)
                           .attribute("frame_timer", 1)
                           .attribute("frame_timer_n0_sec", 5)
                           .attribute("frame_timer_n0_usec", 6)
                           .attribute("utc_offset_seconds", 3600)
                           .size(16, 8)
                           .bytes());
}

TEST(AttributesOf, AreThoseOfTheMovieWithoutItsTimes) {
    const ScratchFile other = otherMovie();
    const AttributeChunk attributes = ImageUtilities::attributesOf(other.path());
    EXPECT_EQ(dumped(attributes),
              "comment=taken over\ncompression_type=gz\nendian=1\nheight=8\n"
              "utc_offset_seconds=3600\nwidth=16\n");
}

TEST(AttributesOf, NeedAMovieThatOpens) {
    const ScratchFile file(chunk(2, "frame"));
    const Failure failure = {"dataio.imagereader", SOFTWARE, "IR_MISSINFO",
                             "File " + file.path() + ": missing info, bad file format."};
    expectFailure<IOFileException>(failure, [&] { ImageUtilities::attributesOf(file.path()); });
    expectFailure<IOFileException>(failure, [&] { ImageUtilities::fibersOf(file.path()); });
    ImageWriter writer;
    QString before;
    writer.attributeChunk().dump(before);
    expectFailure<IOFileException>(
        failure, [&] { ImageUtilities::copyRsqFileAttributes(writer, file.path()); });
    QString after;
    writer.attributeChunk().dump(after);
    EXPECT_EQ(after, before);
}

TEST(FibersOf, AreTheRasterPositions) {
    const ScratchFile file;
    record(file.path(), {});
    EXPECT_EQ(ImageUtilities::fibersOf(file.path()), someFibers());
    EXPECT_TRUE(ImageUtilities::fibersOf(otherMovie().path()).empty());
    // The far edges lie outside the image, and stay there.
    const ScratchFile edges(MovieBytes().size(16, 8).fibers({0xffffffff, 0xffffffff}).bytes());
    EXPECT_EQ(ImageUtilities::fibersOf(edges.path()), (std::vector<float>{16, 8}));
}

TEST(CopiedAttributes, ReplaceTheWritersOwnOfTheSameName) {
    const ScratchFile other = otherMovie();
    ImageWriter writer;
    writer.attribute(QStringLiteral("comment"), QStringLiteral("own"));
    writer.attribute(QStringLiteral("frame_timer_n0_sec"), 77);
    writer.attribute(QStringLiteral("zoom"), 3);
    ImageUtilities::copyRsqFileAttributes(writer, other.path());
    const AttributeChunk& attributes = writer.attributeChunk();
    EXPECT_EQ(valueOf(attributes, "comment"), "taken over");
    EXPECT_EQ(valueOf(attributes, "compression_type"), "gz");
    EXPECT_EQ(valueOf(attributes, "endian"), "1");
    EXPECT_EQ(valueOf(attributes, "frame_timer_n0_sec"), "77");
    EXPECT_EQ(valueOf(attributes, "frame_timer"), QString());
    EXPECT_EQ(valueOf(attributes, "zoom"), "3");
}

TEST(CopiedAttributes, AnnounceTheCompressionThatIsSetAfterThem) {
    const ScratchFile other(MovieBytes().size(16, 8).attribute("compression_type", "gz").bytes());
    const ScratchFile file;
    const RecordingKind kind;
    for (const bool inOrder : {true, false}) {
        ImageWriter writer;
        writer.create(file.path(), false);
        if (!inOrder) writer.setCompression(CompressionType::ZLib);
        ImageUtilities::copyRsqFileAttributes(writer, other.path());
        if (inOrder) writer.setCompression(CompressionType::ZLib);
        writer.pixType(MZ_USHORT);
        addFrames(writer, kind, 0, 0);
        writer.close();
        const Movie movie = soundMovie(file.path());
        // zlib frames begin with 0x78, gzip frames with 0x1f.
        EXPECT_EQ(movie.frames[0][0], 0x78);
        EXPECT_EQ(movie.attribute("compression_type"), inOrder ? "z" : "gz");
        ImageReader reader(file.path());
        const void* data = nullptr;
        if (inOrder) {
            EXPECT_TRUE(reader.getRawFrame(data, 0));
        } else {
            EXPECT_ANY_THROW(reader.getRawFrame(data, 0));
        }
    }
}

/// A service may take seconds to prepare itself for a bundle, or refuse it.
TEST(WhatIsTakenFromAMovie, NeedsNoReconstructionService) {
    const ScratchFile file;
    record(file.path(), {none, true});
    const WatchedService service;
    ImageUtilities::attributesOf(file.path());
    EXPECT_EQ(service.uses(), 0);
    ImageUtilities::fibersOf(file.path());
    EXPECT_EQ(service.uses(), 0);
    ImageWriter writer;
    ImageUtilities::copyRsqFileAttributes(writer, file.path());
    EXPECT_EQ(service.uses(), 0);
    const ImageReader reader(file.path());
    EXPECT_EQ(service.uses(), 2) << "any other reader has a clone, which it prepares";
}

}  // namespace
