// Every way to have no thumbnail.

#include <boost/smart_ptr/make_shared.hpp>

#include <vector>

#include <tests/support/streams.h>
#include <tests/support/thumbnails.h>

using namespace mz;
using namespace mz::test;

namespace {

TEST_F(Thumbnail, IsNoneWithoutASize) {
    for (const MovieBytes& movie :
         {MovieBytes().attribute("height", 20), MovieBytes().attribute("width", 30),
          MovieBytes().size(0, 20), MovieBytes().size(30, 0), MovieBytes().size(-30, -20),
          MovieBytes().attribute("width", "wide").attribute("height", 20)}) {
        MovieBytes whole = movie;
        open(whole.attribute("pixtype", MZ_USHORT).frame(picture16()));
        expectNone();
    }
}

TEST_F(Thumbnail, IsNoneWhereItWouldHaveNoPixel) {
    open(withHeader(MZ_USHORT).frame(picture16()));
    expectNone(0, 10);
    expectNone(10, 0);
    expectNone(-1, -1);
    expectNone(1, 10);  // 30 × 20 made 1 wide is less than 1 high
    open(MovieBytes().size(100, 1).attribute("pixtype", MZ_UCHAR).frame(QByteArray(100, 'a')));
    expectNone(50, 50);
    ASSERT_TRUE(reader.thumbnail(image, 100, 50, 0));
}

TEST_F(Thumbnail, IsNoneOfAFrameThatIsNotThere) {
    open(withHeader(MZ_USHORT).frame(picture16()));
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
    open(MovieBytes().size(width, height).frame(picture16()));  // no type at all
    expectNone();
    open(MovieBytes()
             .size(width, height)
             .attribute("pixbits", 32)
             .frame(QByteArray(width * height * 4, 'a')));
    expectNone();
}

TEST_F(Thumbnail, IsNoneOfOtherDimensions) {
    for (const int dimension : {0, 3, -1}) {
        open(withHeader(MZ_USHORT).attribute("datadimension", dimension).frame(picture16()));
        expectNone();
    }
}

TEST_F(Thumbnail, IsNoneOfAFrameThatIsTooShort) {
    open(withHeader(MZ_USHORT).frame(picture16().chopped(1)).frame(""));
    expectNone();
    expectNone(10, 10, 1);
    open(withHeader(MZ_UCHAR).frame(picture8().chopped(1)));
    expectNone();
    open(MovieBytes()
             .size(0x7fffffff, 0x7fffffff)
             .attribute("pixtype", MZ_USHORT)
             .frame(picture16()));
    expectNone();
}

class UnreadableThumbnail : public Thumbnail {
protected:
    void expectNoneAfter(const std::vector<const char*>& codes) {
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
    const QByteArray stream = compressed(CompressionType::GZip, picture16());
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

class ThrowingService : public ImageService {
public:
    bool reconstruct(boost::iterator_range<const uint16_t*>,
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

}  // namespace
