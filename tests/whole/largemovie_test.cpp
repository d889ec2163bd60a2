// Movies whose frames and info chunk lie where signed 32-bit offsets end: they are read, changed
// and appended to like small ones.

#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <cstring>

#include <tests/support/expectfailure.h>
#include <tests/support/moviebytes.h>
#include <tests/support/movieparser.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr qint64 gibi = qint64{1} << 30;

/// Frames of 4 x 2 8-bit pixels between others of zeros that take no space on the disk.
struct LargeMovie {
    explicit LargeMovie(qint64 endOfFrames) {
        small("at start");
        hole(2 * gibi - 4);  // the next frame's start header lies across 2 GiB
        small("over 2Gi");
        hole(3 * gibi);
        small("over 3Gi");
        hole(endOfFrames - 40);
        small("last one");
        info = bytes.attribute("endian", 2)
                   .attribute("pixbits", 8)
                   .attribute("pixtype", 2)
                   .size(4, 2)
                   .info();
        file.put(end, chunk(MovieBytes::Info, info));
    }

    void small(const QByteArray& pixels) {
        bytes.record(MovieBytes::Frame, static_cast<uint32_t>(end), 8);
        file.put(end, chunk(MovieBytes::Frame, pixels));
        end += 40;
    }
    void hole(qint64 until) {
        const auto size = static_cast<uint32_t>(until - end - 32);
        bytes.record(MovieBytes::Frame, static_cast<uint32_t>(end), size);
        end = putSparseChunk(file, end, MovieBytes::Frame, size);
    }

    ScratchFile file;
    MovieBytes bytes;
    QByteArray info;
    qint64 end = 0;
};

QByteArray frameAt(ImageReader& reader, unsigned int index) {
    const void* data = nullptr;
    const auto size = reader.getRawFrame(data, index);
    return size ? QByteArray(static_cast<const char*>(data), 8) : QByteArray();
}

class LargeMovies : public testing::TestWithParam<qint64> {};

TEST_P(LargeMovies, AreReadInAnyOrder) {
    const LargeMovie movie(GetParam());
    ImageReader reader(movie.file.path());
    ASSERT_EQ(reader.nbFrames(), 7U);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(frameAt(reader, 6), "last one");
        EXPECT_EQ(frameAt(reader, 0), "at start");
        EXPECT_EQ(frameAt(reader, 4), "over 3Gi");
        EXPECT_EQ(frameAt(reader, 2), "over 2Gi");
        EXPECT_EQ(frameAt(reader, 5), QByteArray(8, '\0'));
    }
}

TEST_P(LargeMovies, AreReplacedInAndAppendedTo) {
    const LargeMovie movie(GetParam());
    ImageWriter writer;
    writer.modify(movie.file.path());
    writer.replaceFrame("REPLACED", 2);
    writer.replaceFrame("ANOTHER1", 6);
    writer.addFrameAtEnd("appended", 8, timeval{1, 2}, 0.5F);
    writer.close();

    const Movie parsed = soundMovie(movie.file.path());
    ASSERT_EQ(parsed.frames.size(), 8U);
    EXPECT_EQ(parsed.frameOffsets.back(), static_cast<uint64_t>(movie.end));
    ImageReader reader(movie.file.path());
    EXPECT_EQ(frameAt(reader, 2), "REPLACED");
    EXPECT_EQ(frameAt(reader, 4), "over 3Gi");
    EXPECT_EQ(frameAt(reader, 6), "ANOTHER1");
    EXPECT_EQ(frameAt(reader, 7), "appended");
}

TEST_P(LargeMovies, TakeNewAttributes) {
    const LargeMovie movie(GetParam());
    AttributeChunk attributes = ImageUtilities::attributesOf(movie.file.path());
    attributes.set(QStringLiteral("comment"), QString(1000, QLatin1Char('c')));
    ImageWriter().modifyAttribute(movie.file.path(), attributes);
    EXPECT_EQ(soundMovie(movie.file.path()).attribute("comment").size(), 1000);
    ImageReader reader(movie.file.path());
    EXPECT_EQ(frameAt(reader, 6), "last one");
}

INSTANTIATE_TEST_SUITE_P(EndingAt, LargeMovies,
                         testing::Values(3 * gibi + 4096, 4 * gibi - (5 << 20)),
                         [](const auto& end) {
                             return std::string(end.param < 4 * gibi - (6 << 20) ? "3GiB"
                                                                                 : "JustBelow4GiB");
                         });

TEST(LargeMovie, AttributesThatNoLongerFitLeaveTheMovieAsItWas) {
    const LargeMovie movie(4 * gibi - (1 << 20));
    AttributeChunk attributes;
    attributes.set(QStringLiteral("comment"), QString(2 << 20, QLatin1Char('c')));
    const qint64 size = movie.file.size();
    expectFailure<IOFileException>(
        {"dataio.fdchunkwriter", SYSCALL, "FDCW_AC_WRITE",
         QStringLiteral("Could not write all data: ") + QString::fromLocal8Bit(strerror(EFBIG))},
        [&] { ImageWriter().modifyAttribute(movie.file.path(), attributes); });
    EXPECT_EQ(movie.file.size(), size);
    ImageReader reader(movie.file.path());
    EXPECT_EQ(frameAt(reader, 6), "last one");
}

}  // namespace
