// Calls in the forms in which applications write them: each must go on compiling, and do what the
// form next to it does.

#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/paldatagenerator.h>
#include <libDataIO/rsqcompressutil.h>

#include <QImage>
#include <gtest/gtest.h>

#include <memory>

#include <tests/support/movieparser.h>
#include <tests/support/repeatingservice.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

using Service = boost::shared_ptr<IReconstructionService>;

constexpr int side = 8;
constexpr int frameBytes = side * side * 2;
const unsigned char pixels[frameBytes] = {1, 2, 3, 4};
const timeval time1 = {1, 2};

/// Frames of pixels of 16 bits.
void begin(ImageWriter& writer, const QString& name, bool autotime = false) {
    writer.create(name, autotime);
    writer.width(side);
    writer.height(side);
    writer.pixType(MZ_USHORT);
}

ScratchFile aMovie() {
    ScratchFile file;
    ImageWriter writer;
    begin(writer, file.path());
    writer.addFrame(pixels, time1, 0.5F);
    writer.close();
    return file;
}

TEST(CallsThatCompile, MakingAReader) {
    const ScratchFile file = aMovie();
    const QString name = file.path();
    const Service service = repeatingService();
    const boost::shared_ptr<RepeatingService> ofItsClass = boost::make_shared<RepeatingService>();

    const ImageReader none;
    const ImageReader null(nullptr);
    const ImageReader zero(0);
    const ImageReader braces({});
    const ImageReader empty((Service()));
    const ImageReader withService(service);
    const ImageReader withItsClass(ofItsClass);
    const ImageReader fromService = service;
    for (const ImageReader* reader :
         {&none, &null, &zero, &braces, &empty, &withService, &withItsClass, &fromService})
        EXPECT_TRUE(reader->getFilename().isNull());

    const ImageReader named(name);
    const ImageReader both(name, service);
    const ImageReader bothOfItsClass(name, ofItsClass);
    const ImageReader withNull(name, nullptr);
    const ImageReader withNone(name, Service());
    const ImageReader list = {name, service};
    const ImageReader braced{name, service};
    const auto onHeap = std::make_unique<const ImageReader>(name, service);
    for (const ImageReader* reader :
         {&named, &both, &bothOfItsClass, &withNull, &withNone, &list, &braced, &*onHeap})
        EXPECT_EQ(reader->nbFrames(), 1U);

    ImageReader::setReconstructionServiceFactory(service);
    ImageReader::setReconstructionServiceFactory(ofItsClass);
    ImageReader::setReconstructionServiceFactory(nullptr);
    ImageReader::setReconstructionServiceFactory({});
}

TEST(CallsThatCompile, ReadingFrames) {
    const ScratchFile file = aMovie();
    ImageReader reader(file.path());
    const void* data = nullptr;
    EXPECT_TRUE(reader.getFrame(data, 0));
    const boost::optional<unsigned int> size = reader.getRawFrame(data, 0);
    EXPECT_EQ(size.get_value_or(0), unsigned{frameBytes});
    if (reader.rewind() && reader.nextFrame(data)) {
        EXPECT_FALSE(reader.nextFrame(data));
    }
    QImage image;
    EXPECT_TRUE(reader.thumbnail(image, 2, 2, 0));

    float power = 0;
    timeval time{};
    reader.rewind();
    EXPECT_TRUE(reader.laserPower(power) && reader.getLaserPower(0, power));
    EXPECT_TRUE(reader.frameTiming(time) && reader.getFrameTiming(0, time));
    EXPECT_FLOAT_EQ(reader.getLaserPower(0).get(), power);
    EXPECT_EQ(reader.getFrameTiming(0)->tv_usec, time.tv_usec);
}

TEST(CallsThatCompile, ReadingAHeader) {
    const ScratchFile file = aMovie();
    const ImageReader reader(file.path());
    int number = 0;
    EXPECT_TRUE(reader.width(number) && reader.height(number) && reader.pixBits(number));
    EXPECT_FALSE(reader.frameDelay(number) || reader.dimension(number));
    MZImagePixelType type = MZ_UNKNOWN;
    EXPECT_TRUE(reader.pixType(type));
    bool present = false;
    bool trustable = false;
    reader.utcOffsetSeconds(present, trustable);
    EXPECT_EQ(reader.pixBytes() + reader.endian(), 4);
    EXPECT_EQ(reader.dataType() + reader.getComment() + reader.getSpecificComment(), "imp");
    EXPECT_EQ(reader.getMaskLevel(), -32768);
    MzPalette palette;
    EXPECT_FALSE(reader.palette(palette));
    EXPECT_EQ(reader.attributeChunk().attributes().count("width"), 1U);

    std::vector<float> positions;
    std::vector<unsigned int> indexes;
    reader.getRasterFiberContinuousIndexes(positions, ImageReader::NoFiberFiltering);
    reader.getRasterFiberIndexes(indexes, ImageReader::ImageSizeFiberFiltering);
    reader.getFiberOffsets(indexes, ImageReader::BundleBoundingBoxFiberFiltering);
    reader.getWorldFiberCenters(positions, ImageReader::NoFiberFilteringButSortFibers);
    EXPECT_EQ(reader.nbFibers(ImageReader::ImageSizeFiberFilteringAndSortFibers), 0);
    EXPECT_FALSE(reader.getBundleBoundingBox(positions));
}

TEST(CallsThatCompile, AttributesOfAReader) {
    ImageReader reader;
    const QString key = "gain";
    reader.setAttribute(key, 1);
    int number = 0;
    EXPECT_TRUE(reader.attribute("plug_" + key, number));
    reader.setAttribute(key, 1.5F);
    float real = 0;
    EXPECT_TRUE(reader.attribute("plug_" + key, real));
    reader.setAttribute(key, "text");
    reader.setAttribute("gain", QString("text"));
    QString text;
    EXPECT_TRUE(reader.attribute("plug_gain", text));
    reader.removeAttribute("plug_gain");
    EXPECT_FALSE(reader.attribute("plug_gain", text));
    reader.attributeChunk().set(key, 1);
}

TEST(CallsThatCompile, AddingFramesInTheirOrder) {
    const ScratchFile file;
    ImageWriter writer;
    begin(writer, file.path());
    // Each form that gives a size once without, once with a power; then those without a size.
    writer.addFrame(pixels, frameBytes);
    writer.addFrame(pixels, frameBytes, 0.5F);
    writer.addFrame(pixels, frameBytes, 0.5);
    writer.addFrame(pixels, int{sizeof pixels});
    writer.addFrame(pixels);
    writer.addFrame(pixels, 0.5F);
    writer.addFrame(pixels, 0.5);
    writer.addFrame(pixels, boost::none, boost::none, boost::none);
    writer.addFrame(pixels, boost::optional<unsigned int>(frameBytes), boost::none, 0.5F);
    writer.addFrameAtEnd(pixels, frameBytes);
    writer.addFrameAtEnd(pixels, frameBytes, 0.5F);
    writer.addFrameAtEnd(pixels, frameBytes, 0.5);
    writer.replaceFrame(pixels, 0);
    writer.replaceFrame(pixels, 0, 0.5F);
    writer.replaceFrame(pixels, 0U, 0.5);
    writer.organizeIndex(1, 2);
    writer.setFirstFrame(1);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.frames, std::vector<QByteArray>(
                                12, QByteArray(reinterpret_cast<const char*>(pixels), frameBytes)));
    EXPECT_EQ(std::count(movie.powers.begin(), movie.powers.end(), 127), 8);
}

TEST(CallsThatCompile, AddingFramesWithTheirTimes) {
    const ScratchFile file;
    const ScratchFile other = aMovie();
    const ImageReader reader(other.path());
    ImageWriter writer;
    begin(writer, file.path());
    writer.addFrame(pixels, time1);
    writer.addFrame(pixels, time1, 0.5F);
    writer.addFrame(pixels, time1, 0.5);
    writer.addFrame(pixels, timeval{1, 2});
    writer.addFrame(pixels, frameBytes, time1);
    writer.addFrame(pixels, frameBytes, time1, 0.5F);
    writer.addFrame(pixels, frameBytes, time1, 0.5);
    writer.addFrame(pixels, boost::none, time1, boost::none);
    writer.addFrame(pixels, unsigned{frameBytes}, reader.getFrameTiming(0),
                    reader.getLaserPower(0));
    writer.addFrameAtEnd(pixels, frameBytes, time1);
    writer.addFrameAtEnd(pixels, frameBytes, time1, 0.5F);
    writer.addFrameAtEnd(pixels, frameBytes, time1, 0.5);
    writer.replaceFrame(pixels, 0, time1);
    writer.replaceFrame(pixels, 0, time1, 0.5F);
    writer.replaceFrame(pixels, 0U, time1, 0.5);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).times, (std::vector<MovieTime>(12, {1, 2})));
}

TEST(CallsThatCompile, WritingAHeader) {
    const ScratchFile file;
    ImageWriter writer;
    begin(writer, file.path(), true);
    writer.frameDelay(83);
    writer.dimension(2);
    writer.indexed(false);
    writer.setComment("a comment");
    writer.setSpecificComment(QString("another"));
    writer.setCompression(CompressionType::GZip);
    writer.setCompressionEffort(CompressionEffort::Fast);
    writer.setPalette(MzPalette());
    writer.attribute("one", 1);
    writer.attribute("half", 0.5F);
    writer.attribute("text", "text");
    writer.attribute("text", QString("text"));
    writer.setPlugAttribute("one", 1);
    writer.setPlugAttribute("half", 0.5F);
    writer.setPlugAttribute("text", "text");
    writer.removeAttribute("one");
    writer.addRasterFiberContinuousIndexes({0, 0, 1, 0});
    writer.addRasterFiberContinuousIndexes(std::vector<float>{0, 0});
    writer.addBundleBoundingBoxCoords(0, 0, 2, 1);
    EXPECT_EQ(writer.pixBytes(), 2);
    EXPECT_EQ(writer.getComment(), "a comment");
    writer.close();
    EXPECT_FALSE(writer.isOpen());
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.attribute("plug_half"), "5.000000e-01");
    EXPECT_EQ(movie.attribute("half"), "5.000000e-01");
    EXPECT_FALSE(movie.has("one"));
}

TEST(CallsThatCompile, ChangingAMovie) {
    const ScratchFile file = aMovie();
    const ScratchFile other = aMovie();
    ImageWriter writer;
    writer.modify(file.path());
    writer.close();
    AttributeChunk attributes = ImageUtilities::attributesOf(file.path());
    attributes.set("comment", QString("changed"));
    writer.modifyAttribute(file.path(), attributes);
    writer.modifyAttribute(other.path(), ImageReader(file.path()).attributeChunk());
    EXPECT_EQ(ImageReader(other.path()).getComment(), "changed");
    begin(writer, other.path());
    ImageUtilities::copyRsqFileAttributes(writer, file.path());
    EXPECT_EQ(writer.getComment(), "changed");
}

TEST(CallsThatCompile, CopyingWithNamedArguments) {
    const ScratchFile file = aMovie();
    const QString in = file.path();
    const QString out = file.sibling("output");
    double reported = 0;
    ProgressReporter progress([&](double amount) { reported += amount; }, 100.0);

    RSQCompress::compressFile(in, out);
    RSQCompress::compressFile(in, out, CompressionType::GZip);
    RSQCompress::compressFile(_inputFilename = in, _outputFilename = out);
    RSQCompress::compressFile(_outputFilename = out, _inputFilename = in,
                              _compression = CompressionType::ZLib);
    RSQCompress::compressFile(in, out, _vectorization = RSQCompress::NoVectorization);
    RSQCompress::compressFile(
        _inputFilename = in, _outputFilename = out, _compression = CompressionType::BZip2,
        _vectorization = RSQCompress::VectorizeIfPossible, _firstFrame = 0, _lastFrame = 0,
        _progress = &progress, _reconstructionService = repeatingService(),
        _effort = CompressionEffort::Standard);
    EXPECT_EQ(soundMovie(out).attribute("compression_type"), "bz2");

    RSQCompress::compressFileImpl(in, out, CompressionType::None, RSQCompress::SameAsInput, -1, -1,
                                  nullptr, Service());
    RSQCompress::compressFileImpl(in, out, CompressionType::None, RSQCompress::SameAsInput, 0, 0,
                                  &progress, repeatingService());
    EXPECT_EQ(soundMovie(out).frames.size(), 1U);
}

TEST(CallsThatCompile, Attributes) {
    AttributeChunk chunk;
    chunk.set("number", 5);
    chunk.set("letter", 'x');
    chunk.set("half", 0.5F);
    chunk.set("text", "text");
    chunk.set(QString("text"), QString("text"));
    int number = 0;
    char letter = 0;
    float real = 0;
    QString text;
    EXPECT_TRUE(chunk.get("number", number) && chunk.get("letter", letter));
    EXPECT_TRUE(chunk.get("half", real) && chunk.get("text", text));
    EXPECT_EQ(chunk.erase("number"), 1U);
    const AttributeChunk::AttributeMap& map = const_cast<const AttributeChunk&>(chunk).attributes();
    EXPECT_EQ(map.size(), 3U);
    chunk.attributes()["other"]._val = "value";

    AttributeChunk other;
    other.merge(chunk);
    other.safeMerge(chunk, AttributeChunk::NoFlags);
    other.safeMerge(chunk, AttributeChunk::RemoveFrameTimer);
    other.safeMerge(chunk, AttributeChunk::RemoveFrameTimer | AttributeChunk::RemovePlugEvent);
    other.safeMerge(chunk, QFlags<AttributeChunk::MergeFlag>());
    other.parse("a=1\n");
    QString dump;
    other.dump(dump);
    EXPECT_EQ(dump, "a=1\nhalf=5.000000e-01\nletter=x\nother=value\ntext=text\n");
    other.clear();
    EXPECT_EQ(AttributeChunk::formatComment("a\nb"), "a\ab");

    MzPalette palette;
    EXPECT_FALSE(AttributePaletteAdaptor::attributesToPalette(other, palette, QString()));
    palette.initDefault();
    AttributePaletteAdaptor::paletteToAttributes(palette, other, QString());
    std::vector<QRgb> table;
    PalDataGenerator<LerpQRGB<IdxUnsigned8>>()(palette, table, MakeMinValueBlack, 0);
    EXPECT_EQ(table.size(), 256U);
}

TEST(CallsThatCompile, TimesAndIndexes) {
    FrameTimer timer;
    timer.push_back(time1);
    char raw[8];
    EXPECT_TRUE(timer.dumpToRawBuffer(raw, sizeof raw) && timer.readFromRawBuffer(raw, 8));
    ChunkInfo info;
    EXPECT_TRUE(timer.dumpToChunkInfo(info) && timer.readFromChunkInfo(info));
    AttributeChunk attributes;
    EXPECT_TRUE(timer.dumpToChunkInfo(attributes) && timer.readFromChunkInfo(attributes));
    FrameTimer::removeFromAttChunk(attributes);
    FrameTimer::removeFromAttChunk(info);
    std::sort(timer.begin(), timer.end(), TimevalLessThan());

    ChunkIndex index;
    EXPECT_FALSE(index.has(MZ_CT_FRAME));
    index[MZ_CT_FRAME].push_back({0, 4});
    index[MZ_CT_FRAME][0].length = 5;
    int length = 0;
    const std::unique_ptr<char[]> saved(index.save(length));
    EXPECT_EQ(ChunkIndex().load(saved.get(), static_cast<unsigned int>(length)), 16);
    info.set("a", 1);
    info[MZ_CT_INFO];
    char* payload = info.save(length);
    EXPECT_EQ(info.load(payload, static_cast<unsigned int>(length)), 1);
    delete[] payload;
    EXPECT_EQ(info.erase("a"), 1U);
    info.clear();
    ChunkIndex& asIndex = info;
    AttributeChunk& asAttributes = info;
    EXPECT_FALSE(asIndex.has(MZ_CT_INFO) || !asAttributes.attributes().empty());
}

TEST(CallsThatCompile, ChunkHeaders) {
    const ScratchFile file;
    const int fd = file.open();
    ChunkStartHeader start;
    start.type(MZ_CT_FRAME);
    start.size(4);
    EXPECT_TRUE(start.writeFD(fd));
    EXPECT_TRUE(ChunkEndHeader(MZ_CT_FRAME, 4).writeFD(fd));
    ChunkEndHeader end;
    EXPECT_TRUE(end.loadFD(fd, 16));
    EXPECT_FALSE(end.loadFD(fd));
    ChunkHeaderBase& base = end;
    EXPECT_TRUE(base.loadFD(fd, qint64{16}));
    EXPECT_EQ(base.type() + base.size(), 6U);
    ChunkStartHeader copy = start;
    copy = ChunkStartHeader(MZ_CT_INFO, 0);
    EXPECT_EQ(copy.type(), static_cast<unsigned int>(MZ_CT_INFO));
    ::close(fd);
}

// A real number is written without a suffix: it is kept as the float, and read widened.

TEST(CallsThatCompile, DoublesAsAttributesOfAMovie) {
    ImageReader reader;
    reader.setAttribute("gain", 1.5);
    double read = 0;
    EXPECT_TRUE(reader.attribute("plug_gain", read));
    EXPECT_EQ(read, 1.5);

    const ScratchFile file;
    ImageWriter writer;
    begin(writer, file.path());
    writer.attribute("gain", 0.1);
    writer.setPlugAttribute("gain", 1.5);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.attribute("gain"), "1.000000e-01");
    EXPECT_EQ(movie.attribute("plug_gain"), "1.500000e+00");
    EXPECT_TRUE(ImageReader(file.path()).attribute("gain", read));
    EXPECT_EQ(read, double{0.1F});
}

TEST(CallsThatCompile, DoublesAsAttributes) {
    AttributeChunk chunk;
    chunk.set("gain", 0.1);
    double read = 0;
    EXPECT_TRUE(chunk.get("gain", read));
    EXPECT_EQ(read, double{0.1F});
}

}  // namespace
