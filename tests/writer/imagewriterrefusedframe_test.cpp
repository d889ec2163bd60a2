// Frames that are refused or cannot be written: nothing of them stays, neither in the file nor in
// what close() makes of the movie; and the pixels that compression does not take.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/limits.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

const Failure widePixels = {"dataio.imagewriter", SOFTWARE, "IW_AF_COMPRESS",
                            QStringLiteral("Only 16-bit pixels can be compressed.")};
const Failure invalidSize = {"dataio.imagewriter", SOFTWARE, "IW_AF_SIZE",
                             QStringLiteral("Frame size is invalid.")};

TEST(RefusedFrame, AFrameThatCannotBeWrittenDoesNotMakeAMovieOfImagesVectorized) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 4, 2);
    add(writer, QByteArray(16, 'x'));
    {
        const FileSizeLimit limit(100);
        const LogCapture log;
        EXPECT_THROW(add(writer, QByteArray(1000, 'y')), IOFileException);
        EXPECT_THROW(writer.addFrameAtEnd(QByteArray(1000, 'y').constData(), 1000),
                     IOFileException);
    }
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.frames, (std::vector<QByteArray>{QByteArray(16, 'x')}));
    EXPECT_FALSE(movie.has("data_type"));
}

TEST(RefusedFrame, AFrameAtTheEndThatIsRefusedLeavesTheCursorWhereItStood) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    for (const char* frame : {"one", "two", "six"})
        add(writer, frame);
    writer.replaceFrame("ONE", 0);
    {
        const FileSizeLimit limit(3 * (32 + 3) + 10);
        const LogCapture log;
        EXPECT_THROW(writer.addFrameAtEnd("ten", 3), IOFileException);
    }
    expectFailure<IOFileException>(invalidSize, [&] { writer.addFrameAtEnd("ten", -1); });
    expectFailure<IOFileException>(invalidSize,
                                   [&] { writer.addFrameAtEnd("ten", -1, timeOf(1)); });
    // Behind frame 0, as after every replacement.
    add(writer, "TWO");
    writer.close();
    EXPECT_EQ(file.bytes().left(3 * 35), chunk(2, "ONE") + chunk(2, "TWO") + chunk(2, "six"));
}

TEST(RefusedFrame, WidePixelsAreNotCompressed) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 4, 2, MZ_UINT);
    writer.setCompression(CompressionType::ZLib);
    const QByteArray pixels(4 * 2 * 4, 'p');
    expectFailure<IOFileException>(widePixels, [&] { writer.addFrame(pixels.constData()); });
    expectFailure<IOFileException>(widePixels, [&] { add(writer, pixels.left(17)); });
    expectFailure<IOFileException>(widePixels,
                                   [&] { writer.addFrameAtEnd(pixels.constData(), 17); });
    EXPECT_EQ(file.bytes(), "");

    writer.setCompression(CompressionType::None);
    writer.addFrame(pixels.constData());
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).frames, std::vector<QByteArray>{pixels});
}

TEST(RefusedFrame, FramesUpTo16BitsAPixelAreCompressed) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.setCompression(CompressionType::GZip);
    setSize(writer, 40, 20, MZ_USHORT);
    writer.addFrame(QByteArray(40 * 20 * 2, 'p').constData());
    setSize(writer, 40, 20, MZ_UCHAR);
    writer.addFrame(QByteArray(40 * 20, 'p').constData());
    add(writer, QByteArray(300, 's'));  // one sample a fibre
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).frames.size(), 3U);
}

TEST(RefusedFrame, WithoutAPositiveSizeAnyFrameIsCompressed) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.setCompression(CompressionType::ZLib);
    add(writer, QByteArray(100, 'a'));
    writer.width(1);
    add(writer, QByteArray(100, 'b'));
    writer.height(0);
    add(writer, QByteArray(100, 'c'));
    writer.height(-1);
    add(writer, QByteArray(100, 'd'));
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).frames.size(), 4U);
}

TEST(RefusedFrame, AnInvalidSizeIsSaidBeforeWidePixels) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.setCompression(CompressionType::ZLib);
    setSize(writer, 1, 1);
    expectFailure<IOFileException>(invalidSize, [&] { writer.addFrame("x", -1); });
    setSize(writer, 1 << 20, 1 << 12, MZ_UINT);
    expectFailure<IOFileException>(invalidSize, [&] { writer.addFrame("x"); });
}

}  // namespace
