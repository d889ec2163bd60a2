// What a movie's header says about its thumbnail, the warnings, and every way to have none. The
// pixels themselves are compared with a naive rendering of the same frame.

#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/paldatagenerator.h>

#include <QDir>
#include <QImage>
#include <boost/smart_ptr/make_shared.hpp>

#include <array>
#include <cstring>

#include <tests/support/moviereader.h>
#include <tests/support/palettes.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int width = 30;
constexpr int height = 20;

/// Samples from 100 to 1,249, rising from pixel to pixel.
QByteArray frame16() {
    QByteArray frame;
    for (int i = 0; i < width * height; ++i)
        frame += le16(static_cast<uint16_t>(100 + i * 23 % 1150));
    return frame;
}

QByteArray frame8() {
    QByteArray frame;
    for (int i = 0; i < width * height; ++i)
        frame += static_cast<char>(i * 7);
    return frame;
}

MovieBytes withHeader(MZImagePixelType type) {
    MovieBytes movie;
    movie.size(width, height).attribute("pixtype", type);
    return movie.endian(Order::Little);
}

MovieBytes withPalette(MovieBytes movie, MzPalette const& palette) {
    AttributeChunk attributes;
    AttributePaletteAdaptor::paletteToAttributes(palette, attributes, QString());
    for (auto const& [key, value] : attributes.attributes())
        movie.attribute(key.toLatin1().constData(), value._val.toLatin1());
    return movie;
}

/// A thumbnail, its size and its frame, as someone would make it who had never heard of tables.
struct Naive {
    QByteArray frame;
    int frameWidth, frameHeight, maxWidth, maxHeight;

    float step() const {
        return std::max(static_cast<float>(frameWidth) / static_cast<float>(maxWidth),
                        static_cast<float>(frameHeight) / static_cast<float>(maxHeight));
    }
    int width() const { return static_cast<int>(static_cast<float>(frameWidth) / step()); }
    int height() const { return static_cast<int>(static_cast<float>(frameHeight) / step()); }

    uint16_t sample16(int i, int j) const {
        const float sx = static_cast<float>(frameWidth) / static_cast<float>(width());
        const float sy = static_cast<float>(frameHeight) / static_cast<float>(height());
        const int at = pixel(i, j, sx, sy) * 2;
        return static_cast<uint16_t>(static_cast<unsigned char>(frame[at]) |
                                     static_cast<unsigned char>(frame[at + 1]) << 8);
    }
    uchar sample8(int i, int j) const {
        return static_cast<uchar>(frame[pixel(i, j, step(), step())]);
    }

    /// Lowest and highest sample of every fourth pixel of every fourth row in the middle.
    std::pair<int, int> window() const {
        int min = 16383;
        int max = -16383;
        for (int row = frameHeight / 10; row < 9 * frameHeight / 10; row += 4) {
            for (int k = 0; k < frameWidth / 5; ++k) {
                const int at = 2 * (row * frameWidth + frameWidth / 10 + 4 * k);
                const int v = static_cast<int16_t>(static_cast<unsigned char>(frame[at]) |
                                                   static_cast<unsigned char>(frame[at + 1]) << 8);
                if (v > max)
                    max = v;
                else if (v > -16384 && v < min)
                    min = v;
            }
        }
        return {min, std::max(max, min + 32)};
    }

private:
    int pixel(int i, int j, float sx, float sy) const {
        const auto row = static_cast<int>((static_cast<float>(j) + 0.5F) * sy);
        const auto column = static_cast<int>((static_cast<float>(i) + 0.5F) * sx);
        return row * frameWidth + column;
    }
};

class Thumbnail : public MovieReader {
protected:
    Thumbnail() : image(3, 2, QImage::Format_RGB32) {
        image.fill(Qt::red);
        before = image.copy();
    }

    void expectNone(int maxWidth = 10, int maxHeight = 10, int frameIdx = 0) {
        EXPECT_FALSE(reader.thumbnail(image, maxWidth, maxHeight, frameIdx));
        EXPECT_EQ(image, before);
    }

    static QRgb pixelOf(QImage const& picture, int i, int j) {
        return reinterpret_cast<const QRgb*>(picture.constScanLine(j))[i];
    }

    /// Expects the pixels of the palette once its ramp is squeezed from `min` to `max`, fractions
    /// of its crop range.
    void expectThrough(MzPalette palette, float min, float max, uint16_t mask, Naive const& naive) {
        ASSERT_EQ(image.size(), QSize(naive.width(), naive.height()));
        ASSERT_EQ(image.format(), QImage::Format_RGB32);
        palette.adjustNodeValues(min, max);
        std::vector<QRgb> table;
        PalDataGenerator<LerpQRGB<IdxSigned16>>()(palette, table, MakeSpecificValueBlack, mask);
        for (int j = 0; j < naive.height(); ++j)
            for (int i = 0; i < naive.width(); ++i)
                ASSERT_EQ(pixelOf(image, i, j), table[naive.sample16(i, j)]) << i << ", " << j;
    }

    QImage image;
    QImage before;
};

// --- pictures ---------------------------------------------------------------------------------

TEST_F(Thumbnail, OfSixteenBitsShowsThePaletteOnTheSamplesThatThereAre) {
    for (const MZImagePixelType type : {MZ_USHORT, MZ_SHORT}) {
        open(withPalette(withHeader(type), grey(0, 2000)).frame(frame16()));
        for (auto const& [maxWidth, maxHeight] :
             {std::pair(10, 10), std::pair(30, 20), std::pair(7, 50), std::pair(64, 64)}) {
            const LogCapture log;
            ASSERT_TRUE(reader.thumbnail(image, maxWidth, maxHeight, 0));
            EXPECT_TRUE(log.records().empty());
            const Naive naive{frame16(), width, height, maxWidth, maxHeight};
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
             .frame(frame16()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 1));
    const Naive naive{frame16(), width, height, 10, 10};
    const auto [min, max] = naive.window();
    expectThrough(grey(0, 2000), static_cast<float>(min) / 2000.0F,
                  static_cast<float>(max) / 2000.0F, 0x8000, naive);
    EXPECT_EQ(reader.currFrameIdx(), 1u);
}

TEST_F(Thumbnail, WithoutAPaletteUsesTheDefaultOne) {
    open(withHeader(MZ_USHORT).frame(frame16()));
    MzPalette expected;
    expected.initDefault();
    const LogCapture log;
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    const Naive naive{frame16(), width, height, 10, 10};
    const auto [min, max] = naive.window();
    const auto place = [&](int v) {
        const float at = static_cast<float>(v - expected._cropMinInt) /
                         static_cast<float>(expected._cropMaxInt - expected._cropMinInt);
        return at;
    };
    expectThrough(expected, place(min), place(max), 0x8000, naive);
}

TEST_F(Thumbnail, MasksOneLevel) {
    open(withPalette(withHeader(MZ_USHORT), grey(0, 2000))
             .attribute("mask_level", 100)
             .frame(frame16()));
    ASSERT_TRUE(reader.thumbnail(image, width, height, 0));
    const Naive naive{frame16(), width, height, width, height};
    const auto [min, max] = naive.window();
    expectThrough(grey(0, 2000), static_cast<float>(min) / 2000.0F,
                  static_cast<float>(max) / 2000.0F, 100, naive);
    EXPECT_EQ(pixelOf(image, 0, 0), 0xff000000u);
    // Only the 16 bits of the level count.
    open(withHeader(MZ_USHORT).attribute("mask_level", 65536 + 100).frame(frame16()));
    ASSERT_TRUE(reader.thumbnail(image, width, height, 0));
    EXPECT_EQ(pixelOf(image, 0, 0), 0xff000000u);
}

TEST_F(Thumbnail, OfEightBitsHoldsTheSamples) {
    for (const MZImagePixelType type : {MZ_UCHAR, MZ_CHAR}) {
        open(withHeader(type).frame(frame8()));
        for (auto const& [maxWidth, maxHeight] : {std::pair(10, 10), std::pair(7, 50)}) {
            ASSERT_TRUE(reader.thumbnail(image, maxWidth, maxHeight, 0));
            const Naive naive{frame8(), width, height, maxWidth, maxHeight};
            ASSERT_EQ(image.size(), QSize(naive.width(), naive.height()));
            EXPECT_EQ(image.format(), QImage::Format_Indexed8);
            EXPECT_EQ(image.colorCount(), 0);
            for (int j = 0; j < naive.height(); ++j)
                for (int i = 0; i < naive.width(); ++i)
                    ASSERT_EQ(image.constScanLine(j)[i], naive.sample8(i, j));
        }
    }
}

TEST_F(Thumbnail, OutlivesItsReader) {
    {
        ImageReader other;
        put(withHeader(MZ_UCHAR).frame(frame8()));
        other.open(file.path());
        ASSERT_TRUE(other.thumbnail(image, 10, 10, 0));
    }
    EXPECT_EQ(image.constScanLine(0)[0], (Naive{frame8(), width, height, 10, 10}).sample8(0, 0));
}

TEST_F(Thumbnail, OfCompressedAndSwappedFramesIsTheSame) {
    open(withPalette(withHeader(MZ_USHORT), grey(0, 2000)).frame(frame16()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    const QImage expected = image.copy();
    open(withPalette(withHeader(MZ_USHORT), grey(0, 2000))
             .attribute("compression_type", "gz")
             .frame(compressed(CompressionType::GZip, frame16())));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image, expected);

    QByteArray swapped = frame16();
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
             .frame(compressed(CompressionType::ZLib, frame8())));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.constScanLine(3)[4], (Naive{frame8(), width, height, 10, 10}).sample8(4, 3));
}

TEST_F(Thumbnail, OfDataDimensionOneIsThePlaceholder) {
    open(withHeader(MZ_USHORT).attribute("datadimension", 1).frame("any size"));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.size(), QSize(160, 120));
    // For 16 bits only, and only if there is such a frame.
    image = before.copy();
    expectNone(10, 10, 1);
    open(withHeader(MZ_UCHAR).attribute("datadimension", 1).frame(frame8()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.width(), 10);
}

TEST_F(Thumbnail, OfDataDimensionTwoIsAPicture) {
    for (const char* dimension : {"2", "no number"}) {
        open(withHeader(MZ_USHORT).attribute("datadimension", dimension).frame(frame16()));
        ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
        EXPECT_EQ(image.size(), QSize(10, 6));
    }
}

// --- warnings ---------------------------------------------------------------------------------

class ThumbnailWarnings : public Thumbnail {
protected:
    /// The records of a thumbnail of samples from 100 to 1,249 through a palette.
    void expectWarnings(int cropMin, int cropMax, std::vector<QString> const& messages) {
        open(withPalette(withHeader(MZ_USHORT), grey(cropMin, cropMax)).frame(frame16()));
        const LogCapture log;
        ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
        ASSERT_EQ(log.records().size(), messages.size());
        for (size_t i = 0; i < messages.size(); ++i) {
            LogRecord const& record = log.records()[i];
            EXPECT_EQ(record.level, LogLevel::Warning);
            EXPECT_EQ(record.loggerName.toStdString(), "dataio.imagereader");
            EXPECT_EQ(record.code.toStdString(), "PIXOUTOFRANGE");
            EXPECT_EQ(record.message.toStdString(), messages[i].toStdString());
        }
    }

    QString minOutside(const char* range) const {
        return QStringLiteral("Min value ouside crop range. min=[%1],%2,fileName=[%3]")
            .arg(naive.window().first)
            .arg(QString::fromLatin1(range), file.path());
    }
    QString maxOutside(const char* range) const {
        return QStringLiteral("Max value outside crop range. max=[%1],%2,fileName=[%3]")
            .arg(naive.window().second)
            .arg(QString::fromLatin1(range), file.path());
    }

    const Naive naive{frame16(), width, height, 10, 10};
};

TEST_F(ThumbnailWarnings, SayWhenTheSamplesLeaveTheCropRange) {
    expectWarnings(0, 2000, {});
    expectWarnings(500, 2000, {minOutside("cropMin=[500],cropMax=[2000]")});
    expectThrough(grey(500, 2000), 0, static_cast<float>(naive.window().second - 500) / 1500.0F,
                  0x8000, naive);
    expectWarnings(0, 600, {maxOutside("cropMin=[0],cropMax=[600]")});
    expectThrough(grey(0, 600), static_cast<float>(naive.window().first) / 600.0F, 1, 0x8000,
                  naive);
    expectWarnings(
        500, 600,
        {minOutside("cropMin=[500],cropMax=[600]"), maxOutside("cropMin=[500],cropMax=[600]")});
    expectThrough(grey(500, 600), 0, 1, 0x8000, naive);
    // Both ends beyond the same end of it.
    expectWarnings(
        -500, -400,
        {minOutside("cropMin=[-500],cropMax=[-400]"), maxOutside("cropMin=[-500],cropMax=[-400]")});
    expectWarnings(
        5000, 6000,
        {minOutside("cropMin=[5000],cropMax=[6000]"), maxOutside("cropMin=[5000],cropMax=[6000]")});
}

TEST_F(ThumbnailWarnings, SayThatTheCropRangeIsEmpty) {
    for (auto const& [cropMin, cropMax] : {std::pair(7, 7), std::pair(8, 7)}) {
        expectWarnings(cropMin, cropMax,
                       {QStringLiteral("Bad pelette range. cropMin=[%1],cropMax=[%2],fileName=[%3]")
                            .arg(cropMin)
                            .arg(cropMax)
                            .arg(file.path())});
        expectThrough(grey(cropMin, cropMax), 0, 1, 0x8000, naive);
    }
}

TEST_F(ThumbnailWarnings, AreNotGivenWhereNobodyWantsThem) {
    open(withPalette(withHeader(MZ_USHORT), grey(7, 7)).frame(frame16()));
    const LogCapture log(LogLevel::Error);
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_TRUE(log.records().empty());
}

// --- no picture -------------------------------------------------------------------------------

TEST_F(Thumbnail, IsNoneWithoutASize) {
    for (MovieBytes const& movie :
         {MovieBytes().attribute("height", 20), MovieBytes().attribute("width", 30),
          MovieBytes().size(0, 20), MovieBytes().size(30, 0), MovieBytes().size(-30, -20),
          MovieBytes().attribute("width", "wide").attribute("height", 20)}) {
        MovieBytes whole = movie;
        open(whole.attribute("pixtype", MZ_USHORT).frame(frame16()));
        expectNone();
    }
}

TEST_F(Thumbnail, IsNoneWhereItWouldHaveNoPixel) {
    open(withHeader(MZ_USHORT).frame(frame16()));
    expectNone(0, 10);
    expectNone(10, 0);
    expectNone(-1, -1);
    expectNone(1, 10);  // 30 × 20 made 1 wide is less than 1 high
    open(MovieBytes().size(100, 1).attribute("pixtype", MZ_UCHAR).frame(QByteArray(100, 'a')));
    expectNone(50, 50);
    ASSERT_TRUE(reader.thumbnail(image, 100, 50, 0));
}

TEST_F(Thumbnail, IsNoneOfAFrameThatIsNotThere) {
    open(withHeader(MZ_USHORT).frame(frame16()));
    const LogCapture log;
    expectNone(10, 10, 1);
    expectNone(10, 10, -1);
    EXPECT_TRUE(log.records().empty());
    reader.close();
    expectNone();
    ImageReader closed;
    EXPECT_FALSE(closed.thumbnail(image, 10, 10, 0));
    open(withHeader(MZ_USHORT));
    expectNone();
}

TEST_F(Thumbnail, IsNoneOfOtherPixels) {
    for (const int type : {0, 1, 2, 7, 8, 9, 10, 11, 12, 13, -1}) {
        open(MovieBytes()
                 .size(width, height)
                 .attribute("pixtype", type)
                 .frame(QByteArray(width * height * 8, 'a')));
        expectNone();
    }
    open(MovieBytes().size(width, height).frame(frame16()));  // no type at all
    expectNone();
    open(MovieBytes()
             .size(width, height)
             .attribute("pixbits", 32)
             .frame(QByteArray(width * height * 4, 'a')));
    expectNone();
}

TEST_F(Thumbnail, IsNoneOfOtherDimensions) {
    for (const int dimension : {0, 3, -1}) {
        open(withHeader(MZ_USHORT).attribute("datadimension", dimension).frame(frame16()));
        expectNone();
    }
}

TEST_F(Thumbnail, IsNoneOfAFrameThatIsTooShort) {
    open(withHeader(MZ_USHORT).frame(frame16().chopped(1)).frame(""));
    expectNone();
    expectNone(10, 10, 1);
    open(withHeader(MZ_UCHAR).frame(frame8().chopped(1)));
    expectNone();
    open(
        MovieBytes().size(0x7fffffff, 0x7fffffff).attribute("pixtype", MZ_USHORT).frame(frame16()));
    expectNone();
}

class UnreadableThumbnail : public Thumbnail {
protected:
    void expectNoneAfter(std::vector<const char*> const& codes) {
        const LogCapture log;
        expectNone();
        ASSERT_EQ(log.records().size(), codes.size());
        for (size_t i = 0; i < codes.size(); ++i)
            EXPECT_EQ(log.records()[i].code.toStdString(), codes[i]);
    }
};

TEST_F(UnreadableThumbnail, OfVectorsWithoutAServiceIsNoneAfterItsRecord) {
    open(withHeader(MZ_USHORT).attribute("data_type", "vec").fibers({0, 0}).frame(le16(5)));
    expectNoneAfter({"IR_UNSUPPORTED_FORMAT"});
}

TEST_F(UnreadableThumbnail, OfADamagedStreamIsNone) {
    const QByteArray stream = compressed(CompressionType::GZip, frame16());
    open(withHeader(MZ_USHORT)
             .attribute("compression_type", "gz")
             .frame("no stream")
             .frame(stream.left(stream.size() / 2)));
    expectNoneAfter({});
    EXPECT_FALSE(reader.thumbnail(image, 10, 10, 1));
    EXPECT_EQ(image, before);
}

TEST_F(UnreadableThumbnail, OfAHostileSizeIsNoneAfterItsRecord) {
    open(MovieBytes()
             .size(100000, 100000)
             .attribute("pixtype", MZ_USHORT)
             .attribute("compression_type", "gz")
             .frame(compressed(CompressionType::GZip, "small")));
    expectNoneAfter({"IR_GRF_SIZE"});
}

TEST_F(UnreadableThumbnail, OfAChunkThatLeavesTheFileIsNoneAfterItsRecord) {
    MovieBytes movie = withHeader(MZ_USHORT);
    movie.record(MovieBytes::Frame, 0, 1200).raw(startHeader(2, 0x7fffffff));
    open(movie);
    expectNoneAfter({"MM_NC_BOUND"});
}

// --- vectors and real frames ------------------------------------------------------------------

/// Gives the same image for every frame.
class ImageService : public IReconstructionService {
public:
    bool prepare(boost::iterator_range<float const*>, int, int, float, float, float, float, float,
                 float) override {
        return true;
    }
    bool reconstruct(boost::iterator_range<uint16_t const*>,
                     boost::iterator_range<uint16_t*> output) override {
        const QByteArray frame = frame16();
        std::memcpy(output.begin(), frame.constData(), static_cast<size_t>(frame.size()));
        return true;
    }
    IReconstructionService* clone() const override { return new ImageService; }
};

TEST_F(Thumbnail, OfVectorsShowsTheReconstructedImage) {
    put(withPalette(withHeader(MZ_USHORT), grey(0, 2000))
            .attribute("data_type", "vec")
            .fibers({0, 0})
            .frame(le16(5)));
    ImageReader vectorized(file.path(), boost::make_shared<ImageService>());
    ASSERT_TRUE(vectorized.thumbnail(image, 10, 10, 0));
    const Naive naive{frame16(), width, height, 10, 10};
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

class ThrowingService : public ImageService {
public:
    bool reconstruct(boost::iterator_range<uint16_t const*>,
                     boost::iterator_range<uint16_t*>) override {
        throw 5;
    }
};

TEST_F(Thumbnail, IsNoneWhereTheServiceThrows) {
    put(withHeader(MZ_USHORT).attribute("data_type", "vec").fibers({0, 0}).frame(le16(5)));
    ImageReader vectorized(file.path(), boost::make_shared<ThrowingService>());
    EXPECT_FALSE(vectorized.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image, before);
}

TEST_F(Thumbnail, OfAnIncompletePaletteUsesTheDefaultOne) {
    // The reader keeps the whole node, and says that this is no palette.
    open(withHeader(MZ_USHORT)
             .attribute("pal_nbcols", 2)
             .attribute("pal_n0_val", "0")
             .attribute("pal_n0_r", "1")
             .attribute("pal_n0_g", "0")
             .attribute("pal_n0_b", "0")
             .frame(frame16()));
    MzPalette expected;
    expected.initDefault();
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    const Naive naive{frame16(), width, height, 10, 10};
    const auto [min, max] = naive.window();
    const auto place = [&](int v) {
        return static_cast<float>(v - expected._cropMinInt) /
               static_cast<float>(expected._cropMaxInt - expected._cropMinInt);
    };
    expectThrough(expected, place(min), place(max), 0x8000, naive);
}

TEST_F(Thumbnail, MasksTheLowestLevelUnlessToldOtherwise) {
    MzPalette white = grey(0, 2000);
    white._nodes.front()._col = PalColor(1, 1, 1);
    const QByteArray frame = le16(0x8000) + frame16().mid(2);
    open(withPalette(withHeader(MZ_USHORT), white).frame(frame));
    ASSERT_TRUE(reader.thumbnail(image, width, height, 0));
    EXPECT_EQ(pixelOf(image, 0, 0), 0xff000000u);
    EXPECT_EQ(pixelOf(image, 1, 0), 0xffffffffu);
    open(withPalette(withHeader(MZ_USHORT), white).attribute("mask_level", 7).frame(frame));
    ASSERT_TRUE(reader.thumbnail(image, width, height, 0));
    EXPECT_EQ(pixelOf(image, 0, 0), 0xffffffffu);
}

TEST_F(Thumbnail, ReadsTheFrameBetweenSizeAndPixelType) {
    open(MovieBytes()
             .size(width, height)
             .attribute("pixtype", MZ_FLOAT)
             .frame(frame16())
             .frame(frame16()));
    expectNone(0, 10, 1);
    EXPECT_EQ(reader.currFrameIdx(), 0u);
    expectNone(10, 10, 1);
    EXPECT_EQ(reader.currFrameIdx(), 1u);
}

TEST_F(Thumbnail, KnowsThePixelsByTheirBits) {
    open(MovieBytes().size(width, height).attribute("pixbits", 16).frame(frame16()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.format(), QImage::Format_RGB32);
    open(MovieBytes().size(width, height).attribute("pixbits", 8).frame(frame8()));
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_EQ(image.format(), QImage::Format_Indexed8);
}

}  // namespace
