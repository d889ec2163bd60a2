// What a movie's header says about its thumbnail. The pixels themselves are compared with a naive
// rendering of the same frame.

#include <libDataIO/imagewriter.h>

#include <QDir>
#include <boost/smart_ptr/make_shared.hpp>

#include <array>
#include <utility>

#include <tests/support/cancelled.h>
#include <tests/support/palettes.h>
#include <tests/support/streams.h>
#include <tests/support/thumbnails.h>

using namespace mz;
using namespace mz::test;

namespace {

// --- pictures ---------------------------------------------------------------------------------

TEST_F(Thumbnail, OfSixteenBitsShowsThePaletteOnTheSamplesThatThereAre) {
    for (const MZImagePixelType type : {MZ_USHORT, MZ_SHORT}) {
        open(withPalette(withHeader(type), grey(0, 2000)).frame(picture16()));
        for (const auto& [maxWidth, maxHeight] :
             {std::pair(10, 10), std::pair(30, 20), std::pair(7, 50), std::pair(64, 64)}) {
            const LogCapture log;
            ASSERT_TRUE(reader.thumbnail(image, maxWidth, maxHeight, 0));
            EXPECT_TRUE(log.records().empty());
            const Naive naive{picture16(), width, height, maxWidth, maxHeight};
            const auto [min, max] = naive.window();
            EXPECT_GT(max - min, 500);
            expectThrough(grey(0, 2000), static_cast<float>(min) / 2000.0F,
                          static_cast<float>(max) / 2000.0F, 0x8000, naive);
        }
    }
}

TEST_F(Thumbnail, HasTheProportionsOfTheMovie) {
    MovieBytes movie;
    movie.size(640, 480).attribute("pixtype", MZ_USHORT).frame(QByteArray(640 * 480 * 2, '\x01'));
    open(movie);
    ASSERT_TRUE(reader.thumbnail(image, 160, 160, 0));
    EXPECT_EQ(image.size(), QSize(160, 120));
}

TEST_F(Thumbnail, ShowsTheFrameThatIsAskedFor) {
    open(withPalette(withHeader(MZ_USHORT), grey(0, 2000))
             .frame(QByteArray(width * height * 2, '\0'))
             .frame(picture16()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 1));
    const Naive naive{picture16(), width, height, 10, 10};
    const auto [min, max] = naive.window();
    expectThrough(grey(0, 2000), static_cast<float>(min) / 2000.0F,
                  static_cast<float>(max) / 2000.0F, 0x8000, naive);
    EXPECT_EQ(reader.currFrameIdx(), 1U);
}

TEST_F(Thumbnail, ReadsTheFrameBetweenSizeAndPixelType) {
    open(MovieBytes()
             .size(width, height)
             .attribute("pixtype", MZ_FLOAT)
             .frame(picture16())
             .frame(picture16()));
    expectNone(0, 10, 1);
    EXPECT_EQ(reader.currFrameIdx(), 0U);
    expectNone(10, 10, 1);
    EXPECT_EQ(reader.currFrameIdx(), 1U);
}

TEST_F(Thumbnail, WithoutAPaletteUsesTheDefaultOne) {
    open(withHeader(MZ_USHORT).frame(picture16()));
    MzPalette expected;
    expected.initDefault();
    const LogCapture log;
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    const Naive naive{picture16(), width, height, 10, 10};
    const auto [min, max] = naive.window();
    const auto place = [&](int v) {
        const float at = static_cast<float>(v - expected._cropMinInt) /
                         static_cast<float>(expected._cropMaxInt - expected._cropMinInt);
        return at;
    };
    expectThrough(expected, place(min), place(max), 0x8000, naive);
}

TEST_F(Thumbnail, OfAnIncompletePaletteUsesTheDefaultOne) {
    // The reader keeps the whole node, and says that this is no palette.
    open(withHeader(MZ_USHORT)
             .attribute("pal_nbcols", 2)
             .attribute("pal_n0_val", "0")
             .attribute("pal_n0_r", "1")
             .attribute("pal_n0_g", "0")
             .attribute("pal_n0_b", "0")
             .frame(picture16()));
    MzPalette expected;
    expected.initDefault();
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    const Naive naive{picture16(), width, height, 10, 10};
    const auto [min, max] = naive.window();
    const auto place = [&](int v) {
        return static_cast<float>(v - expected._cropMinInt) /
               static_cast<float>(expected._cropMaxInt - expected._cropMinInt);
    };
    expectThrough(expected, place(min), place(max), 0x8000, naive);
}

TEST_F(Thumbnail, MasksOneLevel) {
    open(withPalette(withHeader(MZ_USHORT), grey(0, 2000))
             .attribute("mask_level", 100)
             .frame(picture16()));
    ASSERT_TRUE(reader.thumbnail(image, width, height, 0));
    const Naive naive{picture16(), width, height, width, height};
    const auto [min, max] = naive.window();
    expectThrough(grey(0, 2000), static_cast<float>(min) / 2000.0F,
                  static_cast<float>(max) / 2000.0F, 100, naive);
    EXPECT_EQ(pixelOf(image, 0, 0), 0xff000000U);
    // Only the 16 bits of the level count.
    open(withHeader(MZ_USHORT).attribute("mask_level", 65536 + 100).frame(picture16()));
    ASSERT_TRUE(reader.thumbnail(image, width, height, 0));
    EXPECT_EQ(pixelOf(image, 0, 0), 0xff000000U);
}

TEST_F(Thumbnail, MasksTheLowestLevelUnlessToldOtherwise) {
    MzPalette white = grey(0, 2000);
    white._nodes.front()._col = PalColor(1, 1, 1);
    const QByteArray frame = le16(0x8000) + picture16().mid(2);
    open(withPalette(withHeader(MZ_USHORT), white).frame(frame));
    ASSERT_TRUE(reader.thumbnail(image, width, height, 0));
    EXPECT_EQ(pixelOf(image, 0, 0), 0xff000000U);
    EXPECT_EQ(pixelOf(image, 1, 0), 0xffffffffU);
    open(withPalette(withHeader(MZ_USHORT), white).attribute("mask_level", 7).frame(frame));
    ASSERT_TRUE(reader.thumbnail(image, width, height, 0));
    EXPECT_EQ(pixelOf(image, 0, 0), 0xffffffffU);
}

TEST_F(Thumbnail, OfEightBitsHoldsTheSamples) {
    for (const MZImagePixelType type : {MZ_UCHAR, MZ_CHAR}) {
        open(withHeader(type).frame(picture8()));
        for (const auto& [maxWidth, maxHeight] : {std::pair(10, 10), std::pair(7, 50)}) {
            ASSERT_TRUE(reader.thumbnail(image, maxWidth, maxHeight, 0));
            const Naive naive{picture8(), width, height, maxWidth, maxHeight};
            ASSERT_EQ(image.size(), QSize(naive.width(), naive.height()));
            EXPECT_EQ(image.format(), QImage::Format_Indexed8);
            EXPECT_EQ(image.colorCount(), 0);
            for (int j = 0; j < naive.height(); ++j)
                for (int i = 0; i < naive.width(); ++i)
                    ASSERT_EQ(image.constScanLine(j)[i], naive.sample8(i, j));
        }
    }
}

TEST_F(Thumbnail, KnowsThePixelsByTheirBits) {
    open(MovieBytes().size(width, height).attribute("pixbits", 16).frame(picture16()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.format(), QImage::Format_RGB32);
    open(MovieBytes().size(width, height).attribute("pixbits", 8).frame(picture8()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.format(), QImage::Format_Indexed8);
}

TEST_F(Thumbnail, LetsItsThreadBeCancelled) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    open(withHeader(MZ_USHORT).frame(picture16()));
    EXPECT_TRUE(isCancelled([&] {
        pthread_cancel(pthread_self());
        reader.thumbnail(image, 10, 10, 0);
        ADD_FAILURE() << "reading is where a thread may be cancelled";
    }));
    EXPECT_EQ(image, before);
}

TEST_F(Thumbnail, OutlivesItsReader) {
    {
        ImageReader other;
        put(withHeader(MZ_UCHAR).frame(picture8()));
        other.open(file.path());
        ASSERT_TRUE(other.thumbnail(image, 10, 10, 0));
    }
    EXPECT_EQ(image.constScanLine(0)[0], (Naive{picture8(), width, height, 10, 10}).sample8(0, 0));
}

TEST_F(Thumbnail, OfCompressedAndSwappedFramesIsTheSame) {
    open(withPalette(withHeader(MZ_USHORT), grey(0, 2000)).frame(picture16()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    const QImage expected = image.copy();
    open(withPalette(withHeader(MZ_USHORT), grey(0, 2000))
             .attribute("compression_type", "gz")
             .frame(compressed(CompressionType::GZip, picture16())));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image, expected);

    QByteArray swapped = picture16();
    for (qsizetype i = 0; i < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    MovieBytes other;
    other.size(width, height).attribute("pixtype", MZ_USHORT).endian(Order::Big);
    open(withPalette(other, grey(0, 2000)).frame(swapped));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image, expected);
}

TEST_F(Thumbnail, OfCompressedFramesOfEightBitsHoldsTheSamples) {
    open(withHeader(MZ_UCHAR)
             .attribute("compression_type", "z")
             .frame(compressed(CompressionType::ZLib, picture8())));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.constScanLine(3)[4], (Naive{picture8(), width, height, 10, 10}).sample8(4, 3));
}

TEST_F(Thumbnail, OfDataDimensionOneIsThePlaceholder) {
    open(withHeader(MZ_USHORT).attribute("datadimension", 1).frame("any size"));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.size(), QSize(160, 120));
    // For 16 bits only, and only if there is such a frame.
    image = before.copy();
    expectNone(10, 10, 1);
    open(withHeader(MZ_UCHAR).attribute("datadimension", 1).frame(picture8()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.width(), 10);
}

TEST_F(Thumbnail, OfDataDimensionTwoIsAPicture) {
    for (const char* dimension : {"2", "no number"}) {
        open(withHeader(MZ_USHORT).attribute("datadimension", dimension).frame(picture16()));
        ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
        EXPECT_EQ(image.size(), QSize(10, 6));
    }
}

// --- vectors and real frames ------------------------------------------------------------------

TEST_F(Thumbnail, OfVectorsShowsTheReconstructedImage) {
    put(withPalette(withHeader(MZ_USHORT), grey(0, 2000))
            .attribute("data_type", "vec")
            .fibers({0, 0})
            .frame(le16(5)));
    ImageReader vectorized(file.path(), boost::make_shared<ImageService>());
    ASSERT_TRUE(vectorized.thumbnail(image, 10, 10, 0));
    const Naive naive{picture16(), width, height, 10, 10};
    const auto [min, max] = naive.window();
    expectThrough(grey(0, 2000), static_cast<float>(min) / 2000.0F,
                  static_cast<float>(max) / 2000.0F, 0x8000, naive);
}

TEST_F(Thumbnail, OfRealFramesIsTheNaiveOne) {
    const QString folder = qEnvironmentVariable("DATAIO_SAMPLES");
    if (folder.isEmpty()) GTEST_SKIP() << "no real frames: DATAIO_SAMPLES names no folder";
    QFile planes(QDir(folder).filePath(QStringLiteral("brain-planes/frames.u16")));
    ASSERT_TRUE(planes.open(QIODevice::ReadOnly)) << planes.fileName().toStdString();
    constexpr int planeWidth = 512;
    constexpr int planeHeight = 400;
    const QByteArray all = planes.read(30LL * planeWidth * planeHeight * 2);
    const auto plane = [&](int number) {
        return all.mid(qsizetype{number} * planeWidth * planeHeight * 2,
                       planeWidth * planeHeight * 2);
    };
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.width(planeWidth);
    writer.height(planeHeight);
    writer.pixType(MZ_USHORT);
    writer.setCompression(CompressionType::GZip);
    writer.setPalette(grey(0, 17000));
    for (const int number : {0, 13, 29})
        writer.addFrame(plane(number).constData());
    writer.close();
    reader.open(file.path());
    for (const int index : {0, 1, 2}) {
        const Naive naive{plane(std::array{0, 13, 29}[static_cast<size_t>(index)]), planeWidth,
                          planeHeight, 160, 160};
        const LogCapture log;
        ASSERT_TRUE(reader.thumbnail(image, 160, 160, index));
        EXPECT_TRUE(log.records().empty());
        const auto [min, max] = naive.window();
        expectThrough(grey(0, 17000), static_cast<float>(min) / 17000.0F,
                      static_cast<float>(max) / 17000.0F, 0x8000, naive);
    }
}

}  // namespace
